#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/limits.h"
#include "platform/notices.h"
#include "runtime/lock.h"
#include "transport/stream/pipe.h"

namespace vantry {

/// What lies between one client of the local device and the hub: a two-way pipe with its bounds.
/// Shared by the two ends. Any thread may call any operation, except that one thread reads for the
/// hub.
class LocalLink {
public:
    /// `hubNotices` must outlive the link.
    LocalLink(const Limits& limits, Notices& hubNotices)
        : pipe(PipePair::Make()),
          inputBound(limits[Bound::LocalInput]),
          outputBound(limits[Bound::LocalOutput]),
          notices(hubNotices) {}

    // For the client's end. See LocalSession.

    std::int32_t ReadOutput(std::uint8_t* buffer, std::int32_t length) {
        return pipe.clientEnd->Read(buffer, length);
    }
    std::int32_t WriteInput(const std::uint8_t* buffer, std::int32_t length) {
        return pipe.clientEnd->Write(buffer, length);
    }
    void CloseBoth() { pipe.Close(); }
    void EndInput() { pipe.fromClient->Close(); }
    void Abandon();
    bool InputIsFull() const { return pipe.fromClient->Waiting() > inputBound; }
    bool HoldInput();
    bool IsIdle() const { return hubHasLeft || pipe.fromClient->IsDrained(); }
    std::uint64_t OutputTaken() const { return pipe.toClient->Taken(); }
    bool HasOutput() const { return pipe.toClient->Waiting() != 0; }
    bool WasCut() const { return cut; }
    void OnChange(std::function<void()> callback);

    // For the hub's end.

    /// Waits for what the client sends. Before that, waits for a client that is taking its output
    /// while much of it is left, so that a client that asks faster than it reads isn't cut. When
    /// the client sends no more, both directions are closed.
    std::int32_t ReadInput(std::uint8_t* buffer, std::int32_t length);
    /// Takes a frame for the client, or cuts the client if it has left too much unread.
    std::int32_t WriteOutput(const std::uint8_t* buffer, std::int32_t length);
    std::int32_t WriteSharedOutput(const std::shared_ptr<const std::string>& frame);
    /// Ends the session: what the client has sent is dropped, what was written can be read.
    void LeaveFromHub();

private:
    void AwaitReadingClient();
    bool MakeRoomFor(std::uint64_t length);
    void TellChange();

    const PipePair pipe;
    const std::uint64_t inputBound;
    const std::uint64_t outputBound;
    Notices& notices;
    std::atomic<bool> inputIsHeld{false};
    std::atomic<bool> hubHasLeft{false};
    std::atomic<bool> cut{false};
    /// What the client had taken when it was last found to read nothing. Of the hub's reader alone.
    std::uint64_t takenAtStall = kUnbounded;
    /// Held while `changed` runs, so that OnChange returns when no call of the old one is left.
    Lock changeLock;
    std::function<void()> changed GUARDED_BY(changeLock);
};

}  // namespace vantry
