#include "store/property_store.h"

#include <gtest/gtest.h>

#include <deque>
#include <optional>

#include "property/property_factories.h"
#include "store/format/property_text.h"
#include "support/eventually.h"
#include "support/faulty_file_system.h"
#include "support/test_platform.h"
#include "wire/vocabulary/groups.h"
#include "wire/vocabulary/hub_properties.h"

namespace vantry {
namespace {

using test::Eventually;
using test::Fault;
using test::FaultyFileSystem;

std::string TextOf(const Property& property) {
    std::string text;
    property.GetText(text);
    return text;
}

constexpr char16_t kFile[] = u"/Store/P.ini";
constexpr char16_t kBackup[] = u"/Store/P.ini.bak";
constexpr char16_t kOverride[] = u"/Store/O.ini";

class Store : public testing::Test {
protected:
    Store() {
        platform.platform.files = disk;
        platform.platform.notices.SetSink([](std::string_view) {});
    }

    /// Starts the store again, as a restart of the hub does.
    void Restart() {
        store.reset();
        store.emplace(platform.platform, reaper, PropertyStoreSettings{kFile, kOverride, 251, 253});
    }
    std::shared_ptr<UInt32Property> Register(const std::string& guid, std::uint32_t initial) {
        auto property = MakeUInt32Property(initial, {guid, "Name", "G", "Group"});
        store->RegisterProperty(property);
        return property;
    }
    void PutLines(const std::u16string& name, const std::string& text) const {
        disk->Put(name, MakePropertyContent(text));
    }
    /// Waits until the file is good and has these lines, in this order.
    bool FileBecomes(const std::string& text) const {
        const bool became =
            Eventually([&] { return disk->Content(kFile) == MakePropertyContent(text); });
        EXPECT_EQ(disk->Content(kFile), MakePropertyContent(text));
        return became;
    }
    bool LoadingFailed() const {
        return TextOf(*store->FindProperty(HubProperties::kPropertyLoadingError.guid,
                                           Groups::kError.guid)) == "True";
    }

