#include "http/RequestBody.h"

#include "base/LimitException.h"
#include "support/TextSource.h"

#include <Poco/Net/NetException.h>

#include <gtest/gtest.h>

#include <sstream>
#include <streambuf>
#include <string>

namespace kx::information_model::opc {
namespace {

using Poco::Net::MessageException;
using testing::TextSource;

std::string create_text(std::size_t size) {
    std::string text(size, '\0');
    for (std::size_t index = 0; index < size; ++index) {
        text[index] = static_cast<char>(index * 7 % 256);
    }
    return text;
}

std::string read_chunks(const std::string& text) {
    TextSource source(text);
    return opc::read_chunks(source);
}

TEST(ReadToEnd, ReadsToTheEnd) {
    for (const std::size_t size : {0U, 1U, 16383U, 16384U, 16385U, 100000U}) {
        const std::string text = create_text(size);
        std::istringstream stream(text);
        EXPECT_EQ(read_to_end(stream), text) << size;
    }
}

TEST(ReadToEnd, TakesTheLargestSizeAndNoMore) {
    EXPECT_EQ(MAXIMUM_BODY_SIZE, 134217728U);
    for (const std::size_t limit : {0U, 1U, 16384U, 20000U}) {
        std::istringstream fits(std::string(limit, 'x'));
        EXPECT_EQ(read_to_end(fits, limit).size(), limit);
        std::istringstream exceeds(std::string(limit + 1, 'x'));
        EXPECT_THROW(read_to_end(exceeds, limit), RequestLimitException);
    }
}

class EndlessBuffer : public std::streambuf {
public:
    std::size_t get_delivered() const { return delivered_; }

protected:
    int_type underflow() override {
        delivered_ += sizeof(bytes_);
        setg(bytes_, bytes_, bytes_ + sizeof(bytes_));
        return traits_type::to_int_type(*bytes_);
    }

private:
    char bytes_[1000] = {};
    std::size_t delivered_ = 0;
};

TEST(ReadToEnd, StopsReadingAtTheLimit) {
    EndlessBuffer buffer;
    std::istream stream(&buffer);
    EXPECT_THROW(read_to_end(stream, 100000), RequestLimitException);
    EXPECT_LE(buffer.get_delivered(), 100000U + 2 * 16384U);
}

TEST(ReadLength, ReadsThatMuchInPiecesOfAnySize) {
    for (const std::size_t size : {0U, 1U, 16383U, 16384U, 16385U, 100000U}) {
        for (const std::size_t piece : {std::size_t{1}, std::size_t{1000}, std::string::npos}) {
            const std::string text = create_text(size);
            TextSource source(text + "rest", piece);
            EXPECT_EQ(read_length(source, size), text) << size << ' ' << piece;
            EXPECT_EQ(source.get_rest(), "rest");
        }
    }
}

TEST(ReadLength, RefusesWhatEndsTooSoon) {
    for (const std::size_t size : {0U, 1U, 99999U}) {
        TextSource source(std::string(size, 'x'));
        EXPECT_THROW(read_length(source, 100000), MessageException);
    }
}

TEST(ReadLength, RefusesWhatIsTooLargeBeforeItReads) {
    TextSource fits(std::string(100, 'x'));
    EXPECT_EQ(read_length(fits, 100, 100).size(), 100U);
    TextSource exceeds(std::string(101, 'x'));
    EXPECT_THROW(read_length(exceeds, 101, 100), RequestLimitException);
    EXPECT_THROW(read_length(exceeds, UINT64_MAX, 100), RequestLimitException);
    EXPECT_EQ(exceeds.get_rest().size(), 101U);
}

TEST(ReadLength, TakesMemoryForWhatHasComeOnly) {
    TextSource source(std::string(100000, 'x'), 5000);
    EXPECT_THROW(read_length(source, MAXIMUM_BODY_SIZE), MessageException);
    EXPECT_LE(source.get_largest(), 200000U);
}

TEST(ReadChunks, JoinsThemAndLeavesWhatFollows) {
    for (const std::string text : {
             "0\r\n\r\n",
             "5\r\nhello\r\n0\r\n\r\n",
             "2\r\nhe\r\n3\r\nllo\r\n0\r\n\r\n",
             "0005\r\nhello\r\n0000000000000000000000\r\n\r\n",
             "5;name=value\r\nhello\r\n0;last\r\n\r\n",
             "5 ; name=\"a b\"\r\nhello\r\n0\t\r\n\r\n",
             "5\r\nhello\r\n0\r\nTrailer: x\r\nAnother: y\r\n\r\n",
         }) {
        TextSource source(text + "rest");
        EXPECT_EQ(opc::read_chunks(source), text.starts_with("0\r") ? "" : "hello") << text;
        EXPECT_EQ(source.get_rest(), "rest") << text;
    }
    const std::string large = create_text(0xabCDe);
    EXPECT_EQ(read_chunks("abCDe\r\n" + large + "\r\n0\r\n\r\n"), large);
}

TEST(ReadChunks, RefusesWhatIsNotAsItMustBe) {
    for (const std::string text : {
             "",
             "\r\n",
             "\r\n5\r\nhello\r\n0\r\n\r\n",
             " 5\r\nhello\r\n0\r\n\r\n",
             "+5\r\nhello\r\n0\r\n\r\n",
             "-5\r\nhello\r\n0\r\n\r\n",
             "0x5\r\nhello\r\n0\r\n\r\n",
             "g\r\nhello\r\n0\r\n\r\n",
             "5g\r\nhello\r\n0\r\n\r\n",
             "\xff\r\nhello\r\n0\r\n\r\n",
             "5\nhello\r\n0\r\n\r\n",
             "5;a\nb\r\nhello\r\n0\r\n\r\n",
             "5;a\rb\r\nhello\r\n0\r\n\r\n",
             "5\r\nhello0\r\n\r\n",
             "5\r\nhello\n0\r\n\r\n",
             "5\r\nhello\rx0\r\n\r\n",
             "5\r\nhello!\r\n0\r\n\r\n",
             "6\r\nhello\r\n0\r\n\r\n",
             "5\r\nhello\r\n0\n\n",
             "5\r\nhello\r\n0\r\n\n",
             "5\r\nhello\r\n0\r\n\rx",
             "5\r\nhello\r\n0\r\nTrailer: x\n\r\n",
             "5\r\nhello\r\nzzz\r\n\r\n",
             "10000000000000000\r\nhello\r\n0\r\n\r\n",
             "5\r\nhello\r\n10000000000000000000000\r\n\r\n",
         }) {
        EXPECT_THROW(read_chunks(text), MessageException) << text;
    }
}

TEST(ReadChunks, RefusesWhatBreaksOffAnywhere) {
    const std::string text = "5;x=y\r\nhello\r\n0\r\nTrailer: x\r\n\r\n";
    for (std::size_t size = 0; size < text.size(); ++size) {
        EXPECT_THROW(read_chunks(text.substr(0, size)), MessageException) << size;
    }
    EXPECT_EQ(read_chunks(text), "hello");
}

TEST(ReadChunks, TakesTheLargestSizeAndNoMore) {
    const std::string text = "5\r\nhello\r\n3\r\nyou\r\n0\r\n\r\n";
    TextSource fits(text);
    EXPECT_EQ(opc::read_chunks(fits, 8), "helloyou");
    TextSource exceeds(text);
    EXPECT_THROW(opc::read_chunks(exceeds, 7), RequestLimitException);
    EXPECT_EQ(exceeds.get_rest(), "you\r\n0\r\n\r\n");
    EXPECT_THROW(read_chunks("ffffffffffffffff\r\nx"), RequestLimitException);
}

TEST(ReadChunks, BoundsWhatItIgnores) {
    const std::string ignored(16000, 'x');
    EXPECT_EQ(read_chunks("5;" + ignored + "\r\nhello\r\n0\r\n\r\n"), "hello");
    EXPECT_EQ(read_chunks("5\r\nhello\r\n0\r\nT: " + ignored + "\r\n\r\n"), "hello");
    EXPECT_THROW(read_chunks("5;" + ignored + ignored + "\r\nhello\r\n0\r\n\r\n"), MessageException);
    EXPECT_THROW(read_chunks("5;" + ignored + "\r\nhello\r\n0;" + ignored + "\r\n\r\n"), MessageException);
    EXPECT_THROW(read_chunks("0\r\nT: " + ignored + "\r\nU: " + ignored + "\r\n\r\n"), MessageException);
}

}  // namespace
}  // namespace kx::information_model::opc
