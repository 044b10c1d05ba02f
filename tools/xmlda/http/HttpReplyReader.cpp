#include "xmlda/http/HttpReplyReader.h"

#include <Poco/Exception.h>
#include <Poco/Net/HTTPResponse.h>
#include <Poco/String.h>

#include <algorithm>
#include <charconv>
#include <sstream>
#include <string_view>
#include <utility>

namespace xmlda {
namespace {

using Poco::Net::HTTPResponse;

constexpr std::string_view PROTOCOL = "HTTP/";  // what every reply begins with
constexpr std::size_t MAXIMUM_HEAD_SIZE = std::size_t{64} * 1024;
constexpr std::size_t MAXIMUM_LINE_SIZE =
    std::size_t{4} * 1024;                   // of a chunk's size line and of each trailer
constexpr int MAXIMUM_INTERIM_REPLIES = 10;  // "100 Continue" and the like

Failure create_broken() {
    return {ExitStatus::NO_CONNECTION, "the connection broke in the middle of the reply"};
}

Failure create_unexpected(const std::string& what) {
    return {ExitStatus::UNEXPECTED_CONTENT, what};
}

/// A TLS alert, which is what a server that speaks TLS says to one that does not.
bool is_tls_alert(const std::string& head) {
    return head.starts_with("\x15\x03");
}

void parse_head(const std::string& head, HTTPResponse& response) {
    std::istringstream stream(head);
    try {
        response.read(stream);
    } catch (const Poco::Exception&) {
        throw create_unexpected("the answer is not HTTP");
    }
}

bool has_no_body(int status) {
    return status == HTTPResponse::HTTP_NO_CONTENT || status == HTTPResponse::HTTP_NOT_MODIFIED;
}

bool is_interim(const HTTPResponse& response) {
    return response.getStatus() / 100 == 1;
}

bool is_chunked(const HTTPResponse& response) {
    return Poco::icompare(response.get("Transfer-Encoding", ""), "chunked") == 0;
}

std::size_t parse_number(const std::string& text, int base) {
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    const bool ends_well = end == text.data() + text.size() || *end == ';' || *end == ' ';
    if (error != std::errc() || !ends_well) {
        throw create_unexpected("the answer is not HTTP: a length is malformed");
    }
    return number;
}

HttpReply create_reply(const HTTPResponse& response) {
    return {.status = static_cast<int>(response.getStatus()),
            .reason = response.getReason(),
            .content_type = response.get("Content-Type", ""),
            .body = "",
            .stays_open = response.getKeepAlive()};
}

}  // namespace

HttpReplyReader::HttpReplyReader(Source source, std::size_t maximum_size)
    : source_(std::move(source)), maximum_size_(maximum_size) {}

HttpReply HttpReplyReader::read() {
    HTTPResponse response;
    int interim_replies = 0;
    do {
        response.clear();
        parse_head(read_head(), response);
    } while (is_interim(response) && ++interim_replies < MAXIMUM_INTERIM_REPLIES);

    HttpReply reply = create_reply(response);
    if (has_no_body(reply.status)) {
        return reply;
    }
    if (is_chunked(response)) {
        read_chunks(reply.body);
    } else if (response.has("Content-Length")) {
        read_exactly(parse_number(response.get("Content-Length"), 10), reply.body);
    } else {
        read_to_end(reply.body);
        reply.stays_open = false;
    }
    return reply;
}

bool HttpReplyReader::fill() {
    if (position_ == end_) {
        position_ = 0;
        end_ = source_(buffer_.data(), buffer_.size());
    }
    return position_ != end_;
}

char HttpReplyReader::get() {
    if (!fill()) {
        throw create_broken();
    }
    return buffer_[position_++];
}

std::string HttpReplyReader::read_line(std::size_t maximum_size) {
    std::string line;
    for (char character = get(); character != '\n'; character = get()) {
        if (line.size() == maximum_size) {
            throw create_unexpected("the answer is not HTTP: a line is too long");
        }
        line += character;
    }
    if (line.ends_with('\r')) {
        line.pop_back();
    }
    return line;
}

void HttpReplyReader::wait_for_first_byte() {
    bool has_ended = false;
    try {
        has_ended = !fill();
    } catch (const Failure& failure) {
        if (failure.get_status() != ExitStatus::NO_CONNECTION) {
            throw;
        }
        has_ended = true;
    }
    if (has_ended) {
        throw NoReply();
    }
}

std::string HttpReplyReader::read_head() {
    wait_for_first_byte();
    std::string head;
    while (head.size() < PROTOCOL.size()) {
        head += get();
    }
    if (is_tls_alert(head)) {
        throw create_unexpected("the answer is not HTTP: the server seems to speak TLS, try https://");
    }
    if (head != PROTOCOL) {
        throw create_unexpected("the answer is not HTTP");
    }
    for (std::string line = read_line(MAXIMUM_HEAD_SIZE); !line.empty();
         line = read_line(MAXIMUM_HEAD_SIZE)) {
        head += line + "\r\n";
        if (head.size() > MAXIMUM_HEAD_SIZE) {
            throw create_unexpected("the answer is not HTTP: its headers are too long");
        }
    }
    return head + "\r\n";
}

void HttpReplyReader::read_exactly(std::size_t count, std::string& body) {
    check_size(body.size() + std::min(count, maximum_size_ + 1));
    while (count > 0) {
        if (!fill()) {
            throw create_broken();
        }
        const std::size_t part = std::min(count, end_ - position_);
        body.append(buffer_.data() + position_, part);
        position_ += part;
        count -= part;
    }
}

void HttpReplyReader::read_to_end(std::string& body) {
    while (fill()) {
        check_size(body.size() + end_ - position_);
        body.append(buffer_.data() + position_, end_ - position_);
        position_ = end_;
    }
}

void HttpReplyReader::read_chunks(std::string& body) {
    while (const std::size_t size = parse_number(read_line(MAXIMUM_LINE_SIZE), 16)) {
        read_exactly(size, body);
        read_line(MAXIMUM_LINE_SIZE);
    }
    std::size_t trailers = 0;
    while (!read_line(MAXIMUM_LINE_SIZE).empty()) {
        if (++trailers > MAXIMUM_HEAD_SIZE / MAXIMUM_LINE_SIZE) {
            throw create_unexpected("the answer is not HTTP: too many trailers");
        }
    }
}

void HttpReplyReader::check_size(std::size_t size) const {
    if (size > maximum_size_) {
        throw create_unexpected("the reply is larger than " +
                                std::to_string(maximum_size_ / (std::size_t{1024} * 1024)) +
                                " MiB (--max-reply allows more)");
    }
}

}  // namespace xmlda
