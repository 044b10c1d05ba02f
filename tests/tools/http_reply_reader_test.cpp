#include "xmlda/http/HttpReplyReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>

namespace xmlda::testing {
namespace {

constexpr std::size_t MEBIBYTE = 1024 * 1024;

/// Gives a text away in pieces of `piece` bytes.
HttpReplyReader::Source create_source(std::string text, std::size_t piece) {
    return
        [text = std::move(text), piece, position = std::size_t{0}](char* buffer, std::size_t size) mutable {
            const std::size_t count = std::min({piece, size, text.size() - position});
            std::memcpy(buffer, text.data() + position, count);
            position += count;
            return count;
        };
}

HttpReply read(const std::string& text, std::size_t piece = 1'000'000) {
    return HttpReplyReader(create_source(text, piece), MEBIBYTE).read();
}

void expect_refusal(const std::string& text, ExitStatus status, const std::string& message) {
    try {
        read(text);
        FAIL() << "no failure for " << text.substr(0, 100);
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.get_status(), status) << failure.what();
        EXPECT_EQ(std::string(failure.what()), message);
    }
}

void expect_no_http(const std::string& text, const std::string& more = "") {
    expect_refusal(text, ExitStatus::UNEXPECTED_CONTENT, "the answer is not HTTP" + more);
}

TEST(HttpReplyReader, BodyByLength) {
    const HttpReply reply =
        read("HTTP/1.1 404 Not Found\r\nContent-Length: 3\r\nContent-Type: text/plain\r\n\r\nabcdef");

    EXPECT_EQ(reply.status, 404);
    EXPECT_EQ(reply.reason, "Not Found");
    EXPECT_EQ(reply.content_type, "text/plain");
    EXPECT_EQ(reply.body, "abc");
    EXPECT_TRUE(reply.stays_open);
}

TEST(HttpReplyReader, BodyInChunksOfAnyPieces) {
    const std::string text =
        "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
        "3\r\nabc\r\nA;name=value\r\n0123456789\r\n0\r\nTrailer: x\r\n\r\n";
    for (const std::size_t piece : {1U, 2U, 3U, 7U, 1000U}) {
        const HttpReply reply = read(text, piece);
        EXPECT_EQ(reply.body, "abc0123456789") << piece;
        EXPECT_TRUE(reply.stays_open);
    }
}

TEST(HttpReplyReader, BodyUpToTheEnd) {
    const HttpReply reply = read("HTTP/1.0 200 OK\r\n\r\nabc");

    EXPECT_EQ(reply.body, "abc");
    EXPECT_FALSE(reply.stays_open);
}

TEST(HttpReplyReader, ServersThatCloseSaySo) {
    EXPECT_FALSE(read("HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: 0\r\n\r\n").stays_open);
    EXPECT_FALSE(read("HTTP/1.0 200 OK\r\nContent-Length: 0\r\n\r\n").stays_open);
}

TEST(HttpReplyReader, InterimRepliesArePassedOver) {
    const HttpReply reply =
        read("HTTP/1.1 100 Continue\r\n\r\nHTTP/1.1 200 OK\r\nContent-Length: 1\r\n\r\nx");

    EXPECT_EQ(reply.status, 200);
    EXPECT_EQ(reply.body, "x");
}

TEST(HttpReplyReader, NoContent) {
    EXPECT_EQ(read("HTTP/1.1 204 No Content\r\n\r\n").body, "");
}

TEST(HttpReplyReader, BareLineFeeds) {
    EXPECT_EQ(read("HTTP/1.1 200 OK\nContent-Length: 2\n\nab").body, "ab");
}

TEST(HttpReplyReader, NothingAtAll) {
    EXPECT_THROW(read(""), NoReply);
}

TEST(HttpReplyReader, EndsInTheMiddle) {
    const std::string message = "the connection broke in the middle of the reply";
    expect_refusal("HTTP/1.1 200 OK\r\n", ExitStatus::NO_CONNECTION, message);
    expect_refusal("HTTP/1.1 200 OK\r\nContent-Length: 3\r\n\r\nab", ExitStatus::NO_CONNECTION, message);
    expect_refusal("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc", ExitStatus::NO_CONNECTION,
                   message);
}

TEST(HttpReplyReader, OtherProtocols) {
    expect_no_http("SSH-2.0-OpenSSH_9.2p1\r\n");
    expect_no_http("HTTP/9 hello\r\n\r\n");
    expect_no_http("\x15\x03\x03" + std::string(1, '\0') + "\x02\x02\x46",
                   ": the server seems to speak TLS, try https://");
}

TEST(HttpReplyReader, MalformedLengths) {
    expect_no_http("HTTP/1.1 200 OK\r\nContent-Length: many\r\n\r\n", ": a length is malformed");
    expect_no_http("HTTP/1.1 200 OK\r\nContent-Length: -1\r\n\r\n", ": a length is malformed");
    expect_no_http("HTTP/1.1 200 OK\r\nContent-Length: 99999999999999999999999\r\n\r\n",
                   ": a length is malformed");
    expect_no_http("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nxyz\r\n", ": a length is malformed");
}

TEST(HttpReplyReader, EndlessHeads) {
    expect_no_http("HTTP/1.1 200 " + std::string(100'000, 'x'), ": a line is too long");
    std::string headers;
    for (int i = 0; i < 10'000; ++i) {
        headers += "X-Header: value\r\n";
    }
    expect_no_http("HTTP/1.1 200 OK\r\n" + headers, ": its headers are too long");
}

TEST(HttpReplyReader, EndlessTrailers) {
    std::string trailers;
    for (int i = 0; i < 100; ++i) {
        trailers += "X-Trailer: value\r\n";
    }
    expect_no_http("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n0\r\n" + trailers,
                   ": too many trailers");
}

TEST(HttpReplyReader, TooLargeBodiesHoweverTheyEnd) {
    const std::string message = "the reply is larger than 1 MiB (--max-reply allows more)";
    const std::string large(MEBIBYTE + 1, 'x');
    expect_refusal("HTTP/1.1 200 OK\r\nContent-Length: 1048577\r\n\r\n", ExitStatus::UNEXPECTED_CONTENT,
                   message);
    expect_refusal("HTTP/1.1 200 OK\r\nContent-Length: 18446744073709551615\r\n\r\n",
                   ExitStatus::UNEXPECTED_CONTENT, message);
    expect_refusal("HTTP/1.1 200 OK\r\n\r\n" + large, ExitStatus::UNEXPECTED_CONTENT, message);
    expect_refusal("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n80000\r\n" +
                       std::string(0x80000, 'x') + "\r\n80001\r\n",
                   ExitStatus::UNEXPECTED_CONTENT, message);
    expect_refusal("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\nffffffffffffffff\r\n",
                   ExitStatus::UNEXPECTED_CONTENT, message);
    EXPECT_EQ(read("HTTP/1.1 200 OK\r\n\r\n" + large.substr(1)).body.size(), MEBIBYTE);
}

}  // namespace
}  // namespace xmlda::testing
