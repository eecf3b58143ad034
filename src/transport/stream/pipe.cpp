#include "transport/stream/pipe.h"

#include "transport/stream/queue_stream.h"

namespace vantry {

PipePair PipePair::Make() {
    const auto fromClient = std::make_shared<QueueStream>();
    const auto toClient = std::make_shared<QueueStream>();
    return {std::make_shared<PipeEnd>(fromClient, toClient),
            std::make_shared<PipeEnd>(toClient, fromClient)};
}

}  // namespace vantry
