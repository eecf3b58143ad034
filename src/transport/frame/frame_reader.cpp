// The reader of frames of the hub and of its clients.
//
// The head and a short text need one Read each, unless they arrive in pieces. A long text is read
// in blocks, each at most as long as what has arrived before, so that the memory depends on the
// bytes that arrived and not on the length that the head announces. Only texts longer than
// kUncounted are counted in the account: shorter ones cost no more than the connection itself.

#include "transport/frame/frame_reader.h"

#include <algorithm>
#include <array>
#include <optional>

#include "transport/frame/frame.h"

namespace vantry {
namespace {

constexpr std::uint32_t kUncounted = 16U << 10U;
constexpr std::uint32_t kSmallestBlock = 64U << 10U;

/// Reads exactly `length` bytes. Returns false if the stream ends before.
bool ReadWhole(Stream& stream, std::uint8_t* buffer, std::uint32_t length) {
    std::uint32_t got = 0;
    while (got < length) {
        const std::int32_t count =
            stream.Read(buffer + got, static_cast<std::int32_t>(length - got));
        if (count <= 0) {
            return false;
        }
        got += static_cast<std::uint32_t>(count);
    }
    return true;
}

std::uint32_t LengthIn(const std::array<std::uint8_t, Frame::kHeadBytes>& head) {
    std::uint32_t length = 0;
    for (std::size_t place = Frame::kHeadBytes; place-- > Frame::kMagicBytes;) {
        length = length << 8 | head[place];
    }
    return length;
}

/// Reads a long text as it arrives, and counts it in the account. Returns false if the stream ends
/// before, or is closed because of a bound.
bool ReadLongText(Stream& stream, std::string& text, std::uint32_t length) {
    const std::shared_ptr<ConnectionAccount> account = stream.Account();
    ScopedCharge charge(account, Resource::ReceivedText);
    std::uint32_t got = 0;
    // A byte now and then is no progress.
    constexpr std::uint32_t kProgress = 1U << 10U;
    std::uint32_t noted = 0;
    while (got < length) {
        const std::uint32_t block = std::min(length - got, std::max(kSmallestBlock, got));
        text.resize(got + block);
        const std::int32_t count = stream.Read(reinterpret_cast<std::uint8_t*>(text.data()) + got,
                                               static_cast<std::int32_t>(block));
        if (count <= 0) {
            return false;
        }
        got += static_cast<std::uint32_t>(count);
        if (account) {
            if (noted == 0 || got - noted >= kProgress) {
                account->NoteArrival();
                noted = got;
            }
            if (charge.Add(static_cast<std::uint64_t>(count))) {
                account->Owner().Relieve(Resource::ReceivedText);
            }
            if (account->WasCut()) {
                return false;
            }
        }
    }
    return true;
}

}  // namespace

FrameEnd ReadFrame(Stream& stream, std::string& text, std::uint32_t longest) {
    std::array<std::uint8_t, Frame::kHeadBytes> head;
    if (!ReadWhole(stream, head.data(), Frame::kHeadBytes)) {
        return FrameEnd::Ended;
    }
    if (!std::equal(MessageFrameMagic.begin(), MessageFrameMagic.end(), head.begin())) {
        return FrameEnd::NotAFrame;
    }
    const std::uint32_t length = LengthIn(head);
    if (length == 0 || length > longest) {
        return FrameEnd::WrongLength;
    }
    text.clear();
    if (length > kUncounted) {
        return ReadLongText(stream, text, length) ? FrameEnd::Whole : FrameEnd::Ended;
    }
    text.resize(length);
    return ReadWhole(stream, reinterpret_cast<std::uint8_t*>(text.data()), length)
               ? FrameEnd::Whole
               : FrameEnd::Ended;
}

}  // namespace vantry
