#include "store/property_store.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <deque>
#include <optional>

#include "property/property_factories.h"
#include "store/property_file.h"
#include "support/eventually.h"
#include "support/test_platform.h"
#include "wire/vocabulary/groups.h"
#include "wire/vocabulary/hub_properties.h"

namespace vantry {
namespace {

using test::Eventually;

std::string TextOf(const Property& property) {
    std::string text;
    property.GetText(text);
    return text;
}

class Store : public testing::Test {
protected:
    /// Starts the store as after a restart.
    void Restart() {
        store.reset();
        store.emplace(platform.platform.files, reaper,
                      PropertyStoreSettings{u"/Store/P.ini", u"/Store/O.ini", 251, 253});
    }
    std::shared_ptr<UInt32Property> Register(const std::string& guid, std::uint32_t initial) {
        auto property = MakeUInt32Property(initial, {guid, "Name", "G", "Group"});
        store->RegisterProperty(property);
        return property;
    }
    void WriteLines(const std::string& file, const std::string& text) const {
        ASSERT_TRUE(WritePropertyText(platform.Path("Store/" + file), text));
    }
    /// Waits until the file is whole and holds these lines, in this order.
    bool FileBecomes(const std::string& text) const {
        StoredLines lines;
        std::string now;
        const bool became = Eventually([&] {
            return ReadPropertyFile(File(), lines) && ReadPropertyText(File(), now) && now == text;
        });
        EXPECT_EQ(now, text);
        return became;
    }
    bool LoadingFailed() const {
        return TextOf(*store->FindProperty(HubProperties::kPropertyLoadingError.guid,
                                           Groups::kError.guid)) == "True";
    }
    std::filesystem::path File() const { return platform.Path("Store/P.ini"); }