    test::TestPlatform platform;
    const std::shared_ptr<FaultyFileSystem> disk = std::make_shared<FaultyFileSystem>();
    ThreadReaper reaper{253};
    std::optional<PropertyStore> store;
};

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

TEST_F(Store, StartsOnTheBestFileThatItFinds) {
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
    const struct {
        const char* about;
        std::string file, backup, overrides;
        std::uint32_t value;
        bool failed;
        std::string fileAfter, backupAfter, overridesAfter;
        std::vector<std::string> told;
    } cases[] = {
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
    std::vector<std::string> told;
    platform.platform.notices.SetSink([&](std::string_view line) { told.emplace_back(line); });
    for (std::size_t place = 0; place < 2 * std::size(cases); ++place) {
        const auto& given = cases[place / 2];
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

TEST_F(Store, AFullDiskCostsNothingButTheFileUntilThereIsRoom) {
    PutLines(kFile, "G:A|Group:Name=1\nG:B|Group:Name=2\n");
    Restart();
    const auto a = Register("A", 0);
    const auto b = Register("B", 0);
    disk->RefuseAll();
    for (int value = 1; value <= 1000; ++value) {
        ASSERT_EQ(a->SetText(std::to_string(value)), kAccepted);
    }
    disk->Recover();
    ASSERT_EQ(b->SetText("13"), kAccepted);
    EXPECT_TRUE(FileBecomes("G:A|Group:Name=1000\nG:B|Group:Name=13\n"));
}

TEST_F(Store, AStopSavesWhatTheDiskRefusedBefore) {
    PutLines(kFile, "G:A|Group:Name=1\n");
    Restart();
    disk->RefuseAll();
    ASSERT_EQ(Register("A", 0)->SetText("2"), kAccepted);
    disk->Recover();
    store.reset();
    EXPECT_TRUE(FileBecomes("G:A|Group:Name=2\n"));
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

TEST_F(Store, AFileThatCannotBeReadNowIsLeftAlone) {
    PutLines(kFile, "G:A|Group:Name=1\nG:B|Group:Name=2\n");
    PutLines(kBackup, "G:A|Group:Name=0\nG:B|Group:Name=0\n");
    // The first call of a start opens the file.
    disk->FailFrom(Fault::Refuse, 1);
    Restart();
    EXPECT_EQ(Register("B", 5)->Value(), 0U);
    EXPECT_EQ(disk->Content(kFile), MakePropertyContent("G:A|Group:Name=1\nG:B|Group:Name=2\n"));
    ASSERT_EQ(Register("A", 0)->SetText("3"), kAccepted);
    EXPECT_TRUE(FileBecomes("G:A|Group:Name=3\nG:B|Group:Name=2\n"));
}

TEST_F(Store, ABackupThatCannotBeCopiedIsReadWhereItStands) {
    disk->Put(kFile, "rubbish");
    PutLines(kBackup, "G:A|Group:Name=1\nG:B|Group:Name=2\n");
    // Each file is opened, measured and read, and then the copy is opened.
    disk->FailFrom(Fault::Refuse, 7);
    Restart();
    EXPECT_EQ(disk->Content(kFile), "rubbish");
    EXPECT_EQ(Register("B", 5)->Value(), 2U);
    ASSERT_EQ(Register("A", 0)->SetText("3"), kAccepted);
    EXPECT_TRUE(FileBecomes("G:A|Group:Name=3\nG:B|Group:Name=2\n"));
}

TEST_F(Store, WhileTheFileCannotBeUsedAStopSavesInTheBackup) {
    platform.platform.files = std::make_shared<PosixFileSystem>(platform.Path(""));
    for (const bool hasBackup : {true, false}) {
        std::filesystem::remove_all(platform.Path("Store"));
        std::filesystem::create_directories(platform.Path("Store/P.ini"));
        if (hasBackup) {
            test::WriteFile(platform.Path("Store/P.ini.bak"),
                            MakePropertyContent("G:B|Group:Name=2\n"));
        }
        Restart();
        const auto a = Register("A", 0);
        ASSERT_EQ(a->SetText("3"), kAccepted);
        Restart();
        EXPECT_EQ(Register("A", 0)->Value(), 3U);
        EXPECT_EQ(Register("B", 5)->Value(), hasBackup ? 2U : 5U);
    }
}

TEST_F(Store, ATextIsSavedUpToItsFirstLineFeed) {
    Restart();
    const auto text = MakeStringProperty("", {"S", "Name", "G", "Group"});
    store->RegisterProperty(text);
    ASSERT_EQ(text->SetText("two\nlines"), kAccepted);
    EXPECT_TRUE(FileBecomes("G:S|Group:Name=two\n"));
}

TEST_F(Store, AStoreThatCannotBeWrittenIsToldAtTheStart) {
    std::vector<std::string> told;
    platform.platform.notices.SetSink([&](std::string_view line) { told.emplace_back(line); });
    Restart();
    EXPECT_TRUE(told.empty());
    store.reset();
    disk->RefuseAll();
    Restart();
    ASSERT_FALSE(told.empty());
    EXPECT_NE(told.back().find("/disk/Store can't be written (No space left"), std::string::npos)
        << told.back();
    told.clear();
    ASSERT_EQ(Register("A", 0)->SetText("1"), kAccepted);
    store.reset();
    ASSERT_FALSE(told.empty());
    EXPECT_EQ(told.front(),
              "/disk/Store/P.ini can't be saved (No space left on "
              "device); the changes wait in memory");
    EXPECT_NE(told.back().find("the last changes are lost"), std::string::npos);
}

TEST_F(Store, ADiskThatHangsDoesNotHoldUpAStopAndIsTold) {
    std::string told;
    platform.platform.notices.SetSink([&](std::string_view line) { told = line; });
    Restart();
    const auto a = Register("A", 0);
    disk->HangAll();
    ASSERT_EQ(a->SetText("1"), kAccepted);
    store.reset();
    EXPECT_EQ(told,
              "/disk/Store/P.ini isn't saved yet, because the disk hangs; the last changes may be "
              "lost");
    // They aren't, if the disk goes on before the process ends.
    disk->Recover();
    EXPECT_TRUE(FileBecomes("G:A|Group:Name=1\n"));
}

// Each call of a start, a save and a stop fails once, in each of four ways. The value after
// the next start is the old one or the new one, and the new one if only one call failed.
TEST_F(Store, NoSingleFaultOfTheDiskLosesASavedValue) {
    for (const Saves saves : {Saves::InPlace, Saves::Replace}) {
        platform.platform.settings.saves = saves;
        for (const Fault fault : {Fault::Refuse, Fault::CutShort, Fault::Kill, Fault::PowerCut}) {
            for (const bool overrides : {false, true}) {
                if (saves == Saves::InPlace && fault == Fault::PowerCut) {
                    continue;  // Writing in place survives only a kill.
                }
                bool hasFailed = true;
                int call = 1;
                for (; hasFailed; ++call) {
                    SCOPED_TRACE(testing::Message()
                                 << "saves " << static_cast<int>(saves) << " fault "
                                 << static_cast<int>(fault) << " override " << overrides << " call "
                                 << call);
                    store.reset();
                    disk->Recover();
                    const std::string old = "G:A|Group:Name=1234\nG:B|Group:Name=2\n";
                    PutLines(kFile, old);
                    PutLines(kBackup, old);
                    static_cast<void>(disk->Delete(kOverride));
                    if (overrides) {
                        PutLines(kOverride, "G:A|Group:Name=9\n");
                    }
                    disk->FailFrom(fault, call);
                    Restart();
                    ASSERT_EQ(Register("A", 0)->SetText("11"), kAccepted);
                    store.reset();
                    hasFailed = disk->HasFailed();
                    disk->Recover();
                    // A kill can damage a file that is written in place; the backup is used then.
                    const bool isTorn = saves == Saves::InPlace && fault == Fault::Kill &&
                                        !IsGoodPropertyContent(disk->Content(kFile));
                    Restart();
                    const std::uint32_t a = Register("A", 0)->Value();
                    const bool isNew = a == 11;
                    const bool isOld =
                        a == (overrides && !isTorn ? 9U : 1234U) || (isTorn && a == 9U);
                    // An override that can't be read at one start is applied at the next one.
                    const bool mustBeNew = (fault == Fault::Refuse || fault == Fault::CutShort);
                    ASSERT_TRUE(isNew || (isOld && (!mustBeNew || overrides))) << a;
                    ASSERT_EQ(Register("B", 0)->Value(), 2U);
                }
                ASSERT_GT(call, 10);
            }
        }
    }
}

TEST_F(Store, RemovalTakesAPropertyOutAndTellsWhenItIsDone) {
    Restart();
    const auto property = Register("P", 1);
    const auto done = std::make_shared<Event>(false);
    store->RemoveProperty(property, done);
    store->RemoveProperty(nullptr, nullptr);
    EXPECT_TRUE(store->FindProperty("P", "G"));
    store->StartRemovals();
    EXPECT_TRUE(done->Wait(test::kPatienceMilliseconds));
    EXPECT_FALSE(store->FindProperty("P", "G"));
}

}  // namespace
}  // namespace vantry
