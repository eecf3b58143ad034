#include "transport/tcp/half_closed_streams.h"

#include <utility>

#include "transport/tcp/tcp_stream.h"

namespace vantry {

void HalfClosedStreams::Add(std::weak_ptr<TcpStream> stream) {
    std::shared_ptr<TcpStream> oldest;
    {
        ScopedLock guard(lock);
        std::erase_if(streams, [](const auto& other) {
            const std::shared_ptr<TcpStream> held = other.lock();
            return !held || held->IsClosed();
        });
        streams.push_back(std::move(stream));
        if (streams.size() > most) {
            oldest = streams.front().lock();
            streams.pop_front();
        }
    }
    if (oldest) {
        oldest->Account()->Cut(Bound::EndedPeers);
    }
}

}  // namespace vantry
