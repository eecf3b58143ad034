#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <functional>
#include <string>

#include "client/worker.h"
#include "gateway/hub_link.h"

namespace vantry::gateway {

/// Carries writes out on threads of its own, because a write waits until its value is seen. Writes
/// to one property are carried out in their order. Post and Start are for the thread of the server.
class Writers {
public:
    using Written = std::function<void(client::Result<client::Property>)>;

    explicit Writers(HubLink& hub) : link(hub) {}
    ~Writers() { Stop(); }
    Writers(const Writers&) = delete;
    Writers& operator=(const Writers&) = delete;

    /// Starts the threads. Returns NoConnection if the system has none.
    client::Outcome Start();
    /// Queues a write. `done` is called on another thread with its result. Returns false if too
    /// many writes to properties of the same thread wait already, and calls nothing then.
    [[nodiscard]] bool Post(const client::PropertyId& id, const std::string& value, Written done);
    /// Blocks until the writes that are under way have ended, and drops those that wait.
    void Stop();

private:
    struct Lane {
        client::Worker worker;
        std::atomic<std::size_t> waiting{0};
    };

    HubLink& link;
    std::array<Lane, 4> lanes;
};

}  // namespace vantry::gateway
