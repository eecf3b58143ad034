// What a history costs: its size, the bytes that are written for each change, and the time of
// queries, for a week of changes of 40 properties at 10 a second, with a commit every 30 seconds.
//
//     history_bench FOLDER
//
// The folder must be on a real disk, because the written bytes are those that the kernel counts.

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

#include "history/history.h"
#include "history/history_writer.h"
#include "runtime/clock.h"

namespace {

using namespace vantry::history;

constexpr int kProperties = 40;
constexpr Moment kCommit = 30 * kSecond;
constexpr Moment kWeek = 7 * kDay;
constexpr Moment kBetweenChanges = kSecond / 10;

vantry::client::Property Numbered(int number) {
    vantry::client::Property property;
    property.id = {"B80EB2EA-4F49-423A-875C-8ACB1ACB9734", "694B9450-3986-4D7C-AF84-4812A9423FAA",
                   "5D2C1E0A-3B2F-4E64-9A77-1C0F5A6B7D" + std::to_string(10 + number)};
    property.componentName = "Firmware Driver";
    property.groupName = "Sensors";
    property.name = "Sensor " + std::to_string(number);
    return property;
}

std::uint64_t WrittenBytes() {
    std::ifstream io("/proc/self/io");
    std::string name;
    std::uint64_t number = 0;
    while (io >> name >> number) {
        if (name == "write_bytes:") {
            break;
        }
    }
    return number;
}

double MillisecondsSince(std::uint64_t begin) {
    return static_cast<double>(vantry::NowNanoseconds() - begin) / 1e6;
}

bool Fill(const std::filesystem::path& file, Moment begin) {
    auto writer = HistoryWriter::Open(file, {.age = 30 * kDay, .bytes = 1U << 30U});
    if (!writer) {
        std::fprintf(stderr, "%s\n", writer.error().text.c_str());
        return false;
    }
    std::mt19937 random(1);
    std::vector<std::int64_t> ids;
    for (int number = 0; number < kProperties; ++number) {
        ids.push_back(writer->IdOf(Numbered(number)));
    }
    std::vector<ChangeRow> rows;
    Moment committed = begin;
    for (Moment time = begin; time < begin + kWeek; time += kBetweenChanges) {
        rows.push_back(
            {time, ids[random() % kProperties], Kind::Change, std::to_string(random() % 5000)});
        if (time - committed >= kCommit) {
            if (!writer->Write(rows, time)) {
                return false;
            }
            rows.clear();
            committed = time;
        }
    }
    return bool(writer->Write(rows, begin + kWeek));
}

void Query(History& history, const char* what, Span span, Moment step) {
    const std::uint64_t begin = vantry::NowNanoseconds();
    const auto steps = history.Steps(Numbered(3).id, span, step);
    std::printf("| %s | %.1f ms, %zu steps |\n", what, MillisecondsSince(begin),
                steps ? steps->size() : 0);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: history_bench FOLDER\n");
        return 2;
    }
    const std::filesystem::path file = std::filesystem::path(argv[1]) / "history_bench.db";
    std::filesystem::remove(file);
    const Moment end = BeginOfStep(Now(), kQuarter) - kHour;
    const Moment begin = end - kWeek;
    const std::uint64_t filling = vantry::NowNanoseconds();
    const std::uint64_t before = WrittenBytes();
    if (!Fill(file, begin)) {
        return 1;
    }
    constexpr double kChanges = static_cast<double>(kWeek) / kBetweenChanges;
    std::printf("| what | figure |\n| --- | --- |\n");
    std::printf("| written in | %.1f s |\n", MillisecondsSince(filling) / 1000);
    std::printf("| size of the file | %.1f MB, %.1f bytes a change |\n",
                static_cast<double>(std::filesystem::file_size(file)) / 1e6,
                static_cast<double>(std::filesystem::file_size(file)) / kChanges);
    std::printf("| written to the disk | %.1f bytes a change |\n",
                static_cast<double>(WrittenBytes() - before) / kChanges);
    auto history = History::Open(file);
    if (!history) {
        return 1;
    }
    Query(*history, "the last 2 hours in steps of 10 s", {end - 2 * kHour, end}, 10 * kSecond);
    Query(*history, "a day in steps of 1 min", {end - kDay, end}, kMinute);
    Query(*history, "a day in steps of 15 min", {end - kDay, end}, kQuarter);
    Query(*history, "the week in steps of 61 s", {begin + kHour, end}, kMinute + kSecond);
    Query(*history, "the week in steps of 1 h", {begin, end}, kHour);
    std::filesystem::remove(file);
    return 0;
}
