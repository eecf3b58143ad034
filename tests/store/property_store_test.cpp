#include "store/property_store.h"

#include <gtest/gtest.h>

#include "store_fixture.h"

namespace vantry {
namespace {

using namespace test;

TEST_F(Store, AValueComesBackAfterARestartWithoutACall) {
    Restart();
    EXPECT_TRUE(LoadingFailed());
    ASSERT_EQ(Register("P", 1)->SetText("42"), kAccepted);
    ASSERT_TRUE(FileBecomes("G:P|Group:Name=42\n"));
    Restart();
    EXPECT_FALSE(LoadingFailed());
    const auto property = MakeUInt32Property(1, {"P", "Name", "G", "Group"});
    int calls = 0;
    property->AddChangedCallback([&](const auto&) { ++calls; });
    store->RegisterProperty(property);
    EXPECT_EQ(property->Value(), 42U);
    EXPECT_EQ(property->SetText("42"), kAccepted);
    EXPECT_EQ(calls, 0);
}

TEST_F(Store, AStoredTextThatIsNoNumberLeavesTheDefault) {
    PutLines(kFile, "G:P|Group:Name=rubbish\n");
    Restart();
    EXPECT_EQ(Register("P", 7)->Value(), 7U);
}

TEST_F(Store, TheFirstOfTwoRegistrationsStands) {
    Restart();
    const auto first = Register("P", 1);
    Register("P", 2);
    EXPECT_EQ(store->FindProperty("P", "G"), first);
}

TEST_F(Store, LinesKeepTheirPlacesAndNobodysLineStays) {
    PutLines(kFile, "G:A|Group:Name=1\nOld:Old|x:y=kept\nG:B|Group:Name=2\n");
    Restart();
    const auto a = Register("A", 0);
    const auto b = Register("B", 0);
    const auto c = Register("C", 0);
    ASSERT_EQ(c->SetText("5"), kAccepted);
    ASSERT_EQ(b->SetText("6"), kAccepted);
    ASSERT_EQ(a->SetText("7"), kAccepted);
    EXPECT_TRUE(
        FileBecomes("G:A|Group:Name=7\nOld:Old|x:y=kept\nG:B|Group:Name=6\nG:C|Group:Name=5\n"));
}

/// The files at a start, and what must follow from them.
struct StartCase {
    const char* about;
    std::string file, backup, overrides;
    std::uint32_t value;
    bool failed;
    std::string fileAfter, backupAfter, overridesAfter;
    std::vector<std::string> told;
};

std::vector<StartCase> StartCases() {
    const std::string one = MakePropertyContent("G:P|Group:Name=1\nG:Q|Group:Name=1\n");
    const std::string two = MakePropertyContent("G:P|Group:Name=2\nG:Q|Group:Name=1\n");
    const std::string nine = MakePropertyContent("G:P|Group:Name=9\nG:R|Group:Name=9\n");
    const std::string merged = MakePropertyContent("G:P|Group:Name=9\nG:Q|Group:Name=1\n");
    const std::string torn = two.substr(0, two.size() - 1);
    const std::string bad = " is damaged; its values aren't in force";
    const std::string fileIsBad = "/disk/Store/P.ini" + bad;
    const std::string backupIsBad = "/disk/Store/P.ini.bak" + bad;
    const std::string overrideIsBad = "/disk/Store/O.ini" + bad;
    const std::string backupCounts = "the values of /disk/Store/P.ini.bak are in force";
    const std::string overridden = "/disk/Store/O.ini has replaced 1 of 2 saved values";
    return {
        {"a good file", two, one, "", 2, false, two, two, "", {}},
        {"a torn file", torn, one, "", 1, false, one, one, "", {fileIsBad, backupCounts}},
        {"only a backup", "", one, "", 1, false, one, one, "", {backupCounts}},
        {"an override of one known line", one, "", nine, 9, false, merged, one, "", {overridden}},
        {"an override of a backup",
         torn,
         one,
         nine,
         9,
         false,
         merged,
         one,
         "",
         {fileIsBad, backupCounts, overridden}},
        {"a damaged override", one, "", "rubbish", 1, false, one, one, "rubbish", {overrideIsBad}},
        {"no good file", torn, torn, nine, 3, true, torn, torn, nine, {fileIsBad, backupIsBad}},
        {"no file", "", "", nine, 3, true, "", "", nine, {}},
    };
}

TEST_F(Store, StartsOnTheBestFileThatItFinds) {
    std::vector<std::string> told;
    platform.platform.notices.SetSink([&](std::string_view line) { told.emplace_back(line); });
    const std::vector<StartCase> cases = StartCases();
    for (std::size_t place = 0; place < 2 * cases.size(); ++place) {
        const StartCase& given = cases[place / 2];
        const Saves saves = place % 2 == 0 ? Saves::InPlace : Saves::Replace;
        platform.platform.settings.saves = saves;
        SCOPED_TRACE(testing::Message() << given.about << ", saves " << static_cast<int>(saves));
        const std::pair<std::u16string, std::string> files[] = {
            {kFile, given.file}, {kBackup, given.backup}, {kOverride, given.overrides}};
        store.reset();
        for (const auto& [name, content] : files) {
            static_cast<void>(disk->Delete(name));
            if (!content.empty()) {
                disk->Put(name, content);
            }
        }
        told.clear();
        Restart();
        EXPECT_EQ(told, given.told);
        EXPECT_EQ(LoadingFailed(), given.failed);
        EXPECT_EQ(Register("P", 3)->Value(), given.value);
        EXPECT_EQ(Register("R", 0)->Value(), 0U);
        EXPECT_TRUE(Eventually([&] {
            return disk->Content(kFile) == given.fileAfter &&
                   disk->Content(kBackup) == given.backupAfter &&
                   disk->Content(kOverride) == given.overridesAfter;
        }));
    }
}

TEST_F(Store, TheStoreTriggerSavesEveryRegisteredProperty) {
    Restart();
    Register("P", 5);
    const auto trigger =
        store->FindProperty(HubProperties::kStoreProperties.guid, Groups::kGeneral.guid);
    ASSERT_EQ(trigger->SetText("True"), kAccepted);
    EXPECT_EQ(TextOf(*trigger), "True");
    EXPECT_TRUE(Eventually(
        [&] { return disk->Content(kFile).find("G:P|Group:Name=5\n") != std::string::npos; }));
    EXPECT_FALSE(store->FindProperty(HubProperties::kLoadProperties.guid, Groups::kGeneral.guid));
}

TEST_F(Store, AStopSavesTheLastValueOfABurst) {
    Restart();
    const auto a = Register("A", 0);
    const auto b = Register("B", 0);
    for (int value = 1; value <= 30'000; ++value) {
        ASSERT_EQ((value % 2 == 0 ? a : b)->SetText(std::to_string(value)), kAccepted);
    }
    store.reset();
    EXPECT_TRUE(FileBecomes("G:B|Group:Name=29999\nG:A|Group:Name=30000\n"));
}

TEST_F(Store, ATextIsSavedUpToItsFirstLineFeed) {
    Restart();
    const auto text = MakeStringProperty("", {"S", "Name", "G", "Group"});
    store->RegisterProperty(text);
    ASSERT_EQ(text->SetText("two\nlines"), kAccepted);
    EXPECT_TRUE(FileBecomes("G:S|Group:Name=two\n"));
}

TEST_F(Store, RemovalTakesAPropertyOutAndTellsWhenItIsDone) {
    Restart();
    const auto property = Register("P", 1);
    const auto done = std::make_shared<Event>(false);
    store->RemoveProperty(property, done);
    store->RemoveProperty(nullptr, nullptr);
    EXPECT_TRUE(store->FindProperty("P", "G"));
    store->StartRemovals();
    EXPECT_TRUE(done->Wait(kPatienceMilliseconds));
    EXPECT_FALSE(store->FindProperty("P", "G"));
}

}  // namespace
}  // namespace vantry
