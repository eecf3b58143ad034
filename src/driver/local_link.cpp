// The bounds between a client of the local device and the hub.
//
// The pipe itself has no bound, since neither the hub nor a program that calls the entry points may
// be made to wait in a write. So each direction is bounded by whoever can wait.
//
// Input: the host asks HoldInput after each write. While more than the bound waits, it leaves the
// client's socket alone, and the change that it is told then lets it go on.
//
// Output: the session's thread doesn't take the next request of a client while more than half of
// the bound waits for it, as long as the client goes on reading. So only a client that reads
// nothing can come to the bound with its own answers, or one that reads slower than properties
// change. A frame is refused when the bound would be passed, unless half of it is free: an answer
// of any size gets through to a client that has read most of what came before. The most that can
// wait is thus the bound, or half of it and one frame.

#include "driver/local_link.h"

#include <utility>

namespace vantry {
namespace {

/// A client that has read nothing for so long isn't waited for.
constexpr std::uint32_t kStallMilliseconds = 1000;

}  // namespace

void LocalLink::Abandon() {
    pipe.fromClient->Discard();
    pipe.toClient->Discard();
}

bool LocalLink::HoldInput() {
    if (!InputIsFull()) {
        return false;
    }
    inputIsHeld = true;
    // The hub may have taken all of it before it could see that it has to tell.
    return pipe.fromClient->Waiting() > inputBound / 2 || !inputIsHeld.exchange(false);
}

void LocalLink::OnChange(std::function<void()> callback) {
    ScopedLock guard(changeLock);
    changed = std::move(callback);
}

void LocalLink::TellChange() {
    ScopedLock guard(changeLock);
    if (changed) {
        changed();
    }
}

std::int32_t LocalLink::ReadInput(std::uint8_t* buffer, std::int32_t length) {
    AwaitReadingClient();
    const std::int32_t count = pipe.fromClient->Read(buffer, length);
    if (inputIsHeld && pipe.fromClient->Waiting() <= inputBound / 2 &&
        inputIsHeld.exchange(false)) {
        TellChange();
    }
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

std::int32_t LocalLink::WriteSharedOutput(const std::shared_ptr<const std::string>& frame) {
    return MakeRoomFor(frame->size()) ? pipe.toClient->WriteShared(frame) : StreamCode::kEndOfData;
}

bool LocalLink::MakeRoomFor(std::uint64_t length) {
    const std::uint64_t waiting = pipe.toClient->Waiting();
    if (waiting <= outputBound / 2 || waiting + length <= outputBound) {
        return true;
    }
    if (!cut.exchange(true)) {
        notices.TellClosed(Bound::LocalOutput, "a client of PRN1");
        Abandon();
        TellChange();
    }
    return false;
}

void LocalLink::LeaveFromHub() {
    hubHasLeft = true;
    pipe.fromClient->Discard();
    pipe.toClient->Close();
}

}  // namespace vantry
