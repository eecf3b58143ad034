// What a program learns about the owners of properties and the age of values.

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>

#include "client/client_fixture.h"
#include "client/heartbeat.h"
#include "client/owners.h"

namespace vantry::client {
namespace {

using Presence = Owners::Presence;

/// Returns a heartbeat property of this process that lists the property "A".
Property Beat(const std::function<void(Heartbeat&)>& change) {
    Heartbeat beat = Heartbeat::OfThisProcess();
    beat.interval = 10'000;
    beat.changed["MY GROUP"]["A"] = beat.clock - 5000;
    change(beat);
    Property property;
    property.id = {"MY COMPONENT", Owners::HeartbeatGroup(), "MY GROUP:A"};
    property.value = beat.ToText();
    return property;
}

TEST(Owners, APresenceIsNeverClaimedWithoutAReason) {
    struct Case {
        std::function<void(Heartbeat&)> change;
        Presence presence;
        const char* why;
    };
    const auto elsewhere = [](Heartbeat& beat) { beat.processes = "pid:[1]"; };
    const Case cases[] = {
        {[](Heartbeat&) {}, Presence::Alive, "runs"},
        {[](Heartbeat& beat) { beat.started += 1; }, Presence::Gone, "has ended"},
        {[](Heartbeat& beat) { beat.hasEnded = true; }, Presence::Gone, "has left"},
        {[](Heartbeat& beat) { beat.clock -= 40'000; }, Presence::Unknown, "silent for 40 s"},
        {[&](Heartbeat& beat) { elsewhere(beat); }, Presence::Alive, "runs"},
        {[&](Heartbeat& beat) { elsewhere(beat), beat.clock -= 40'000; }, Presence::Gone, "silent"},
        {[](Heartbeat& beat) { beat.boot = "another"; }, Presence::Unknown, "no second heartbeat"},
        {[](Heartbeat& beat) { beat.changed.clear(); }, Presence::Unknown, "keeps no heartbeat"},
    };
    for (const Case& one : cases) {
        Owners owners;
        owners.Take(Beat(one.change));
        const Owners::State state = owners.Of(Mine("A"));
        EXPECT_EQ(state.presence, one.presence) << state.why;
        EXPECT_NE(state.why.find(one.why), std::string::npos) << state.why;
    }
    Owners owners;
    for (const char* text : {"", "[]", "{\"process\": 1}", "{\"process\": \"1\""}) {
        Property property = Beat([](Heartbeat&) {});
        property.value = text;
        owners.Take(property);
    }
    EXPECT_EQ(owners.Of(Mine("A")).presence, Presence::Unknown);
    // A second heartbeat from another machine shows that its program runs.
    for (const std::uint64_t clock : {1000U, 2000U}) {
        owners.Take(Beat([&](Heartbeat& beat) { beat.boot = "another", beat.clock = clock; }));
    }
    EXPECT_EQ(owners.Of(Mine("A")).presence, Presence::Alive);
    EXPECT_EQ(owners.TakeChanges(), std::vector{Mine("A")});
    EXPECT_TRUE(owners.TakeChanges().empty());
}

TEST(Owners, AnAgeThatIsNotKnownIsALowerBound) {
    Property a;
    a.id = Mine("A");
    Owners owners;
    EXPECT_FALSE(owners.AgeOf(a.id));
    owners.Take(a);
    EXPECT_TRUE(owners.AgeOf(a.id)->isAtLeast);
    EXPECT_EQ(owners.AgeOf(a.id)->Text().substr(0, 2), "> ");
    owners.Take(Beat([](Heartbeat&) {}));
    EXPECT_FALSE(owners.AgeOf(a.id)->isAtLeast);
    EXPECT_GE(owners.AgeOf(a.id)->milliseconds, 5000U);
    a.origin = Origin::Change;
    owners.Take(a);  // It is set after the heartbeat.
    EXPECT_LT(owners.AgeOf(a.id)->milliseconds, 5000U);
    EXPECT_FALSE(owners.AgeOf(a.id)->isAtLeast);
    // The clock of another machine began at another time.
    owners = Owners();
    a.origin = Origin::Present;
    owners.Take(a);
    owners.Take(Beat([](Heartbeat& beat) {
        beat.boot = "another", beat.clock = 1'000'000'000'000;
        beat.changed["MY GROUP"]["A"] = beat.clock - 7000;
    }));
    EXPECT_EQ(owners.AgeOf(a.id)->Text(), "7 s");
}

class OwnersOfAHub : public ClientTest {
protected:
    ~OwnersOfAHub() override { EndOwner(); }

    /// Starts a process that announces A. Call it before this one has a Hub, since a child has only
    /// the thread that forked it.
    void StartOwner() {
        const std::string path = Device().path;
        owner = fork();
        if (owner == 0) {
            auto hub = Hub::Connect(Endpoint::Device(path));
            Announcement a = Announced("A", "1");
            a.onWrite = [](const std::string&) -> std::optional<std::string> { _exit(0); };
            if (hub && (*hub)->Announce({a})) {
                pause();
            }
            _exit(1);
        }
    }
    void EndOwner() {
        if (owner > 0) {
            kill(owner, SIGKILL);
            waitpid(std::exchange(owner, -1), nullptr, 0);
        }
    }
    static Owners OwnersIn(Hub& hub) {
        Owners owners;
        const auto all = hub.ReadAll();
        EXPECT_TRUE(all);
        for (const Property& property : *all) {
            owners.Take(property);
        }
        return owners;
    }

    pid_t owner = -1;
};

TEST_F(OwnersOfAHub, AWriteToAPropertyWhoseOwnerHasDiedSaysSo) {
    StartOwner();
    const auto hub = Connect({}, 3000);
    ASSERT_TRUE(Eventually([&] { return hub->Read(Mine("A")); }));
    Owners owners = OwnersIn(*hub);
    EXPECT_EQ(owners.Of(Mine("A")).process, static_cast<std::uint32_t>(owner));
    EXPECT_EQ(owners.Of(Mine("A")).presence, Presence::Alive);
    EXPECT_EQ(owners.Of(kPeriod).presence, Presence::Alive);
    owners.TakeChanges();
    // The handler of the write ends the process.
    const auto dying = hub->WriteAndWait(Mine("A"), "2");
    ASSERT_FALSE(dying);
    // Nobody has asked for its status yet.
    EXPECT_EQ(dying.error().code, ErrorCode::OwnerGone) << dying.error().text;
    EXPECT_EQ(OwnersIn(*hub).Of(Mine("A")).presence, Presence::Gone);
    EXPECT_TRUE(Eventually([&] { return owners.TakeChanges() == std::vector{Mine("A")}; }));
    const auto late = hub->WriteAndWait(Mine("A"), "2");
    ASSERT_FALSE(late);
    EXPECT_EQ(late.error().code, ErrorCode::OwnerGone) << late.error().text;
    EXPECT_NE(late.error().text.find("has ended"), std::string::npos) << late.error().text;
    // Another program takes the property over, and keeps no heartbeat.
    Hub::Options options;
    options.heartbeatMilliseconds = 0;
    const auto heir = Connect(options);
    ASSERT_TRUE(heir->Announce({Announced("A", "1")}));
    EXPECT_EQ(hub->WriteAndWait(Mine("A"), "2")->value, "2");
}

TEST_F(OwnersOfAHub, HeartbeatsFollowWhatIsAnnouncedAndSet) {
    Hub::Options options;
    options.heartbeatMilliseconds = 20;
    auto first = Connect(options);
    const auto second = Connect(options);
    const auto reader = Connect();
    ASSERT_TRUE(first->Announce({Announced("A", "1"), Announced("B", "1")}));
    ASSERT_TRUE(first->Announce({Announced("C", "1")}));
    ASSERT_TRUE(second->Announce({Announced("D", "1")}));
    const auto presence = [&](const char* name) {
        return OwnersIn(*reader).Of(Mine(name)).presence;
    };
    const auto age = [&](const char* name) {
        return OwnersIn(*reader).AgeOf(Mine(name))->milliseconds;
    };
    for (const char* name : {"A", "B", "C", "D"}) {
        EXPECT_TRUE(Eventually([&] { return presence(name) == Presence::Alive; })) << name;
    }
    ASSERT_TRUE(Eventually([&] { return age("A") > 300 && age("B") > 300; }));
    ASSERT_TRUE(first->Change(Mine("B"), "2"));
    EXPECT_TRUE(Eventually([&] { return age("B") + 200 < age("A"); }));
    EXPECT_TRUE(reader->WriteAndWait(Mine("A"), "2"));
    EXPECT_TRUE(Eventually([&] { return age("A") < age("B"); }));
    const auto heartbeats = [&] { return reader->ReadGroup(Owners::HeartbeatGroup())->size(); };
    EXPECT_EQ(heartbeats(), 2U);
    ASSERT_TRUE(second->Withdraw(Mine("D")));
    EXPECT_TRUE(Eventually([&] { return heartbeats() == 1; }));
    EXPECT_FALSE(second->Announce({Announced("E", "1"), Announced("E", "2")}));
    EXPECT_EQ(heartbeats(), 1U);
    first.reset();
    EXPECT_EQ(presence("A"), Presence::Gone);
}

}  // namespace
}  // namespace vantry::client
