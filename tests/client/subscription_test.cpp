// The guarantees for a subscriber.

#include <atomic>
#include <map>
#include <mutex>
#include <vector>

#include "client/client_fixture.h"
#include "client/picture.h"
#include "support/messages.h"

namespace vantry::client {
namespace {

class Subscriber : public ClientTest {
protected:
    static std::vector<Announcement> Many(int count, const std::string& value) {
        std::vector<Announcement> many;
        for (int number = 0; number < count; ++number) {
            many.push_back(Announced("P" + std::to_string(number), value));
        }
        return many;
    }
};

/// The last values that a subscription has reported.
class Told {
public:
    ChangeCallback Callback() {
        return [this](const Property& change) {
            const std::lock_guard guard(mutex);
            ++calls;
            reconciled += change.origin == Origin::Reconciled ? 1 : 0;
            values[change.id] = change.available ? change.value : "gone";
        };
    }
    std::string Of(const std::string& guid) {
        const std::lock_guard guard(mutex);
        return values[Mine(guid)];
    }
    int Having(const std::string& value) {
        const std::lock_guard guard(mutex);
        int count = 0;
        for (const auto& [id, told] : values) {
            count += told == value ? 1 : 0;
        }
        return count;
    }
    std::atomic<int> calls{0};
    std::atomic<int> reconciled{0};

private:
    std::mutex mutex;
    std::map<PropertyId, std::string> values;
};

TEST_F(Subscriber, StaysWrongForNoLongerThanTheInterval) {
    const auto owner = Connect();
    const auto many = Many(2'000, "old");
    ASSERT_TRUE(owner->Announce(many));
    Hub::Options options;
    options.reconcileMilliseconds = 200;
    const auto client = Connect(options);
    Told group;
    const Subscription one = client->Subscribe(Interest::Group("MY GROUP"), group.Callback());
    Told list;
    const Subscription two =
        client->Subscribe(Interest::List({Mine("P0"), Mine("P1999")}), list.Callback());
    EXPECT_TRUE(Eventually([&] { return group.Having("old") == 2'000; }));
    for (const Announcement& property : many) {
        ASSERT_TRUE(owner->Change(property.id, "new"));
    }
    EXPECT_TRUE(Eventually([&] { return group.Having("new") == 2'000; }));
    EXPECT_TRUE(Eventually([&] { return list.Having("new") == 2; }));
    EXPECT_GT(group.reconciled, 0);
}

TEST_F(Subscriber, HearsThatAPropertyHasGoneDuringAnInterruption) {
    auto owner = Connect();
    ASSERT_TRUE(owner->Announce({Announced("A", "1")}));
    const auto client = Connect();
    EventQueue list;
    EventQueue everything;
    const Subscription one = client->Subscribe(Interest::List({Mine("A")}), list.Callback());
    ASSERT_TRUE(Hears(list, "1"));
    const auto other = Connect();
    const Subscription two = other->Subscribe(Interest::Everything(), everything.Callback());
    ASSERT_TRUE(Hears(everything, "1"));
    owner.reset();
    process->Kill();
    StartHub();
    EXPECT_TRUE(HearsOfALoss(list));
    EXPECT_TRUE(HearsOfALoss(everything));
}

TEST_F(Subscriber, TheLastWordOnAPropertyThatReturnsAtOnceIsThatItIsThere) {
    const auto owner = Connect();
    const auto client = Connect();
    Told told;
    const Subscription everything = client->Subscribe(Interest::Everything(), told.Callback());
    EventQueue changes;
    const Subscription witness = client->Subscribe(Interest::Everything(), changes.Callback());
    ASSERT_TRUE(owner->Announce({Announced("A", "one"), Announced("LAST", "")}));
    ASSERT_TRUE(owner->Withdraw(Mine("A")));
    ASSERT_TRUE(owner->Announce({Announced("A", "two")}));
    // The newest changes are first in a message, so only the second one follows all others.
    for (const char* value : {"almost", "the end"}) {
        ASSERT_TRUE(owner->Change(Mine("LAST"), value));
        ASSERT_TRUE(Hears(changes, value));
    }
    EXPECT_EQ(told.Of("A"), "two");
}

TEST_F(Subscriber, ASubscriptionMayEndItselfAndOthersInACallback) {
    const auto owner = Connect();
    ASSERT_TRUE(owner->Announce(Many(20, "1")));
    const auto client = Connect();
    std::atomic<int> ownCalls{0};
    std::atomic<int> otherCalls{0};
    std::atomic<bool> isReady{false};
    Subscription own;
    Subscription other;
    const auto endBoth = [&](const Property&) {
        if (isReady) {
            ++ownCalls;
            other = Subscription();
            otherCalls = 0;
            own = Subscription();
        }
    };
    own = client->Subscribe(Interest::Group("MY GROUP"), endBoth);
    other = client->Subscribe(Interest::Group("MY GROUP"), [&](const Property&) { ++otherCalls; });
    EventQueue changes;
    const Subscription witness = client->Subscribe(Interest::Group("MY GROUP"), changes.Callback());
    ASSERT_TRUE(Eventually([&] { return otherCalls >= 20; }));
    isReady = true;
    for (const Announcement& property : Many(20, "")) {
        ASSERT_TRUE(owner->Change(property.id, "2"));
    }
    for (int heard = 0; heard < 20; ++heard) {
        ASSERT_TRUE(Hears(changes, "2"));
    }
    EXPECT_EQ(ownCalls, 1);
    EXPECT_EQ(otherCalls, 0);
}

TEST_F(Subscriber, ANewSubscriptionRepeatsNothingToTheOthers) {
    const auto hub = Connect();
    ASSERT_TRUE(hub->Announce({Announced("A", "1"), Announced("B", "1")}));
    Told first;
    const Subscription one = hub->Subscribe(Interest::List({Mine("A")}), first.Callback());
    ASSERT_TRUE(Eventually([&] { return first.calls > 0; }));
    Told nothing;
    const Subscription none = hub->Subscribe(Interest::List({}), nothing.Callback());
    std::vector<Subscription> more;
    for (const Interest& interest :
         {Interest::List({Mine("A"), Mine("B")}), Interest::Everything(), Interest::Group("X")}) {
        EventQueue changes;
        more.push_back(hub->Subscribe(interest, changes.Callback()));
    }
    EventQueue last;
    more.push_back(hub->Subscribe(Interest::Everything(), last.Callback()));
    ASSERT_TRUE(Hears(last, "500"));
    ASSERT_TRUE(hub->Change(Mine("A"), "2"));
    ASSERT_TRUE(Hears(last, "2"));
    ASSERT_TRUE(Eventually([&] { return first.Of("A") == "2"; }));
    // The announcement may be published after the answer.
    EXPECT_LE(first.calls, 3);
    EXPECT_EQ(nothing.calls, 0);
}

TEST_F(Subscriber, TheEndOfASubscriptionWaitsForNoOtherCallback) {
    const auto client = Connect();
    std::atomic<bool> isIn{false};
    std::atomic<bool> letGo{false};
    const Subscription slow = client->Subscribe(Interest::List({kPeriod}), [&](const Property&) {
        isIn = true;
        EXPECT_TRUE(Eventually([&] { return letGo.load(); }));
    });
    ASSERT_TRUE(Eventually([&] { return isIn.load(); }));
    {
        const Subscription other = client->Subscribe(Interest::Everything(), [](auto&) {});
    }
    letGo = true;
}

TEST_F(Subscriber, ASubscriptionMayOutliveItsHub) {
    auto hub = Connect();
    const Subscription one = hub->Subscribe(Interest::Everything(), [](const Property&) {});
    hub.reset();
}

TEST(EventQueueBound, KeepsTheLastValueOfEachAndCanBeClosed) {
    EventQueue queue(2);
    const ChangeCallback add = queue.Callback();
    const auto change = [&](const std::string& guid, const std::string& value) {
        Property property;
        property.id = Mine(guid);
        property.value = value;
        add(property);
    };
    change("A", "1");
    change("B", "1");
    EXPECT_FALSE(queue.HasOverflowed());
    change("A", "2");
    EXPECT_TRUE(queue.HasOverflowed());
    queue.Close();
    change("A", "3");
    EXPECT_EQ(queue.Take(20s)->id, Mine("B"));
    EXPECT_EQ(queue.Take(20s)->value, "2");
    EXPECT_FALSE(queue.Take(std::chrono::hours(1)));
}

PropertyResponse Record(const std::string& value, std::string_view status = Status::kSuccessful) {
    const PropertyId id = Mine("A");
    PropertyResponse record;
    record.component = id.component;
    record.groupGuid = id.group;
    record.guid = id.property;
    record.value = value;
    record.status = status;
    return record;
}

TEST(WhatIsTold, IsNeverOlderThanWhatWasToldBefore) {
    struct Step {
        const char* published;
        const char* readNow;
        const char* told;
    };
    const struct {
        const char* about;
        std::vector<Step> steps;
    } cases[] = {
        {"an old publication behind the answer", {{"old", "new", ""}, {"new", "new", "new"}}},
        {"a real change", {{"newer", "newer", "newer"}, {"newest", nullptr, "newest"}}},
        {"two changes, the second unpublished", {{"newer", "newest", "newest"}}},
        {"withdrawn, and there again", {{nullptr, "back", "gone back"}}},
        {"withdrawn", {{nullptr, nullptr, "gone"}, {"back", nullptr, "back"}}},
    };
    for (const auto& [about, steps] : cases) {
        Picture picture;
        picture.TakeRead({Record("new")});
        for (const Step& step : steps) {
            std::deque<PropertyResponse> published = {
                step.published == nullptr ? Record("new", Status::kNoLongerAvailable)
                                          : Record(step.published)};
            std::deque<PropertyResponse> read;
            if (!picture.ToBeRead(published).empty()) {
                read.push_back(step.readNow == nullptr ? Record("", Status::kNotFound)
                                                       : Record(step.readNow));
            }
            std::string told;
            for (const Property& news : picture.TakePublication(published, read)) {
                told += (told.empty() ? "" : " ") + (news.available ? news.value : "gone");
            }
            EXPECT_EQ(told, step.told) << about;
        }
    }
}

}  // namespace
}  // namespace vantry::client
