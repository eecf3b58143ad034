// Programs as child processes.
//
// A child gets pipes as its standard streams; what it writes is read by the test until its end,
// errors on a thread of their own, so that neither stream can fill its pipe and block the child.
// Every child is ended by the kernel if the test dies first.

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
#include <thread>
#include <utility>

namespace vantry::test {
namespace {

struct Pipe {
    Pipe() { EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0); }
    ~Pipe() {
        close(ends[0]);
        CloseWriting();
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    void CloseWriting() {
        if (ends[1] >= 0) {
            close(ends[1]);
            ends[1] = -1;
        }
    }
    std::string ReadAll() const {
        std::string text;
        std::array<char, 4096> buffer;
        for (ssize_t count = 0; (count = read(ends[0], buffer.data(), buffer.size())) > 0;) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        }
        return text;
    }
    std::string ReadLine() const {
        std::string line;
        for (char byte = 0; read(ends[0], &byte, 1) == 1 && byte != '\n';) {
            line.push_back(byte);
        }
        return line;
    }
    std::array<int, 2> ends{-1, -1};
};

/// Starts a program with these descriptors as its standard streams; -1 leaves one as it is. Returns
/// its process id, or -1. The program may have at most so many descriptors, unless `descriptors` is
/// 0.
pid_t Spawn(const std::string& program, const std::vector<std::string>& arguments, int input,
            int output, int errors, rlim_t descriptors = 0) {
    std::vector<char*> pointers{const_cast<char*>(program.c_str())};
    for (const std::string& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    const pid_t id = fork();
    if (id == 0) {
        // The program ends with the test, also if the test is killed.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        const std::array streams = {input, output, errors};
        for (int number = 0; number < 3; ++number) {
            if (streams[static_cast<std::size_t>(number)] >= 0) {
                dup2(streams[static_cast<std::size_t>(number)], number);
            }
        }
        if (descriptors != 0) {
            const rlimit limit{descriptors, descriptors};
            setrlimit(RLIMIT_NOFILE, &limit);
        }
        execv(program.c_str(), pointers.data());
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

ProcessResult RunProgram(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& input) {
    Pipe given;
    Pipe output;
    Pipe errors;
    const pid_t id = Spawn(program, arguments, given.ends[0], output.ends[1], errors.ends[1]);
    output.CloseWriting();
    errors.CloseWriting();
    EXPECT_EQ(write(given.ends[1], input.data(), input.size()), static_cast<ssize_t>(input.size()));
    given.CloseWriting();
    ProcessResult result{};
    std::thread reading([&] { result.errors = errors.ReadAll(); });
    result.output = output.ReadAll();
    reading.join();
    result.exitStatus = ExitStatusOf(id);
    return result;
}

ProcessResult RunVantryd(const std::vector<std::string>& arguments) {
    return RunProgram(VANTRYD_PATH, arguments);
}

BackgroundProgram::BackgroundProgram(const std::string& program,
                                     const std::vector<std::string>& arguments) {
    const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
    id = Spawn(program, arguments, nowhere, nowhere, -1);
    close(nowhere);
}

BackgroundProgram::~BackgroundProgram() {
    if (id > 0) {
        kill(id, SIGKILL);
        ExitStatusOf(id);
    }
}

int BackgroundProgram::Interrupt() {
    kill(id, SIGINT);
    return ExitStatusOf(std::exchange(id, -1));
}

VantrydProcess::VantrydProcess(const std::filesystem::path& base,
                               const std::vector<std::string>& more, std::size_t descriptors)
    : root(base / "root"), devices(base / "devices"), errors(base / "errors") {
    std::vector<std::string> arguments{"--root", root.string(), "--devices", devices.string(),
                                       "--bind", "127.0.0.1",   "--port",    "0"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    std::filesystem::create_directories(base);
    const int errorFile = open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC,
                               S_IRUSR | S_IWUSR);
    Pipe output;
    id = Spawn(VANTRYD_PATH, arguments, -1, output.ends[1], errorFile, descriptors);
    close(errorFile);
    output.CloseWriting();
    readyLine = output.ReadLine();
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
