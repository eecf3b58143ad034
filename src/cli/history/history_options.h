#pragma once

#include <filesystem>
#include <functional>
#include <string>

#include "cli/base/command_line.h"
#include "client/result.h"
#include "history/history.h"

namespace vantry::cli {

/// The options that the commands about a history share.
struct HistoryOptions {
    std::string file;
    std::string since;
    std::string until;

    /// Returns the file of the option, or the default one.
    std::filesystem::path File() const;
    /// Returns the span of time of the options, which ends now by default. Returns Refused if one
    /// of them can't be read.
    client::Result<history::Span> Span() const;

    /// Opens the history and runs the function with it and the span of time of the options. Returns
    /// the exit status of the function, or that of what went wrong, which is printed.
    int Read(const std::function<int(history::History&, history::Span)>& function) const;

    static void AddFile(CommandOptions& command, HistoryOptions& into);
    static void AddSpan(CommandOptions& command, HistoryOptions& into);
};

}  // namespace vantry::cli
