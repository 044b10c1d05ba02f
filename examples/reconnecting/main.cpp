// A client that survives the end of its server: it subscribes, polls, and prints what changes. What it does
// when something goes wrong is all in `watch`:
//   - no connection, a time-out, an error: tries again, with longer and longer pauses, and keeps its handle
//   - the server no longer knows the handle, as after a restart: subscribes anew
//   - after both, values come again that are known already: only those that differ count
// client.py does the same in Python.
//   kx-reconnecting HOST PORT PATH...

#include <Poco/AutoPtr.h>
#include <Poco/DOM/DOMParser.h>
#include <Poco/DOM/Document.h>
#include <Poco/DOM/Element.h>
#include <Poco/DOM/NodeList.h>
#include <Poco/Exception.h>
#include <Poco/Net/HTTPClientSession.h>
#include <Poco/Net/HTTPRequest.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/StreamCopier.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Poco::AutoPtr;
using Poco::XML::Document;
using Poco::XML::Element;
using Poco::XML::NodeList;
using std::chrono::milliseconds;

constexpr milliseconds INTERVAL(1000);         // between two polls
constexpr milliseconds SHORTEST_PAUSE(250);    // before trying again
constexpr milliseconds LONGEST_PAUSE(30'000);  // a server that comes back is found within this time
constexpr milliseconds PING_RATE(120'000);     // longer than any pause: the subscription outlives a short one
constexpr int TIME_OUT = 10;                   // s, for each request

const std::string NAMESPACE = "http://opcfoundation.org/webservices/XMLDA/1.0/";

std::string escape(const std::string& text) {
    std::string escaped;
    for (const char character : text) {
        switch (character) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                escaped += character;
        }
    }
    return escaped;
}

/// The text of an element, or those of its children with commas between them.
std::string get_text(const Element& value) {
    std::string text;
    bool is_array = false;
    for (const auto* node = value.firstChild(); node != nullptr; node = node->nextSibling()) {
        if (node->nodeType() == Poco::XML::Node::ELEMENT_NODE) {
            text += (is_array ? ", " : "") + node->innerText();
            is_array = true;
        }
    }
    return is_array ? '[' + text + ']' : value.innerText();
}

class Client {
public:
    Client(std::string host, unsigned short port, std::vector<std::string> items)
        : host_(std::move(host)), port_(port), items_(std::move(items)) {}

    /// Returns when one of the signals comes.
    void watch(const sigset_t& signals) {
        milliseconds pause = SHORTEST_PAUSE;
        bool is_lost = false;
        do {
            try {
                if (handle_.empty() || !poll()) {
                    subscribe();
                }
                if (is_lost) {
                    std::cerr << "connected again" << std::endl;
                }
                is_lost = false;
                pause = SHORTEST_PAUSE;
            } catch (const std::exception& error) {
                if (!is_lost) {
                    const auto* const detail = dynamic_cast<const Poco::Exception*>(&error);
                    std::cerr << "no answer, trying again: "
                              << (detail == nullptr ? error.what() : detail->displayText()) << std::endl;
                }
                is_lost = true;
                pause = std::min(2 * pause, LONGEST_PAUSE);
            }
        } while (!wait(signals, is_lost ? pause : INTERVAL));
        cancel();
    }

private:
    /// @return whether one of the signals came
    static bool wait(const sigset_t& signals, milliseconds time) {
        const timespec span = {.tv_sec = static_cast<time_t>(time.count() / 1000),
                               .tv_nsec = static_cast<long>(time.count() % 1000) * 1'000'000};
        return sigtimedwait(&signals, nullptr, &span) > 0;
    }

    void subscribe() {
        handle_.clear();
        std::string request = "<Subscribe ReturnValuesOnReply=\"true\" SubscriptionPingRate=\"" +
                              std::to_string(PING_RATE.count()) + "\"><ItemList>";
        for (std::size_t i = 0; i < items_.size(); ++i) {
            request += "<Items ItemName=\"" + escape(items_[i]) + "\" ClientItemHandle=\"" +
                       std::to_string(i) + "\"/>";
        }
        const AutoPtr<Document> reply = call("Subscribe", request + "</ItemList></Subscribe>");
        take(*reply, "ItemValue");
        auto* const response = dynamic_cast<Element*>(find(*reply, "SubscribeResponse")->item(0));
        if (response == nullptr || response->getAttribute("ServerSubHandle").empty()) {
            throw std::runtime_error("the server gave no handle");
        }
        handle_ = response->getAttribute("ServerSubHandle");
    }

    /// @return false if the server does not know the subscription any more
    bool poll() {
        const AutoPtr<Document> reply =
            call("SubscriptionPolledRefresh", "<SubscriptionPolledRefresh><ServerSubHandles>" + handle_ +
                                                  "</ServerSubHandles></SubscriptionPolledRefresh>");
        take(*reply, "Items");
        return find(*reply, "InvalidServerSubHandles")->length() == 0;
    }

    void cancel() {
        try {
            call("SubscriptionCancel", "<SubscriptionCancel ServerSubHandle=\"" + handle_ + "\"/>");
        } catch (const std::exception&) {
            // The server forgets it when no more polls come.
        }
    }

    static AutoPtr<NodeList> find(const Document& reply, const std::string& name) {
        return reply.getElementsByTagNameNS(NAMESPACE, name);
    }

    /// Prints the values that differ from those that are known.
    void take(const Document& reply, const std::string& element) {
        const AutoPtr<NodeList> found = find(reply, element);
        for (unsigned long i = 0; i < found->length(); ++i) {
            const auto& item = dynamic_cast<const Element&>(*found->item(i));
            const auto* const value = item.getChildElementNS(NAMESPACE, "Value");
            const std::string handle = item.getAttribute("ClientItemHandle");
            if (value == nullptr || handle.empty()) {
                continue;
            }
            const std::string& name = items_.at(std::stoul(handle));
            const std::string text = get_text(*value);
            const auto [known, is_new] = values_.try_emplace(name, text);
            if (is_new || known->second != text) {
                known->second = text;
                std::cout << name << " = " << text << std::endl;
            }
        }
    }

    /// Throws unless the answer is a success. A connection of its own for each request: one that is kept open
    /// may hold a thread of the server.
    AutoPtr<Document> call(const std::string& service, const std::string& request) const {
        const std::string body =
            "<soap:Envelope xmlns:soap=\"http://schemas.xmlsoap.org/soap/envelope/\" xmlns=\"" + NAMESPACE +
            "\"><soap:Body>" + request + "</soap:Body></soap:Envelope>";
        Poco::Net::HTTPClientSession session(host_, port_);
        session.setTimeout(Poco::Timespan(TIME_OUT, 0));
        Poco::Net::HTTPRequest head("POST", "/", "HTTP/1.1");
        head.setContentType("text/xml; charset=utf-8");
        head.set("SOAPAction", '"' + NAMESPACE + service + '"');
        head.setContentLength64(static_cast<Poco::Int64>(body.size()));
        session.sendRequest(head) << body;
        Poco::Net::HTTPResponse answer;
        std::string text;
        Poco::StreamCopier::copyToString(session.receiveResponse(answer), text);
        if (answer.getStatus() != Poco::Net::HTTPResponse::HTTP_OK) {
            throw std::runtime_error("status " + std::to_string(answer.getStatus()) + ": " + text);
        }
        Poco::XML::DOMParser parser;
        return parser.parseString(text);
    }

    const std::string host_;
    const unsigned short port_;
    const std::vector<std::string> items_;
    std::string handle_;  // empty while there is no subscription
    std::map<std::string, std::string> values_;
};

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        std::cerr << "usage: kx-reconnecting HOST PORT PATH...\n";
        return 2;
    }
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    try {
        Client(argv[1], static_cast<unsigned short>(std::stoul(argv[2])), {argv + 3, argv + argc})
            .watch(signals);
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
