#include "http/RequestBody.h"

#include "base/LimitException.h"
#include "http/Connection.h"

#include <Poco/Ascii.h>
#include <Poco/Net/HTTPMessage.h>
#include <Poco/Net/HTTPServerRequestImpl.h>
#include <Poco/Net/HTTPServerResponse.h>
#include <Poco/Net/HTTPServerSession.h>
#include <Poco/Net/NetException.h>
#include <Poco/String.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace kx::information_model::opc {

namespace {

constexpr std::size_t BLOCK_SIZE = std::size_t{16} * 1024;

// What a sender gets by just announcing it.
constexpr std::size_t MAXIMUM_RESERVED_SIZE = std::size_t{16} * 1024 * 1024;

// All that is neither size nor data of a chunk and neither CR nor LF: extensions, and the trailer. Nobody
// needs either.
constexpr std::size_t MAXIMUM_IGNORED_SIZE = std::size_t{16} * 1024;

[[noreturn]] void refuse(const char* reason) {
    throw Poco::Net::MessageException(reason);
}

void check_size(std::uint64_t size, std::size_t maximum_size) {
    if (size > maximum_size) {
        throw RequestLimitException("the request body is too large");
    }
}

/// Reads `length` bytes to the end of `body`. The memory taken follows what comes, not what was announced.
void append(ByteSource& source, std::uint64_t length, std::string& body) {
    std::size_t filled = body.size();
    for (std::uint64_t missing = length; missing > 0;) {
        if (filled == body.size()) {
            body.resize(filled + static_cast<std::size_t>(
                                     std::min<std::uint64_t>(missing, std::max(BLOCK_SIZE, filled))));
        }
        const std::size_t count = source.read(body.data() + filled, body.size() - filled);
        if (count == 0) {
            refuse("the request body ends too soon");
        }
        filled += count;
        missing -= count;
    }
}

/// Reads the parts of a chunked body that are no data.
class ChunkReader {
public:
    explicit ChunkReader(ByteSource& source) : source_(source) {}

    /// Reads the line in front of a chunk's data.
    std::uint64_t read_size() {
        std::uint64_t size = 0;
        int byte = source_.get();
        if (!Poco::Ascii::isHexDigit(byte)) {
            refuse("a chunk has no size");
        }
        for (; Poco::Ascii::isHexDigit(byte); byte = source_.get()) {
            constexpr std::uint64_t LARGEST_BEFORE_NEXT_DIGIT = UINT64_MAX >> 4U;
            if (size > LARGEST_BEFORE_NEXT_DIGIT) {
                refuse("the size of a chunk is too large");
            }
            const int digit = Poco::Ascii::isDigit(byte) ? byte - '0' : Poco::Ascii::toLower(byte) - 'a' + 10;
            size = size << 4U | static_cast<std::uint64_t>(digit);
        }
        if (byte != '\r' && byte != ';' && !is_blank(byte)) {
            refuse("the size of a chunk is no number");
        }
        skip_line(byte);
        return size;
    }

    /// Reads what follows the data of a chunk.
    void read_line_end() {
        if (source_.get() != '\r') {
            refuse("a chunk is longer than its size");
        }
        expect_line_feed();
    }

    /// Reads what follows the last chunk.
    void read_trailer() {
        for (int byte = source_.get(); byte != '\r'; byte = source_.get()) {
            skip_line(byte);
        }
        expect_line_feed();
    }

private:
    static bool is_blank(int byte) { return byte == ' ' || byte == '\t'; }

    /// @param byte  the first one of the line, or of what is left of it
    void skip_line(int byte) {
        for (; byte != '\r'; byte = source_.get()) {
            const bool is_text = byte >= ' ' || byte == '\t';
            if (!is_text || ++ignored_ > MAXIMUM_IGNORED_SIZE) {
                refuse("a line between chunks is too long, or has no end");
            }
        }
        expect_line_feed();
    }

    void expect_line_feed() {
        if (source_.get() != '\n') {
            refuse("a line between chunks does not end");
        }
    }

    ByteSource& source_;
    std::size_t ignored_ = 0;
};

/// POCO shows the bytes of a connection as streams only. Its chunked one takes whatever is no number for the
/// size of the last chunk and does not tell; the other one reads 4 KB at a time.
class SessionSource : public ByteSource {
public:
    explicit SessionSource(Poco::Net::HTTPSession& session) : session_(session) {}

