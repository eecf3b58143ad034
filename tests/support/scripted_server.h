#pragma once

#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

#include "support/frame_client.h"

namespace vantry::test {

/// A server on a free port of 127.0.0.1 that does to each connection what a test wants, each on a
/// thread of its own, and then closes it.
class ScriptedServer {
public:
    explicit ScriptedServer(std::function<void(FrameClient&)> script);
    /// Waits for the scripts, which must end once their client has gone.
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    std::uint16_t Port() const { return port; }

private:
    void Accept();

    const std::function<void(FrameClient&)> script;
    int listener;
    std::uint16_t port = 0;
    std::vector<std::thread> scripts;
    std::thread accepting;
};

}  // namespace vantry::test
