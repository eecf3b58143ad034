#pragma once

#include <string>
#include <vector>

#include "cli/context.h"

namespace vantry::cli {

// The commands of vantry, one function each. Each prints its result to standard output and its
// errors to standard error, blocks until it is done, and returns the exit status of the program,
// see Exit. Only the main thread calls them.

struct ListOptions {
    // Patterns, see MatchesPattern. An empty one matches everything.
    std::string component;
    std::string group;
    std::string name;
    /// Prints one name a line, in the form that the other commands accept. Shell completion uses
    /// it.
    bool namesOnly = false;
};
int RunList(const Context& context, const ListOptions& options);

int RunGet(const Context& context, const std::vector<std::string>& names);
/// Sets a property and, unless `noWait`, blocks until its new value is seen or the time-out passes.
int RunSet(const Context& context, const std::string& name, const std::string& value, bool noWait);

struct WatchOptions {
    std::vector<std::string> names;
    bool live = false;
    /// The number of changes after which the command ends; 0 means never.
    int count = 0;
};
int RunWatch(const Context& context, const WatchOptions& options);

/// Plays the component that the file describes until the program is interrupted; see ReadScript.
int RunAnnounce(const Context& context, const std::string& file);
/// Sends each line of standard input as a frame and prints each answer. Records the conversation in
/// `recordFile` if that isn't empty.
int RunRaw(const Context& context, const std::string& recordFile);
/// Sends the recorded messages again, at their times or, if `fast`, without pauses.
int RunReplay(const Context& context, const std::string& file, bool fast);

struct BenchOptions {
    int connections = 4;
    double seconds = 5;
};
int RunBench(const Context& context, const BenchOptions& options);

/// Prints what a client can see of the hub, and the end of its log below `root` (empty: the
/// default).
int RunStatus(const Context& context, const std::string& root);

}  // namespace vantry::cli
