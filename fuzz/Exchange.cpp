#include "Exchange.h"

#include "require.h"

namespace kx::fuzz {

std::ostream& CapturedResponse::send() {
    require(!sent_, "a request has one reply");
    sent_ = true;
    return body_;
}

void CapturedResponse::sendBuffer(const void* buffer, std::size_t length) {
    send().write(static_cast<const char*>(buffer), static_cast<std::streamsize>(length));
}

void CapturedResponse::sendFile(const std::string& path, const std::string& /*media_type*/) {
    require(false, "no file is ever sent", path);
}

void CapturedResponse::redirect(const std::string& uri, HTTPStatus /*status*/) {
    require(false, "no request is redirected", uri);
}

void CapturedResponse::requireAuthentication(const std::string& realm) {
    require(false, "nobody is asked for a password", realm);
}

}  // namespace kx::fuzz
