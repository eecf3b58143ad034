#include <signal.h>

#include <cstdio>
#include <memory>
#include <optional>

#include "gateway/gateway.h"
#include "gateway/options.h"
#include "program/arguments.h"
#include "runtime/service_notify.h"

namespace {

constexpr int kExitFailed = 1;

}  // namespace

int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);
    int exitStatus = 0;
    const auto options = vantry::gateway::ParseOptions(argc, argv, exitStatus);
    if (!options) {
        return exitStatus;
    }
    vantry::gateway::Gateway gateway(*options);
    if (const auto started = gateway.Start(); !started) {
        std::fprintf(stderr, "vantry-gateway: %s\n", started.error().text.c_str());
        const bool isOption = started.error().code == vantry::ErrorCode::Refused;
        return isOption ? vantry::kExitUsage : kExitFailed;
    }
    std::printf("ready %s\n", gateway.Url().c_str());
    std::fflush(stdout);
    vantry::NotifyServiceManager("READY=1");
    gateway.Run();
    return 0;
}
