// Measures the engine: what a change costs the thread that makes it, the fan-out of 100 records,
// and requests from the first byte of the frame to the last byte of the reply. Streams are loops in
// memory, so no system call is part of a result except those that the engine itself makes.

#include <benchmark/benchmark.h>

#include "engine/change_queue.h"
#include "engine/fan_out.h"
#include "engine_sample.h"
#include "property/property_factories.h"

namespace vantry::bench {
namespace {

void ChangeOfAProperty(benchmark::State& state) {
    const Engine hub;
    const auto property = MakeStringProperty("a", {"P", "Name", "G", "Group"});
    hub.store->AddProperty(property);
    bool other = false;
    for (auto _ : state) {
        other = !other;
        benchmark::DoNotOptimize(property->SetText(other ? "b" : "c"));
    }
}
BENCHMARK(ChangeOfAProperty);

void PushAndPop(benchmark::State& state) {
    ChangeQueue queue;
    const std::shared_ptr<Property> property = MakeStringProperty("a", {"P", "", "", ""});
    for (auto _ : state) {
        queue.Push(property);
        benchmark::DoNotOptimize(queue.TakeAll());
    }
}
BENCHMARK(PushAndPop);

/// Sends 100 records to this many subscribers of everything and as many of one property.
void FanOutTurn(benchmark::State& state) {
    const SampleChanges sample(100);
    const std::vector<PendingRecord>& changes = sample.records;
    std::vector<std::shared_ptr<Subscriber>> subscribers;
    for (int count = 0; count < state.range(0); ++count) {
        subscribers.push_back(std::make_shared<Subscriber>(std::make_shared<LoopStream>()));
        subscribers.push_back(std::make_shared<Subscriber>(std::make_shared<LoopStream>()));
        const PendingRecord& one = changes[static_cast<std::size_t>(count) % changes.size()];
        benchmark::DoNotOptimize(subscribers.back()->Add(one.component, one.property->GroupGuid(),
                                                         one.property->Guid(), true));
    }
    const std::atomic<bool> stopping{false};
    for (auto _ : state) {
        FanOut turn(changes);
        for (const std::shared_ptr<Subscriber>& subscriber : subscribers) {
            turn.Choose(subscriber);
        }
        benchmark::DoNotOptimize(turn.Send(stopping));
    }
}
BENCHMARK(FanOutTurn)->Arg(1)->Arg(10)->Arg(100);

void Request(benchmark::State& state, const std::string& text) {
    const Engine hub;
    const auto stream = std::make_shared<LoopStream>(text);
    for (auto _ : state) {
        benchmark::DoNotOptimize(hub.engine->ProcessMessage(stream));
    }
}
void OneRequest(benchmark::State& state) { Request(state, SmallRequest()); }
BENCHMARK(OneRequest);
void AskForEverything(benchmark::State& state) { Request(state, R"({"GetAllProperties": true})"); }
BENCHMARK(AskForEverything);
/// A message of 900 reports whose values are those that the hub already has.
void ReportMessage(benchmark::State& state) { Request(state, Answer(900)); }
BENCHMARK(ReportMessage);

}  // namespace
}  // namespace vantry::bench
