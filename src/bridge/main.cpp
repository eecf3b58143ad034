// The program `vantry-bridge`. Signals arrive as reads of a descriptor in the same loop that serves
// the broker and the hubs, so that nothing of the bridge runs in a signal handler or needs a lock
// against one.

#include <signal.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cstdio>

#include "bridge/bridge.h"
#include "bridge/loop.h"
#include "bridge/options.h"
#include "bridge/retire.h"
#include "runtime/service_notify.h"

namespace {

constexpr int kExitFailed = 1;

/// Blocks the signals that end the program, for all threads, and returns a descriptor that is
/// readable when one has arrived.
int TakeSignals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) {
        sigaddset(&signals, number);
    }
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    signal(SIGPIPE, SIG_IGN);
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

/// Each printer needs four descriptors, and one program may serve many.
void AllowAllDescriptors() {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
        limit.rlim_cur = limit.rlim_max;
        setrlimit(RLIMIT_NOFILE, &limit);
    }
}

int Fail(const vantry::Error& error) {
    std::fprintf(stderr, "vantry-bridge: %s\n", error.text.c_str());
    return kExitFailed;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace vantry::bridge;
    int exitStatus = 0;
    const std::optional<Options> options = ParseOptions(argc, argv, exitStatus);
    if (!options) {
        return exitStatus;
    }
    const int signals = TakeSignals();
    AllowAllDescriptors();
    if (options->retire) {
        const vantry::Outcome retired = Retire(*options);
        return retired ? 0 : Fail(retired.error());
    }
    const auto loaded =
        vantry::describe::Descriptions::Load(vantry::describe::Descriptions::StandardFolders());
    for (const std::string& problem : loaded.problems) {
        std::fprintf(stderr, "vantry-bridge: %s\n", problem.c_str());
    }
    Loop loop;
    Bridge bridge(loop, *options, loaded.descriptions);
    if (const vantry::Outcome started = bridge.Start(); !started) {
        return Fail(started.error());
    }
    loop.Watch(signals, false, [&](bool, bool) {
        signalfd_siginfo arrived{};
        static_cast<void>(!read(signals, &arrived, sizeof arrived));
        if (arrived.ssi_signo == SIGHUP) {
            bridge.LookAround();
        } else {
            loop.Stop();
        }
    });
    vantry::NotifyServiceManager("READY=1");
    loop.Run();
    vantry::NotifyServiceManager("STOPPING=1");
    return 0;
}
