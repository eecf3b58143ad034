#include "support/vantryd_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <iterator>
#include <thread>

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

/// Starts vantryd with its output, and its errors if asked for, going to pipes.
pid_t Spawn(const std::vector<std::string>& arguments, const Pipe& output, const Pipe* errors) {
    std::vector<char*> pointers{const_cast<char*>(VANTRYD_PATH)};
    for (const std::string& argument : arguments) {
        pointers.push_back(const_cast<char*>(argument.c_str()));
    }
    pointers.push_back(nullptr);
    const pid_t id = fork();
    if (id == 0) {
        dup2(output.ends[1], STDOUT_FILENO);
        if (errors != nullptr) {
            dup2(errors->ends[1], STDERR_FILENO);
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

ProcessResult RunVantryd(const std::vector<std::string>& arguments) {
    Pipe output;
    Pipe errors;
    const pid_t id = Spawn(arguments, output, &errors);
    output.CloseWriting();
    errors.CloseWriting();
    ProcessResult result{};
    result.output = output.ReadAll();
    result.errors = errors.ReadAll();
    result.exitStatus = ExitStatusOf(id);
    return result;
}

VantrydProcess::VantrydProcess(const std::filesystem::path& base,
                               const std::vector<std::string>& more)
    : root(base / "root"), devices(base / "devices") {
    std::vector<std::string> arguments{"--root", root.string(), "--devices", devices.string(),
                                       "--bind", "127.0.0.1",   "--port",    "0"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    Pipe output;
    id = Spawn(arguments, output, nullptr);
    output.CloseWriting();
    readyLine = output.ReadLine();
    const std::string prefix = "ready port=";
    if (readyLine.starts_with(prefix) && readyLine.compare(prefix.size(), 4, "none") != 0) {
        port = static_cast<std::uint16_t>(std::stoul(readyLine.substr(prefix.size())));
    }
}

VantrydProcess::~VantrydProcess() { Kill(); }

void VantrydProcess::Signal(int number) const { kill(id, number); }

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

}  // namespace vantry::test
