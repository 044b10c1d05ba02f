// Counts the instructions, in user space, of Reads, Writes and Browses of 1 and of 1000 items. The counts do
// not depend on what else the machine does. To be run as
//
//   valgrind --tool=callgrind --callgrind-out-file=DIRECTORY/dump.%p kx_instructions
//
// Dumps each count under a name of its own, "<row>|<items>|<requests>": a whole server, ours, the floor's and
// the peer's, while a forked client sends so many requests; and the steps of our own answer, one request in
// this thread. benchmarks/report takes the differences of two counts for a server, which are free of what
// starting and connecting cost.

#include "load/Connection.h"
#include "load/requests.h"
#include "load/servers.h"
#include "load/tree.h"
#include "services/Read.h"
#include "xml/reply/reply_dom.h"
#include "xml/request/RequestParser.h"
#include "xml/request/request_dom.h"
#include "xml/xml_names.h"

#include <information_model/InformationModel.h>
#include <opc/Server.h>

#include <Poco/SAX/NamespaceSupport.h>

#include <sys/wait.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <array>
#include <cstdlib>
#include <functional>
#include <future>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

namespace {

using namespace kx::benchmarks;
using namespace kx::information_model;
using namespace kx::information_model::opc;

constexpr std::size_t VARIABLES = 10'000;

const std::string OURS = "server";
const std::string OURS_WRITING = "server, Write";
const std::string OURS_BROWSING = "server, Browse";
const std::string FLOOR = "constant reply";
const std::string PEER = "peer";

constexpr std::array<std::size_t, 2> ITEMS{1, 1000};
constexpr std::array<std::size_t, 2> REQUESTS{10, 30};

std::string create_name(const std::string& row, std::size_t items, std::size_t requests) {
    return row + "|" + std::to_string(items) + "|" + std::to_string(requests);
}

/// Names what was counted since the last call, and begins anew.
void dump(const std::string& row, std::size_t items, std::size_t requests) {
    const std::string name = create_name(row, items, requests);
    CALLGRIND_DUMP_STATS_AT(name.c_str());
}

/// Starts a server in this process, which then never ends, and returns its port.
unsigned short start(const Serve& serve) {
    auto* port = new std::promise<unsigned short>;  // never freed, as the thread never ends
    auto result = port->get_future();
    std::thread([serve, port] {
        serve([port](unsigned short number) {
            port->set_value(number);
            while (true) {
                pause();
            }
        });
    }).detach();
    return result.get();
}

/// Lets a process of its own send, so that its instructions are not counted.
void send(unsigned short port, const std::string& http_request, std::size_t requests) {
    const pid_t client = fork();
    if (client == 0) {
        Connection connection(port);
        for (std::size_t request = 0; request < requests; ++request) {
            connection.exchange(http_request);
        }
        std::_Exit(0);
    }
    int status = 0;
    if (client < 0 || waitpid(client, &status, 0) != client || status != 0) {
        throw std::runtime_error("the client failed");
    }
}

void count_server(const std::string& row, const Serve& serve,
                  const std::function<std::string(std::size_t items)>& create_request) {
    const unsigned short port = start(serve);
    for (const std::size_t items : ITEMS) {
        const std::string request = create_request(items);
        send(port, request, 3);
        dump("warming up", items, 3);
        for (const std::size_t requests : REQUESTS) {
            send(port, request, requests);
            dump(row, items, requests);
        }
    }
}

std::string create_read(std::size_t items) {
    return create_http_request(create_read_request(items, VARIABLES));
}

std::string create_write(std::size_t items) {
    return create_http_request(create_write_request(items, VARIABLES));
}

/// With all properties, of one variable or of a domain of a thousand.
std::string create_browse(std::size_t items) {
    return create_http_request(create_browse_request(items == 1 ? create_item_name(0) : "/bulk/0"));
}

/// For as many bytes as `model` has to say.
std::string create_constant_read(const std::shared_ptr<InformationModel>& model, std::size_t items) {
    opc::Server server("127.0.0.1", model);
    const std::string reply = Connection(server.start()).exchange(create_read(items));
    return create_constant_request(create_read_request(items, VARIABLES), reply.size());
}

const Poco::XML::Node* find_read(const Poco::XML::Document& document) {
    const auto* envelope = find_child(document, request_names::ENVELOPE);
    return find_child(*find_child(*envelope, request_names::BODY), request_names::READ);
}

/// The steps that OPCQueryHandler takes; calls `done` behind each.
void take_steps(const std::shared_ptr<InformationModel>& model, const std::string& body,
                const std::function<void(const std::string& step)>& done) {
    Poco::XML::NamespaceSupport namespaces;
    namespaces.declarePrefix(xml_namespaces::SOAP_PREFIX, xml_namespaces::SOAP);
    namespaces.declarePrefix(xml_namespaces::XMLDA_PREFIX, xml_namespaces::XMLDA);
    namespaces.declarePrefix(xml_namespaces::XSI_PREFIX, xml_namespaces::XSI);
    done("prepare");
    auto request = parse_request(body);
    done("parse");
    auto message = std::make_unique<Read>(model, find_read(*request), namespaces);
    done("make the message");
    auto reply = message->generate();
    done("generate");
    const std::string text = get_reply_text(reply).to_string();
    done("serialise");
    reply.reset();
    message.reset();
    request.reset();
    done("free");
}

void count_steps(const std::shared_ptr<InformationModel>& model) {
    for (const std::size_t items : ITEMS) {
        const std::string body = create_read_request(items, VARIABLES);
        take_steps(model, body, [](const std::string&) {});  // warms up
        take_steps(model, body, [items](const std::string& step) { dump(step, items, 1); });
    }
}

void count() {
    const auto model = std::make_shared<InformationModel>("plant");
    build_tree(model->get_root(), VARIABLES);
    count_steps(model);
    count_server(OURS, serve_tree(VARIABLES), create_read);
    count_server(OURS_WRITING, serve_tree(VARIABLES), create_write);
    count_server(OURS_BROWSING, serve_tree(VARIABLES), create_browse);
    count_server(FLOOR, serve_constant_replies(),
                 [&](std::size_t items) { return create_constant_read(model, items); });
    if (const Serve peer = serve_peer(VARIABLES)) {
        count_server(PEER, peer, create_read);
    }
}

}  // namespace

int main() {
    try {
        count();
        std::_Exit(0);  // the servers do not end
    } catch (const std::exception& error) {
        std::cerr << "kx_instructions: " << error.what() << '\n';
    }
    std::_Exit(1);
}
