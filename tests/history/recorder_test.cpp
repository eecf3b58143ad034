// What a recorder keeps of what it is told, and what survives.

#include "history/recorder.h"

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <thread>

#include "history/history_fixture.h"
#include "support/rounds.h"

namespace vantry::history {
namespace {

struct FilterCase {
    const char* what;
    /// A second, and the value that is told then; "-" withdraws the property.
    std::vector<std::pair<int, std::string>> told;
    const char* recorded;
};

class Thinned : public testing::TestWithParam<FilterCase> {};

TEST_P(Thinned, KeepsTheValueAtRest) {
    RecordingRules rules;
    rules.SetDeadband("Group/*", 100);
    rules.SetDeadband("*/Thin*", 2);
    rules.SetLeastInterval("thinned", 10 * kSecond);
    ChangeFilter filter(rules);
    std::string recorded;
    const auto record = [&](const Observation& observation) {
        const client::Property& property = observation.property;
        recorded += (recorded.empty() ? "" : " ") +
                    std::to_string((observation.moment - kBegin) / kSecond) + "=" +
                    (property.available ? property.value : "-");
    };
    for (const auto& [second, value] : GetParam().told) {
        const Moment moment = kBegin + second * kSecond;
        for (const Observation& due : filter.DueUntil(moment)) {
            record(due);
        }
        client::Property property = Told("Thinned", value);
        property.available = value != "-";
        if (const auto kept = filter.Filter({property, moment})) {
            record(*kept);
        }
    }
    for (const Observation& due : filter.All()) {
        record(due);
    }
    EXPECT_EQ(recorded, GetParam().recorded);
}

INSTANTIATE_TEST_SUITE_P(
    Recorder, Thinned,
    testing::Values(
        FilterCase{"repeated", {{0, "1"}, {20, "1"}, {40, "4"}}, "0=1 40=4"},
        FilterCase{"deadband", {{0, "10"}, {20, "11"}, {40, "9"}, {60, "12"}}, "0=10 60=12"},
        FilterCase{"texts", {{0, "a"}, {20, "b"}}, "0=a 20=b"},
        FilterCase{"interval", {{0, "0"}, {3, "5"}, {6, "9"}, {30, "9"}}, "0=0 6=9"},
        FilterCase{"back", {{0, "0"}, {3, "5"}, {6, "0"}, {30, "9"}}, "0=0 30=9"},
        FilterCase{"gone", {{0, "0"}, {3, "5"}, {4, "-"}, {5, "5"}, {5, "-"}}, "0=0 4=- 5=5 5=-"},
        FilterCase{"never", {{0, "-"}}, ""}),
    [](const auto& info) { return info.param.what; });

TEST_F(HistoryTest, ARecordingBeginsWithStartValuesAndGoesOnInTheSameFile) {
    for (int run = 0; run < 2; ++run) {
        Recorder::Options options;
        options.rules.Exclude("*/Secret*");
        auto recorder = Recorder::Open(File(), options);
        ASSERT_TRUE(recorder) << recorder.error().text;
        (*recorder)->Add(Told("A", "1", client::Origin::Present));
        (*recorder)->Add(Told("Secret", "1", client::Origin::Present));
        (*recorder)->Add(Told("A", "2"));
        (*recorder)->Add(Told("A", std::string(100'000, 'x'), client::Origin::Reconciled));
    }
    const std::string cut(65536, 'x');
    EXPECT_EQ(ValuesOf("A"), "1 2 " + cut + " - 1 2 " + cut + " -");
    std::string told;
    ASSERT_TRUE(
        Reader().ForEach({0, Now()}, [&](const client::Property& property, const Sample& sample) {
            told += property.name + ":" + NameOf(sample.kind) + " ";
            EXPECT_NE(property.name, "Secret");
        }));
    const std::string once = "recording:change A:start A:change A:reconciled recording:change ";
    EXPECT_EQ(told, once + once);
}

/// Lets no file of this process grow beyond what it has, as a full disk does.
class FullDisk {
public:
    FullDisk() {
        signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before);
        const rlimit none{.rlim_cur = 0, .rlim_max = before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &none);
    }
    ~FullDisk() { setrlimit(RLIMIT_FSIZE, &before); }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit before{};
};

TEST_F(HistoryTest, WhatIsToldWhileTheDiskIsFullIsWrittenWhenItEmpties) {
    int errors = 0;
    Recorder::Options options;
    options.onError = [&](const client::Error&) { ++errors; };
    options.commitInterval = kHour;
    auto recorder = Recorder::Open(File(), options);
    ASSERT_TRUE(recorder);
    std::string expected;
    {
        const FullDisk full;
        for (int value = 0; value < 3; ++value) {
            (*recorder)->Add(Told("A", std::to_string(value)));
            expected += std::to_string(value) + " ";
            EXPECT_FALSE((*recorder)->Commit());
        }
    }
    (*recorder)->Add(Told("A", "3"));
    EXPECT_TRUE((*recorder)->Commit());
    EXPECT_EQ(ValuesOf("A"), expected + "3");
    EXPECT_EQ(errors, 1);
}

/// Records the numbers from `first` on, and writes each that is committed to the pipe, for ever.
[[noreturn]] void RecordForEver(const std::filesystem::path& file, long first, int pipe) {
    Recorder::Options options;
    options.commitInterval = kHour;
    auto recorder = Recorder::Open(file, options);
    for (long number = first; recorder; ++number) {
        (*recorder)->Add(Told("A", std::to_string(number)));
        if (number % 7 == 0 && (*recorder)->Commit() &&
            write(pipe, &number, sizeof number) != sizeof number) {
            break;
        }
    }
    _exit(1);
}

/// Kills a recorder somewhere, and returns the last number that it had committed.
long KillRecorder(const std::filesystem::path& file, long first, int microseconds) {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t child = fork();
    if (child == 0) {
        RecordForEver(file, first, ends[1]);
    }
    close(ends[1]);
    long committed = first - 1;
    long number = 0;
    EXPECT_EQ(read(ends[0], &number, sizeof number), static_cast<ssize_t>(sizeof number));
    std::thread killer([&] {
        // The moment of the kill is meant to be any.
        std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
        kill(child, SIGKILL);
    });
    do {
        committed = number;
    } while (read(ends[0], &number, sizeof number) == static_cast<ssize_t>(sizeof number));
    killer.join();
    waitpid(child, nullptr, 0);
    close(ends[0]);
    return committed;
}

TEST_F(HistoryTest, AKilledRecorderLosesTheLastBatchAtMost) {
    std::mt19937 random(std::random_device{}());
    long first = 1;
    const int rounds = test::Rounds(5);
    for (int round = 0; round < rounds; ++round) {
        const long committed = KillRecorder(File(), first, static_cast<int>(random() % 30'000));
        const auto samples = Reader().Changes(Told("A", "").id, {0, Now() + kHour}, 100'000'000);
        ASSERT_TRUE(samples) << samples.error().text;
        long expected = 1;
        for (const Sample& sample : *samples) {
            if (sample.value) {
                ASSERT_EQ(*sample.value, std::to_string(expected++)) << "round " << round;
            }
        }
        ASSERT_GT(expected, committed) << "round " << round;
        first = expected;
    }
}

}  // namespace
}  // namespace vantry::history
