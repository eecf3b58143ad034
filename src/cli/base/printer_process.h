#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

#include "cli/base/context.h"

namespace vantry::cli {

/// A child process that runs a command on one printer, and the pipes from its two outputs. The
/// child ends when this program does. Only one thread may use it.
class PrinterProcess {
public:
    /// Starts the child. It runs the command with the context and ends with its exit status. If the
    /// system can't start it, it counts as one that has ended with an error.
    PrinterProcess(Context context, const std::function<int(const Context&)>& run);
    ~PrinterProcess();
    PrinterProcess(const PrinterProcess&) = delete;
    PrinterProcess& operator=(const PrinterProcess&) = delete;

    /// One of the outputs of the child.
    struct Output {
        /// The descriptor of the pipe, or -1 when the child has closed it.
        int descriptor = -1;
        /// What was read and not taken yet.
        std::string text = {};

        /// Reads once what has come. Blocks if nothing has.
        void Read();
        /// Moves the next line, without its line feed, into `line`. Returns false if there is no
        /// whole line; at the end of the output the rest is a line.
        bool TakeLine(std::string& line);
    };

    const std::string& Printer() const { return printer; }
    /// Asks the child to end.
    void End();
    /// Blocks until the child has ended, and returns its exit status.
    int Wait();

    Output output;
    Output errors;

private:
    const std::string printer;
    pid_t child = -1;
};

}  // namespace vantry::cli
