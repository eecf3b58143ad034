#include <gtest/gtest.h>

#include <functional>

#include "property/debug_zones.h"
#include "property/kept_text.h"
#include "property/property_catalog.h"
#include "property/property_factories.h"

namespace vantry {
namespace {

PropertyIdentity Named(const std::string& guid, const std::string& group = "G") {
    return {guid, "name of " + guid, group, "group of " + group};
}

std::string TextOf(const Property& property) {
    std::string text;
    property.GetText(text);
    return text;
}

TEST(Property, CallbacksRunOnceForARealChangeInTheOrderOfAdding) {
    const auto property = MakeStringProperty("old", Named("P"));
    std::string calls;
    property->AddChangedCallback([&](const auto&) { calls += "1"; });
    property->AddChangedCallback(
        [&](const std::shared_ptr<Property>& changed) { calls += "2" + TextOf(*changed); });
    EXPECT_EQ(property->SetText("old"), kAccepted);
    EXPECT_EQ(property->SetTextQuietly("quiet"), kAccepted);
    EXPECT_EQ(calls, "");
    EXPECT_EQ(property->SetText("new"), kAccepted);
    EXPECT_EQ(calls, "12new");
}

TEST(Property, ACallbackMayChangeItsPropertyAgain) {
    const auto property = MakeUInt32Property(0, Named("P"));
    int calls = 0;
    property->AddChangedCallback([&](const auto&) {
        ++calls;
        if (property->Value() < 3) {
            EXPECT_EQ(property->SetValue(property->Value() + 1), kAccepted);
        }
    });
    EXPECT_EQ(property->SetValue(1), kAccepted);
    EXPECT_EQ(property->Value(), 3U);
    EXPECT_EQ(calls, 3);
}

TEST(Property, OneThatNoFactoryCreatedRefusesToNotify) {
    StringProperty property("a", Named("P"));
    property.AddChangedCallback([](const auto&) {});
    EXPECT_EQ(property.SetText("b"), "bad_weak_ptr");
}

TEST(Property, ReadsItsTextAsAPrinterDoes) {
    const auto number = [] { return MakeUInt32Property(5, Named("P")); };
    const auto on = [] { return MakeBoolProperty(true, Named("P")); };
    const auto off = [] { return MakeBoolProperty(false, Named("P")); };
    const struct {
        std::function<std::shared_ptr<Property>()> make;
        const char* text;
        const char* value;
        const char* refusal = "";
    } cases[] = {
        {number, "0012", "12"},
        {number, " \t+7", "7"},
        {number, "12abc", "12"},
        {number, "-1", "4294967295"},
        {number, "4294967295", "4294967295"},
        {number, "4294967296", "5", "stoul argument out of range"},
        {number, "99999999999999999999999", "5", "stoul argument out of range"},
        {number, "", "5", "invalid stoul argument"},
        {number, "abc", "5", "invalid stoul argument"},
        {number, "+-1", "5", "invalid stoul argument"},
        {on, "false", "False"},
        {on, "FALSE", "False"},
        {on, "fAlSe", "False"},
        {off, "", "True"},
        {off, "0", "True"},
        {off, "no", "True"},
        {off, "false ", "True"},
        {off, "False.", "True"},
    };
    for (const auto& [make, text, value, refusal] : cases) {
        const std::shared_ptr<Property> property = make();
        EXPECT_EQ(property->SetText(text), refusal) << text;
        EXPECT_EQ(TextOf(*property), value) << text;
        const std::shared_ptr<Property> quiet = make();
        EXPECT_EQ(quiet->SetTextQuietly(text), refusal) << text;
        EXPECT_EQ(TextOf(*quiet), value) << text;
    }
}

TEST(KeptText, ChangesNoTextThatSomebodyStillReads) {
    KeptText kept;
    const auto textOf = [&](const std::string& value) {
        return kept.Get([&](KeptText::Text& made) {
            if (made.constantBytes == 0) {
                made.text = "value: ";
                made.constantBytes = made.text.size();
            }
            made.text.resize(made.constantBytes);
            made.text += value;
        });
    };
    const KeptText::Shared first = textOf("1");
    EXPECT_EQ(*textOf("ignored, since the value is the same"), "value: 1");
    kept.Outdate();
    const std::string* const second = textOf("22").get();
    EXPECT_EQ(*second, "value: 22");
    EXPECT_EQ(*first, "value: 1");
    kept.Outdate();
    // Nobody reads the second text any more.
    const KeptText::Shared third = textOf("3");
    EXPECT_EQ(third.get(), second);
    EXPECT_EQ(*third, "value: 3");
    kept.Outdate();
    // A change during the making of a text outdates that text too.
    kept.Get([&](KeptText::Text&) { kept.Outdate(); });
    EXPECT_EQ(*textOf("4"), "value: 4");
}

TEST(TriggerProperty, RunsOnEveryTrueAndShowsItsResult) {
    const auto trigger = MakeTriggerProperty(false, Named("P"));
    std::deque<bool> reports;
    int calls = 0;
    for (int callback = 0; callback < 2; ++callback) {
        trigger->AddChangedCallback([&](const auto&) {
            ++calls;
            if (!reports.empty()) {
                trigger->ReportResult(reports.front());
                reports.pop_front();
            }
        });
    }
    EXPECT_EQ(trigger->SetValue(false), kAccepted);
    EXPECT_EQ(calls, 0);
    EXPECT_EQ(trigger->SetText("go"), kAccepted);
    EXPECT_EQ(trigger->SetText("True"), kAccepted);
    EXPECT_EQ(calls, 4);
    EXPECT_EQ(TextOf(*trigger), "False");
    reports = {true, true};
    EXPECT_EQ(trigger->SetValue(true), kAccepted);
    EXPECT_EQ(TextOf(*trigger), "True");
    reports = {false, true};
    EXPECT_EQ(trigger->SetValue(true), kAccepted);
    EXPECT_EQ(TextOf(*trigger), "False");
    reports = {true};
    EXPECT_EQ(trigger->SetValue(true), kAccepted);
    EXPECT_EQ(TextOf(*trigger), "True");
}

TEST(PropertyCatalog, FindsAndListsEachPropertyOnce) {
    PropertyCatalog catalog;
    const auto first = MakeStringProperty("1", Named("P1"));
    EXPECT_TRUE(catalog.AddProperty(first));
    EXPECT_FALSE(catalog.AddProperty(MakeStringProperty("2", Named("P1"))));
    EXPECT_TRUE(catalog.AddProperty(MakeStringProperty("3", Named("P0"))));
    EXPECT_TRUE(catalog.AddProperty(MakeStringProperty("4", Named("P1", "H"))));
    EXPECT_EQ(catalog.FindProperty("P1", "G"), first);
    EXPECT_FALSE(catalog.FindProperty("", "G"));
    EXPECT_FALSE(catalog.FindProperty("p1", "G"));
    std::deque<std::shared_ptr<Property>> list;
    catalog.ListProperties(list);
    ASSERT_EQ(list.size(), 3U);
    EXPECT_EQ(TextOf(*list[0]) + TextOf(*list[1]) + TextOf(*list[2]), "314");
    list.clear();
    catalog.ListGroup(list, "G");
    EXPECT_EQ(list.size(), 2U);
    list.clear();
    catalog.ListGroup(list, "none");
    EXPECT_TRUE(list.empty());
}

TEST(PropertyCatalog, FindsWhatIsThereAmongManyThatComeAndGo) {
    constexpr int kCount = 200;
    PropertyCatalog catalog;
    const auto guid = [](int number) { return "P" + std::to_string(number); };
    const auto isKept = [](int number) { return number % 3 != 0; };
    for (int number = 0; number < kCount; ++number) {
        ASSERT_TRUE(catalog.AddProperty(MakeStringProperty(guid(number), Named(guid(number)))));
    }
    for (int number = 0; number < kCount; number += 3) {
        catalog.RemoveByKey("G:" + guid(number));
    }
    for (int number = 0; number < kCount; ++number) {
        const auto found = catalog.FindProperty(guid(number), "G");
        ASSERT_EQ(found != nullptr, isKept(number)) << number;
        ASSERT_EQ(found ? TextOf(*found) : guid(number), guid(number));
    }
    catalog.RemoveByKey("G:");
    for (int number = 0; number < kCount; ++number) {
        ASSERT_TRUE(catalog.AddProperty(MakeStringProperty("", Named(guid(number)))));
    }
    EXPECT_EQ(catalog.Size(), static_cast<std::size_t>(kCount));
}

TEST(PropertyCatalog, OnlyRemovingAGroupMakesItUnknown) {
    PropertyCatalog catalog;
    catalog.AddProperty(MakeStringProperty("", Named("P1")));
    catalog.AddProperty(MakeStringProperty("", Named("P2")));
    catalog.AddProperty(MakeStringProperty("", Named("Q", "H")));
    catalog.RemoveByKey("G:P1");
    catalog.RemoveByKey("G:P1");
    catalog.RemoveByKey("H:Q");
    EXPECT_FALSE(catalog.FindProperty("P1", "G"));
    EXPECT_TRUE(catalog.FindProperty("P2", "G"));
    EXPECT_TRUE(catalog.HasGroup("H"));
    catalog.RemoveByKey("G:");
    EXPECT_FALSE(catalog.HasGroup("G"));
    std::deque<std::shared_ptr<Property>> list;
    catalog.ListProperties(list);
    catalog.ListGroup(list, "G");
    EXPECT_TRUE(list.empty());
}

TEST(DebugZones, AFlagFollowsItsSwitchAndStartsAsStored) {
    std::deque<std::shared_ptr<Property>> switches;
    RegisterDebugZones([&](const std::shared_ptr<Property>& zone) {
        if (zone->Name() == "DebugZoneUsb") {
            EXPECT_EQ(zone->SetTextQuietly("True"), kAccepted);
        }
        switches.push_back(zone);
    });
    ASSERT_EQ(switches.size(), 17U);
    EXPECT_EQ(TextOf(*switches[0]), "True");
    EXPECT_EQ(switches[6]->Name(), "Debug Zone ZOLK");
    EXPECT_EQ(TextOf(*switches[6]), "False");
    EXPECT_TRUE(DebugZoneFlags::flags[7]);
    EXPECT_EQ(switches[7]->SetText("False"), kAccepted);
    EXPECT_FALSE(DebugZoneFlags::flags[7]);
}

}  // namespace
}  // namespace vantry
