// The one reader of frames, for the hub and for its clients.
//
// The head and the text are read with as few calls as the stream allows: the head in one, unless it
// comes in pieces, and a short text in one. A long text is read in blocks that grow with what is
// there already, so that memory follows the bytes that arrived and not the length that the head
// promises. Only texts longer than kUncounted are counted in the account: shorter ones cost no more
// than the connection itself.

#include "transport/frame/frame_reader.h"

#include <algorithm>
#include <array>
#include <optional>

#include "transport/frame/frame.h"

namespace vantry {
namespace {

constexpr std::uint32_t kUncounted = 16U << 10U;
constexpr std::uint32_t kSmallestBlock = 64U << 10U;

/// Reads exactly `length` bytes. False if the stream ends before.
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

/// Reads a long text as it arrives, and counts it.
bool ReadLongText(Stream& stream, std::string& text, std::uint32_t length) {
    const std::shared_ptr<ConnectionAccount> account = stream.Account();
    ScopedCharge charge(account, Resource::ReceivedText);
    std::uint32_t got = 0;
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
            account->NoteArrival();
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
