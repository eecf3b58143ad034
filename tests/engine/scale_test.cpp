// What thousands of properties, owners, subscribers or waiting texts cost, all of which peers from
// outside can make the hub hold. Each test ends in a second or two. Where the cost grew with the
// square of the number, or with the product of two numbers, it took minutes.

#include <gtest/gtest.h>

#include <vector>

#include "engine/external_owners.h"
#include "engine/fan_out.h"
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
                                                     const std::shared_ptr<Stream>& owner) {
        const std::string guid = std::to_string(number);
        RecordView report{};
        report.component = "C";
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
    ExternalOwners owners;
    for (std::size_t number = 0; number < kOwners; ++number) {
        owners.Enter(Announced(number, std::make_shared<LoopStream>(Admit())));
    }
    const auto staying = machine.platform.accounting->Admit(Link::Usb, "");
    owners.Enter(Announced(kOwners, std::make_shared<LoopStream>(staying)));
    for (std::size_t number = 0; number < kOwners; ++number) {
        EXPECT_TRUE(owners.CutOwners().empty());
        const auto next = owners.NextToGo(Resource::Properties);
        const auto properties = owners.SomeOf(*next, 10);
        ASSERT_EQ(properties.size(), 1U);
        ASSERT_EQ(properties.front()->Guid(), std::to_string(number));
        owners.Leave(*properties.front());
    }
    EXPECT_EQ(owners.NextToGo(Resource::Properties), staying);
    staying->Cut(Bound::Properties);
    staying->Leave();
    EXPECT_EQ(owners.NextToGo(Resource::Properties), staying);
    EXPECT_EQ(owners.CutOwners(), std::vector{staying});
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
