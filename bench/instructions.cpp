// Runs one piece of work of the engine so often, for a tool that counts instructions:
//
//     instructions request|report|change|fan-out TIMES
//
// The tool counts inside CountedPart only. bench/count_instructions calls it.

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string_view>

#include "engine/fan_out.h"
#include "engine_sample.h"

/// Repeats the work. Its name is what the tool is told.
extern "C" __attribute__((noinline)) void CountedPart(const std::function<void()>& work,
                                                      int times) {
    for (int count = 0; count < times; ++count) {
        work();
    }
}

namespace vantry::bench {
namespace {

/// Counts after one run, which makes what lasts.
void Count(const std::function<void()>& work, int times) {
    work();
    CountedPart(work, times);
}

void CountMessage(const std::string& text, int times) {
    const Engine hub;
    const auto stream = std::make_shared<LoopStream>(text);
    Count([&] { static_cast<void>(hub.engine->ProcessMessage(stream)); }, times);
}

/// Stores other values of 400 properties and makes the texts of their records.
void CountChanges(int times) {
    const SampleChanges sample(400);
    int round = 0;
    Count(
        [&] {
            const std::string value = std::to_string(++round);
            for (const std::shared_ptr<RemoteProperty>& changed : sample.properties) {
                RemoteProperty& property = *changed;
                static_cast<void>(property.StoreReported(value, 0, *property.owner));
                static_cast<void>(RecordTextOf(property, OwnerOf(property)));
            }
        },
        times);
}

void CountFanOut(int times) {
    const SampleChanges sample(400);
    std::vector<std::shared_ptr<Subscriber>> subscribers;
    for (int count = 0; count < 16; ++count) {
        subscribers.push_back(std::make_shared<Subscriber>(std::make_shared<LoopStream>()));
    }
    const std::atomic<bool> stopping{false};
    const auto publish = [&] {
        FanOut turn(sample.records);
        for (const std::shared_ptr<Subscriber>& subscriber : subscribers) {
            turn.Choose(subscriber);
        }
        static_cast<void>(turn.Send(stopping));
    };
    Count(publish, times);
}

}  // namespace
}  // namespace vantry::bench

int main(int argc, char** argv) {
    using namespace vantry::bench;
    const std::string_view work = argc == 3 ? argv[1] : "";
    const int times = argc == 3 ? std::atoi(argv[2]) : 0;
    if (work == "request") {
        CountMessage(SmallRequest(), times);
    } else if (work == "report") {
        CountMessage(Answer(900), times);
    } else if (work == "change") {
        CountChanges(times);
    } else if (work == "fan-out") {
        CountFanOut(times);
    } else {
        std::fprintf(stderr, "usage: instructions request|report|change|fan-out TIMES\n");
        return 2;
    }
    return 0;
}
