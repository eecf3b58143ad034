#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "driver/local_link.h"
#include "transport/stream/stream.h"

namespace vantry {

/// What stands behind one open handle of the local device: the client's end of its link to the hub.
/// Internal, so its client may write properties. Safe for any number of threads; only Read blocks.
class LocalSession final : public Stream {
public:
    /// `notices` must outlive the hub.
    LocalSession(const Limits& limits, Notices& notices)
        : link(std::make_shared<LocalLink>(limits, notices)) {}
    ~LocalSession() override { LocalSession::Close(); }

    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        return link->ReadOutput(buffer, length);
    }
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override {
        return link->WriteInput(buffer, length);
    }
    /// Closes both directions. What is in them can still be read.
    void Close() override { link->CloseBoth(); }

    /// Says that the client sends no more. The session works on what was sent; then it ends, and a
    /// blocked Read returns.
    void EndInput() { link->EndInput(); }
    /// Closes both directions and drops what is in them.
    void Abandon() { link->Abandon(); }

    /// Returns whether more of what the client sent is unread than Bound::LocalInput.
    bool InputIsFull() const { return link->InputIsFull(); }
    /// Returns the same. If it is so, a change is told when half of that bound is free again.
    bool HoldInput() { return link->HoldInput(); }
    /// Returns whether the hub has acted on everything that the client sent, or never will.
    bool IsIdle() const { return link->IsIdle(); }
    /// Returns whether something waits for the client, and how much it has taken until now.
    bool HasOutput() const { return link->HasOutput(); }
    std::uint64_t OutputTaken() const { return link->OutputTaken(); }
    /// Returns whether the client left so much unread that its session was ended.
    bool WasCut() const { return link->WasCut(); }
    /// Has `changed` called, by threads of the hub, when input that was held may go on or the
    /// client was cut. It must not block or call back. An empty function ends that: no call is
    /// under way any more when OnChange returns.
    void OnChange(std::function<void()> changed) { link->OnChange(std::move(changed)); }

    /// Makes the hub's end. The link closes when the last of its owners lets go, as a connection
    /// would, so that a client sees its session end. Called once.
    std::shared_ptr<Stream> MakePeerEnd() const;

private:
    const std::shared_ptr<LocalLink> link;
};

}  // namespace vantry
