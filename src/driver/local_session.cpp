#include "driver/local_session.h"

namespace vantry {
namespace {

/// The hub's end of a link.
class PeerEnd final : public Stream {
public:
    explicit PeerEnd(std::shared_ptr<LocalLink> toClient) : link(std::move(toClient)) {}
    ~PeerEnd() override { PeerEnd::Close(); }

    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        return link->ReadInput(buffer, length);
    }
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override {
        return link->WriteOutput(buffer, length);
    }
    std::int32_t WriteShared(const SharedFrame& frame) override {
        return link->WriteSharedOutput(frame);
    }
    void Close() override { link->LeaveFromHub(); }

private:
    const std::shared_ptr<LocalLink> link;
};

}  // namespace

std::shared_ptr<Stream> LocalSession::MakePeerEnd() const {
    return std::make_shared<PeerEnd>(link);
}

}  // namespace vantry
