// A hub in this process, without sockets.
//
// It is assembled as DriverRoot assembles the real one, but without its links, its loopback and its
// versions. Peers are ends of pipes in memory. The thread of a peer queues what arrives, so that a
// test can wait for a frame with a timeout, which the blocking Read of a stream doesn't offer.

#include "support/test_hub.h"

#include <gtest/gtest.h>

#include "property/property_factories.h"
#include "support/eventually.h"
#include "transport/session/framed_json_handler.h"
#include "wire/json/json_writer.h"
#include "wire/json_message.h"

namespace vantry::test {
namespace {

/// One end of a pipe as the stream of an external link, with an account.
class ExternalEnd final : public Stream {
public:
    ExternalEnd(std::shared_ptr<Stream> end, std::shared_ptr<ConnectionAccount> ownAccount)
        : Stream(ownAccount), inner(std::move(end)) {
        ownAccount->OnCut([end = inner] { end->Close(); });
    }
    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override {
        return inner->Read(buffer, length);
    }
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override {
        return inner->Write(buffer, length);
    }
    void Close() override { inner->Close(); }

private:
    const std::shared_ptr<Stream> inner;
};

class ReceivedMessage final : public JsonMessage {
public:
    std::string Text() const {
        std::string text;
        WriteJsonObject(text, object);
        return text;
    }
};

}  // namespace

TestPeer::TestPeer(std::shared_ptr<Stream> clientEnd)
    : stream(std::move(clientEnd)), reader([this] { ReadFrames(); }) {}

void TestPeer::ReadFrames() {
    for (;;) {
        ReceivedMessage message;
        const bool received = message.ReadFrom(*stream);
        const std::lock_guard guard(mutex);
        ended = !received;
        if (received) {
            frames.push_back(message.Text());
        }
        arrived.notify_all();
        if (ended) {
            return;
        }
    }
}

void TestPeer::Send(std::string_view text) {
    const std::string frame = FrameOf(text);
    stream->Write(reinterpret_cast<const std::uint8_t*>(frame.data()),
                  static_cast<std::int32_t>(frame.size()));
}

std::optional<std::string> TestPeer::Receive() {
    std::unique_lock guard(mutex);
    arrived.wait_for(guard, std::chrono::milliseconds(kPatienceMilliseconds),
                     [&] { return ended || !frames.empty(); });
    if (frames.empty()) {
        return std::nullopt;
    }
    std::string text = std::move(frames.front());
    frames.pop_front();
    return text;
}

std::optional<std::string> TestPeer::ReceiveUntil(std::string_view part) {
    for (;;) {
        std::optional<std::string> text = Receive();
        if (!text || text->find(part) != std::string::npos) {
            return text;
        }
    }
}

std::optional<std::string> TestPeer::Ask(std::string_view text) {
    Send(text);
    return Receive();
}

bool TestPeer::HearsNothingFor(int milliseconds) {
    std::unique_lock guard(mutex);
    return !arrived.wait_for(guard, std::chrono::milliseconds(milliseconds),
                             [&] { return !frames.empty(); });
}

bool TestPeer::SeesEnd() {
    std::unique_lock guard(mutex);
    return arrived.wait_for(guard, std::chrono::milliseconds(kPatienceMilliseconds),
                            [&] { return ended; });
}

void TestPeer::Close() {
    stream->Close();
    if (reader.joinable()) {
        reader.join();
    }
}

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

std::unique_ptr<TestPeer> TestHub::Connect(bool external) {
    const PipePair pipe = PipePair::Make();
    std::shared_ptr<Stream> hubEnd = pipe.peerEnd;
    if (external) {
        admitted = platform.platform.accounting->Admit(Link::Tcp, "192.0.2.1:5");
        hubEnd = std::make_shared<ExternalEnd>(pipe.peerEnd, admitted);
    }
    sessions->AddSession(std::make_shared<PeekStream>(hubEnd));
    return std::make_unique<TestPeer>(pipe.clientEnd);
}

}  // namespace vantry::test
