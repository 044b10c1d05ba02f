#include "gateway/upstream/Sampler.h"

#include <algorithm>
#include <cstddef>
#include <exception>
#include <iterator>
#include <utility>

namespace gateway {
namespace {

using Kind = ItemState::Kind;

constexpr auto STATUS_INTERVAL = std::chrono::seconds(5);
constexpr auto RETRY_INTERVAL = std::chrono::seconds(1);
constexpr auto TURN = std::chrono::seconds(30);  // in which every watched item is read again
constexpr std::size_t MOST_ITEMS_A_REQUEST = 5000;

std::vector<std::string> get_paths(const std::vector<std::shared_ptr<Item>>& items) {
    std::vector<std::string> paths;
    paths.reserve(items.size());
    for (const auto& item : items) {
        paths.push_back(item->path);
    }
    return paths;
}

void append(std::vector<std::shared_ptr<Item>>& target, std::vector<std::shared_ptr<Item>> more) {
    target.insert(target.end(), std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

}  // namespace

Sampler::Sampler(EventLoop& loop, ServerClient& client, ItemTable& table, std::chrono::milliseconds interval)
    : loop_(loop), client_(client), table_(table), interval_(interval) {
    client_.set_listener([this](bool answered, const std::string& failure) { notice(answered, failure); });
    table_.set_watch_listener([this](const std::shared_ptr<Item>& item) { fresh_.push_back(item); });
}

void Sampler::start() {
    spawn(run());
}

Task<> Sampler::stop() {
    is_stopping_ = true;
    wake_.set(true);
    co_await has_ended_;
    if (!handle_.empty() && condition_.is_running) {
        try {
            co_await client_.cancel(handle_);
        } catch (const std::exception&) {
            // it goes away by itself after its ping rate
        }
    }
}

/// Any request may be the first to find out that the server is away; that it is back is decided by `sample`,
/// which then reads everything anew.
void Sampler::notice(bool answered, const std::string& failure) {
    if (!answered && condition_.is_running) {
        set_condition(false, failure);
        wake_.set(true);
    }
}

void Sampler::set_condition(bool is_running, const std::string& failure) {
    const bool is_news = condition_.is_running != is_running || condition_.failure != failure;
    condition_.is_running = is_running;
    condition_.failure = failure;
    if (!is_running) {
        forget_subscription();
        table_.set_stale();
    }
    if (is_news && listener_) {
        listener_();
    }
}

Task<> Sampler::run() {
    while (!is_stopping_) {
        wake_ = Completion<bool>();
        const auto begin = loop_.get_time();
        co_await sample_or_fail();
        if (is_stopping_) {
            break;
        }
        const auto spent = std::chrono::duration_cast<std::chrono::milliseconds>(loop_.get_time() - begin);
        const auto pause = condition_.is_running ? std::max(interval_ - spent, interval_ / 10)
                                                 : std::chrono::milliseconds(RETRY_INTERVAL);
        const auto timer = loop_.call_after(pause, [wake = wake_] { wake.set(true); });
        co_await wake_;
        loop_.cancel(timer);
    }
    has_ended_.set(true);
}

Task<> Sampler::sample_or_fail() {
    try {
        co_await sample();
    } catch (const RequestRefused&) {
        // Because of an item that cannot be sent. It is found when those without a subscription are read, and
        // then left out of it.
        forget_subscription();
    } catch (const std::exception& error) {  // ServerAway, Fault; also a shortage of memory, which passes
        set_condition(false, error.what());
    }
}

Task<> Sampler::ask_status() {
    const xmlda::StatusReply status = co_await client_.get_status();
    condition_.vendor = status.vendor;
    condition_.version = status.version;
    next_status_ = loop_.get_time() + STATUS_INTERVAL;
}

Task<> Sampler::sample() {
    const bool was_running = condition_.is_running;
    if (!was_running || (table_.get_watched() == 0 && loop_.get_time() >= next_status_)) {
        co_await ask_status();
    }
    std::vector<std::shared_ptr<Item>> to_read = std::exchange(fresh_, {});
    bool is_anew = !was_running;
    if (!handle_.empty()) {
        ++polls_;
        const auto changed = co_await client_.refresh(handle_);
        is_anew = is_anew || !changed;
        if (changed) {
            append(to_read, find_items(*changed));
        }
    }
    if (is_anew) {  // it may be another server now
        forget_subscription();
        to_read = get_all_watched();
    } else {
        append(to_read, take_next_in_turn());
        if (has_more_items_) {
            append(to_read, get_unsubscribed());
        }
    }
    const Scope scope = is_anew ? Scope::ALL_FACTS : Scope::STATES;
    const bool is_read = co_await read(std::move(to_read), scope);
    if (!is_read) {
        throw ServerAway(condition_.failure);
    }
    if (!was_running) {
        set_condition(true, "");
    } else if (!condition_.is_running) {
        throw ServerAway(condition_.failure);  // somebody else found out meanwhile
    }
    has_more_items_ = needs_new_subscription();
    if ((has_more_items_ && loop_.get_time() >= next_subscribe_) ||
        (!handle_.empty() && table_.get_watched() == 0)) {
        co_await subscribe_anew();
    }
}

void Sampler::forget_subscription() {
    handle_.clear();
    for (const auto& [item, shared] : table_.get_watched_items()) {
        item->is_subscribed = false;
    }
}

std::vector<std::shared_ptr<Item>> Sampler::get_all_watched() const {
    std::vector<std::shared_ptr<Item>> items;
    for (const auto& [item, shared] : table_.get_watched_items()) {
        items.push_back(shared);
    }
    return items;
}

std::vector<std::shared_ptr<Item>> Sampler::get_unsubscribed() const {
    std::vector<std::shared_ptr<Item>> items;
    for (const auto& [item, shared] : table_.get_watched_items()) {
        if (!item->is_subscribed && item->state.kind == Kind::VARIABLE) {
            items.push_back(shared);
        }
    }
    return items;
}

bool Sampler::needs_new_subscription() const {
    return !get_unsubscribed().empty() || subscribed_ > 2 * table_.get_watched() + 100;
}

/// Makes the subscription that holds all watched variables. The one before is polled once more behind the
/// first poll of the new one, so that no change falls between the two.
Task<> Sampler::subscribe_anew() {
    const auto begin = loop_.get_time();
    std::vector<std::shared_ptr<Item>> items;
    for (const auto& [item, shared] : table_.get_watched_items()) {
        item->is_subscribed = item->state.kind == Kind::VARIABLE;
        if (item->is_subscribed) {
            items.push_back(shared);
        }
    }
    std::string handle;
    if (!items.empty()) {
        handle = co_await client_.subscribe(get_paths(items));
        co_await client_.refresh(handle);  // reports everything, which is known
    }
    const std::string previous = std::exchange(handle_, handle);
    subscribed_ = items.size();
    has_more_items_ = false;
    if (previous.empty()) {
        co_await read(std::move(items));
    } else {
        const auto changed = co_await client_.refresh(previous);
        if (changed) {
            items = find_items(*changed);
        }
        co_await read(std::move(items));
        co_await client_.cancel(previous);
    }
    // The more there is to subscribe, the less often.
    const auto spent = loop_.get_time() - begin;
    next_subscribe_ = loop_.get_time() + std::max<std::chrono::steady_clock::duration>(interval_, 10 * spent);
}

std::vector<std::shared_ptr<Item>> Sampler::find_items(const std::vector<std::string>& names) const {
    std::vector<std::shared_ptr<Item>> items;
    for (const std::string& name : names) {
        if (auto item = table_.find(name)) {
            items.push_back(std::move(item));
        }
    }
    return items;
}

/// The server does not tell of items that are removed, or that come back. So each is read again now and then.
std::vector<std::shared_ptr<Item>> Sampler::take_next_in_turn() {
    if (turn_.empty()) {
        for (const auto& [item, shared] : table_.get_watched_items()) {
            turn_.push_back(shared);
        }
    }
    const auto share = table_.get_watched() * static_cast<std::size_t>(interval_.count()) /
                           static_cast<std::size_t>(std::chrono::milliseconds(TURN).count()) +
                       1;
    std::vector<std::shared_ptr<Item>> items;
    while (!turn_.empty() && items.size() < share) {
        if (auto item = turn_.back().lock()) {
            items.push_back(std::move(item));
        }
        turn_.pop_back();
    }
    return items;
}

Task<bool> Sampler::read(std::vector<std::shared_ptr<Item>> items, Scope scope) {
    std::sort(items.begin(), items.end());  // a client may name an item many times
    items.erase(std::unique(items.begin(), items.end()), items.end());
    const bool with_facts =
        scope == Scope::ALL_FACTS ||
        std::any_of(items.begin(), items.end(), [](const auto& item) { return item->facts.type.empty(); });
    bool is_complete = true;
    for (std::size_t begin = 0; begin < items.size() && is_complete; begin += MOST_ITEMS_A_REQUEST) {
        const std::size_t end = std::min(items.size(), begin + MOST_ITEMS_A_REQUEST);
        const std::vector<std::shared_ptr<Item>> part(items.begin() + static_cast<std::ptrdiff_t>(begin),
                                                      items.begin() + static_cast<std::ptrdiff_t>(end));
        const std::uint64_t read_number = table_.get_read_number();
        std::vector<ItemAnswer> answers;
        try {
            answers = co_await client_.read_items(get_paths(part), with_facts);
        } catch (const ServerAway&) {
            is_complete = false;  // `notice` has told everybody
        }
        for (std::size_t i = 0; i < part.size() && i < answers.size(); ++i) {
            if (with_facts) {
                part[i]->facts = std::move(answers[i].facts);
            }
            table_.update(*part[i], std::move(answers[i].state), read_number);
        }
    }
    table_.publish();
    co_return is_complete;
}

}  // namespace gateway
