// What queries say of rows that were written.

#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <random>

#include "history/history_fixture.h"

namespace vantry::history {
namespace {

/// A change of a property, so many seconds after the start. "ended" and "began" of "" are marks.
struct Written {
    int seconds;
    std::string name;
    std::optional<std::string> value;
};

void Write(HistoryWriter& writer, const std::vector<Written>& changes, Moment now) {
    std::vector<ChangeRow> rows;
    for (const Written& change : changes) {
        const std::int64_t id = change.name.empty() ? kMarks : writer.IdOf(Told(change.name, ""));
        rows.push_back({kBegin + change.seconds * kSecond, id, Kind::Change, change.value});
    }
    const auto outcome = writer.Write(rows, now);
    EXPECT_TRUE(outcome) << outcome.error().text;
}

std::string Text(const std::optional<double>& number) {
    char text[32] = "-";
    if (number) {
        std::snprintf(text, sizeof text, "%.6g", *number);
    }
    return text;
}

std::string Text(const StepSums& sums) {
    return std::to_string((sums.begin - kBegin) / kSecond) + ":" + Text(sums.minimum) + "/" +
           Text(sums.mean) + "/" + Text(sums.maximum) + "*" + std::to_string(sums.changes) +
           (sums.unknown == 0 ? "" : "?" + std::to_string(sums.unknown / kSecond));
}

std::string Text(const std::vector<StepSums>& steps) {
    std::string text;
    for (const StepSums& sums : steps) {
        text += (text.empty() ? "" : " ") + Text(sums);
    }
    return text;
}

struct StepCase {
    const char* what;
    std::vector<Written> changes;
    int from;
    int to;
    int step;
    const char* steps;
};

class StepsOf : public HistoryTest, public testing::WithParamInterface<StepCase> {};

TEST_P(StepsOf, HaveExtremesAndTheMeanOverTime) {
    const StepCase& expected = GetParam();
    HistoryWriter writer = Writer();
    Write(writer, expected.changes, kBegin + kHour);
    const auto steps = Reader().Steps(
        Told("A", "").id, {kBegin + expected.from * kSecond, kBegin + expected.to * kSecond},
        expected.step * kSecond);
    ASSERT_TRUE(steps) << steps.error().text;
    EXPECT_EQ(Text(*steps), expected.steps);
}

INSTANTIATE_TEST_SUITE_P(
    History, StepsOf,
    testing::Values(StepCase{"a value holds",
                             {{0, "A", "10"}, {15, "A", "20"}},
                             0,
                             40,
                             20,
                             "0:10/12.5/20*2 20:20/20/20*0"},
                    StepCase{"an earlier value",
                             {{0, "A", "1"}, {1, "B", "7"}, {3590, "A", "3"}},
                             3580,
                             3600,
                             10,
                             "3580:1/1/1*0 3590:3/3/3*1"},
                    StepCase{"it comes and goes",
                             {{5, "A", "4"}, {8, "A", {}}},
                             0,
                             20,
                             10,
                             "0:4/4/4*2?7 10:-/-/-*0?10"},
                    StepCase{"the recording ends",
                             {{0, "A", "4"}, {5, "", "ended"}, {15, "A", "6"}},
                             0,
                             20,
                             10,
                             "0:4/4/4*1?5 10:6/6/6*1?5"},
                    StepCase{
                        "truths", {{0, "A", "False"}, {5, "A", "True"}}, 0, 20, 20, "0:0/0.75/1*2"},
                    StepCase{"texts", {{0, "A", "on"}, {5, "A", "off"}}, 0, 10, 10, "0:-/-/-*2"},
                    StepCase{"sums of quarters",
                             {{0, "A", "0"}, {450, "A", "4"}, {2000, "B", "1"}},
                             0,
                             3600,
                             1800,
                             "0:0/3/4*2 1800:4/4/4*0"}),
    [](const auto& info) {
        std::string name = info.param.what;
        std::replace(name.begin(), name.end(), ' ', '_');
        return name;
    });

/// Steps put together from sums and steps read from changes must be the same.
TEST_F(HistoryTest, SumsSayWhatTheChangesSay) {
    std::mt19937 random(7);
    constexpr int kSeconds = 4 * 3600;
    HistoryWriter summed = Writer();
    auto plain = HistoryWriter::Open(directory.Path() / "plain.db", {.age = 100'000 * kDay});
    ASSERT_TRUE(plain);
    std::vector<Written> batch;
    for (int second = 0; second < kSeconds; second += 1 + static_cast<int>(random() % 600)) {
        const auto kind = random() % 12;
        const std::string name = kind == 0 ? "" : random() % 2 == 0 ? "A" : "B";
        std::optional<std::string> value = std::to_string(random() % 100);
        if (kind == 0) {
            value = Mark::kEnded;
        } else if (kind == 1) {
            value.reset();
        }
        batch.push_back({second, name, value});
        if (random() % 4 == 0) {
            Write(summed, batch, kBegin + second * kSecond);
            Write(*plain, batch, kBegin);
            batch.clear();
        }
    }
    auto other = History::Open(directory.Path() / "plain.db");
    ASSERT_TRUE(other);
    for (const Moment step : {7 * kMinute, kQuarter, kHour}) {
        for (const int from : {0, 1000, 5000}) {
            const Span span{kBegin + from * kSecond, kBegin + kSeconds * kSecond - kHour};
            const auto left = Reader().Steps(Told("A", "").id, span, step);
            const auto right = other->Steps(Told("A", "").id, span, step);
            ASSERT_TRUE(left && right);
            EXPECT_EQ(Text(*left), Text(*right)) << step / kMinute << " from " << from;
        }
    }
}

TEST_F(HistoryTest, ChangesBeginWithTheOneThatHolds) {
    HistoryWriter writer = Writer();
    Write(writer, {{0, "A", "1"}, {10, "B", "x"}, {4000, "A", " 2.50"}, {4001, "A", "a\"\xff"}},
          kBegin + 2 * kHour);
    const auto samples =
        Reader().Changes(Told("A", "").id, {kBegin + 3600 * kSecond, kBegin + 2 * kHour}, 10);
    ASSERT_TRUE(samples);
    ASSERT_EQ(samples->size(), 3U);
    EXPECT_EQ(samples->at(0).value, "1");
    EXPECT_EQ(samples->at(1).value, " 2.50");
    EXPECT_EQ(samples->at(2).value, "a\"\xff");
    EXPECT_EQ(Reader().Changes(Told("Z", "").id, {0, 1}, 1).error().code,
              client::ErrorCode::NotFound);
}

TEST_F(HistoryTest, AnOldValueThatHoldsSurvivesTheBounds) {
    HistoryWriter writer = Writer({.age = kHour});
    Write(writer, {{0, "Quiet", "1"}, {1, "Busy", "0"}}, kBegin);
    for (int quarter = 1; quarter < 40; ++quarter) {
        Write(writer, {{quarter * 900, "Busy", std::to_string(quarter)}},
              kBegin + quarter * kQuarter);
    }
    EXPECT_EQ(ValuesOf("Quiet"), "1");
    EXPECT_EQ(ValuesOf("Busy"), "34 35 36 37 38 39");
}

TEST_F(HistoryTest, TheOldestGoesWhenTheFileIsAsLargeAsItMayBe) {
    constexpr std::uint64_t kMost = 2U << 20U;
    HistoryWriter writer = Writer({.age = 100'000 * kDay, .bytes = kMost});
    const std::string filler(4000, 'x');
    for (int quarter = 0; quarter < 60; ++quarter) {
        std::vector<Written> batch;
        for (int change = 0; change < 20; ++change) {
            batch.push_back({quarter * 900 + change, "A", filler});
        }
        Write(writer, batch, kBegin + quarter * kQuarter + 30 * kSecond);
    }
    EXPECT_LE(std::filesystem::file_size(File()), kMost);
    const auto samples = Reader().Changes(Told("A", "").id, {0, Now()}, 10'000);
    ASSERT_TRUE(samples);
    ASSERT_GT(samples->size(), 200U);
    EXPECT_EQ(samples->back().time, kBegin + (59 * 900 + 19) * kSecond);
}

TEST_F(HistoryTest, AFileThatIsSomethingElseIsLeftAlone) {
    EXPECT_EQ(History::Open(File()).error().code, client::ErrorCode::NotFound);
    const std::string text(2000, 'x');
    test::WriteFile(File(), text);
    EXPECT_FALSE(HistoryWriter::Open(File(), {}));
    EXPECT_FALSE(History::Open(File()));
    EXPECT_EQ(test::ReadFile(File()), text);
}

/// Runs a check in a process that may read the directory and may not write to it.
bool HoldsForAReader(const std::filesystem::path& directory, const std::function<bool()>& check) {
    using std::filesystem::perms;
    const perms readable = perms::owner_read | perms::group_read | perms::others_read;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        std::filesystem::permissions(entry.path(), readable);
    }
    const perms open = perms::owner_exec | perms::group_exec | perms::others_exec;
    std::filesystem::permissions(directory, readable | open);
    constexpr uid_t kNobody = 65534;
    const pid_t child = fork();
    if (child == 0) {
        // The permissions mean nothing to root.
        const bool isReader = geteuid() != 0 || (setgid(kNobody) == 0 && setuid(kNobody) == 0);
        _exit(isReader && check() ? 0 : 1);
    }
    int status = 1;
    waitpid(child, &status, 0);
    std::filesystem::permissions(directory, perms::owner_all);
    return status == 0;
}

TEST_F(HistoryTest, WhoMayOnlyReadItReadsItWithAndWithoutARecorder) {
    const auto isRead = [this] { return ValuesOf("A") == "1"; };
    {
        HistoryWriter writer = Writer();
        Write(writer, {{0, "A", "1"}}, kBegin + kSecond);
        EXPECT_TRUE(HoldsForAReader(directory.Path(), isRead)) << "while it is recorded";
    }
    EXPECT_TRUE(HoldsForAReader(directory.Path(), isRead)) << "after the recording";
    EXPECT_LT(std::filesystem::file_size(File().string() + "-wal"), 1U) << "the journal is left";
}

}  // namespace
}  // namespace vantry::history
