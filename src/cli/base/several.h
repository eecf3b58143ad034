#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/base/context.h"

namespace vantry::cli {

/// What of a command's output is shown when it runs on several printers.
struct SeveralOutput {
    struct Column {
        std::string title;
        /// A JSON pointer into the objects that the command prints with --json, such as "/value".
        std::string member;
    };

    /// The command prints an object or an array of them; each is a row with these columns.
    static SeveralOutput Rows(std::vector<Column> columns) { return {std::move(columns), false}; }
    /// The command prints lines until it ends; each is printed when it comes.
    static SeveralOutput Lines() { return {{}, false}; }

    std::vector<Column> columns;
    /// Prints the rows as CSV.
    bool csv = false;
};

/// Runs a command on all printers that `context.several` names, at the same time, and prints what
/// they show as one table, or as lines that begin with the name of the printer. What went wrong at
/// a printer is a row too. Returns the greatest of the exit statuses. Blocks until all have ended.
///
/// The process must have one thread: each printer is served by a child process.
int RunOnSeveral(const Context& context, const SeveralOutput& output,
                 const std::function<int(const Context&)>& run);

}  // namespace vantry::cli
