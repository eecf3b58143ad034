#pragma once

#include <memory>

#include "transport/stream/pipe.h"
#include "transport/stream/stream.h"

namespace vantry {

/// What stands behind one open handle of the local device: the client's side of a two-way pipe.
/// Internal, so its client may write properties. Safe for any number of threads.
class LocalSession final : public Stream {
public:
    LocalSession() : pipe(PipePair::Make()) {}
    ~LocalSession() override { LocalSession::Close(); }

    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        return pipe.clientEnd->Read(buffer, length);
    }
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override {
        return pipe.clientEnd->Write(buffer, length);
    }
    /// Closes both directions. What is in them can still be read.
    void Close() override { pipe.Close(); }

    /// The end that is not the client's, for the hub. The pipe closes when the last of its owners
    /// lets go, as a connection would, so that a client sees its session end.
    std::shared_ptr<Stream> PeerEnd() const;

private:
    const PipePair pipe;
};

}  // namespace vantry
