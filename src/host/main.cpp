// The program vantryd.
//
// The main thread prepares and starts the hub and then waits for a signal that ends the program. It
// blocks those signals before any other thread exists, so all threads inherit that and only its own
// sigwait receives them. Everything else runs on the hub's threads and the host's.

#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <time.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include "host/hub_host.h"
#include "host/options.h"
#include "host/service_reporter.h"
#include "runtime/service_notify.h"

namespace {

constexpr int kExitFailed = 1;

std::unique_ptr<vantry::HubHost> host;

/// Blocks the signals that end the program, and returns their set for sigwait. A write to a peer
/// that has disconnected, or to a file that may not grow, is made an error of the call instead of a
/// signal that ends the program.
sigset_t ArrangeSignals() {
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
    sigset_t ending;
    sigemptyset(&ending);
    sigaddset(&ending, SIGTERM);
    sigaddset(&ending, SIGINT);
    sigaddset(&ending, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    return ending;
}

void AllowAllDescriptors() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

/// Bounds the freed memory that the allocator keeps for each thread, which otherwise grows with the
/// longest text that was ever freed. Where the address space is limited, also keeps it from
/// reserving much of that for each of many threads.
void ArrangeMemory() {
#if defined(__GLIBC__)
    // Longer pieces go back at once. The frame of an answer with everything is shorter.
    constexpr int kMappedBytes = 1 << 20;
    mallopt(M_MMAP_THRESHOLD, kMappedBytes);
    mallopt(M_TRIM_THRESHOLD, 2 * kMappedBytes);
    rlimit limit{};
    if (getrlimit(RLIMIT_AS, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY) {
        mallopt(M_ARENA_MAX, 1);
    }
#endif
}

/// Blocks until a signal ends the program, and reports to the service manager meanwhile.
void ReportUntilSignal(const sigset_t& ending) {
    const std::uint16_t port = host->ThePlatform().tcp.boundPort;
    vantry::ServiceReporter reporter(
        host->ThePlatform().status, port == 0 ? "no TCP port" : "TCP port " + std::to_string(port));
    const std::uint32_t interval = reporter.IntervalMilliseconds();
    if (interval == 0) {
        int received = 0;
        sigwait(&ending, &received);
        return;
    }
    const timespec wait{interval / 1'000, static_cast<long>(interval % 1'000) * 1'000'000};
    do {
        if (const std::string message = reporter.NextMessage(); !message.empty()) {
            vantry::NotifyServiceManager(message);
        }
    } while (sigtimedwait(&ending, nullptr, &wait) < 0);
}

int Run(const vantry::Options& options) {
    const sigset_t ending = ArrangeSignals();
    host = std::make_unique<vantry::HubHost>(options);
    std::string error;
    if (!host->Prepare(error)) {
        std::fprintf(stderr, "vantryd: %s\n", error.c_str());
        return kExitFailed;
    }
    host->Start();
    std::printf("%s\n", host->ReadyLine().c_str());
    std::fflush(stdout);
    vantry::NotifyServiceManager("READY=1");
    ReportUntilSignal(ending);
    vantry::NotifyServiceManager("STOPPING=1");
    host->Stop();
    return 0;
}

}  // namespace

vantry::Platform* VantryPlatform() { return &host->ThePlatform(); }

int main(int argc, char** argv) {
    // This is first, because the bounds depend on the number of descriptors.
    AllowAllDescriptors();
    ArrangeMemory();
    int exitStatus = 0;
    const std::optional<vantry::Options> options = vantry::ParseOptions(argc, argv, exitStatus);
    return options ? Run(*options) : exitStatus;
}
