#include "xmlda/commands/Watch.h"

#include "client/requests.h"
#include "xmlda/Failure.h"
#include "xmlda/commands/commands.h"
#include "xmlda/commands/facts.h"
#include "xmlda/commands/select_items.h"
#include "xmlda/print/item_output.h"

#include <algorithm>
#include <map>
#include <utility>

namespace xmlda {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds SHORTEST_PING_RATE(30'000);
constexpr int POLLS_PER_PING = 3;

/// Between polls so far apart no connection is kept: it may hold a thread of the server.
constexpr milliseconds LONG_INTERVAL(1000);

/// How long a subscription lives without a poll. Polls may be late, and a request may time out.
milliseconds get_ping_rate(const Arguments& arguments) {
    return std::max(SHORTEST_PING_RATE, POLLS_PER_PING * (arguments.interval + arguments.http.time_out));
}

/// Whether trying again may help: the server may be being restarted.
bool may_pass(const Failure& failure) {
    switch (failure.get_status()) {
        case ExitStatus::UNKNOWN_HOST:
        case ExitStatus::NO_CONNECTION:
        case ExitStatus::TIMED_OUT:
        case ExitStatus::HTTP_ERROR:
            return true;
        default:
            return false;
    }
}

bool is_same(const ShownItem& left, const ShownItem& right) {
    return left.reply.value == right.reply.value && left.get_quality() == right.get_quality() &&
           left.reply.result == right.reply.result;
}

/// Whether the server knows nothing more of an item whose value it has just sent: somebody has removed it
/// since.
bool has_vanished(const ShownItem& before, const ShownItem& now) {
    return !now.reply.has_error() && before.get_quality() && !now.get_quality();
}

Arguments with_items(Arguments arguments, std::vector<ItemAddress> items) {
    arguments.items = std::move(items);
    return arguments;
}

std::string to_seconds(milliseconds time) {
    return std::to_string(std::chrono::ceil<std::chrono::seconds>(time).count()) + " s";
}

}  // namespace

Watch::Watch(Client& client, const Arguments& arguments, Console& console)
    : client_(client),
      wanted_(arguments),
      arguments_(with_items(arguments, select_items(client, arguments, console))),
      console_(console),
      matcher_(arguments_.items),
      view_(create_watch_view(arguments_, console)),
      latest_(arguments_.items.size()) {
    client_.get_transport().set_interruption(&interruption_);
    client_.on_header([this](const ReplyHeader& header) { take_header(header); });
}

Watch::~Watch() {
    client_.get_transport().set_interruption(nullptr);
    client_.on_header(nullptr);
}

void Watch::run() {
    try {
        watch();
    } catch (const Interrupted&) {
        view_->end_interrupted();
    } catch (const Failure&) {
        cancel();
        throw;
    }
    cancel();
}

void Watch::watch() {
    if (arguments_.duration) {
        end_.emplace(*arguments_.duration);
    }
    Deadline next_poll(arguments_.interval);
    std::optional<Deadline> next_look;
    if (has_choice(wanted_) && arguments_.rediscovery > milliseconds(0)) {
        next_look.emplace(arguments_.rediscovery);
    }
    call_server();
    while (!is_over()) {
        if (interruption_.wait(Deadline(get_pause(next_poll, next_look)))) {
            throw Interrupted();
        }
        if (next_look && next_look->has_passed()) {
            try_patiently(&Watch::rediscover);
            next_look.emplace(arguments_.rediscovery);
        }
        if (!is_over() && next_poll.has_passed()) {
            next_poll = Deadline(arguments_.interval);
            try_patiently(&Watch::call_server);
        }
    }
}

bool Watch::is_over() const {
    const bool has_enough = arguments_.count && changes_ >= *arguments_.count;
    return has_enough || is_hopeless_ || (end_ && end_->has_passed());
}

milliseconds Watch::get_pause(const Deadline& next_poll, const std::optional<Deadline>& next_look) const {
    milliseconds pause = next_poll.get_remaining();
    for (const auto& deadline : {end_, next_look}) {
        pause = deadline ? std::min(pause, deadline->get_remaining()) : pause;
    }
    return pause;
}

void Watch::call_server() {
    if (arguments_.items.empty()) {
        return;  // all that a pattern had are gone
    }
    if (subscription_.empty()) {
        subscribe();
    } else {
        poll();
    }
    if (arguments_.interval >= LONG_INTERVAL) {
        client_.get_transport().disconnect();
    }
}

void Watch::rediscover() {
    std::vector<ItemAddress> found = select_items_again(client_, wanted_, console_);
    const auto origins = find_origins(found);
    const auto added = static_cast<std::size_t>(std::count(origins.begin(), origins.end(), std::nullopt));
    const std::size_t kept = found.size() - added;
    const std::size_t removed = arguments_.items.size() - kept;
    if (added == 0 && removed == 0) {
        return;
    }
    say("items: " + std::to_string(added) + " new, " + std::to_string(removed) + " gone, " +
        std::to_string(found.size()) + " in all");
    take_items(std::move(found));
    call_server();
}

std::vector<std::optional<std::size_t>> Watch::find_origins(const std::vector<ItemAddress>& items) const {
    std::map<std::pair<std::string, std::string>, std::vector<std::size_t>> present;
    for (std::size_t i = arguments_.items.size(); i > 0; --i) {
        const ItemAddress& item = arguments_.items[i - 1];
        present[{item.name, item.path}].push_back(i - 1);
    }
    std::vector<std::optional<std::size_t>> origins;
    for (const ItemAddress& item : items) {
        const auto found = present.find({item.name, item.path});
        if (found == present.end() || found->second.empty()) {
            origins.emplace_back();
        } else {
            origins.emplace_back(found->second.back());
            found->second.pop_back();
        }
    }
    return origins;
}

void Watch::take_items(std::vector<ItemAddress> items) {
    cancel_at_server();
    const auto origins = find_origins(items);
    std::vector<std::optional<ShownItem>> latest(items.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (origins[i]) {
            latest[i] = std::move(latest_[*origins[i]]);
        }
    }
    latest_ = std::move(latest);
    branches_.clear();
    arguments_.items = std::move(items);
    matcher_ = ItemMatcher(arguments_.items);
    view_->take_items(origins);
}

void Watch::try_patiently(void (Watch::*call)()) {
    try {
        (this->*call)();
    } catch (const Failure& failure) {
        if (!may_pass(failure)) {
            throw;
        }
        bear(failure);
    }
}

void Watch::subscribe() {
    const SubscribeReply reply = client_.call(
        create_subscribe_request(arguments_.items, arguments_.interval, get_ping_rate(arguments_)),
        parse_subscribe_reply);
    subscription_ = reply.handle;
    asks_for_facts_ = !arguments_.without_quality;
    report_absent(reply.items);
    if (is_hopeless_) {
        return;
    }
    take(reply.items);
    if (subscription_.empty()) {
        throw Failure(ExitStatus::UNEXPECTED_CONTENT, "the server gave no handle for the subscription");
    }
    was_subscribed_ = true;
}

void Watch::poll() {
    try {
        const RefreshReply reply = client_.call(create_refresh_request(subscription_), parse_refresh_reply);
        if (reply.has_overflowed) {
            say("the server could not keep all changes: some are missing");
        }
        if (reply.is_subscription_lost) {
            renew();
        } else {
            take(reply.items);
        }
    } catch (const ServerFault& fault) {
        take_answer();
        if (fault.get_code() == "E_NOSUBSCRIPTION") {
            renew();
        } else if (fault.get_code() !=
                   "E_BUSY") {  // the server has not finished the poll before: the next one will do
            throw;
        }
    }
}

void Watch::renew() {
    say("the server has lost the subscription: subscribing again");
    subscription_.clear();
    subscribe();
}

void Watch::cancel() {
    if (subscription_.empty()) {
        return;
    }
    client_.get_transport().set_interruption(nullptr);
    client_.on_header(nullptr);
    cancel_at_server();
}

void Watch::cancel_at_server() {
    if (subscription_.empty()) {
        return;
    }
    const std::string subscription = std::move(subscription_);
    subscription_.clear();
    try {
        client_.call(create_cancel_request(subscription), parse_cancel_reply);
    } catch (const Failure&) {
        // It is over for us in any case, and the server forgets it when no more polls come.
    }
}

void Watch::take(const std::vector<ItemReply>& items) {
    std::vector<std::size_t> indices;
    std::vector<ItemAddress> addresses;
    std::vector<std::optional<ItemReply>> replies;
    for (const ItemReply& item : items) {
        const auto index = matcher_.find(item);
        if (index && !branches_.contains(*index)) {
            indices.push_back(*index);
            addresses.push_back(arguments_.items[*index]);
            replies.emplace_back(item);
        }
    }
    const auto shown = add_facts(client_, addresses, replies, asks_for_facts_);
    for (std::size_t i = 0; i < shown.size(); ++i) {
        auto& latest = latest_[indices[i]];
        const bool is_enough = arguments_.count && changes_ >= *arguments_.count;
        if (is_enough || (latest && is_same(*latest, *shown[i])) ||
            (latest && asks_for_facts_ && has_vanished(*latest, *shown[i]))) {
            continue;
        }
        latest = shown[i];
        view_->show_change(indices[i], *latest);
        ++changes_;
    }
    view_->end_reply();
}

void Watch::report_absent(const std::vector<ItemReply>& items) {
    const auto sorted = matcher_.sort(items);
    std::size_t absent = 0;
    view_->make_way();
    for (std::size_t i = 0; i < sorted.size(); ++i) {
        // Some servers answer for a branch, with an item that holds nothing.
        const bool is_empty = sorted[i] && !sorted[i]->value && !sorted[i]->has_error();
        if (is_empty && is_branch(client_, console_, arguments_.items[i])) {
            branches_.insert(i);
        }
        if (!sorted[i] || branches_.contains(i)) {
            ++absent;
            console_.report(
                ExitStatus::MISSING_ITEM,
                arguments_.items[i].name + ": " + explain_missing(client_, console_, arguments_.items[i]));
        } else if (sorted[i]->has_error()) {
            ++absent;
            console_.report(ExitStatus::ITEM_ERROR,
                            arguments_.items[i].name + ": " + get_error_text(*sorted[i]));
        }
    }
    // After a restart a server may not have its items yet.
    is_hopeless_ = absent == sorted.size() && !was_subscribed_;
}

void Watch::take_answer() {
    if (end_of_patience_) {
        end_of_patience_.reset();
        say("the connection is back");
    }
}

void Watch::take_header(const ReplyHeader& header) {
    take_answer();
    const std::string state = is_running(header) ? "" : header.server_state;
    if (state != state_) {
        state_ = state;
        say(state.empty() ? "the server is running again" : "the server's state is '" + state + "'");
    }
}

void Watch::say(const std::string& message) {
    view_->make_way();
    console_.report(message);
    view_->come_back();
}

void Watch::bear(const Failure& failure) {
    if (!end_of_patience_) {
        end_of_patience_.emplace(arguments_.patience);
        if (!end_of_patience_->has_passed()) {
            say(std::string(failure.what()) + ": trying again for " + to_seconds(arguments_.patience));
        }
    }
    if (end_of_patience_->has_passed()) {
        throw failure;
    }
}

void run_watch(Client& client, const Arguments& arguments, Console& console) {
    Watch(client, arguments, console).run();
}

void run_record(Client& client, const Arguments& arguments, Console& console) {
    Watch(client, arguments, console).run();
}

}  // namespace xmlda
