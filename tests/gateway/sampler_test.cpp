#include "gateway/upstream/Sampler.h"
#include "ManualLoop.h"
#include "gateway/net/HttpClient.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace gateway {
namespace {

using namespace std::chrono_literals;

/// A server of integers, as the sampler sees it: it answers each request by the next round of the loop.
class IntegerServer {
public:
    explicit IntegerServer(EventLoop& loop) : loop_(loop) {}

    ServerClient::Post get_post() {
        return [this](const std::string& document, bool) {
            if (is_memory_short) {
                throw std::bad_alloc();
            }
            const Completion<HttpOutcome> completion;
            loop_.post([this, document, completion] {
                HttpOutcome outcome;
                if (is_away) {
                    outcome.failure = "refused";
                } else {
                    outcome.status = 200;
                    outcome.body = answer(document);
                }
                completion.set(outcome);
            });
            return completion;
        };
    }

    void set(const std::string& path, int value) {
        values_[path] = value;
        changed_.push_back(path);
    }

    void remove(const std::string& path) { values_.erase(path); }

    void restart() {
        subscribed_.clear();
        is_subscribed_ = false;
    }

    bool is_away = false;
    bool is_memory_short = false;         // where the request is sent
    std::map<std::string, int> requests;  // by service
    std::vector<std::string> last_read;

private:
    std::string answer(const std::string& document) {
        std::string content;
        if (document.find("<GetStatus") != std::string::npos) {
            ++requests["GetStatus"];
            content = "<GetStatusResponse><Status><VendorInfo>test</VendorInfo></Status></GetStatusResponse>";
        } else if (document.find("<GetProperties") != std::string::npos) {
            ++requests["GetProperties"];
            last_read = find_all(document, "ItemName=\"");
            content = "<GetPropertiesResponse>";
            for (const std::string& path : last_read) {
                content += describe(path);
            }
            content += "</GetPropertiesResponse>";
        } else if (document.find("<SubscriptionPolledRefresh") != std::string::npos) {
            ++requests["Refresh"];
            content = refresh();
        } else if (document.find("<SubscriptionCancel") != std::string::npos) {
            ++requests["Cancel"];
            content = "<SubscriptionCancelResponse/>";
        } else if (document.find("<Subscribe") != std::string::npos) {
            ++requests["Subscribe"];
            subscribed_ = find_all(document, "ItemName=\"");
            is_subscribed_ = true;
            content = "<SubscribeResponse ServerSubHandle=\"1\"/>";
        }
        return "<e:Envelope xmlns:e=\"http://schemas.xmlsoap.org/soap/envelope/\" "
               "xmlns=\"http://opcfoundation.org/webservices/XMLDA/1.0/\" "
               "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"><e:Body>" +
               content + "</e:Body></e:Envelope>";
    }

    std::string describe(const std::string& path) const {
        const auto found = values_.find(path);
        if (found == values_.end()) {
            return "";
        }
        const auto property = [](const std::string& name, const std::string& text) {
            return "<Properties Name=\"" + name + "\"><Value>" + text + "</Value></Properties>";
        };
        return "<PropertyLists ItemName=\"" + path + "\">" + property("accessRights", "readWritable") +
               property("value", std::to_string(found->second)) + property("quality", "good") +
               property("dataType", "xsd:int") + "</PropertyLists>";
    }

    std::string refresh() {
        std::string content = "<SubscriptionPolledRefreshResponse>";
        if (!is_subscribed_) {
            content += "<InvalidServerSubHandles>1</InvalidServerSubHandles>";
        }
        content += "<RItemList>";
        for (const std::string& path : changed_) {
            if (std::find(subscribed_.begin(), subscribed_.end(), path) != subscribed_.end()) {
                content += "<Items ItemName=\"" + path + "\"/>";
            }
        }
        changed_.clear();
        return content + "</RItemList></SubscriptionPolledRefreshResponse>";
    }

    static std::vector<std::string> find_all(const std::string& document, const std::string& key) {
        std::vector<std::string> found;
        for (auto place = document.find(key); place != std::string::npos; place = document.find(key, place)) {
            place += key.size();
            found.push_back(document.substr(place, document.find('"', place) - place));
        }
        return found;
    }

    EventLoop& loop_;
    std::map<std::string, int> values_;
    std::vector<std::string> subscribed_;
    std::vector<std::string> changed_;
    bool is_subscribed_ = false;
};

class Sampling : public testing::Test {
protected:
    Sampling() { sampler_.start(); }

    ~Sampling() override {
        spawn(sampler_.stop());
        loop_.pass(1s);
    }

    std::string get_text(const ItemWatch& watch) const { return watch->state.value.text; }

