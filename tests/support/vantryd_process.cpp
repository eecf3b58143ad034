// A vantryd as a child process. The kernel ends it if the test dies first.

#include "support/vantryd_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <iostream>
#include <iterator>

namespace vantry::test {
namespace {

/// Starts vantryd with these descriptors as its output streams. Returns its process id, or -1. It
/// may have at most so many descriptors, unless `descriptors` is 0.
pid_t Spawn(const std::vector<std::string>& arguments, int output, int errors, rlim_t descriptors) {
    std::vector<char*> pointers{const_cast<char*>(VANTRYD_PATH)};
    for (const std::string& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    const pid_t id = fork();
    if (id == 0) {
        // The program ends with the test, also if the test is killed.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        dup2(output, STDOUT_FILENO);
        dup2(errors, STDERR_FILENO);
        if (descriptors != 0) {
            const rlimit limit{descriptors, descriptors};
            setrlimit(RLIMIT_NOFILE, &limit);
        }
        execv(VANTRYD_PATH, pointers.data());
        _exit(127);
    }
    return id;
}

int ExitStatusOf(pid_t id) {
    int status = 0;
    waitpid(id, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

VantrydProcess::VantrydProcess(const std::filesystem::path& base,
                               const std::vector<std::string>& more, std::size_t descriptors,
                               int standardError)
    : root(base / "root"), devices(base / "devices"), errors(base / "errors") {
    std::vector<std::string> arguments{"--root", root.string(), "--devices", devices.string(),
                                       "--bind", "127.0.0.1",   "--port",    "0"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    std::filesystem::create_directories(base);
    const int errorFile = open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC,
                               S_IRUSR | S_IWUSR);
    std::array<int, 2> output{};
    EXPECT_EQ(pipe2(output.data(), O_CLOEXEC), 0);
    id = Spawn(arguments, output[1], standardError < 0 ? errorFile : standardError, descriptors);
    close(errorFile);
    close(output[1]);
    for (char byte = 0; read(output[0], &byte, 1) == 1 && byte != '\n';) {
        readyLine.push_back(byte);
    }
    close(output[0]);
    const std::string prefix = "ready port=";
    if (readyLine.starts_with(prefix) && readyLine.compare(prefix.size(), 4, "none") != 0) {
        port = static_cast<std::uint16_t>(std::stoul(readyLine.substr(prefix.size())));
    }
}

VantrydProcess::~VantrydProcess() {
    Kill();
    std::cerr << Errors();
}

void VantrydProcess::Signal(int number) const {
    kill(id, number);
    if (number == SIGSTOP) {
        waitpid(id, nullptr, WUNTRACED);
    }
}

int VantrydProcess::Wait() {
    const pid_t ended = id;
    id = -1;
    return ExitStatusOf(ended);
}

void VantrydProcess::Kill() {
    if (id > 0) {
        Signal(SIGKILL);
        Wait();
    }
}

std::size_t VantrydProcess::Count(const std::string& what) const {
    std::error_code error;
    const std::filesystem::path directory = "/proc/" + std::to_string(id) + "/" + what;
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(directory, error), {}));
}

std::size_t VantrydProcess::KibibytesOf(const std::string& name) const {
    std::ifstream status("/proc/" + std::to_string(id) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name + ":")) {
            return std::stoul(line.substr(name.size() + 1));
        }
    }
    return 0;
}

}  // namespace vantry::test
