// The command line of vantry-gateway.
//
// What is dangerous needs a decision: an address that other machines reach needs tokens, and writes
// need the local device. What is merely unwise causes a warning on standard error.

#include "gateway/options.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <utility>

#include "program/arguments.h"
#include "runtime/default_paths.h"

namespace vantry::gateway {
namespace {

/// The texts of the options.
struct Typed {
    std::string device;
    std::string tcp;
    std::string listen = "127.0.0.1:9180";
    std::string tokenFile;
    std::string certificate;
    std::string key;
    std::vector<std::string> allowWrite;
    std::vector<std::string> hosts;
    std::string history;
};

void AddOptions(CLI::App& app, Typed& typed) {
    app.get_formatter()->label("Usage", "usage");
    CLI::Option* const tcp =
        app.add_option("--tcp", typed.tcp, "reach the hub over TCP, where it shows eight groups")
            ->type_name("HOST[:PORT]");
    app.add_option("--device", typed.device,
                   "socket of the hub's local device (the one of this machine if it can be opened, "
                   "else TCP)")
        ->type_name("PATH")
        ->excludes(tcp);
    app.add_option("--listen", typed.listen, "where to serve; port 0 takes a free one")
        ->type_name("ADDRESS:PORT")
        ->capture_default_str();
    app.add_option("--token-file", typed.tokenFile, "tokens, one of which each request must have")
        ->type_name("FILE");
    CLI::Option* const key =
        app.add_option("--tls-key", typed.key, "private key for TLS (PEM)")->type_name("FILE");
    CLI::Option* const certificate =
        app.add_option("--tls-cert", typed.certificate, "certificates for TLS (PEM)")
            ->type_name("FILE")
            ->needs(key);
    key->needs(certificate);
    app.add_option("--allow-write", typed.allowWrite,
                   "properties that may be written; * also matches slashes (repeatable)")
        ->type_name("GLOB")
        ->allow_extra_args(false)
        ->excludes(tcp);
    app.add_option("--host", typed.hosts, "a further name of this machine (repeatable)")
        ->type_name("NAME")
        ->allow_extra_args(false);
    app.add_option("--history", typed.history, "file in which the hub's changes are recorded")
        ->type_name("FILE");
    app.set_version_flag("--version", "vantry-gateway " VANTRY_VERSION);
}

/// Returns the bytes of an address, or nothing if the text is none.
bool IsAddress(const std::string& text) {
    std::array<char, sizeof(in6_addr)> bytes{};
    return inet_pton(AF_INET, text.c_str(), bytes.data()) == 1 ||
           inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1;
}

bool IsLoopback(const std::string& address) {
    return address.starts_with("127.") || address == "::1";
}

void ReadListen(const std::string& text, Server::Settings& server) {
    const std::size_t colon = text.rfind(':');
    std::string address = text.substr(0, colon);
    const bool hasBrackets = address.starts_with('[') && address.ends_with(']');
    if (hasBrackets) {
        address = address.substr(1, address.size() - 2);
    }
    const char* const end = text.data() + text.size();
    const char* const digits = colon == std::string::npos ? end : text.data() + colon + 1;
    const auto read = std::from_chars(digits, end, server.port);
    const bool isVersion6 = address.find(':') != std::string::npos;
    if (digits == end || read.ec != std::errc{} || read.ptr != end || !IsAddress(address) ||
        isVersion6 != hasBrackets) {
        RefuseArguments("--listen takes ADDRESS:PORT, such as 127.0.0.1:9180 or [::1]:9180: '" +
                        text + "'");
    }
    server.address = std::move(address);
}

/// Returns the socket of the hub of this machine.
std::string UsualDevice() { return DefaultDevices(DefaultRoot()) / "PRN1"; }

std::vector<client::Endpoint> HubOf(const Typed& typed) {
    if (!typed.tcp.empty()) {
        const auto endpoint = client::Endpoint::ParseTcp(typed.tcp);
        if (!endpoint) {
            RefuseArguments("--tcp: " + endpoint.error().text);
        }
        return {*endpoint};
    }
    const std::string named = typed.device.empty() ? Environment("VANTRY_DEVICE") : typed.device;
    if (!named.empty()) {
        return {client::Endpoint::Device(named)};
    }
    const client::Endpoint device = client::Endpoint::Device(UsualDevice());
    const bool isForbidden = access(device.path.c_str(), W_OK) != 0 && errno == EACCES;
    if (!typed.allowWrite.empty()) {
        if (isForbidden) {
            RefuseArguments("--allow-write needs the local device, and " + device.path +
                            " can't be opened: permission denied");
        }
        return {device};
    }
    const client::Endpoint tcp = client::Endpoint::Tcp("127.0.0.1");
    return isForbidden ? std::vector{tcp} : std::vector{device, tcp};
}

Options OptionsFrom(const Typed& typed) {
    Options options;
    ReadListen(typed.listen, options.server);
    options.hub = HubOf(typed);
    if (!typed.tokenFile.empty()) {
        auto tokens = Tokens::Load(typed.tokenFile);
        if (!tokens) {
            RefuseArguments("--token-file: " + tokens.error().text);
        }
        options.tokens = std::move(*tokens);
        options.tokenFile = typed.tokenFile;
    }
    if (!IsLoopback(options.server.address) && !options.tokens.AreNeeded()) {
        RefuseArguments("other machines reach " + options.server.address +
                        ", so it needs a --token-file");
    }
    options.server.certificate = typed.certificate;
    options.server.key = typed.key;
    options.names = {typed.hosts.begin(), typed.hosts.end()};
    options.history = typed.history.empty() ? DefaultHistory().string() : typed.history;
    options.allowWrite = typed.allowWrite;
    return options;
}

/// Prints a warning about what is allowed but unwise.
void Warn(const Options& options) {
    const bool isLocal = IsLoopback(options.server.address);
    if (!isLocal && options.server.certificate.empty()) {
        std::fprintf(stderr,
                     "vantry-gateway: without --tls-cert, tokens and values cross the network "
                     "unencrypted\n");
    }
    if (!options.tokens.AreNeeded()) {
        std::fprintf(stderr,
                     "vantry-gateway: without --token-file, every account of this machine may "
                     "read%s\n",
                     options.allowWrite.empty() ? "" : " and write what --allow-write names");
    }
}

}  // namespace

std::optional<Options> ParseOptions(int argc, char** argv, int& exitStatus) {
    CLI::App app{"Shows the properties of a hub to browsers and monitoring systems.",
                 "vantry-gateway"};
    Typed typed;
    AddOptions(app, typed);
    Options options;
    if (const auto ended = ParseArguments(
            app, argc, argv, [&] { options = OptionsFrom(typed); }, app.help())) {
        exitStatus = *ended;
        return std::nullopt;
    }
    Warn(options);
    return options;
}

}  // namespace vantry::gateway
