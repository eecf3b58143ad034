#include "host/options.h"

#include <arpa/inet.h>
#include <getopt.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>

#include "platform/platform.h"

namespace vantry {
namespace {

enum Letter : int { kRoot = 'r', kDevices = 'd', kPort = 'p', kBind = 'b', kBluetooth = 'B' };
constexpr int kVersion = 'v';
constexpr int kHelp = 'h';

constexpr option kLongOptions[] = {{"root", required_argument, nullptr, kRoot},
                                   {"devices", required_argument, nullptr, kDevices},
                                   {"port", required_argument, nullptr, kPort},
                                   {"bind", required_argument, nullptr, kBind},
                                   {"bluetooth", no_argument, nullptr, kBluetooth},
                                   {"version", no_argument, nullptr, kVersion},
                                   {"help", no_argument, nullptr, kHelp},
                                   {nullptr, 0, nullptr, 0}};

std::filesystem::path DefaultDevices(const std::filesystem::path& root) {
    if (geteuid() == 0) {
        return "/run/vantry";
    }
    const char* const runtime = std::getenv("XDG_RUNTIME_DIR");
    if (runtime != nullptr && *runtime != '\0') {
        return std::filesystem::path(runtime) / "vantry";
    }
    return root / "devices";
}

bool ParsePort(std::string_view text, Options& options) {
    std::uint16_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    options.port = number;
    return result.ec == std::errc{} && result.ptr == text.data() + text.size();
}

bool ParseAddress(const char* text, Options& options) {
    in_addr address{};
    const bool good = inet_pton(AF_INET, text, &address) == 1;
    options.address = ntohl(address.s_addr);
    return good;
}

/// False, with the reason, if the option's argument is wrong.
bool Take(int letter, const char* argument, Options& options, std::string& error) {
    const auto check = [&](bool good, std::string_view what) {
        if (!good) {
            error = std::string(what) + ": '" + argument + "'";
        }
        return good;
    };
    switch (letter) {
        case kRoot:
            options.root = argument;
            return check(*argument != '\0', "--root takes a directory");
        case kDevices:
            options.devices = argument;
            return check(*argument != '\0', "--devices takes a directory");
        case kPort:
            return check(ParsePort(argument, options), "--port takes a number from 0 to 65535");
        case kBind:
            return check(ParseAddress(argument, options), "--bind takes an IPv4 address");
        case kBluetooth:
            options.bluetooth = true;
            return true;
        case kVersion:
            options.action = Options::Action::ShowVersion;
            return true;
        default:
            options.action = Options::Action::ShowHelp;
            return true;
    }
}

}  // namespace

std::optional<Options> ParseOptions(int argc, char** argv, std::string& error) {
    Options options;
    opterr = 0;
    optind = 1;
    for (;;) {
        const int letter = getopt_long(argc, argv, ":", kLongOptions, nullptr);
        if (letter == -1) {
            break;
        }
        if (letter == '?' || letter == ':') {
            error = std::string(letter == '?' ? "unknown option: '" : "missing argument: '") +
                    argv[optind - 1] + "'";
            return std::nullopt;
        }
        if (!Take(letter, optarg, options, error)) {
            return std::nullopt;
        }
    }
    if (optind < argc) {
        error = std::string("unknown argument: '") + argv[optind] + "'";
        return std::nullopt;
    }
    if (options.root.empty()) {
        options.root = Platform::DefaultRoot();
    }
    if (options.devices.empty()) {
        options.devices = DefaultDevices(options.root);
    }
    return options;
}

std::string_view UsageText() {
    return "usage: vantryd [--root DIR] [--devices DIR] [--port N] [--bind ADDRESS]\n"
           "               [--bluetooth] [--version] [--help]\n"
           "\n"
           "Runs the property hub and serves its devices until SIGTERM or SIGINT.\n"
           "\n"
           "  --root DIR      directory that stands for the printer's file system\n"
           "                  (/var/lib/vantry as root, else ~/.local/state/vantry)\n"
           "  --devices DIR   directory of the device sockets PRN1, UMF1 and BTD0\n"
           "                  (/run/vantry as root, else $XDG_RUNTIME_DIR/vantry)\n"
           "  --port N        TCP port; 0 takes a free one, 65534 opens none (9102)\n"
           "  --bind ADDRESS  IPv4 address to listen on (all interfaces)\n"
           "  --bluetooth     listen on the machine's RFCOMM channel 2 as well\n";
}

}  // namespace vantry
