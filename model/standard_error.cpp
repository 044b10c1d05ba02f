#include "model/standard_error.h"

// GNU extensions: they alone tell which file a standard stream ends in.
#include <ext/stdio_filebuf.h>
#include <ext/stdio_sync_filebuf.h>

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <iostream>
#include <mutex>

namespace kx::information_model::detail {

namespace {

using Clock = std::chrono::steady_clock;

/// One thread at a time finds out that there is room, and uses it.
struct Room {
    std::mutex mutex;
    std::condition_variable is_free;
    bool is_taken = false;    // guarded by `mutex`
    bool is_clogged = false;  // for the thread that has taken the room
};

/// Never destroyed: when the process ends, threads of a pool may still write, or wait for it.
union Lasting {
    Lasting() : room() {}
    Lasting(const Lasting&) = delete;
    Lasting& operator=(const Lasting&) = delete;
    ~Lasting() {}  // NOLINT(modernize-use-equals-default): that would destroy the room

    Room room;
};
Lasting lasting;

/// Takes the room, if it becomes free in time. A `std::timed_mutex` would be shorter, but the thread
/// sanitizer of g++ 12 does not see how it is locked.
class Turn {
public:
    Turn(Room& room, Clock::time_point end) : room_(room) {
        std::unique_lock<std::mutex> lock(room_.mutex);
        has_room_ = room_.is_free.wait_until(lock, end, [this] { return !room_.is_taken; });
        room_.is_taken = true;
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() {
        if (has_room_) {
            const std::lock_guard<std::mutex> lock(room_.mutex);
            room_.is_taken = false;
            room_.is_free.notify_one();
        }
    }

    explicit operator bool() const { return has_room_; }

private:
    Room& room_;
    bool has_room_ = false;
};

/// @return -1 if the buffer is the host's own
int find_file(std::streambuf* buffer) {
    if (auto* const synchronised = dynamic_cast<__gnu_cxx::stdio_sync_filebuf<char>*>(buffer)) {
        return fileno(synchronised->file());
    }
    auto* const separate = dynamic_cast<__gnu_cxx::stdio_filebuf<char>*>(buffer);
    return separate == nullptr ? -1 : separate->fd();
}

/// Whether PIPE_BUF bytes can be written now or by then. What fails counts: the write tells.
bool has_room(int file, Clock::time_point end) {
    pollfd writable{file, POLLOUT, 0};
    int count = 0;
    do {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now());
        count =
            poll(&writable, 1, static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0)));
    } while (count < 0 && errno == EINTR);
    return count != 0;
}

bool write(std::streambuf& buffer, std::string_view text) {
    const auto size = static_cast<std::streamsize>(text.size());
    return buffer.sputn(text.data(), size) == size && buffer.pubsync() == 0;
}

void write_pieces(std::streambuf& buffer, int file, std::string_view text, Clock::time_point end) {
    Room& room = lasting.room;
    const Turn turn(room, end);
    while (turn && !text.empty()) {
        room.is_clogged = !has_room(file, room.is_clogged ? Clock::now() : end);
        const std::string_view piece = text.substr(0, PIPE_BUF);
        if (room.is_clogged || !write(buffer, piece)) {
            return;
        }
        text.remove_prefix(piece.size());
    }
}

}  // namespace

void write_to_standard_error(std::string_view text, std::chrono::milliseconds patience) noexcept {
    try {
        std::streambuf* const buffer = std::cerr.rdbuf();
        if (!std::cerr || buffer == nullptr) {
            return;
        }
        const int file = find_file(buffer);
        if (file == -1) {
            write(*buffer, text);
        } else {
            write_pieces(*buffer, file, text, Clock::now() + patience);
        }
    } catch (...) {  // NOLINT(bugprone-empty-catch): there is no other place to report to
    }
}

}  // namespace kx::information_model::detail