    int get() override {
        const int byte = (session_.*&Access::get)();
        return byte == -1 ? -1 : static_cast<unsigned char>(byte);
    }

    std::size_t read(char* buffer, std::size_t size) override {
        const int count = (session_.*&Access::read)(buffer, static_cast<std::streamsize>(size));
        return static_cast<std::size_t>(std::max(0, count));
    }

private:
    /// Names what a session keeps for those that derive from it. Never made.
    class Access : public Poco::Net::HTTPSession {
    public:
        using Poco::Net::HTTPSession::get;
        using Poco::Net::HTTPSession::read;
    };

    Poco::Net::HTTPSession& session_;
};

/// @return null if there is none
/// @throws Poco::Net::MessageException  if there are several
const std::string* find_header(const Poco::Net::HTTPServerRequest& request, const std::string& name) {
    const std::string* found = nullptr;
    for (const auto& [header, value] : request) {
        if (Poco::icompare(header, name) != 0) {
            continue;
        }
        if (found != nullptr) {
            refuse("a header that may be there once is there again");
        }
        found = &value;
    }
    return found;
}

/// A name that ends in a blank, say, is one header for some readers and another one for others.
void check_header_names(const Poco::Net::HTTPServerRequest& request) {
    for (const auto& [header, value] : request) {
        if (std::any_of(header.begin(), header.end(), [](char letter) {
                return static_cast<unsigned char>(letter) <= ' ' || letter == 0x7f;
            })) {
            refuse("the name of a header has blanks");
        }
    }
}

std::uint64_t parse_length(const std::string& text) {
    std::uint64_t length = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, length);
    if (error != std::errc() || rest != end) {
        refuse("the length of the request body is no number");  // POCO takes "1,2" for 12
    }
    return length;
}

}  // namespace

std::string read_to_end(std::istream& stream, std::size_t maximum_size) {
    std::string body;
    std::array<char, BLOCK_SIZE> block;
    while (stream.read(block.data(), block.size()), stream.gcount() > 0) {
        const auto count = static_cast<std::size_t>(stream.gcount());
        check_size(count, maximum_size - body.size());
        body.append(block.data(), count);
    }
    return body;
}

std::string read_length(ByteSource& source, std::uint64_t length, std::size_t maximum_size) {
    check_size(length, maximum_size);
    std::string body;
    body.reserve(std::min(static_cast<std::size_t>(length), MAXIMUM_RESERVED_SIZE));
    append(source, length, body);
    return body;
}

std::string read_chunks(ByteSource& source, std::size_t maximum_size) {
    std::string body;
    ChunkReader chunks(source);
    for (std::uint64_t size = chunks.read_size(); size > 0; size = chunks.read_size()) {
        check_size(size, maximum_size - body.size());
        append(source, size, body);
        chunks.read_line_end();
    }
    chunks.read_trailer();
    return body;
}

bool has_known_version(const Poco::Net::HTTPServerRequest& request) {
    const std::string& version = request.getVersion();
    return version == Poco::Net::HTTPMessage::HTTP_1_1 || version == Poco::Net::HTTPMessage::HTTP_1_0;
}

namespace {

std::string read_framed_body(Poco::Net::HTTPServerRequest& request) {
    auto* const connection = dynamic_cast<Poco::Net::HTTPServerRequestImpl*>(&request);
    if (connection == nullptr) {
        return read_to_end(request.stream());
    }
    if (!has_known_version(request)) {
        refuse("the version of HTTP is not known");
    }
    check_header_names(request);
    const std::string* const coding = find_header(request, Poco::Net::HTTPMessage::TRANSFER_ENCODING);
    const std::string* const length = find_header(request, Poco::Net::HTTPMessage::CONTENT_LENGTH);
    SessionSource source(connection->session());
    if (coding != nullptr) {
        if (Poco::icompare(*coding, Poco::Net::HTTPMessage::CHUNKED_TRANSFER_ENCODING) != 0) {
            refuse("the transfer coding is not known");
        }
        if (length != nullptr || request.getVersion() != Poco::Net::HTTPMessage::HTTP_1_1) {
            request.response().setKeepAlive(false);
        }
        return read_chunks(source);
    }
    return length != nullptr ? read_length(source, parse_length(*length)) : std::string();
}

}  // namespace

std::string read_body(Poco::Net::HTTPServerRequest& request) {
    std::string body = read_framed_body(request);
    if (Connection* const connection = find_connection(request)) {
        connection->complete_request();
    }
    return body;
}

}  // namespace kx::information_model::opc
