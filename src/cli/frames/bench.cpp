// `vantry bench`: load on a running hub.
//
// Each connection has a thread that reads one property again and again and keeps the latency of
// each read, so the memory in use grows with the length of the run. One more connection announces a
// property, changes it a hundred times a second, and counts what the hub publishes of it. Any lost
// connection ends the run as a failure, because what was measured until then would look better than
// it is.

#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "cli/base/command_line.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"

namespace vantry::cli {
namespace {

using Clock = std::chrono::steady_clock;

/// A property of the hub that external clients may read too.
const client::PropertyId kAsked = {client::Hub::OwnComponent(),
                                   "222D688A-1554-4C0E-B7A0-0BC377EF4071",
                                   "ACEB1224-1DAF-42A2-BBAA-4678D5D3C8DA"};
const client::PropertyId kChanged = {"0BE9C4A7-6E0B-4C57-9B8F-2B1F6A3C9D01", "Job bench",
                                     "COUNTER"};

struct BenchOptions {
    int connections = 4;
    double seconds = 5;
};

/// What a run has measured so far. Each thread that reads appends to latencies of its own.
struct Run {
    std::atomic<bool> stop{false};
    std::atomic<int> failures{0};
    std::atomic<long> requests{0};
    std::atomic<long> publications{0};
    std::vector<std::vector<double>> latencies;
};

void AskOn(const Context& context, Run& run, std::vector<double>& latencies) {
    const auto hub = context.Connect();
    while (hub && !run.stop) {
        const auto start = Clock::now();
        if (!(*hub)->Read(kAsked)) {
            break;
        }
        latencies.push_back(
            std::chrono::duration<double, std::micro>(Clock::now() - start).count());
        ++run.requests;
    }
    run.failures += run.stop ? 0 : 1;
}

/// Announces a property, changes it until the run stops, and counts what the hub publishes of it.
void ChangeAndCount(const Context& context, Run& run) {
    const auto hub = context.Connect();
    if (!hub) {
        ++run.failures;
        return;
    }
    const client::Outcome announced = (*hub)->Announce({{.id = kChanged,
                                                         .componentName = "vantry bench",
                                                         .groupName = "Bench",
                                                         .name = "Counter",
                                                         .type = client::ValueType::Number,
                                                         .value = "0",
                                                         .onWrite = nullptr}});
    const client::Subscription counting = (*hub)->Subscribe(
        client::Interest::List({kChanged}), [&](const client::Property&) { ++run.publications; });
    for (int value = 1; !run.stop && announced; ++value) {
        static_cast<void>((*hub)->Change(kChanged, std::to_string(value)));
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    static_cast<void>((*hub)->Withdraw(kChanged));
}

void WaitWithProgress(Run& run, double seconds) {
    const auto start = Clock::now();
    const bool shown = isatty(STDERR_FILENO) == 1;
    for (std::chrono::duration<double> elapsed{0};
         elapsed.count() < seconds && !Interrupted() && run.failures == 0;
         elapsed = Clock::now() - start) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (shown) {
            fmt::print(stderr, "\r{:4.1f} of {:.0f} s   {} requests   {} publications ",
                       elapsed.count(), seconds, run.requests.load(), run.publications.load());
        }
    }
    if (shown) {
        fmt::print(stderr, "\r\x1b[K");
    }
    run.stop = true;
}

void PrintResults(const Run& run, const std::string& hub, double seconds, bool json) {
    std::vector<double> all;
    for (const std::vector<double>& part : run.latencies) {
        all.insert(all.end(), part.begin(), part.end());
    }
    std::sort(all.begin(), all.end());
    const auto percentile = [&](double part) {
        return all.empty()
                   ? 0.0
                   : all[std::min(all.size() - 1, static_cast<std::size_t>(
                                                      part * static_cast<double>(all.size())))];
    };
    const double perSecond = static_cast<double>(all.size()) / seconds;
    if (json) {
        fmt::print(
            "{{\"requestsPerSecond\":{:.0f},\"latencyMicroseconds\":{{\"50\":{:.1f},"
            "\"90\":{:.1f},\"99\":{:.1f},\"max\":{:.1f}}},\"publications\":{}}}\n",
            perSecond, percentile(0.5), percentile(0.9), percentile(0.99), percentile(1),
            run.publications.load());
        return;
    }
    fmt::print("{} at {}, each of which reads one property again and again\n",
               Counted(run.latencies.size(), "connection"), hub);
    fmt::print("{:.0f} requests/s\n", perSecond);
    fmt::print("latency: 50% {:.1f} us, 90% {:.1f} us, 99% {:.1f} us, max {:.1f} us\n",
               percentile(0.5), percentile(0.9), percentile(0.99), percentile(1));
    fmt::print("{} publications of a property that changes 100 times a second\n",
               run.publications.load());
}

int RunBench(const Context& context, const BenchOptions& options) {
    const auto probe = context.Connect();
    if (!probe) {
        return Fail(probe.error());
    }
    CatchInterrupts();
    if (!context.json) {
        fmt::print(stderr, "vantry: this loads the hub for {:g} s\n", options.seconds);
    }
    Run run;
    run.latencies.resize(static_cast<std::size_t>(options.connections));
    std::vector<std::thread> threads;
    const auto start = Clock::now();
    for (std::vector<double>& latencies : run.latencies) {
        threads.emplace_back([&] { AskOn(context, run, latencies); });
    }
    threads.emplace_back([&] { ChangeAndCount(context, run); });
    WaitWithProgress(run, options.seconds);
    const std::chrono::duration<double> took = Clock::now() - start;
    for (std::thread& thread : threads) {
        thread.join();
    }
    PrintResults(run, context.HubEndpoint()->Name(), took.count(), context.json);
    return run.failures == 0 ? Exit::kDone
                             : Fail({client::ErrorCode::NoConnection,
                                     "a connection was lost while it was measured"});
}

}  // namespace

void AddBench(CommandLine& line) {
    const auto options = std::make_shared<BenchOptions>();
    line.Add({.name = "bench",
              .summary = "put load on the hub and measure it",
              .group = CommandGroup::kByHand,
              .examples = "  vantry bench --connections 1 --seconds 2\n"
                          "Each connection reads the firmware version again and again over the\n"
                          "link that --device or --tcp chooses. One more changes a property 100\n"
                          "times a second and counts what the hub publishes of it. A printer that\n"
                          "prints meanwhile is slowed down.\n"},
             [options](const Context& context) { return RunBench(context, *options); })
        .Count("--connections", options->connections, 1, 1000, "how many ask at once")
        .Number("--seconds", options->seconds, 0.1, 86400, "for how long");
}

}  // namespace vantry::cli
