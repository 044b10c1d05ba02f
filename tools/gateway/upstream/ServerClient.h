#pragma once

#include "gateway/async/Completion.h"
#include "gateway/async/Task.h"
#include "gateway/items/Item.h"

#include "client/replies.h"
#include "client/requests.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace gateway {

struct HttpOutcome;

/// The server does not answer, or answers with something else than OPC XML-DA. The message says what
/// happened.
class ServerAway : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The server refused the request as a whole, without saying why.
class RequestRefused : public std::runtime_error {
public:
    RequestRefused() : std::runtime_error("the server refused the request") {}
};

/// What is known of an item after it was asked for.
struct ItemAnswer {
    ItemState state;
    ItemFacts facts;  ///< only if they were asked for
};

/// What a browse asks for besides names.
struct PropertyChoice {
    bool all = false;
    bool values = true;
    std::vector<std::string> names;  ///< as the server has them, "telvix:delta"
};

/// The services of the server, as far as the gateway uses them. Every task throws `ServerAway` if there is no
/// usable answer, `RequestRefused` or `xmlda::Fault` if the server refuses.
class ServerClient {
public:
    /// Sends a document and gives the reply.
    /// @param may_repeat  whether it may be sent twice, if the first may not have arrived
    using Post = std::function<Completion<HttpOutcome>(std::string document, bool may_repeat)>;

    explicit ServerClient(Post post) : post_(std::move(post)) {}
    ServerClient(const ServerClient&) = delete;
    ServerClient& operator=(const ServerClient&) = delete;

    /// Whom to tell what became of each request: that the server answered, or why not.
    void set_listener(std::function<void(bool answered, const std::string& failure)> listener) {
        listener_ = std::move(listener);
    }

    Task<xmlda::StatusReply> get_status();

    /// Value, quality and timestamp of items, each of one moment.
    /// @return one for each path, in this order
    Task<std::vector<ItemAnswer>> read_items(std::vector<std::string> paths, bool with_facts);

    /// @return one for each path, in this order; nothing for an item that does not exist
    Task<std::vector<std::optional<xmlda::ItemProperties>>> get_properties(std::vector<std::string> paths,
                                                                           PropertyChoice choice);

    /// What is directly below a branch; a variable itself.
    Task<std::vector<xmlda::BrowseElement>> browse(std::string path, PropertyChoice choice);

    /// @return for each item the value that it has now, or nothing if it was not written
    Task<std::vector<std::optional<xmlda::Value>>> write(std::vector<xmlda::WriteItem> items);

    /// @return the handle
    Task<std::string> subscribe(std::vector<std::string> paths);

    /// @return the names of what has changed, or nothing if the handle is not known
    Task<std::optional<std::vector<std::string>>> refresh(std::string handle);

    /// A handle that is not known is no failure.
    Task<> cancel(std::string handle);

private:
    Task<std::string> call(std::string document, bool may_repeat);

    Post post_;
    std::function<void(bool answered, const std::string& failure)> listener_;
};

}  // namespace gateway