    test::TestPlatform platform;
    ThreadReaper reaper{253};
    std::optional<PropertyStore> store;
};

TEST_F(Store, AValueComesBackAfterARestartWithoutACall) {
    Restart();
    EXPECT_TRUE(LoadingFailed());
    ASSERT_EQ(Register("P", 1)->SetText("42"), kTaken);
    ASSERT_TRUE(FileBecomes("G:P|Group:Name=42\n"));
    Restart();
    EXPECT_FALSE(LoadingFailed());
    const auto property = MakeUInt32Property(1, {"P", "Name", "G", "Group"});
    int calls = 0;
    property->AddChangedCallback([&](const auto&) { ++calls; });
    store->RegisterProperty(property);
    EXPECT_EQ(property->Value(), 42U);
    EXPECT_EQ(property->SetText("42"), kTaken);
    EXPECT_EQ(calls, 0);
}

TEST_F(Store, AStoredTextThatIsNoNumberLeavesTheDefault) {
    WriteLines("P.ini", "G:P|Group:Name=rubbish\n");
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
    WriteLines("P.ini", "G:A|Group:Name=1\nOld:Old|x:y=kept\nG:B|Group:Name=2\n");
    Restart();
    const auto a = Register("A", 0);
    const auto b = Register("B", 0);
    const auto c = Register("C", 0);
    ASSERT_EQ(c->SetText("5"), kTaken);
    ASSERT_EQ(b->SetText("6"), kTaken);
    ASSERT_EQ(a->SetText("7"), kTaken);
    EXPECT_TRUE(
        FileBecomes("G:A|Group:Name=7\nOld:Old|x:y=kept\nG:B|Group:Name=6\nG:C|Group:Name=5\n"));
}

TEST_F(Store, ADamagedFileIsReplacedByTheLastGoodOne) {
    WriteLines("P.ini", "G:P|Group:Name=1\n");
    Restart();
    ASSERT_EQ(Register("P", 0)->SetText("2"), kTaken);
    ASSERT_TRUE(FileBecomes("G:P|Group:Name=2\n"));
    store.reset();
    const std::string whole = test::ReadFile(File());
    test::WriteFile(File(), whole.substr(0, whole.size() - 1));
    Restart();
    EXPECT_FALSE(LoadingFailed());
    EXPECT_EQ(Register("P", 0)->Value(), 1U);
    EXPECT_EQ(test::ReadFile(File()), test::ReadFile(platform.Path("Store/P.ini.bak")));
}

TEST_F(Store, WithoutAnyGoodFileItRunsOnDefaultsAndBeginsANewOne) {
    test::WriteFile(File(), "rubbish");
    test::WriteFile(platform.Path("Store/P.ini.bak"), "too");
    WriteLines("O.ini", "G:P|Group:Name=9\n");
    Restart();
    EXPECT_TRUE(LoadingFailed());
    const auto property = Register("P", 3);
    EXPECT_EQ(property->Value(), 3U);
    EXPECT_TRUE(std::filesystem::exists(platform.Path("Store/O.ini")));
    store.reset();
    std::filesystem::remove(File());
    Restart();
    ASSERT_EQ(Register("P", 3)->SetText("4"), kTaken);
    EXPECT_TRUE(FileBecomes("G:P|Group:Name=4\n"));
}

TEST_F(Store, OverridesOfKnownLinesAreAppliedOnce) {
    WriteLines("P.ini", "G:P|Group:Name=1\nG:Q|Group:Name=1\n");
    WriteLines("O.ini", "G:P|Group:Name=9\nG:Unknown|Group:Name=9\n");
    Restart();
    EXPECT_EQ(Register("P", 0)->Value(), 9U);
    EXPECT_EQ(Register("Unknown", 0)->Value(), 0U);
    EXPECT_TRUE(FileBecomes("G:P|Group:Name=9\nG:Q|Group:Name=1\n"));
    EXPECT_FALSE(std::filesystem::exists(platform.Path("Store/O.ini")));
    // The backup is the file as it was loaded.
    StoredLines backup;
    EXPECT_TRUE(ReadPropertyFile(platform.Path("Store/P.ini.bak"), backup));
    EXPECT_EQ(backup["G:P"].value, "1");
}

TEST_F(Store, ADamagedOverrideIsLeftAlone) {
    WriteLines("P.ini", "G:P|Group:Name=1\n");
    test::WriteFile(platform.Path("Store/O.ini"), "rubbish");
    Restart();
    EXPECT_FALSE(LoadingFailed());
    EXPECT_EQ(Register("P", 0)->Value(), 1U);
    EXPECT_TRUE(std::filesystem::exists(platform.Path("Store/O.ini")));
}

TEST_F(Store, TheStoreTriggerSavesEveryRegisteredProperty) {
    Restart();
    Register("P", 5);
    const auto trigger =
        store->FindProperty(HubProperties::kStoreProperties.guid, Groups::kGeneral.guid);
    ASSERT_EQ(trigger->SetText("True"), kTaken);
    EXPECT_EQ(TextOf(*trigger), "True");
    EXPECT_TRUE(Eventually(
        [&] { return test::ReadFile(File()).find("G:P|Group:Name=5\n") != std::string::npos; }));
    EXPECT_FALSE(store->FindProperty(HubProperties::kLoadProperties.guid, Groups::kGeneral.guid));
}

TEST_F(Store, AFullDiskCostsNothingButTheFileUntilThereIsRoom) {
    signal(SIGXFSZ, SIG_IGN);
    WriteLines("P.ini", "G:A|Group:Name=1\nG:B|Group:Name=2\n");
    Restart();
    const auto a = Register("A", 0);
    const auto b = Register("B", 0);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    rlimit small = before;
    small.rlim_cur = 20;
    setrlimit(RLIMIT_FSIZE, &small);
    ASSERT_EQ(a->SetText("11"), kTaken);
    StoredLines lines;
    EXPECT_TRUE(Eventually([&] { return !ReadPropertyFile(File(), lines); }));
    ASSERT_EQ(a->SetText("12"), kTaken);
    setrlimit(RLIMIT_FSIZE, &before);
    ASSERT_EQ(b->SetText("13"), kTaken);
    EXPECT_TRUE(FileBecomes("G:A|Group:Name=12\nG:B|Group:Name=13\n"));
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
