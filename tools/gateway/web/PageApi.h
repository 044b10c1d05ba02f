#pragma once

#include "gateway/async/Task.h"
#include "gateway/http/HttpMessage.h"
#include "gateway/services/SoapServices.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace gateway {

class PageSession;

/// What the page in a browser asks for, in JSON: the tree, values as they change, writes.
class PageApi {
public:
    /// @param server  the URL of the server, for people
    PageApi(const ServiceParts& parts, std::string server);
    ~PageApi();
    PageApi(const PageApi&) = delete;
    PageApi& operator=(const PageApi&) = delete;

    /// GET /api/browse?item=...: what is below an item.
    Task<HttpReply> browse(std::string item);

    /// GET /api/status
    HttpReply get_status() const;

    /// GET /api/events: the state of the server, and the items that the page watches whenever they change.
    HttpReply open_events();

    /// POST /api/watch: which items those are from now on.
    HttpReply watch(const std::string& body);

    /// POST /api/write: a new value for an item.
    Task<HttpReply> write(std::string body);

    /// Tells all pages that the condition of the server has changed.
    void notify_condition();

    std::size_t get_pages() const { return sessions_.size(); }
    std::size_t get_items() const;

private:
    /// Of the names of all watched items.
    std::size_t get_bytes() const;

    friend class PageSession;

    const ServiceParts parts_;
    const std::string server_;
    std::uint64_t last_session_ = 0;
    std::map<std::string, PageSession*> sessions_;
};

}  // namespace gateway
