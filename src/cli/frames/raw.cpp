// `vantry raw`, `record` and `replay`: frames by hand.
//
// Each text is sent in a frame as it is, and each text that arrives is printed as it is; nothing
// checks that it is JSON. One thread receives while the main thread sends, because the hub also
// sends without being asked. When everything is sent, the program waits until nothing has come for
// a second, since nobody can know whether a message will be answered. A recording is a file of JSON
// lines.

#include <fmt/core.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstring>
#include <fstream>
#include <iostream>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>

#include "cli/base/command_line.h"
#include "cli/base/files.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"
#include "cli/frames/raw_socket.h"

namespace vantry::cli {
namespace {

using Clock = std::chrono::steady_clock;

/// How long answers are awaited after the last line.
constexpr std::uint32_t kLingerMilliseconds = 1000;

/// Writes a line for each message, with its time in seconds and its direction, to a file, or does
/// nothing if it has none. Keep is thread-safe.
class Recorder {
public:
    /// Makes the file. Returns Refused if that fails, or if the file exists and `replace` is false.
    client::Outcome Open(const std::string& name, bool replace) {
        if (!replace && access(name.c_str(), F_OK) == 0) {
            return client::Error{client::ErrorCode::Refused, name + " exists; --force replaces it"};
        }
        file.open(name);
        return file ? client::Outcome(client::Done()) : client::Outcome(FileError(name));
    }

    void Keep(char direction, const std::string& text) {
        if (!file.is_open()) {
            return;
        }
        const std::chrono::duration<double> elapsed = Clock::now() - start;
        const std::lock_guard guard(mutex);
        file << fmt::format("{{\"time\":{:.3f},\"direction\":\"{}\",\"text\":{}}}\n",
                            elapsed.count(), direction, JsonString(text))
             << std::flush;
    }

private:
    const Clock::time_point start = Clock::now();
    std::mutex mutex;  // Keeps the lines of the two threads apart.
    std::ofstream file;
};

/// How far a conversation has come.
struct Progress {
    std::atomic<std::size_t> sent{0};
    std::atomic<bool> allSent{false};
    /// True when the hub has ended the connection.
    std::atomic<bool> ended{false};
};

/// Prints and records what arrives until the connection ends, which it tells at once, or, when
/// everything is sent, nothing has arrived for a while.
void PrintAnswers(RawSocket& socket, Recorder& recorder, Progress& progress) {
    std::size_t answers = 0;
    for (;;) {
        const RawSocket::Received received = socket.Receive(kLingerMilliseconds);
        if (received.ended) {
            progress.ended = true;
            fmt::print(stderr, "vantry: the hub ended the connection after {} and {}\n",
                       Counted(progress.sent, "line"), Counted(answers, "answer"));
            return;
        }
        if (Interrupted() || (!received.text && progress.allSent)) {
            return;
        }
        if (received.text) {
            ++answers;
            recorder.Keep('<', *received.text);
            fmt::print("{}\n", Printable(*received.text));
            std::fflush(stdout);
        }
    }
}

struct RecordedMessage {
    double time;
    std::string text;
};

/// Returns the messages that were sent in a recorded conversation.
client::Result<std::vector<RecordedMessage>> ReadSent(const std::string& name) {
    std::ifstream file(name);
    if (!file) {
        return client::Error{client::ErrorCode::Refused, name + ": " + std::strerror(errno)};
    }
    std::vector<RecordedMessage> sent;
    int number = 0;
    for (std::string line; std::getline(file, line);) {
        ++number;
        const auto entry = nlohmann::json::parse(line, nullptr, false);
        if (!entry.is_object() || !entry.contains("time") || !entry["time"].is_number() ||
            !entry.contains("text") || !entry["text"].is_string() || !entry.contains("direction") ||
            !entry["direction"].is_string()) {
            return client::Error{client::ErrorCode::Refused,
                                 fmt::format("{}: line {} is no recorded message", name, number)};
        }
        if (entry["direction"] == ">") {
            sent.push_back({entry["time"], entry["text"]});
        }
    }
    return sent;
}

/// Connects, calls `sendAll` with a function that sends one text and returns false when there is no
/// connection any more, and prints the answers.
template <typename SendAll>
int Converse(const Context& context, Recorder& recorder, const SendAll& sendAll) {
    const auto endpoint = context.HubEndpoint();
    if (!endpoint) {
        return Fail(endpoint.error());
    }
    auto socket = RawSocket::Connect(*endpoint, context.TimeoutMilliseconds());
    if (!socket) {
        return Fail(WithNextStep(*endpoint, socket.error()));
    }
    Progress progress;
    std::thread printing([&] { PrintAnswers(**socket, recorder, progress); });
    sendAll([&](const std::string& text) {
        recorder.Keep('>', text);
        ++progress.sent;
        return !progress.ended && (*socket)->Send(text);
    });
    progress.allSent = true;
    printing.join();
    return progress.ended ? Exit::kNoConnection : Exit::kDone;
}

int ConverseByHand(const Context& context, Recorder& recorder) {
    return Converse(context, recorder, [](const auto& send) {
        for (std::string line; std::getline(std::cin, line);) {
            if (!line.empty() && !send(line)) {
                return;
            }
        }
    });
}

int RunRecord(const Context& context, const std::string& file, bool force) {
    Recorder recorder;
    if (const client::Outcome opened = recorder.Open(file, force); !opened) {
        return Fail(opened.error());
    }
    return ConverseByHand(context, recorder);
}

int RunReplay(const Context& context, const std::string& file, bool fast) {
    const auto sent = ReadSent(file);
    if (!sent) {
        return Fail(sent.error());
    }
    Recorder nothing;
    return Converse(context, nothing, [&](const auto& send) {
        const Clock::time_point start = Clock::now();
        for (const RecordedMessage& message : *sent) {
            if (!fast) {
                std::this_thread::sleep_until(start +
                                              std::chrono::duration_cast<Clock::duration>(
                                                  std::chrono::duration<double>(message.time)));
            }
            if (!send(message.text)) {
                return;
            }
        }
    });
}

}  // namespace

void AddRaw(CommandLine& line) {
    line.Add({.name = "raw",
              .summary = "send each line of standard input as a frame, print answers",
              .group = CommandGroup::kByHand},
             [](const Context& context) {
                 Recorder nothing;
                 return ConverseByHand(context, nothing);
             });
}

void AddRecord(CommandLine& line) {
    const auto file = std::make_shared<std::string>();
    const auto force = std::make_shared<bool>(false);
    line.Add({.name = "record",
              .summary = "as raw, and keep the conversation",
              .group = CommandGroup::kByHand},
             [file, force](const Context& context) { return RunRecord(context, *file, *force); })
        .Text("file", *file, "where to keep it", CommandOptions::Need::kRequired)
        .Flag("--force", *force, "replace a file that exists");
}

void AddReplay(CommandLine& line) {
    const auto file = std::make_shared<std::string>();
    const auto fast = std::make_shared<bool>(false);
    line.Add({.name = "replay",
              .summary = "send a recorded conversation again",
              .group = CommandGroup::kByHand},
             [file, fast](const Context& context) { return RunReplay(context, *file, *fast); })
        .Text("file", *file, "the recording", CommandOptions::Need::kRequired)
        .Flag("--fast", *fast, "without its pauses");
}

}  // namespace vantry::cli
