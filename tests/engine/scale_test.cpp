// What thousands of properties, owners, subscribers or waiting texts cost, all of which peers from
// outside can make the hub hold. Each test ends in a second or two. Where the cost grew with the
// square of the number, or with the product of two numbers, it took minutes.

#include <gtest/gtest.h>

#include <vector>

#include "engine/fan_out.h"
#include "engine/properties_by_account.h"
#include "support/loop_stream.h"
#include "support/test_platform.h"

namespace vantry {
namespace {

using namespace test;

class Scale : public testing::Test {
protected:
    std::shared_ptr<ConnectionAccount> Admit() {
        auto account = machine.platform.accounting->Admit(Link::Usb, "");
        account->Leave();
        return account;
    }
    static std::shared_ptr<RemoteProperty> Announced(std::size_t number,
                                                     const std::shared_ptr<Stream>& owner,
                                                     const std::string& component = "C") {
        const std::string guid = std::to_string(number);
        RecordView report{};
        report.component = component;
        report.groupGuid = "Job 1";
        report.guid = guid;
        auto property = std::make_shared<RemoteProperty>(report, owner, true);
        static_cast<void>(property->Charge(1));
        return property;
    }

    TestPlatform machine;
};

TEST_F(Scale, OwnersThatHaveGoneAreFoundInTheOrderInWhichTheyWent) {
    constexpr std::size_t kOwners = 50'000;
    const auto one = [](const ConnectionAccount&, const PropertiesByAccount::Listed&) { return 1; };
    PropertiesByAccount owners;
    const auto add = [&](std::size_t number, const std::shared_ptr<ConnectionAccount>& account) {
        owners.Add(account, Announced(number, std::make_shared<LoopStream>(account)));
    };
    for (std::size_t number = 0; number < kOwners; ++number) {
        add(number, Admit());
    }
    const auto staying = machine.platform.accounting->Admit(Link::Usb, "");
    add(kOwners, staying);
    for (std::size_t number = 0; number < kOwners; ++number) {
        EXPECT_TRUE(owners.CutAccounts().empty());
        const auto next = owners.NextToGo(one);
        const auto properties = owners.SomeOf(*next, 10);
        ASSERT_EQ(properties.size(), 1U);
        ASSERT_EQ(properties.front()->Guid(), std::to_string(number));
        EXPECT_TRUE(owners.Remove(*next, *properties.front()));
    }
    EXPECT_EQ(owners.NextToGo(one), staying);
    staying->Cut(Bound::Properties);
    staying->Leave();
    EXPECT_EQ(owners.NextToGo(one), staying);
    EXPECT_EQ(owners.CutAccounts(), std::vector{staying});
}

TEST_F(Scale, AListOfFewEntriesCostsLittleBesideManyRecords) {
    constexpr std::size_t kRecords = 50'000;
    constexpr std::size_t kSubscribers = 5'000;
    const auto stream = std::make_shared<LoopStream>();
    const auto text = std::make_shared<const std::string>("{}");
    std::vector<PendingRecord> records;
    for (std::size_t number = 0; number < kRecords; ++number) {
        const auto property = Announced(number, stream);
        for (const bool isWithdrawal : {false, true}) {
            records.push_back({.text = text,
                               .component = property->component,
                               .passesOutside = true,
                               .isWithdrawal = isWithdrawal,
                               .property = property});
        }
    }
    FanOut fanOut(std::move(records));
    for (std::size_t number = 0; number < kSubscribers; ++number) {
        const auto subscriber = std::make_shared<Subscriber>(stream);
        for (const std::string& guid : {std::to_string(number), std::string("none")}) {
            static_cast<void>(subscriber->Add("C", "Job 1", guid, true));
        }
        fanOut.Choose(subscriber);
        ASSERT_EQ(subscriber->DifferentEntries(), 1U);
        ASSERT_TRUE(subscriber->HasEntry("C:Job 1:none"));
    }
}

// A component may contain ":", so that entries of many names have the same key.
TEST_F(Scale, EntriesWithTheSameKeyCostNoMoreThanOne) {
    constexpr std::size_t kRecords = 50'000;
    constexpr std::size_t kSubscribers = 200;
    const std::string colons(240, ':');
    const auto stream = std::make_shared<LoopStream>();
    const auto property = Announced(1, stream, colons + "Job 1");
    FanOut fanOut({kRecords, PendingRecord{.text = std::make_shared<const std::string>("{}"),
                                           .component = property->component,
                                           .passesOutside = true,
                                           .isWithdrawal = false,
                                           .property = property}});
    for (std::size_t number = 0; number < kSubscribers; ++number) {
        const auto subscriber = std::make_shared<Subscriber>(stream);
        for (std::size_t length = 0; length < colons.size(); ++length) {
            static_cast<void>(subscriber->Add(
                colons.substr(0, length), colons.substr(length + 1) + "Job 1:Job 1", "1", true));
        }
        EXPECT_EQ(subscriber->DifferentEntries(), colons.size());
        fanOut.Choose(subscriber);
    }
}

TEST_F(Scale, ATextThatWaitsOftenIsForgottenAsFast) {
    constexpr std::size_t kTimes = 2'000;
    const Accounting& accounting = *machine.platform.accounting;
    std::vector<std::shared_ptr<ConnectionAccount>> readers(500);
    for (std::shared_ptr<ConnectionAccount>& reader : readers) {
        reader = Admit();
    }
    for (std::size_t time = 0; time < kTimes; ++time) {
        for (const std::shared_ptr<ConnectionAccount>& reader : readers) {
            static_cast<void>(reader->AddShared(this, 1'000));
        }
    }
    EXPECT_EQ(accounting.Total(Resource::Output), 1'000U);
    for (const std::shared_ptr<ConnectionAccount>& reader : readers) {
        for (std::size_t time = 0; time < kTimes; ++time) {
            reader->RemoveShared(this);
        }
    }
    EXPECT_EQ(accounting.Total(Resource::Output), 0U);
}

}  // namespace
}  // namespace vantry
