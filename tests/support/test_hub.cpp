// A hub in this process, without links.
//
// It is assembled as DriverRoot assembles the real one, but without its links, its loopback and its
// versions. Peers are ends of pairs of sockets.

#include "support/test_hub.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

#include "property/property_factories.h"
#include "transport/session/framed_json_handler.h"

namespace vantry::test {
namespace {

/// The hub's end of a pair of sockets; external if it has an account.
class SocketEnd final : public Stream {
public:
    explicit SocketEnd(int end) : descriptor(end) {}
    SocketEnd(int end, std::shared_ptr<ConnectionAccount> ownAccount)
        : Stream(std::move(ownAccount)), descriptor(end) {}
    ~SocketEnd() override { close(descriptor); }
    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        const ssize_t count = recv(descriptor, buffer, static_cast<std::size_t>(length), 0);
        return count > 0 ? static_cast<std::int32_t>(count) : StreamCode::kEndOfData;
    }
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override {
        const ssize_t count =
            send(descriptor, buffer, static_cast<std::size_t>(length), MSG_NOSIGNAL);
        return count > 0 ? static_cast<std::int32_t>(count) : StreamCode::kEndOfData;
    }
    void Close() override { shutdown(descriptor, SHUT_RDWR); }

private:
    const int descriptor;
};

}  // namespace

TestHub::TestHub(const Limits& limits) {
    platform.platform.SetLimits(limits);
    reaper = std::make_shared<ThreadReaper>(253);
    store = std::make_shared<PropertyHubStore>(
        platform.platform, *reaper,
        PropertyStoreSettings{u"/Store/VantryProperties.ini",
                              u"/Store/VantryPropertiesOverride.ini", 251, 253});
    const auto component =
        MakeStringProperty("Vantry", IdentityOf(HubProperties::kOwnComponent, Groups::kComponents));
    store->RegisterProperty(component);
    log = std::make_shared<ErrorLog>(*store, platform.platform, *reaper, 253, u"/Store/Log.txt",
                                     HubProperties::kErrorLogFileName);
    engine = std::make_shared<PropertyEngine>(store, *reaper, 249, component, platform.platform);
    engine->SetSelf(engine);
    store->AttachEngine(engine);
    store->StartRemovals();
    EXPECT_EQ(store->FindProperty(HubProperties::kPublishingPeriod.guid, Groups::kGeneral.guid)
                  ->SetTextQuietly("250"),
              kAccepted);
    sessions =
        std::make_shared<DataHandlerManager>(engine, reaper, log, 249, platform.platform.status);
    sessions->AddHandler(std::make_unique<FramedJsonHandler>());
}

TestHub::~TestHub() {
    sessions.reset();
    engine.reset();
}

std::unique_ptr<FrameClient> TestHub::Connect(bool external) {
    std::array<int, 2> ends{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
    std::shared_ptr<Stream> hubEnd;
    if (external) {
        admitted = platform.platform.accounting->Admit(Link::Tcp, "192.0.2.1:5");
        hubEnd = std::make_shared<SocketEnd>(ends[1], admitted);
        admitted->OnCut([end = std::weak_ptr(hubEnd)] {
            if (const std::shared_ptr<Stream> open = end.lock()) {
                open->Close();
            }
        });
    } else {
        hubEnd = std::make_shared<SocketEnd>(ends[1]);
    }
    sessions->AddSession(std::make_shared<PeekStream>(hubEnd));
    return std::make_unique<FrameClient>(FrameClient::On(ends[0]));
}

}  // namespace vantry::test
