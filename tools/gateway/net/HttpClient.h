#pragma once

#include "gateway/async/Completion.h"
#include "gateway/http/ServerAddress.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace gateway {

class AsioLoop;
struct HttpClientParts;
struct TrustOptions;

/// What became of a request.
struct HttpOutcome {
    unsigned status = 0;  ///< 0 if there was no reply
    std::string body;
    std::string failure;  ///< why there was no reply
};

/// Posts documents to one server over a few connections that stay open. Requests beyond that number wait.
class HttpClient {
public:
    static constexpr std::size_t MOST_CONNECTIONS = 3;

    /// Whether a request may be sent a second time when the server closed the idle connection meanwhile.
    enum class Repetition { ALLOWED, FORBIDDEN };

    /// @throws std::invalid_argument  if what the server is to be trusted by cannot be used
    HttpClient(AsioLoop& loop, ServerAddress address, const TrustOptions& trust);
    ~HttpClient();
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;

    /// Completes when the reply is there, when it cannot come any more, or after `patience`.
    Completion<HttpOutcome> post(std::string body, Repetition repetition, std::chrono::milliseconds patience);

    /// Ends all connections; what is under way fails.
    void close();

    std::size_t get_connections() const;
    std::uint64_t get_requests() const;

private:
    std::shared_ptr<HttpClientParts> parts_;
};

}  // namespace gateway
