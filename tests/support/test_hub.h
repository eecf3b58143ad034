#pragma once

#include <memory>

#include "engine/property_engine.h"
#include "store/error_log.h"
#include "store/property_hub_store.h"
#include "support/frame_client.h"
#include "support/messages.h"
#include "support/test_platform.h"
#include "transport/session/data_handler_manager.h"

namespace vantry::test {

/// A hub without links: store, log, engine and sessions, on a platform in a temporary directory.
/// Its publishing period is the shortest.
class TestHub {
public:
    explicit TestHub(const Limits& limits = Limits());
    ~TestHub();
    TestHub(const TestHub&) = delete;
    TestHub& operator=(const TestHub&) = delete;

    /// Returns a peer of a new session.
    std::unique_ptr<FrameClient> Connect(bool external = false);

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
