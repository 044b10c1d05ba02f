#pragma once

#include "client/ItemMatcher.h"
#include "xmlda/Arguments.h"
#include "xmlda/Failure.h"
#include "xmlda/commands/WatchView.h"
#include "xmlda/http/Interruption.h"
#include "xmlda/print/Console.h"
#include "xmlda/soap/Client.h"

#include <chrono>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace xmlda {

/// Watches items: subscribes, polls, and shows what changed. A subscription that the server has lost is made
/// anew; a connection that broke is tried again with each poll until the patience of the arguments is used
/// up. Items that are added to the server later are found. Lives for one command.
class Watch {
public:
    /// @param arguments  with patterns and branches as they were given
    Watch(Client& client, const Arguments& arguments, Console& console);
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;
    ~Watch();

    /// Returns when it is over, with the subscription cancelled.
    /// @throws Failure  see `run_watch`; the subscription is cancelled as well, if that can be done
    void run();

private:
    void watch();
    bool is_over() const;
    std::chrono::milliseconds get_pause(const Deadline& next_poll,
                                        const std::optional<Deadline>& next_look) const;

    /// Subscribes if there is no subscription, else polls it.
    void call_server();
    /// Looks for items that patterns and branches have by now, and subscribes anew if there are others.
    void rediscover();
    /// @return for each of `items` the index that it has among the present ones; nothing if it is new
    std::vector<std::optional<std::size_t>> find_origins(const std::vector<ItemAddress>& items) const;
    void take_items(std::vector<ItemAddress> items);
    void try_patiently(void (Watch::*call)());
    void subscribe();
    void poll();
    void renew();
    void cancel();
    /// Cancels the subscription as well as can be, and forgets it.
    void cancel_at_server();

    void take(const std::vector<ItemReply>& items);
    /// Says which items the server knows nothing of.
    void report_absent(const std::vector<ItemReply>& items);
    /// Prints a message beside the items.
    void say(const std::string& message);
    /// The server has answered: a lost connection is back.
    void take_answer();
    void take_header(const ReplyHeader& header);
    /// Says once that the connection is lost. Throws the failure when the patience is used up.
    void bear(const Failure& failure);

    Client& client_;
    const Arguments wanted_;  // as they were given
    Arguments arguments_;     // with the items that were found
    Console& console_;
    ItemMatcher matcher_;
    const std::unique_ptr<WatchView> view_;
    const Interruption interruption_;
    std::optional<Deadline> end_;
    std::optional<Deadline> end_of_patience_;  // while the connection is lost
    std::string subscription_;                 // empty while there is none
    bool was_subscribed_ = false;
    bool is_hopeless_ = false;  // the server knows none of the items
    std::vector<std::optional<ShownItem>> latest_;
    std::set<std::size_t> branches_;  // among the items: they have no values
    bool asks_for_facts_ = true;      // until the server does not answer
    std::string state_;               // of the server, as it said last
    std::size_t changes_ = 0;
};

}  // namespace xmlda
