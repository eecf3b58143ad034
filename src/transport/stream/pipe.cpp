#include "transport/stream/pipe.h"

namespace vantry {

PipePair PipePair::Make() {
    const auto fromClient = std::make_shared<QueueStream>();
    const auto toClient = std::make_shared<QueueStream>();
    return {fromClient, toClient, std::make_shared<PipeEnd>(fromClient, toClient),
            std::make_shared<PipeEnd>(toClient, fromClient)};
}

}  // namespace vantry
