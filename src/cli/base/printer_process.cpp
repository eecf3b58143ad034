// A forked process runs the command and writes to two pipes instead of its own output. A process
// and not a thread, because a command uses stdio and signals as if it were alone in its program.
// The kernel ends the process when its parent ends; the check of the parent's id covers the case
// that the parent ended before that was arranged. The program must not have other threads when it
// starts one, because the child would have their locks and not the threads.

#include "cli/base/printer_process.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <utility>

namespace vantry::cli {
namespace {

[[noreturn]] void BeChild(pid_t parent, int output, int errors, const Context& context,
                          const std::function<int(const Context&)>& run) {
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) {
        _exit(Exit::kRefused);
    }
    int status = Exit::kRefused;
    try {
        status = run(context);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vantry: %s\n", error.what());
    }
    std::fflush(stdout);
    _exit(status);
}

}  // namespace

PrinterProcess::PrinterProcess(Context context, const std::function<int(const Context&)>& run)
    : printer(context.printer) {
    std::array<int, 2> forOutput{-1, -1};
    std::array<int, 2> forErrors{-1, -1};
    std::fflush(stdout);
    const pid_t parent = getpid();
    if (pipe2(forOutput.data(), O_CLOEXEC) == 0 && pipe2(forErrors.data(), O_CLOEXEC) == 0) {
        child = fork();
    }
    if (child == 0) {
        BeChild(parent, forOutput[1], forErrors[1], context, run);
    }
    if (child < 0) {
        errors.text = std::string("vantry: can't start a process: ") + std::strerror(errno) + "\n";
    }
    output.descriptor = forOutput[0];
    errors.descriptor = forErrors[0];
    for (const int descriptor : {forOutput[1], forErrors[1]}) {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
}

PrinterProcess::~PrinterProcess() {
    for (const Output* each : {&output, &errors}) {
        if (each->descriptor >= 0) {
            close(each->descriptor);
        }
    }
    if (child > 0) {
        End();
        Wait();
    }
}

void PrinterProcess::End() {
    if (child > 0) {
        kill(child, SIGTERM);
    }
}

void PrinterProcess::Output::Read() {
    std::array<char, 65536> bytes{};
    const ssize_t count = read(descriptor, bytes.data(), bytes.size());
    if (count > 0) {
        text.append(bytes.data(), static_cast<std::size_t>(count));
    } else if (count == 0 || errno != EINTR) {
        close(descriptor);
        descriptor = -1;
    }
}

bool PrinterProcess::Output::TakeLine(std::string& line) {
    const std::size_t end = text.find('\n');
    if (end == std::string::npos && (descriptor >= 0 || text.empty())) {
        return false;
    }
    line = text.substr(0, end);
    text.erase(0, end == std::string::npos ? end : end + 1);
    return true;
}

int PrinterProcess::Wait() {
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    const bool hasExited = std::exchange(child, -1) > 0 && WIFEXITED(status);
    return hasExited ? WEXITSTATUS(status) : Exit::kRefused;
}

}  // namespace vantry::cli
