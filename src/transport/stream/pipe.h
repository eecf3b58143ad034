#pragma once

#include <memory>
#include <utility>

#include "transport/stream/queue_stream.h"
#include "transport/stream/stream.h"

namespace vantry {

/// One end of a two-way pipe: writes to one stream, reads from another. Closing it, or letting its
/// last owner go, closes both, and so ends both directions.
class PipeEnd final : public Stream {
public:
    PipeEnd(std::shared_ptr<Stream> writesTo, std::shared_ptr<Stream> readsFrom)
        : writeSide(std::move(writesTo)), readSide(std::move(readsFrom)) {}
    ~PipeEnd() override { PipeEnd::Close(); }

    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        return readSide->Read(buffer, length);
    }
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override {
        return writeSide->Write(buffer, length);
    }
    std::int32_t WriteShared(const std::shared_ptr<const std::string>& frame) override {
        return writeSide->WriteShared(frame);
    }
    void Close() override {
        writeSide->Close();
        readSide->Close();
    }

private:
    const std::shared_ptr<Stream> writeSide;
    const std::shared_ptr<Stream> readSide;
};

/// A two-way pipe in memory: what goes in at one end comes out at the other.
struct PipePair {
    /// A pipe of two unbounded queues.
    static PipePair Make();

    /// Closes both ends.
    void Close() const {
        clientEnd->Close();
        peerEnd->Close();
    }

    /// The two directions, for whoever has to bound them.
    std::shared_ptr<QueueStream> fromClient;
    std::shared_ptr<QueueStream> toClient;
    std::shared_ptr<PipeEnd> clientEnd;
    std::shared_ptr<PipeEnd> peerEnd;
};

}  // namespace vantry
