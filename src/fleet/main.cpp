#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>

#include "cli/base/context.h"
#include "fleet/collect.h"
#include "fleet/options.h"
#include "fleet/show.h"

namespace {

int StatusOf(vantry::ErrorCode code) {
    using vantry::cli::Exit;
    switch (code) {
        case vantry::ErrorCode::TimedOut:
            return Exit::kTimedOut;
        case vantry::ErrorCode::NoConnection:
            return Exit::kNoConnection;
        default:
            return Exit::kRefused;
    }
}

std::int64_t NowSince1970() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

}  // namespace

int main(int argc, char** argv) {
    using namespace vantry::fleet;
    int exitStatus = 0;
    const std::optional<Options> options = ParseOptions(argc, argv, exitStatus);
    if (!options) {
        return exitStatus;
    }
    signal(SIGPIPE, SIG_IGN);
    const vantry::Result<Roster> roster = Collect(*options);
    if (!roster) {
        std::fprintf(stderr, "vantry-fleet: %s\n", roster.error().text.c_str());
        return StatusOf(roster.error().code);
    }
    if (roster->Unreadable() != 0) {
        std::fprintf(stderr, "vantry-fleet: %zu messages can't be read\n", roster->Unreadable());
    }
    const std::int64_t now = NowSince1970();
    std::vector<Printer> printers = roster->All();
    std::erase_if(printers, [&](const Printer& one) { return !options->selection.Fits(one, now); });
    if (options->oldestFirst) {
        std::stable_sort(
            printers.begin(), printers.end(),
            [](const Printer& one, const Printer& other) { return one.news < other.news; });
    }
    const bool coloured = isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr;
    const std::string text = Show(printers, *options, now, coloured);
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() ||
        std::fflush(stdout) != 0) {
        return vantry::cli::Exit::kRefused;
    }
    return printers.empty() ? vantry::cli::Exit::kRefused : vantry::cli::Exit::kDone;
}
