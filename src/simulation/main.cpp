// simulate: runs seeds, repeats one, and makes failing ones smaller.
//
// Each seed runs in a process of its own that is forked from this one before anything was
// allocated for it, and addresses aren't randomised, so that a seed does the same each time. A seed
// has one or more lives: after a power cut or a kill the next life is forked with the disk that the
// last one left. A process that crashes or runs too long is a failure like a report.

#include <signal.h>
#include <sys/mman.h>
#include <sys/personality.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>
#include <string>
#include <string_view>

#include "simulation/past_seeds.h"
#include "simulation/races.h"
#include "simulation/world.h"

namespace vantry::simulation {
namespace {

constexpr std::uint32_t kMostLives = 6;
constexpr unsigned kMostSeconds = 120;

struct Options {
    RunSettings run;
    std::uint64_t seeds = 0;
    std::uint64_t seconds = 0;
    bool one = false;
    bool hasFrom = false;
    bool shrink = false;
    bool keepGoing = false;
};

/// What many seeds took.
struct Effort {
    std::uint64_t seeds = 0;
    std::uint64_t failed = 0;
    std::uint64_t nanoseconds = 0;
    std::uint64_t points = 0;

    void Print(double seconds) const {
        std::printf("%llu seeds, %llu failed, %.1f s, %.1f h simulated, %.0f million points\n",
                    static_cast<unsigned long long>(seeds), static_cast<unsigned long long>(failed),
                    seconds, static_cast<double>(nanoseconds) / 3.6e12,
                    static_cast<double>(points) / 1e6);
        std::fflush(stdout);
    }
};

constexpr double kSecondsBetweenLines = 60;

constexpr char kUsage[] =
    "simulate [--seeds N | --seconds N] [--from SEED] [--keep-going]\n"
    "simulate --seed S [--peers N] [--messages N] [--switches N] [--trace] [--shrink]\n"
    "simulate --past\n";

/// Reports a crash as any failure. A crash of the report itself ends the process.
void ReportCrashes() {
    struct sigaction action {};
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    action.sa_handler = [](int signal) {
        const OutsideHub here;
        Scheduler::Current().Fail(std::string("the hub crashes: ") + strsignal(signal));
    };
    for (const int signal : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE}) {
        sigaction(signal, &action, nullptr);
    }
}

/// Runs one life in a process of its own. Returns whether it ended well.
bool RunLife(const RunSettings& settings, Legacy& legacy) {
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        alarm(kMostSeconds);
        ReportCrashes();
        if (settings.brief) {
            static_cast<void>(!freopen("/dev/null", "w", stdout));
        }
        legacy.another = false;
        World world(settings, legacy);
        world.scheduler.Run([&] { PlayLife(world); });
        world.NoteEnd();
        std::fflush(stdout);
        _Exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) {
        std::printf("FAILED: seed %llu: the process ended by signal %d (%s)\n",
                    static_cast<unsigned long long>(settings.seed), WTERMSIG(status),
                    strsignal(WTERMSIG(status)));
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

/// Runs a seed. Returns whether it ended well, and adds what it took, if `taken` is given.
bool RunSeed(const RunSettings& settings, Effort* taken = nullptr) {
    static Legacy* const legacy = static_cast<Legacy*>(
        mmap(nullptr, sizeof(Legacy), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    new (legacy) Legacy;
    for (std::uint32_t life = 0; life < kMostLives; ++life) {
        legacy->life = life;
        if (!RunLife(settings, *legacy)) {
            return false;
        }
        if (!legacy->another) {
            break;
        }
    }
    if (taken != nullptr) {
        taken->nanoseconds += legacy->nanoseconds;
        taken->points += legacy->points;
    }
    return true;
}

/// Lowers one bound of a failing run as long as the run still fails.
void Lower(RunSettings& settings, std::uint32_t RunSettings::*bound, const char* name) {
    std::uint32_t good = 0;
    while (settings.*bound - good > 1) {
        RunSettings smaller = settings;
        smaller.*bound = good + (settings.*bound - good) / 2;
        if (RunSeed(smaller)) {
            good = smaller.*bound;
        } else {
            settings = smaller;
        }
    }
    std::printf("%s %u\n", name, settings.*bound);
}

int Shrink(RunSettings settings) {
    settings.brief = true;
    settings.trace = false;
    if (RunSeed(settings)) {
        std::printf("seed %llu doesn't fail\n", static_cast<unsigned long long>(settings.seed));
        return 0;
    }
    Lower(settings, &RunSettings::peers, "peers");
    Lower(settings, &RunSettings::messages, "messages");
    Lower(settings, &RunSettings::switches, "switches");
    settings.brief = false;
    RunSeed(settings);
    return 1;
}

int RunMany(Options options) {
    if (!options.hasFrom) {
        // New seeds each time.
        options.run.seed = static_cast<std::uint64_t>(time(nullptr)) * 1'000;
    }
    std::printf("from seed %llu\n", static_cast<unsigned long long>(options.run.seed));
    const auto start = std::chrono::steady_clock::now();
    const auto seconds = [&] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    Effort effort;
    double printed = 0;
    RunSettings settings = options.run;
    while (options.seconds != 0 ? seconds() < static_cast<double>(options.seconds)
                                : effort.seeds < options.seeds) {
        ++effort.seeds;
        if (!RunSeed(settings, &effort)) {
            ++effort.failed;
            std::printf("seed %llu failed, the %llu. of this run\n",
                        static_cast<unsigned long long>(settings.seed),
                        static_cast<unsigned long long>(effort.seeds));
            if (!options.keepGoing) {
                break;
            }
        }
        ++settings.seed;
        if (seconds() - printed > kSecondsBetweenLines) {
            printed = seconds();
            effort.Print(printed);
        }
    }
    effort.Print(seconds());
    return effort.failed == 0 ? 0 : 1;
}

int RunPast() {
    for (const std::uint64_t seed : kPastSeeds) {
        RunSettings settings;
        settings.seed = seed;
        if (!RunSeed(settings)) {
            return 1;
        }
    }
    std::printf("%zu past seeds\n", std::size(kPastSeeds));
    return 0;
}

int Main(int count, char** words) {
    Options options;
    bool past = false;
    for (int place = 1; place < count; ++place) {
        const std::string_view word = words[place];
        const std::uint64_t number =
            place + 1 < count ? std::strtoull(words[place + 1], nullptr, 10) : 0;
        const auto takesNumber = [&](std::string_view name, auto& target) {
            if (word != name || place + 1 == count) {
                return false;
            }
            target = static_cast<std::remove_reference_t<decltype(target)>>(number);
            ++place;
            return true;
        };
        if (takesNumber("--seed", options.run.seed)) {
            options.one = true;
        } else if (takesNumber("--from", options.run.seed)) {
            options.hasFrom = true;
        } else if (word == "--trace") {
            options.run.trace = true;
        } else if (word == "--shrink") {
            options.shrink = true;
        } else if (word == "--past") {
            past = true;
        } else if (word == "--keep-going") {
            options.keepGoing = true;
        } else if (!takesNumber("--seeds", options.seeds) &&
                   !takesNumber("--seconds", options.seconds) &&
                   !takesNumber("--peers", options.run.peers) &&
                   !takesNumber("--messages", options.run.messages) &&
                   !takesNumber("--switches", options.run.switches)) {
            std::fputs(kUsage, stderr);
            return 2;
        }
    }
    if (past) {
        return RunPast();
    }
    if (options.shrink) {
        return Shrink(options.run);
    }
    if (options.one) {
        return RunSeed(options.run) ? 0 : 1;
    }
    return RunMany(options);
}

/// Starts the program again without random addresses, once.
void StopRandomAddresses(char** words) {
    const int old = personality(0xFFFFFFFF);
    if (old >= 0 && (old & ADDR_NO_RANDOMIZE) == 0 &&
        personality(static_cast<unsigned long>(old) | ADDR_NO_RANDOMIZE) >= 0) {
        execv("/proc/self/exe", words);
    }
}

}  // namespace
}  // namespace vantry::simulation

int main(int count, char** words) {
    vantry::simulation::StopRandomAddresses(words);
    return vantry::simulation::Main(count, words);
}
