// When the services hold the tree's lock, and when they do not.

#include "../subscriptions/ServiceCaller.h"
#include "services/Browse.h"
#include "services/GetProperties.h"
#include "services/Read.h"
#include "services/Write.h"
#include "subscriptions/Subscribe.h"
#include "subscriptions/SubscriptionPolledRefresh.h"
#include "support/TestThreads.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <regex>
#include <shared_mutex>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>

namespace kx::information_model::opc::testing {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

template <class Message>
std::string call(ServiceCaller& caller, const std::string& request) {
    if constexpr (std::is_constructible_v<Message, std::shared_ptr<InformationModel>, const Poco::XML::Node*,
                                          const Poco::XML::NamespaceSupport&, SubscriptionHandler&>) {
        return caller.call<Message>(request);
    } else {
        const ServiceRequest parsed(request);
        return get_reply_text(Message(caller.model, parsed.get_element(), parsed.get_namespaces()).generate())
            .to_string();
    }
}

/// A request for items, in the form of one service.
struct Service {
    std::string name;
    std::string element;  // for one item
    std::function<std::string(ServiceCaller&, const std::string& items)> call;
};

/// Polls a subscription that nobody has seen yet.
std::string poll(ServiceCaller& caller, const std::string& items) {
    const auto subscription = caller.handler.create(std::chrono::hours(1));
    const std::regex name("ItemName=\"([^\"]*)\"");
    for (std::sregex_iterator match(items.begin(), items.end(), name), end; match != end; ++match) {
        subscription->items.push_back({Path((*match)[1].str()), std::nullopt, 0.0F, {}, false});
    }
    subscription->items_complete = true;
    return call<SubscriptionPolledRefresh>(caller, "<SubscriptionPolledRefresh><ServerSubHandles>" +
                                                       subscription->handle +
                                                       "</ServerSubHandles></SubscriptionPolledRefresh>");
}

const Service READ{"Read", "Items", [](ServiceCaller& caller, const std::string& items) {
                       return call<Read>(caller, "<Read><ItemList>" + items + "</ItemList></Read>");
                   }};
const Service WRITE{"Write", "Items", [](ServiceCaller& caller, const std::string& items) {
                        return call<Write>(caller, "<Write ReturnValuesOnReply=\"true\"><ItemList>" + items +
                                                       "</ItemList></Write>");
                    }};
// All children of the root, whatever the items.
const Service BROWSE{"Browse", "Items", [](ServiceCaller& caller, const std::string& /*items*/) {
                         return call<Browse>(caller,
                                             "<Browse ReturnPropertyValues=\"true\">"
                                             "<PropertyNames>value</PropertyNames></Browse>");
                     }};
const Service GET_PROPERTIES{"GetProperties", "ItemIDs", [](ServiceCaller& caller, const std::string& items) {
                                 return call<GetProperties>(caller,
                                                            "<GetProperties ReturnPropertyValues=\"true\">"
                                                            "<PropertyNames>value</PropertyNames>" +
                                                                items + "</GetProperties>");
                             }};
const Service SUBSCRIBE{
    "Subscribe", "Items", [](ServiceCaller& caller, const std::string& items) {
        return call<Subscribe>(
            caller, "<Subscribe ReturnValuesOnReply=\"true\"><ItemList>" + items + "</ItemList></Subscribe>");
    }};
const Service POLL{"SubscriptionPolledRefresh", "Items", poll};

/// The first and the last of the values in a reply.
std::pair<std::string, std::string> get_outer_values(const std::string& reply) {
    const std::string start = "<Value xsi:type=\"xsd:int\">";
    const auto get_value = [&](std::size_t place) {
        if (place == std::string::npos) {
            throw std::runtime_error("no value in " + reply);
        }
        place += start.size();
        return reply.substr(place, reply.find('<', place) - place);
    };
    return {get_value(reply.find(start)), get_value(reply.rfind(start))};
}

class ServiceLock : public ::testing::TestWithParam<Service> {
protected:
    ServiceLock() {
        for (int number = 0; number < 200; ++number) {
            caller.get_root().add_domain("between" + std::to_string(number));
        }
        last = &caller.get_root().add_variable("last", Value(0), {.writable = true});
    }

    std::string create_item(const std::string& name) const {
        return "<" + GetParam().element + " ItemName=\"" + name + "\"/>";
    }

    std::string create_items() const {
        std::string items = create_item("/first");
        for (int number = 0; number < 200; ++number) {
            items += create_item("/between" + std::to_string(number));
        }
        return items + create_item("/last");
    }

    void write_both(int number) {
        const std::unique_lock<Tree> lock(caller.get_root());
        first = Value(number);
        *last = Value(number);
    }

