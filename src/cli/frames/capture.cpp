// `vantry capture`: what programs and the hub say, in a file for a packet analyser.
//
// Sockets of the local device can't be sniffed, so programs connect to a relay instead. Each
// connection is an interface of the file, and each frame a packet.

#include <fmt/core.h>
#include <unistd.h>

#include <filesystem>

#include "cli/base/command_line.h"
#include "cli/base/json.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"
#include "cli/frames/pcapng.h"
#include "cli/frames/relay.h"

namespace vantry::cli {
namespace {

struct CaptureOptions {
    std::string file;
    std::string listen;
    bool force = false;
};

/// What was captured so far.
struct Captured {
    std::uint64_t frames = 0;
    std::uint64_t bytes = 0;
    std::uint32_t connections = 0;
    /// Why the file can't be written any longer; empty if it can.
    std::string problem;

    /// Returns whether the file was written; keeps the problem if not.
    bool Keep(const client::Outcome& written) {
        if (!written) {
            problem = written.error().text;
        }
        return static_cast<bool>(written);
    }
    std::string Text() const {
        return fmt::format("{} frames, {} of {} connections", frames, SizeText(bytes), connections);
    }
};

void PrintProgress(const Captured& captured) {
    if (isatty(STDERR_FILENO) == 1) {
        fmt::print(stderr, "\r{}\x1b[K", captured.Text());
    }
}

/// Returns a relay that writes what it passes on to the file and counts it. It must not outlive
/// them.
Relay RelayInto(PcapngFile& file, Captured& captured, const client::Endpoint& hub) {
    return Relay(
        hub, PcapngFile::kMostBytes,
        [&](std::uint32_t number, const std::string& program) {
            ++captured.connections;
            return captured.Keep(
                file.AddInterface(fmt::format("connection {}, {}", number + 1, program)));
        },
        [&](std::uint32_t number, bool toHub, std::string_view kept, std::uint64_t length) {
            ++captured.frames;
            captured.bytes += length;
            return captured.Keep(file.AddPacket(
                number, toHub ? PcapngFile::Direction::Inbound : PcapngFile::Direction::Outbound,
                std::chrono::system_clock::now(), kept, length));
        });
}

int PrintResult(const Context& context, const std::string& file, const Captured& captured) {
    if (!captured.problem.empty()) {
        return Fail({client::ErrorCode::Refused, captured.problem});
    }
    if (context.json) {
        fmt::print("{}\n", OneLine({{"file", file},
                                    {"frames", captured.frames},
                                    {"bytes", captured.bytes},
                                    {"connections", captured.connections}}));
    } else {
        fmt::print("{}: {}\n", file, captured.Text());
    }
    return Exit::kDone;
}

int RunCapture(const Context& context, CaptureOptions options) {
    const auto endpoint = context.HubEndpoint();
    if (!endpoint) {
        return Fail(endpoint.error());
    }
    if (options.listen.empty()) {
        options.listen = options.file + ".sock";
    }
    Captured captured;
    PcapngFile file;
    Relay relay = RelayInto(file, captured, *endpoint);
    if (const client::Outcome good = relay.Listen(options.listen); !good) {
        return Fail(good.error());
    }
    if (const client::Outcome good = file.Create(options.file, options.force); !good) {
        return Fail(good.error());
    }
    CatchInterrupts();
    fmt::print(stderr,
               "vantry: programs connect to {} in place of {}, with VANTRY_DEVICE for example; "
               "Ctrl-C ends\n",
               std::filesystem::absolute(options.listen).string(), endpoint->Name());
    relay.Run([&] { PrintProgress(captured); });
    PrintProgress(captured);
    if (isatty(STDERR_FILENO) == 1) {
        fmt::print(stderr, "\n");
    }
    return PrintResult(context, options.file, captured);
}

}  // namespace

void AddCapture(CommandLine& line) {
    const auto options = std::make_shared<CaptureOptions>();
    line.Add({.name = "capture",
              .summary = "keep what programs and the hub say, for a packet analyser",
              .group = CommandGroup::kByHand,
              .examples = "  vantry capture talk.pcapng --listen /tmp/tapped\n"
                          "  VANTRY_DEVICE=/tmp/tapped vantry get \"Print Speed\"\n"
                          "  tshark -r talk.pcapng\n"},
             [options](const Context& context) { return RunCapture(context, *options); })
        .Text("file", options->file, "where to keep it, as pcapng", CommandOptions::Need::kRequired)
        .Text("--listen", options->listen, "socket for the programs (default: FILE.sock)")
        .Flag("--force", options->force, "replace a file that exists");
}

}  // namespace vantry::cli
