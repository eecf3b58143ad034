#pragma once

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

#include "engine/property_engine.h"
#include "store/error_log.h"
#include "store/property_hub_store.h"
#include "support/messages.h"
#include "support/test_platform.h"
#include "transport/session/data_handler_manager.h"
#include "transport/stream/pipe.h"

namespace vantry::test {

/// A peer of a TestHub, connected by a pipe in memory. A thread of its own receives the frames.
class TestPeer {
public:
    explicit TestPeer(std::shared_ptr<Stream> clientEnd);
    ~TestPeer() { Close(); }
    TestPeer(const TestPeer&) = delete;
    TestPeer& operator=(const TestPeer&) = delete;

    void Send(std::string_view text);
    /// Returns the text of the next frame, or nothing if the stream ends or the timeout of
    /// Eventually passes.
    std::optional<std::string> Receive();
    /// Receives frames until one contains `part`, and returns its text, or nothing as Receive does.
    std::optional<std::string> ReceiveUntil(std::string_view part);
    std::optional<std::string> Ask(std::string_view text);
    /// Returns whether no frame arrives within the time.
    bool HearsNothingFor(int milliseconds);
    bool SeesEnd();
    void Close();

private:
    void ReadFrames();

    const std::shared_ptr<Stream> stream;
    std::mutex mutex;
    std::condition_variable arrived;
    std::deque<std::string> frames;
    bool ended = false;
    std::thread reader;
};

/// A hub without links: store, log, engine and sessions, on a platform in a temporary directory.
/// Its publishing period is the shortest.
class TestHub {
public:
    explicit TestHub(const Limits& limits = Limits());
    ~TestHub();
    TestHub(const TestHub&) = delete;
    TestHub& operator=(const TestHub&) = delete;

    std::unique_ptr<TestPeer> Connect(bool external = false);

    TestPlatform platform;
    std::shared_ptr<ThreadReaper> reaper;
    std::shared_ptr<PropertyHubStore> store;
    std::shared_ptr<ErrorLog> log;
    std::shared_ptr<PropertyEngine> engine;
    std::shared_ptr<DataHandlerManager> sessions;
    /// The account of the external peer that connected last.
    std::shared_ptr<ConnectionAccount> admitted;
};

}  // namespace vantry::test
