#include <gtest/gtest.h>

#include "engine/change_queue.h"
#include "engine/external_rights.h"
#include "engine/remote_property_table.h"
#include "engine/subscriber.h"
#include "property/property_factories.h"
#include "transport/stream/queue_stream.h"

namespace vantry {
namespace {

TEST(ChangeQueue, HoldsFourHundredNinetyNineNewestFirst) {
    ChangeQueue queue;
    EXPECT_FALSE(queue.Pop());
    const auto old = MakeStringProperty("", {"old", "", "", ""});
    const auto lost = MakeStringProperty("", {"lost", "", "", ""});
    for (int count = 0; count < 499; ++count) {
        queue.Push(old);
    }
    queue.Push(lost);
    EXPECT_EQ(queue.Pop(), old);
    queue.Push(lost);
    EXPECT_EQ(queue.Pop(), lost);
    int left = 0;
    while (queue.Pop()) {
        ++left;
    }
    EXPECT_EQ(left, 498);
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
    PropertyResponse report;
    report.component = component;
    report.groupGuid = group;
    report.guid = guid;
    return std::make_shared<RemoteProperty>(report, nullptr);
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

TEST(ExternalRights, RefusedRecordsAreAnsweredBehindAllOthers) {
    const ExternalRights rights;
    const auto record = [](const std::string& group, std::string_view status) {
        PropertyResponse made;
        made.groupGuid = group;
        made.status = status;
        return made;
    };
    const std::string battery = "FDA4C5D4-8C46-45E5-80E4-48504451C7B5";
    const std::deque<PropertyResponse> all{
        record("General", Status::kSuccessful), record(battery, Status::kSuccessful),
        record("x Job y", Status::kSuccessful), record("a Job", Status::kSuccessful),
        record("General", Status::kNoLongerAvailable)};
    std::deque<PropertyResponse> reported = all;
    rights.Filter(reported, true);
    std::string groups;
    for (const PropertyResponse& passed : reported) {
        groups += passed.groupGuid + "/" + passed.status + " ";
    }
    EXPECT_EQ(groups, battery + "/Successful x Job y/Successful " +
                          "General/Property No Longer Available General/Property Not Found " +
                          "a Job/Property Not Found ");
    std::deque<PropertyResponse> silent = all;
    rights.Filter(silent, false);
    EXPECT_EQ(silent.size(), 3U);
}

TEST(Subscriber, AListForgetsOneEntryAtATime) {
    const PropertyRequest wanted{"C", "G", "P"};
    Subscriber subscriber(std::make_shared<QueueStream>(), {wanted, wanted});
    subscriber.Add({wanted, {"C", "G", "Q"}});
    EXPECT_TRUE(subscriber.Lists("C:G:P"));
    EXPECT_FALSE(subscriber.Lists("C:G:"));
    subscriber.Forget("C:G:P");
    EXPECT_TRUE(subscriber.Lists("C:G:P"));
    subscriber.Forget("C:G:P");
    EXPECT_FALSE(subscriber.Lists("C:G:P"));
    EXPECT_FALSE(subscriber.WantsEverything());
    subscriber.Forget("C:G:Q");
    EXPECT_TRUE(subscriber.WantsEverything());
}

}  // namespace
}  // namespace vantry
