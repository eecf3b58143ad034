// Reading ahead.
//
// A Read receives more bytes than it returns, and keeps the rest for the Reads that follow, so a
// small request needs one system call. Each Read still returns what a plain recv of its length
// would have returned, because bytes that wait in the socket are added to those that are kept; so
// the look-ahead windows of a session are the same as without reading ahead. An error that occurs
// while bytes are kept is returned by the Read after them, as the socket itself would do.

#include "transport/socket/socket_input.h"

#include <sys/uio.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <span>

#include "runtime/interruptible.h"

namespace vantry {
namespace {

/// The largest buffer that a connection keeps while it is idle.
constexpr std::size_t kKeptCapacity = 512;
/// A Read of at most so many bytes receives into one buffer and copies them from there, which costs
/// less than describing two buffers to the system.
constexpr std::size_t kMostCopied = 64;

}  // namespace

SocketInput::SocketInput(Descriptors& calls, std::size_t bytesAhead)
    : descriptors(calls), mostAhead(std::min(bytesAhead, kMostAhead)) {}

std::int32_t SocketInput::Read(int number, std::uint8_t* buffer, std::int32_t length) {
    if (closed) {
        return 0;
    }
    const auto wanted = static_cast<std::size_t>(length);
    const std::size_t kept = TakeAhead(buffer, wanted);
    if (kept == wanted) {
        return length;
    }
    if (kept == 0 && lateError != 0) {
        return -lateError;
    }
    // A Read that has kept bytes to return doesn't wait for more.
    const ssize_t count = Receive(number, buffer + kept, wanted - kept, kept == 0);
    const int error = count < 0 ? static_cast<int>(-count) : 0;
    if (count > 0) {
        return static_cast<std::int32_t>(kept + static_cast<std::size_t>(count));
    }
    if (kept == 0) {
        return -error;
    }
    if (error != EAGAIN) {
        lateError = error;
    }
    return static_cast<std::int32_t>(kept);
}

bool SocketInput::ReadKept(std::uint8_t* buffer, std::int32_t length) {
    const auto wanted = static_cast<std::size_t>(length);
    return !closed && ahead.size() - aheadTaken >= wanted && TakeAhead(buffer, wanted) == wanted;
}

ssize_t SocketInput::Receive(int number, std::uint8_t* buffer, std::size_t length, bool waits) {
    std::array<std::uint8_t, kMostCopied + kMostAhead> memory;
    const bool copies = length <= kMostCopied;
    const std::uint8_t* const more = memory.data() + (copies ? length : 0);
    std::array<iovec, 2> apart{{{buffer, length}, {memory.data(), mostAhead}}};
    std::array<iovec, 1> together{{{memory.data(), length + mostAhead}}};
    const std::span<iovec> parts = copies ? std::span<iovec>(together) : apart;
    ssize_t count = 0;
    do {
        // The order matters: either the caller of Close sees that a thread is receiving, or this
        // thread sees that the input is closed.
        reading = true;
        if (closed) {
            reading = false;
            return 0;
        }
        Interruptible here;
        count = descriptors.Receive(number, parts, waits);
        reading.store(false, std::memory_order_release);
    } while (count == -EINTR);
    if (count <= 0) {
        // A call that Close has ended returns 0 too.
        ended = count == 0 && !closed;
        return count;
    }
    const std::size_t got = std::min(static_cast<std::size_t>(count), length);
    if (copies) {
        std::copy_n(memory.data(), got, buffer);
    }
    ahead.assign(more, more + (static_cast<std::size_t>(count) - got));
    return static_cast<ssize_t>(got);
}

void SocketInput::Release() {
    ahead.clear();
    ahead.shrink_to_fit();
    aheadTaken = 0;
}

std::size_t SocketInput::TakeAhead(std::uint8_t* buffer, std::size_t length) {
    const std::size_t count = std::min(length, ahead.size() - aheadTaken);
    std::copy_n(ahead.data() + aheadTaken, count, buffer);
    aheadTaken += count;
    if (aheadTaken == ahead.size()) {
        aheadTaken = 0;
        ahead.clear();
        if (ahead.capacity() > kKeptCapacity) {
            ahead.shrink_to_fit();
        }
    }
    return count;
}

}  // namespace vantry
