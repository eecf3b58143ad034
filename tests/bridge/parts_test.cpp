#include <gtest/gtest.h>

#include <fstream>

#include "bridge/backoff.h"
#include "bridge/spool.h"
#include "mqtt/broker_address.h"
#include "support/temporary_directory.h"

namespace vantry::bridge {
namespace {

std::vector<std::string> TakeAll(Spool& spool) {
    std::vector<std::string> all;
    while (auto record = spool.Front()) {
        all.push_back(*record);
        spool.Pop();
    }
    return all;
}

TEST(Spool, GivesWhatItWasGivenInOrderAfterARestart) {
    test::TemporaryDirectory folder;
    std::vector<std::string> given;
    {
        Spool spool(folder.Path(), 1U << 20U);
        for (int number = 0; number < 500; ++number) {
            given.push_back("record " + std::to_string(number) + std::string(100, 'x'));
            spool.Append(given.back());
        }
        spool.Pop();
    }
    Spool again(folder.Path(), 1U << 20U);
    EXPECT_EQ(again.Count(), 499U);
    again.Append("new");
    given.erase(given.begin());
    given.push_back("new");
    EXPECT_EQ(TakeAll(again), given);
    EXPECT_EQ(again.Dropped(), 0U);
}

TEST(Spool, DropsTheOldestBeyondItsBoundAndCountsThem) {
    test::TemporaryDirectory folder;
    Spool spool(folder.Path(), 64U << 10U);
    for (int number = 0; number < 2000; ++number) {
        spool.Append(std::to_string(number) + std::string(92, 'x'));
    }
    std::uintmax_t bytes = 0;
    for (const auto& file : std::filesystem::directory_iterator(folder.Path())) {
        bytes += file.file_size();
    }
    EXPECT_LE(bytes, 65U << 10U);
    const std::uint64_t dropped = spool.Dropped();
    EXPECT_EQ(dropped + spool.Count(), 2000U);
    EXPECT_EQ(spool.Front()->substr(0, 4), std::to_string(dropped));
}

TEST(Spool, ReadsUpToADamagedRecordAndGoesOnBehindIt) {
    for (const bool isTorn : {true, false}) {
        test::TemporaryDirectory folder;
        { Spool(folder.Path(), 1U << 20U).Append("first"); }
        { Spool(folder.Path(), 1U << 20U).Append("second"); }
        const auto newest = folder.Path() / "000000000002.seg";
        if (isTorn) {
            std::filesystem::resize_file(newest, std::filesystem::file_size(newest) - 1);
        } else {
            std::fstream(newest, std::ios::in | std::ios::out).seekp(10).put('!');
        }
        Spool spool(folder.Path(), 1U << 20U);
        spool.Append("third");
        EXPECT_EQ(TakeAll(spool), (std::vector<std::string>{"first", "third"}));
    }
}

TEST(Backoff, SpreadsAttemptsUpToItsLongestPause) {
    Backoff backoff(1000, 300'000);
    EXPECT_EQ(backoff.Next(), 1000U);
    std::uint64_t longest = 0;
    for (int attempt = 0; attempt < 1000; ++attempt) {
        const std::uint64_t pause = backoff.Next();
        EXPECT_GE(pause, 1000U);
        longest = std::max(longest, pause);
    }
    EXPECT_GT(longest, 200'000U);
    EXPECT_LE(longest, 300'000U);
}

TEST(BrokerAddress, IsReadOrRefused) {
    struct Case {
        const char* text;
        const char* name;
        bool isLoopback;
    };
    for (const Case& one : {Case{"mqtt://localhost", "mqtt://localhost:1883", true},
                            Case{"mqtts://b.example:1", "mqtts://b.example:1", false},
                            Case{"mqtt://127.9.9.9", "mqtt://127.9.9.9:1883", true},
                            Case{"mqtt://127.evil.example", "mqtt://127.evil.example:1883", false},
                            Case{"mqtts://[::1]:99", "mqtts://[::1]:99", true}}) {
        const auto address = mqtt::BrokerAddress::Parse(one.text);
        ASSERT_TRUE(address) << one.text;
        EXPECT_EQ(address->Name(), one.name);
        EXPECT_EQ(address->IsLoopback(), one.isLoopback) << one.text;
    }
    for (const char* text : {"", "b", "http://b", "mqtt://", "mqtt://b:", "mqtt://b:0",
                             "mqtt://b:65536", "mqtt://b:1x", "mqtt://u@b", "mqtt://[::1"}) {
        EXPECT_FALSE(mqtt::BrokerAddress::Parse(text)) << text;
    }
}

}  // namespace
}  // namespace vantry::bridge
