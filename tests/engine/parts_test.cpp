#include <gtest/gtest.h>

#include "engine/change_queue.h"
#include "engine/remote_property_table.h"
#include "engine/subscriber.h"
#include "property/property_factories.h"
#include "transport/stream/queue_stream.h"

namespace vantry {
namespace {

TEST(ChangeQueue, HoldsFourHundredNinetyNineNewestFirst) {
    ChangeQueue queue;
    EXPECT_TRUE(queue.TakeAll().empty());
    const auto first = MakeStringProperty("", {"first", "", "", ""});
    const auto old = MakeStringProperty("", {"old", "", "", ""});
    const auto lost = MakeStringProperty("", {"lost", "", "", ""});
    queue.Push(first);
    for (int count = 0; count < 498; ++count) {
        queue.Push(old);
    }
    queue.Push(lost);
    const auto taken = queue.TakeAll();
    ASSERT_EQ(taken.size(), 499U);
    EXPECT_EQ(taken.front(), old);
    EXPECT_EQ(taken.back(), first);
    queue.Push(lost);
    EXPECT_EQ(queue.TakeAll(), std::vector<std::shared_ptr<Property>>{lost});
    EXPECT_EQ(lost.use_count(), 1);
}

TEST(ChangeQueue, AnInternalChangeTakesThePlaceOfTheNewestExternalOne) {
    ChangeQueue queue;
    const auto outside = MakeStringProperty("", {"outside", "", "", ""});
    const auto inside = MakeStringProperty("", {"inside", "", "", ""});
    queue.Push(outside, ChangeOrigin::External);
    queue.Push(outside, ChangeOrigin::External);
    for (int count = 0; count < 497; ++count) {
        queue.Push(inside);
    }
    queue.Push(outside, ChangeOrigin::External);
    queue.Push(inside);
    EXPECT_EQ(outside.use_count(), 2);
    queue.Push(inside);
    queue.Push(inside);
    EXPECT_EQ(outside.use_count(), 1);
    EXPECT_EQ(inside.use_count(), 500);
}

std::shared_ptr<RemoteProperty> Remote(const std::string& component, const std::string& group,
                                       const std::string& guid) {
    RecordView report{};
    report.component = component;
    report.groupGuid = group;
    report.guid = guid;
    return std::make_shared<RemoteProperty>(report, std::make_shared<QueueStream>());
}

TEST(RemotePropertyTable, KnowsAPropertyByItsComponentToo) {
    RemotePropertyTable table;
    const auto first = Remote("B", "G", "P");
    const auto second = Remote("A", "G", "P");
    EXPECT_TRUE(table.Insert(first));
    EXPECT_TRUE(table.Insert(second));
    EXPECT_FALSE(table.Insert(Remote("A", "G", "P")));
    EXPECT_TRUE(table.Insert(Remote("A", "H", "P")));
    EXPECT_EQ(table.Find("P", "G", "A"), second);
    EXPECT_FALSE(table.Find("P", "G", ""));
    std::deque<std::shared_ptr<RemoteProperty>> list;
    table.ListGroup(list, "G");
    EXPECT_EQ(list, (std::deque{first, second}));
    list.clear();
    table.ListProperties(list);
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(list[0], second);
    table.Erase("A:G:P");
    table.Erase("A:G:P");
    EXPECT_FALSE(table.Find("P", "G", "A"));
    list.clear();
    table.ListGroup(list, "G");
    EXPECT_EQ(list, (std::deque{first}));
}

TEST(Subscriber, AListForgetsOneEntryAtATime) {
    const PropertyRequest wanted{"C", "G", "P"};
    Subscriber subscriber(std::make_shared<QueueStream>());
    for (const bool evenIfListed : {true, true, false}) {
        EXPECT_FALSE(subscriber.Add(wanted, evenIfListed));
    }
    EXPECT_FALSE(subscriber.Add({"C", "G", "Q"}, false));
    EXPECT_TRUE(subscriber.HasEntry("C:G:P"));
    EXPECT_FALSE(subscriber.HasEntry("C:G:"));
    subscriber.RemoveEntry("C:G:P");
    EXPECT_TRUE(subscriber.HasEntry("C:G:P"));
    subscriber.RemoveEntry("C:G:P");
    EXPECT_FALSE(subscriber.HasEntry("C:G:P"));
    EXPECT_FALSE(subscriber.WantsEverything());
    subscriber.RemoveEntry("C:G:Q");
    EXPECT_TRUE(subscriber.WantsEverything());
}

}  // namespace
}  // namespace vantry
