// The bound between the hub and a program that opened the local device.
//
// The pipe itself has no bound, because a write must block neither the hub nor a program that calls
// the entry points. What that program writes is its own affair, as it shares the hub's process.
//
// Output: the session's thread doesn't read the next request of a client while more than half of
// the bound is unread, as long as the client continues to read. So only two kinds of clients reach
// the bound: those that read nothing, and those that read more slowly than properties change. A
// frame is refused if it would pass the bound, unless half of the bound is free, so that an answer
// of any size reaches a client that has read most of the earlier output. The most that can be
// unread is therefore the bound, or half of it and one frame.

#include "driver/local_link.h"

#include <utility>

namespace vantry {
namespace {

/// The longest wait for a client that reads nothing.
constexpr std::uint32_t kStallMilliseconds = 1000;

}  // namespace

void LocalLink::Abandon() {
    pipe.fromClient->Discard();
    pipe.toClient->Discard();
}

std::int32_t LocalLink::ReadInput(std::uint8_t* buffer, std::int32_t length) {
    AwaitReadingClient();
    const std::int32_t count = pipe.fromClient->Read(buffer, length);
    if (count < 0) {
        pipe.Close();
    }
    return count;
}

void LocalLink::AwaitReadingClient() {
    QueueStream& output = *pipe.toClient;
    if (output.Waiting() > outputBound / 2 && output.Taken() != takenAtStall &&
        !output.AwaitReader(outputBound / 2, kStallMilliseconds)) {
        takenAtStall = output.Taken();
    }
}

std::int32_t LocalLink::WriteOutput(const std::uint8_t* buffer, std::int32_t length) {
    return MakeRoomFor(static_cast<std::uint64_t>(length)) ? pipe.toClient->Write(buffer, length)
                                                           : StreamCode::kEndOfData;
}

std::int32_t LocalLink::WriteSharedOutput(const SharedFrame& frame) {
    return MakeRoomFor(frame.Size()) ? pipe.toClient->WriteShared(frame) : StreamCode::kEndOfData;
}

bool LocalLink::MakeRoomFor(std::uint64_t length) {
    const std::uint64_t waiting = pipe.toClient->Waiting();
    if (waiting <= outputBound / 2 || waiting + length <= outputBound) {
        return true;
    }
    if (!cut.exchange(true)) {
        notices.TellClosed(Bound::LocalOutput, "a client of PRN1");
        Abandon();
    }
    return false;
}

void LocalLink::LeaveFromHub() {
    hubHasLeft = true;
    pipe.fromClient->Discard();
    pipe.toClient->Close();
}

}  // namespace vantry