    ManualLoop loop_;
    IntegerServer server_{loop_};
    ServerClient client_{server_.get_post()};
    ItemTable table_;
    Sampler sampler_{loop_, client_, table_, 250ms};
};

TEST_F(Sampling, AsksForTheStatusWhileNobodyWatches) {
    loop_.pass(21s);
    EXPECT_TRUE(sampler_.get_condition().is_running);
    EXPECT_EQ(sampler_.get_condition().vendor, "test");
    EXPECT_LE(server_.requests["GetStatus"], 6);
    EXPECT_EQ(server_.requests["Subscribe"], 0);
}

TEST_F(Sampling, FollowsWhatIsWatched) {
    server_.set("/a", 1);
    const ItemWatch watch(table_, table_.get("/a"));
    loop_.pass(1s);
    EXPECT_EQ(get_text(watch), "1");
    EXPECT_EQ(watch->facts.type, "int");
    EXPECT_TRUE(watch->facts.is_writable);
    EXPECT_EQ(server_.requests["Subscribe"], 1);
    server_.set("/a", 2);
    loop_.pass(500ms);
    EXPECT_EQ(get_text(watch), "2");
}

TEST_F(Sampling, SubscribesAnewWhenMoreIsWatched) {
    server_.set("/a", 1);
    server_.set("/b", 1);
    const ItemWatch first(table_, table_.get("/a"));
    loop_.pass(1s);
    const ItemWatch second(table_, table_.get("/b"));
    loop_.pass(1s);
    EXPECT_EQ(get_text(second), "1");
    EXPECT_EQ(server_.requests["Subscribe"], 2);
    EXPECT_EQ(server_.requests["Cancel"], 1);
    loop_.pass(10s);
    EXPECT_EQ(server_.requests["Subscribe"], 2);
}

TEST_F(Sampling, GivesTheSubscriptionBackWhenNobodyWatches) {
    server_.set("/a", 1);
    {
        const ItemWatch watch(table_, table_.get("/a"));
        loop_.pass(1s);
    }
    loop_.pass(1s);
    EXPECT_EQ(server_.requests["Cancel"], 1);
    const int polls = server_.requests["Refresh"];
    loop_.pass(3s);
    EXPECT_EQ(server_.requests["Refresh"], polls);
}

TEST_F(Sampling, FollowsWhatIsWatchedAgain) {
    server_.set("/a", 1);
    server_.set("/b", 1);
    {
        const ItemWatch watch(table_, table_.get("/a"));
        loop_.pass(1s);
    }
    const ItemWatch other(table_, table_.get("/b"));
    loop_.pass(1s);
    const ItemWatch again(table_, table_.get("/a"));
    loop_.pass(1s);
    server_.set("/a", 2);
    loop_.pass(500ms);
    EXPECT_EQ(get_text(again), "2");
}

TEST_F(Sampling, NoticesItemsThatComeAndGo) {
    server_.set("/a", 1);
    const ItemWatch watch(table_, table_.get("/a"));
    const ItemWatch missing(table_, table_.get("/b"));
    loop_.pass(1s);
    EXPECT_EQ(missing->state.kind, ItemState::Kind::MISSING);
    server_.remove("/a");
    server_.set("/b", 7);
    loop_.pass(70s);
    EXPECT_EQ(watch->state.kind, ItemState::Kind::MISSING);
    EXPECT_EQ(get_text(missing), "7");
}

TEST_F(Sampling, KeepsTheLastValueWhileTheServerIsAway) {
    server_.set("/a", 1);
    const ItemWatch watch(table_, table_.get("/a"));
    loop_.pass(1s);
    server_.is_away = true;
    loop_.pass(1s);
    EXPECT_FALSE(sampler_.get_condition().is_running);
    EXPECT_EQ(sampler_.get_condition().failure, "refused");
    EXPECT_EQ(watch->state.quality, "badLastKnownValue");
    EXPECT_EQ(get_text(watch), "1");
    server_.restart();
    server_.set("/a", 5);
    server_.is_away = false;
    loop_.pass(3s);
    EXPECT_TRUE(sampler_.get_condition().is_running);
    EXPECT_EQ(watch->state.quality, "good");
    EXPECT_EQ(get_text(watch), "5");
    server_.set("/a", 6);
    loop_.pass(1s);
    EXPECT_EQ(get_text(watch), "6");
}

TEST_F(Sampling, GoesOnAfterAShortageOfMemory) {
    server_.set("/a", 1);
    const ItemWatch watch(table_, table_.get("/a"));
    loop_.pass(1s);
    server_.is_memory_short = true;
    loop_.pass(1s);
    EXPECT_FALSE(sampler_.get_condition().is_running);
    EXPECT_EQ(watch->state.quality, "badLastKnownValue");
    server_.is_memory_short = false;
    server_.set("/a", 2);
    loop_.pass(3s);
    EXPECT_TRUE(sampler_.get_condition().is_running);
    EXPECT_EQ(get_text(watch), "2");
}

TEST_F(Sampling, SubscribesAnewWhenTheServerHasForgotten) {
    server_.set("/a", 1);
    const ItemWatch watch(table_, table_.get("/a"));
    loop_.pass(1s);
    server_.restart();
    server_.set("/a", 2);
    loop_.pass(1s);
    EXPECT_TRUE(sampler_.get_condition().is_running);
    EXPECT_EQ(get_text(watch), "2");
    EXPECT_EQ(server_.requests["Subscribe"], 2);
}

}  // namespace
}  // namespace gateway
