#pragma once

#include <memory>
#include <utility>

#include "transport/stream/queue_stream.h"
#include "transport/stream/stream.h"

namespace vantry {

/// One end of a two-way pipe. It writes to one stream and reads from another, and blocks as they
/// do. Close and the destructor close both streams, and so end both directions.
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
    std::int32_t WriteShared(const SharedFrame& frame) override {
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

/// A two-way pipe in memory: what is written to one end is read from the other.
struct PipePair {
    /// Makes a pipe of two unbounded queues.
    static PipePair Make();

    /// Closes both ends.
    void Close() const {
        clientEnd->Close();
        peerEnd->Close();
    }

    /// The two directions, for an owner that has to bound them.
    std::shared_ptr<QueueStream> fromClient;
    std::shared_ptr<QueueStream> toClient;
    std::shared_ptr<PipeEnd> clientEnd;
    std::shared_ptr<PipeEnd> peerEnd;
};

}  // namespace vantry
