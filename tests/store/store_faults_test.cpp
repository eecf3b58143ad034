// A store whose disk is full, hangs, fails, or loses its power.

#include <gtest/gtest.h>

#include <filesystem>

#include "platform/posix_file_system.h"
#include "store_fixture.h"
#include "support/temporary_directory.h"

namespace vantry {
namespace {

using namespace test;

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

TEST_F(Store, AValueThatHasNoRoomCostsNoOtherValue) {
    for (const Saves saves : {Saves::InPlace, Saves::Replace}) {
        platform.platform.settings.saves = saves;
        store.reset();
        PutLines(kFile, "G:A|Group:Name=1\nG:B|Group:Name=2\n");
        Restart();
        const auto a = Register("A", 0);
        const std::string longValue(2000, 'x');
        std::vector<std::shared_ptr<StringProperty>> texts;
        std::string shortLines;
        std::string longLines;
        for (const char* const guid : {"S", "T", "U"}) {
            texts.push_back(MakeStringProperty("", {guid, "Name", "G", "Group"}));
            store->RegisterProperty(texts.back());
            ASSERT_EQ(texts.back()->SetText("short"), kAccepted);
            const std::string line = std::string("G:") + guid + "|Group:Name=";
            shortLines.append(line).append("short\n");
            longLines.append(line).append(longValue).append("\n");
        }
        ASSERT_TRUE(FileBecomes("G:A|Group:Name=1\nG:B|Group:Name=2\n" + shortLines));
        disk->LeaveRoomFor(1000);
        for (const auto& text : texts) {
            ASSERT_EQ(text->SetText(longValue), kAccepted);
        }
        for (int value = 10; value < 20; ++value) {
            ASSERT_EQ(a->SetText(std::to_string(value)), kAccepted);
        }
        ASSERT_TRUE(FileBecomes("G:A|Group:Name=19\nG:B|Group:Name=2\n" + shortLines));
        disk->Recover();
        ASSERT_EQ(a->SetText("20"), kAccepted);
        ASSERT_TRUE(FileBecomes("G:A|Group:Name=20\nG:B|Group:Name=2\n" + longLines));
    }
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
            WriteFile(platform.Path("Store/P.ini.bak"), MakePropertyContent("G:B|Group:Name=2\n"));
        }
        Restart();
        const auto a = Register("A", 0);
        ASSERT_EQ(a->SetText("3"), kAccepted);
        Restart();
        EXPECT_EQ(Register("A", 0)->Value(), 3U);
        EXPECT_EQ(Register("B", 5)->Value(), hasBackup ? 2U : 5U);
    }
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

}  // namespace
}  // namespace vantry