    ServiceCaller caller;
    Variable& first = caller.get_root().add_variable("first", Value(0), {.writable = true});
    Variable* last;
};

using ReadingServiceLock = ServiceLock;

TEST_P(ReadingServiceLock, IsHeldOverAllItems) {
    const std::string items = create_items();
    const TestThreads writer([&](const std::stop_token& token) {
        for (int number = 1; !token.stop_requested(); ++number) {
            write_both(number);
        }
    });
    for (int round = 0; round < 50; ++round) {
        const auto [first_value, last_value] = get_outer_values(GetParam().call(caller, items));
        EXPECT_EQ(first_value, last_value);
    }
}

TEST_P(ReadingServiceLock, WaitsForTheHost) {
    std::unique_lock<Tree> lock(caller.get_root());
    auto reply =
        std::async(std::launch::async, [&] { return GetParam().call(caller, create_item("/first")); });
    EXPECT_EQ(reply.wait_for(200ms), std::future_status::timeout);
    first = Value(5);
    lock.unlock();
    EXPECT_EQ(get_outer_values(reply.get()).first, "5");
}

TEST_P(ReadingServiceLock, IsSharedWithOtherReaders) {
    std::shared_lock<const Tree> lock(caller.get_root());
    auto reply =
        std::async(std::launch::async, [&] { return GetParam().call(caller, create_item("/first")); });
    EXPECT_EQ(reply.wait_for(60s), std::future_status::ready);
    lock.unlock();  // a reply that waits for it would never be there
}

INSTANTIATE_TEST_SUITE_P(Services, ReadingServiceLock,
                         ::testing::Values(READ, BROWSE, GET_PROPERTIES, SUBSCRIBE, POLL),
                         [](const auto& parameter) { return parameter.param.name; });

/// In place of the standard error stream, a pipe that takes little until it is read.
class NarrowStderr {
public:
    NarrowStderr() : stderr_(dup(STDERR_FILENO)) {
        if (stderr_ < 0 || pipe(pipe_) != 0 || fcntl(pipe_[1], F_SETPIPE_SZ, 1) < 0 ||
            dup2(pipe_[1], STDERR_FILENO) < 0) {
            throw std::runtime_error("no pipe");
        }
        close(pipe_[1]);
    }
    NarrowStderr(const NarrowStderr&) = delete;
    NarrowStderr& operator=(const NarrowStderr&) = delete;
    ~NarrowStderr() {
        restore();
        close(pipe_[0]);
        close(stderr_);
    }

    /// Waits for the first byte.
    char read_one() {
        char byte = 0;
        return ::read(pipe_[0], &byte, 1) == 1 ? byte : '\0';
    }

    /// Reads as long as somebody writes, and counts the lines.
    std::size_t drain() {
        std::size_t lines = 0;
        char buffer[4096];
        for (ssize_t size = 0; (size = ::read(pipe_[0], buffer, sizeof buffer)) > 0;) {
            lines += static_cast<std::size_t>(std::count(buffer, buffer + size, '\n'));
        }
        return lines;
    }

    void restore() { dup2(stderr_, STDERR_FILENO); }

private:
    int stderr_;
    int pipe_[2] = {-1, -1};
};

class DiagnosticsWithoutLock : public ::testing::TestWithParam<Service> {
protected:
    static constexpr std::size_t LINES = 10'000;

    /// Has the service report items that are missing while nobody reads the standard error stream, so that it
    /// hangs in the middle of its lines, and takes the lock. Only then the stream is read.
    /// @return how many lines there are: what waits too long is dropped
    static std::size_t take_lock_amid_lines() {
        ServiceCaller caller;
        std::string items;
        for (std::size_t number = 0; number < LINES; ++number) {
            items += "<" + GetParam().element + " ItemName=\"/missing" + std::to_string(number) + "\"/>";
        }
        NarrowStderr narrow;
        auto reply = std::async(std::launch::async, [&] { return GetParam().call(caller, items); });
        EXPECT_EQ(narrow.read_one(), 'e');
        const bool is_locked = wait_for_lock(caller.get_root());
        auto lines = std::async(std::launch::async, [&] { return narrow.drain(); });
        reply.wait();
        narrow.restore();
        EXPECT_TRUE(is_locked);
        if (is_locked) {
            caller.get_root().unlock();
        }
        return lines.get();
    }

private:
    static bool wait_for_lock(Tree& tree) {
        const auto deadline = steady_clock::now() + 20s;
        while (!tree.try_lock()) {
            if (steady_clock::now() > deadline) {
                return false;
            }
            std::this_thread::sleep_for(1ms);
        }
        return true;
    }
};

// Lines that are written under the lock are dropped before it is free, each time. On a busy machine that may
// happen to others once.
TEST_P(DiagnosticsWithoutLock, IsWhatTheHostNeeds) {
    std::size_t lines = 0;
    for (int attempt = 0; attempt < 3 && lines < LINES; ++attempt) {
        lines = take_lock_amid_lines();
    }
    EXPECT_EQ(lines, LINES);
}

INSTANTIATE_TEST_SUITE_P(Services, DiagnosticsWithoutLock,
                         ::testing::Values(READ, WRITE, GET_PROPERTIES, SUBSCRIBE, POLL),
                         [](const auto& parameter) { return parameter.param.name; });

}  // namespace
}  // namespace kx::information_model::opc::testing
