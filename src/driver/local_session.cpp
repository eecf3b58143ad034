#include "driver/local_session.h"

namespace vantry {

std::shared_ptr<Stream> LocalSession::PeerEnd() const {
    const std::shared_ptr<PipeEnd> end = pipe.peerEnd;
    return {end.get(), [end](Stream* stream) { stream->Close(); }};
}

}  // namespace vantry
