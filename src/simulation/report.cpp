// The report of a failed run: how to repeat it, and for each thread what it waits for and the calls
// that led there. The addresses become names by one call of addr2line, and without that program the
// report has the addresses only.

#include "simulation/report.h"

#include <unistd.h>

#include <cstdio>
#include <map>
#include <string>

namespace vantry::simulation {
namespace {

using Names = std::map<const void*, std::string>;

/// Returns the line that addr2line has for each address, if the program is installed.
Names NamesOf(const std::vector<const void*>& addresses) {
    std::string command = "addr2line -Cfps -e /proc/" + std::to_string(getpid()) + "/exe";
    for (const void* const address : addresses) {
        // The place of the call stands before the address that it returns to.
        char text[32];
        std::snprintf(text, sizeof text, " %#lx", reinterpret_cast<unsigned long>(address) - 1);
        command += text;
    }
    Names names;
    FILE* const pipe = popen((command + " 2>/dev/null").c_str(), "r");
    char line[1024];
    for (const void* const address : addresses) {
        if (pipe == nullptr || std::fgets(line, sizeof line, pipe) == nullptr) {
            break;
        }
        names[address] = line;
    }
    if (pipe != nullptr) {
        pclose(pipe);
    }
    return names;
}

/// Functions of the simulation and of the standard library are of no use to a reader.
bool IsWorthShowing(const std::string& name) {
    return name.find("vantry::") != std::string::npos &&
           name.find("vantry::simulation::Scheduler") != 0 && name.find("std::") != 0;
}

}  // namespace

std::string CodeAt(const void* address) {
    const Names names = NamesOf({address});
    return names.empty() ? "?\n" : names.begin()->second;
}

void WriteReport(std::string_view reason, const RunSettings& settings, std::uint64_t now,
                 const std::vector<std::unique_ptr<SimulatedThread>>& threads) {
    std::printf("FAILED after %.3f s: %.*s\n", static_cast<double>(now) / 1e9 - 1,
                static_cast<int>(reason.size()), reason.data());
    std::printf("repeat: simulate --seed %llu --peers %u --messages %u --switches %u --trace\n",
                static_cast<unsigned long long>(settings.seed), settings.peers, settings.messages,
                settings.switches);
    if (settings.brief) {
        return;
    }
    std::vector<const void*> addresses;
    for (const std::unique_ptr<SimulatedThread>& thread : threads) {
        addresses.insert(addresses.end(), thread->calls.begin(), thread->calls.end());
    }
    const Names names = NamesOf(addresses);
    for (const std::unique_ptr<SimulatedThread>& thread : threads) {
        if (thread->state == SimulatedThread::State::Ended) {
            continue;
        }
        std::printf("  %s %s\n", thread->name.c_str(),
                    thread->state == SimulatedThread::State::CanRun
                        ? "can run"
                        : ("waits for " + thread->waitsFor).c_str());
        int shown = 0;
        for (void* const call : thread->calls) {
            const auto name = names.find(call);
            if (name != names.end() && IsWorthShowing(name->second) && shown++ < 8) {
                std::printf("      %s", name->second.c_str());
            }
        }
    }
}

}  // namespace vantry::simulation
