#pragma once

#include <string>
#include <vector>

#include "cli/context.h"

namespace vantry::cli {

// The commands. Each returns the exit status of the program.

struct ListOptions {
    std::string component;
    std::string group;
    std::string name;
    /// One name a line, as the other commands take them: for shell completion.
    bool namesOnly = false;
};
int RunList(const Context& context, const ListOptions& options);

int RunGet(const Context& context, const std::vector<std::string>& names);
int RunSet(const Context& context, const std::string& name, const std::string& value, bool noWait);

struct WatchOptions {
    std::vector<std::string> names;
    bool live = false;
    /// Ends after so many changes; 0 is never.
    int count = 0;
};
int RunWatch(const Context& context, const WatchOptions& options);

int RunAnnounce(const Context& context, const std::string& file);
/// Also keeps the conversation in `recordFile`, if that isn't empty.
int RunRaw(const Context& context, const std::string& recordFile);
int RunReplay(const Context& context, const std::string& file, bool fast);

struct BenchOptions {
    int connections = 4;
    double seconds = 5;
};
int RunBench(const Context& context, const BenchOptions& options);

int RunStatus(const Context& context, const std::string& root);

}  // namespace vantry::cli
