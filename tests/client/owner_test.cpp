// The guarantees for a program that owns properties.

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <map>
#include <thread>

#include "client/client_fixture.h"
#include "support/messages.h"

namespace vantry::client {
namespace {

class Owner : public ClientTest {
protected:
    static test::Address AddressOf(const PropertyId& id) {
        return {id.component, id.group, id.property};
    }
    std::string InTheHub(const PropertyId& id) { return ValueOf(*Connect(), id); }
};

TEST_F(Owner, AWriteThatSpoilsItsMessageStillArrivesAndNoAnswerIsTakenForAnother) {
    const auto hub = Connect();
    std::atomic<int> writes{0};
    std::vector<Announcement> all;
    for (int number = 0; number < 10; ++number) {
        all.push_back(Announced("N" + std::to_string(number), std::to_string(number)));
    }
    all[0].onWrite = [&](const std::string& written) {
        writes += written == "say \"hi\"" ? 1 : 0;
        return std::nullopt;
    };
    ASSERT_TRUE(hub->Announce(all));
    test::FrameClient careful = process->Device("PRN1");
    constexpr int kWrites = 50;
    std::thread writing([&] {
        for (int count = 0; count < kWrites; ++count) {
            // The value is escaped once, as JSON requires. The hub forwards it unescaped.
            careful.Send(test::Set(AddressOf(Mine("N0")), R"(say \"hi\")"));
        }
    });
    int read = 0;
    int wrong = 0;
    while (writes < kWrites && read < 200'000) {
        const std::string asked = std::to_string(read++ % 10);
        wrong += ValueOf(*hub, Mine("N" + asked)) == asked ? 0 : 1;
    }
    writing.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_TRUE(Eventually([&] { return writes == kWrites; }));
}

TEST_F(Owner, WhatCannotTravelIsRefusedAndSpoilsNothingElse) {
    const auto hub = Connect();
    ASSERT_TRUE(hub->Announce({Announced("A", "1")}));
    const std::string tooLong(4'194'304, 'x');
    std::vector<std::vector<Announcement>> refused = {
        {Announced("P\"5", "")},
        {Announced("", "")},
        {Announced("a\\b", "")},
        {Announced("a\nb", "")},
        {Announced("B", tooLong)},
        {Announced("A", "2")},
        {Announced("B", "1"), Announced("B", "2")},
    };
    for (const char* group : {"", "G:x", "a\"b"}) {
        refused.push_back({Announced("B", "")});
        refused.back()[0].id.group = group;
    }
    refused.push_back({Announced("B", "")});
    refused.back()[0].id.component = Hub::OwnComponent();
    refused.push_back({Announced("B", "")});
    refused.back()[0].name = std::string("a\0b", 3);
    for (const std::vector<Announcement>& properties : refused) {
        EXPECT_EQ(hub->Announce(properties).error().code, ErrorCode::Refused)
            << properties[0].id.component << properties[0].id.group << properties[0].id.property;
    }
    EXPECT_EQ(hub->Change(Mine("A"), tooLong).error().code, ErrorCode::Refused);
    EXPECT_EQ(hub->Write(Mine("A"), tooLong).error().code, ErrorCode::Refused);
    EXPECT_EQ(hub->Write(Mine("A"), std::string("a\0b", 3)).error().code, ErrorCode::Refused);
    EXPECT_EQ(hub->Read(Mine("a\"b")).error().code, ErrorCode::Refused);
    EXPECT_EQ(hub->Read(Mine("")).error().code, ErrorCode::Refused);
    EXPECT_EQ(hub->ReadGroup("").error().code, ErrorCode::Refused);
    auto outside = Hub::Connect(Endpoint::Tcp("127.0.0.1", process->Port()));
    ASSERT_TRUE(outside);
    EXPECT_EQ((*outside)->Write(kPeriod, "1000").error().code, ErrorCode::Refused);
    ASSERT_TRUE(hub->Change(Mine("A"), "3"));
    EXPECT_TRUE(Eventually([&] { return InTheHub(Mine("A")) == "3"; }));
}

TEST_F(Owner, MorePropertiesThanFitIntoOneMessageAreAnnounced) {
    const auto hub = Connect();
    std::vector<Announcement> many;
    for (int number = 0; number < 2'000; ++number) {
        many.push_back(Announced("P" + std::to_string(number), std::string(3'000, 'v')));
    }
    ASSERT_TRUE(hub->Announce(many));
    EXPECT_EQ(Connect()->ReadGroup("MY GROUP")->size(), many.size());
    EXPECT_TRUE(hub->IsConnected());
}

TEST_F(Owner, WhatIsDoneWithoutAConnectionIsMadeUpFor) {
    const auto hub = Connect({}, 300);
    ASSERT_TRUE(hub->Announce({Announced("A", "1"), Announced("W", "w")}));
    process->Signal(SIGSTOP);
    EXPECT_FALSE(hub->Read(kPeriod));
    ASSERT_TRUE(Eventually([&] { return !hub->IsConnected(); }));
    EXPECT_TRUE(hub->Change(Mine("A"), "2"));
    EXPECT_TRUE(hub->Withdraw(Mine("W")));
    EXPECT_TRUE(hub->Announce({Announced("N", "n")}));
    process->Signal(SIGCONT);
    // The hub still has the properties of the old connection, so restoring takes a while.
    for (int value = 3; !hub->IsConnected(); ++value) {
        EXPECT_TRUE(hub->Change(Mine("A"), std::to_string(value)));
    }
    EXPECT_TRUE(hub->Change(Mine("A"), "last"));
    const auto other = Connect();
    EXPECT_TRUE(Eventually([&] {
        return ValueOf(*other, Mine("A")) == "last" && ValueOf(*other, Mine("N")) == "n" &&
               other->Read(Mine("W")).error().code == ErrorCode::NotFound;
    }));
    EXPECT_EQ(other->WriteAndWait(Mine("N"), "written")->value, "written");
}

TEST_F(Owner, ASlowHandlerDelaysNoAnswerAndMayAskItself) {
    std::atomic<bool> isIn{false};
    std::atomic<bool> letGo{false};
    std::string readInside;
    Hub* self = nullptr;
    const auto hub = Connect();
    self = hub.get();
    Announcement slow = Announced("A", "1");
    slow.onWrite = [&](const std::string& written) {
        readInside = ValueOf(*self, kPeriod);
        isIn = true;
        EXPECT_TRUE(Eventually([&] { return letGo.load(); }));
        return std::optional(written);
    };
    ASSERT_TRUE(hub->Announce({slow}));
    const auto client = Connect();
    ASSERT_TRUE(client->Write(Mine("A"), "2"));
    ASSERT_TRUE(Eventually([&] { return isIn.load(); }));
    EXPECT_EQ(readInside, "500");
    EXPECT_EQ(ValueOf(*hub, Mine("A")), "1");
    letGo = true;
    EXPECT_TRUE(Eventually([&] { return ValueOf(*client, Mine("A")) == "2"; }));
}

TEST_F(Owner, AHandlerThatThrowsIsToldAndTheOthersRun) {
    std::atomic<int> errors{0};
    Hub::Options options;
    options.onError = [&](const Error& error) {
        errors += error.text.find("no such speed") != std::string::npos ? 1 : 0;
    };
    const auto hub = Connect(options);
    Announcement failing = Announced("A", "1");
    failing.onWrite = [](const std::string&) -> std::optional<std::string> {
        throw std::runtime_error("no such speed");
    };
    ASSERT_TRUE(hub->Announce({failing, Announced("B", "1")}));
    ASSERT_TRUE(hub->Write(Mine("A"), "2"));
    EXPECT_EQ(hub->WriteAndWait(Mine("B"), "2")->value, "2");
    EXPECT_TRUE(Eventually([&] { return errors == 1; }));
    const Subscription throwing = hub->Subscribe(
        Interest::Everything(), [](const Property&) { throw std::runtime_error("no such speed"); });
    EXPECT_TRUE(Eventually([&] { return errors > 10; }));
}

TEST_F(Owner, ACommandRunsOnEveryTrueAndAFailureIsNotTakenForTheLastSuccess) {
    const auto owner = Connect();
    std::atomic<int> runs{0};
    Announcement command = Announced("A", "False", ValueType::Command);
    command.onWrite = [&](const std::string&) {
        return std::optional<std::string>(++runs == 1 ? "True" : "False");
    };
    ASSERT_TRUE(owner->Announce({command}));
    const auto client = Connect();
    ASSERT_TRUE(client->Write(Mine("A"), "False"));
    EXPECT_EQ(client->WriteAndWait(Mine("A"), "true")->value, "True");
    const auto second = client->WriteAndWait(Mine("A"), "True");
    ASSERT_FALSE(second);
    EXPECT_EQ(second.error().code, ErrorCode::Refused);
    EXPECT_EQ(runs, 2);
}

TEST_F(Owner, AProgramLearnsThatAnotherTakesItsProperty) {
    const auto first = Connect();
    EventQueue changes;
    const Subscription own = first->Subscribe(Interest::List({Mine("A")}), changes.Callback());
    ASSERT_TRUE(first->Announce({Announced("A", "1")}));
    ASSERT_TRUE(Hears(changes, "1"));
    const auto second = Connect();
    ASSERT_TRUE(second->Announce({Announced("A", "2")}));
    EXPECT_TRUE(HearsOfALoss(changes));
    EXPECT_TRUE(Hears(changes, "2"));
}

TEST_F(Owner, TheHubHasTheLastOfTheValuesThatThreadsChangeAtOnce) {
    constexpr int kCount = 300;
    const auto owner = Connect();
    std::vector<Announcement> all;
    for (int number = 0; number < kCount; ++number) {
        all.push_back(Announced("P" + std::to_string(number), "0"));
    }
    ASSERT_TRUE(owner->Announce(all));
    const auto changeAll = [&](const char* value) {
        for (const Announcement& property : all) {
            EXPECT_TRUE(owner->Change(property.id, value));
        }
    };
    std::thread other([&] { changeAll("1"); });
    changeAll("2");
    other.join();
    const auto values = [&] {
        std::map<PropertyId, std::string> found;
        const auto group = Connect()->ReadGroup("MY GROUP");
        for (const Property& property : group ? *group : std::vector<Property>()) {
            found[property.id] = property.value;
        }
        return found;
    };
    ASSERT_TRUE(owner->Read(Mine("P0")));  // The answer follows all changes.
    const auto before = values();
    process->Kill();
    StartHub();
    // Now the values are those that the library remembers.
    EXPECT_TRUE(Eventually([&] { return values().size() == before.size(); }));
    EXPECT_EQ(values(), before);
}

TEST_F(Owner, SignalsAreLeftToTheThreadsOfTheProgram) {
    sigset_t one;
    sigset_t before;
    sigemptyset(&one);
    sigaddset(&one, SIGUSR1);
    pthread_sigmask(SIG_BLOCK, &one, &before);
    const auto hub = Connect();
    ASSERT_TRUE(hub->Announce({Announced("A", "1")}));
    EventQueue changes;
    const Subscription everything = hub->Subscribe(Interest::Everything(), changes.Callback());
    ASSERT_TRUE(Hears(changes, "1"));
    // Any thread that didn't block it would be ended by it, with the program.
    kill(getpid(), SIGUSR1);
    int taken = 0;
    EXPECT_EQ(sigwait(&one, &taken), 0);
    EXPECT_EQ(taken, SIGUSR1);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(Owner, AnOrderlyEndLosesNothingAndLeavesNoLineInTheLog) {
    const auto log = process->root / "Store/VantryLogFileName.txt";
    const auto lines = [&] { return test::Count(test::ReadFile(log), "\r\n"); };
    ASSERT_TRUE(Eventually([&] { return lines() == 1; }));  // The line of the hub's start.
    for (int round = 0; round < 20; ++round) {
        const std::string value = std::to_string(round);
        {
            // The hub often ends while its subscription is still connecting.
            const auto hub = Connect();
            const Subscription everything = hub->Subscribe(Interest::Everything(), [](auto&) {});
            ASSERT_TRUE(hub->Announce({Announced("R" + value, "")}));
            ASSERT_TRUE(hub->Change(Mine("R" + value), value));
        }
        EXPECT_EQ(InTheHub(Mine("R" + value)), value);
    }
    // A client that disconnects without a message is logged.
    ASSERT_TRUE(process->Device("PRN1").Ask(test::kGetAll));
    ASSERT_TRUE(Eventually([&] { return lines() > 1; }));
    EXPECT_EQ(lines(), 2U);
}

}  // namespace
}  // namespace vantry::client
