#include "model/standard_error.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <future>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace kx::information_model::detail {
namespace {

/// Lets standard error end elsewhere while it lives.
class Redirection {
public:
    explicit Redirection(int file) : before_(dup(STDERR_FILENO)) { dup2(file, STDERR_FILENO); }
    Redirection(const Redirection&) = delete;
    Redirection& operator=(const Redirection&) = delete;
    ~Redirection() {
        dup2(before_, STDERR_FILENO);
        close(before_);
        std::cerr.clear();
    }

private:
    int before_;
};

/// A buffer of the host's in the stream while it lives.
class OwnBuffer {
public:
    explicit OwnBuffer(std::streambuf* buffer) : before_(std::cerr.rdbuf(buffer)) {}
    OwnBuffer(const OwnBuffer&) = delete;
    OwnBuffer& operator=(const OwnBuffer&) = delete;
    ~OwnBuffer() {
        std::cerr.rdbuf(before_);
        std::cerr.clear();
    }

private:
    std::streambuf* before_;
};

class Pipe {
public:
    Pipe() {
        if (pipe2(ends_.data(), O_CLOEXEC) != 0) {
            throw std::runtime_error("no pipe");
        }
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe() {
        close(ends_[0]);
        close(ends_[1]);
    }

    int get_input() const { return ends_[1]; }

    std::size_t count() const {
        int count = 0;
        ioctl(ends_[0], FIONREAD, &count);
        return static_cast<std::size_t>(count);
    }

    std::string read(std::size_t size) {
        std::string text(size, '\0');
        const ssize_t count = ::read(ends_[0], text.data(), text.size());
        text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        return text;
    }

private:
    std::array<int, 2> ends_{};
};

TEST(StandardError, TakesLines) {
    Pipe pipe;
    {
        const Redirection redirection(pipe.get_input());
        write_to_standard_error("one line\n");
        write_to_standard_error("another\n");
    }
    EXPECT_EQ(pipe.read(100), "one line\nanother\n");
}

TEST(StandardError, TakesMoreThanAPipeHoldsWhileItIsRead) {
    Pipe pipe;
    const std::string text(1 << 20U, 'x');
    auto reader = std::async(std::launch::async, [&] {
        std::size_t size = 0;
        while (size < text.size()) {
            size += pipe.read(100'000).size();
        }
        return size;
    });
    const Redirection redirection(pipe.get_input());
    write_to_standard_error(text, std::chrono::minutes(2));
    EXPECT_EQ(reader.get(), text.size());
}

// The host's own lines would be lost from then on.
TEST(StandardError, KeepsItsStateWhenAWriteFails) {
    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    {
        const Redirection redirection(full);
        write_to_standard_error("lost\n");
        EXPECT_TRUE(std::cerr.good());
    }
    close(full);
}

TEST(StandardError, StaysSilentWhereTheHostSilencedIt) {
    Pipe pipe;
    const Redirection redirection(pipe.get_input());
    std::cerr.setstate(std::ios_base::failbit);
    write_to_standard_error("not wanted\n");
    EXPECT_EQ(pipe.count(), 0U);
    EXPECT_TRUE(std::cerr.fail());
}

TEST(StandardError, MayBeABufferOfTheHost) {
    std::ostringstream log;
    const OwnBuffer buffer(log.rdbuf());
    write_to_standard_error("a line\n");
    EXPECT_EQ(log.str(), "a line\n");
}

class FailingBuffer : public std::streambuf {
protected:
    std::streamsize xsputn(const char* /*text*/, std::streamsize /*size*/) override {
        throw std::runtime_error("full");
    }
};

TEST(StandardError, MayBeABufferThatThrows) {
    FailingBuffer failing;
    const OwnBuffer buffer(&failing);
    write_to_standard_error("a line\n");
    EXPECT_TRUE(std::cerr.good());
}

TEST(StandardError, MayHaveNoBuffer) {
    const OwnBuffer buffer(nullptr);
    std::cerr.clear();
    EXPECT_NO_FATAL_FAILURE(write_to_standard_error("a line\n"));
}

// Otherwise each thread that has something to report is lost, one after the other.
TEST(StandardError, HoldsNobodyForEverWhenNobodyReads) {
    Pipe pipe;
    {
        const Redirection redirection(pipe.get_input());
        write_to_standard_error(std::string(1 << 20U, 'x'), std::chrono::milliseconds(50));
        write_to_standard_error("not waited for\n", std::chrono::hours(1));
        const std::size_t held = pipe.count();
        EXPECT_GT(held, 0U);
        EXPECT_EQ(pipe.read(1 << 20U).size(), held);
        write_to_standard_error("after\n");
    }
    EXPECT_EQ(pipe.read(100), "after\n");
}

}  // namespace
}  // namespace kx::information_model::detail
