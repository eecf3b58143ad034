#pragma once

#include <cstdint>
#include <memory>

#include "driver/local_link.h"
#include "transport/stream/stream.h"

namespace vantry {

/// The session of one open handle of the local device: the client's end of its link to the hub. The
/// stream is internal, so its client may write properties. All operations are thread-safe; only
/// Read blocks.
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
    /// Closes both directions. Bytes that were written before can still be read.
    void Close() override { link->CloseBoth(); }

    /// Ends the direction to the hub. The hub still processes what was sent; then the session ends,
    /// and a blocked Read returns.
    void EndInput() { link->EndInput(); }
    /// Closes both directions and discards what is in them.
    void Abandon() { link->Abandon(); }

    /// Returns whether the hub has processed everything that the client sent, or never will.
    bool IsIdle() const { return link->IsIdle(); }

    /// Returns a new stream that is the hub's end; called once. When its last owner releases it,
    /// the link closes, so that the client sees the end of its session.
    std::shared_ptr<Stream> MakePeerEnd() const;

private:
    const std::shared_ptr<LocalLink> link;
};

}  // namespace vantry
