// What all commands share: where the hub is, how it is reached, and how errors become exit
// statuses.

#include "cli/base/context.h"

#include <fmt/core.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <utility>

#include "cli/base/named_printers.h"
#include "runtime/default_paths.h"

namespace vantry::cli {

std::string DefaultDevice() {
    if (const std::string device = Environment("VANTRY_DEVICE"); !device.empty()) {
        return device;
    }
    return DefaultDevices(DefaultRoot()) / "PRN1";
}

client::Result<client::Endpoint> Context::HubEndpoint() const {
    if (!tcp.empty()) {
        return client::Endpoint::ParseTcp(tcp);
    }
    if (!device.empty() || (printer.empty() && !Environment("VANTRY_DEVICE").empty())) {
        return client::Endpoint::Device(device.empty() ? DefaultDevice() : device);
    }
    const auto printers = NamedPrinters::Read();
    if (!printers) {
        return printers.error();
    }
    const std::string ofEnvironment = Environment("VANTRY_CONTEXT");
    const std::string& name = !printer.empty()         ? printer
                              : !ofEnvironment.empty() ? ofEnvironment
                                                       : printers->InUse();
    if (name.empty()) {
        return client::Endpoint::Device(DefaultDevice());
    }
    const auto named = printers->Find(name);
    return named ? named->HubEndpoint() : named.error();
}

std::string Context::OutsideLink() const {
    const auto endpoint = HubEndpoint();
    if (!endpoint) {
        return "";
    }
    const std::string name = std::filesystem::path(endpoint->path).filename();
    return endpoint->path.empty() ? "TCP" : name == "UMF1" || name == "BTD0" ? name : "";
}

client::Outcome Context::MayWrite() const {
    const std::string link = OutsideLink();
    if (link.empty()) {
        return client::Done();
    }
    return client::Error{client::ErrorCode::Refused,
                         "the hub takes no writes over " + link + "; use its local device " +
                             (link == "TCP" ? "(--device)" : "(PRN1 beside it)")};
}

client::Result<std::unique_ptr<client::Hub>> Context::Connect(client::Hub::Options options) const {
    const client::Result<client::Endpoint> endpoint = HubEndpoint();
    if (!endpoint) {
        return endpoint.error();
    }
    options.deadlineMilliseconds = TimeoutMilliseconds();
    options.onSilence = [](const client::Error& silence) {
        std::fprintf(stderr, "vantry: %s\n", silence.text.c_str());
    };
    auto hub = client::Hub::Connect(*endpoint, options);
    if (!hub) {
        return WithNextStep(*endpoint, hub.error());
    }
    return hub;
}

client::Result<Snapshot> Context::ConnectAndReadAll(client::Hub::Options options) const {
    auto hub = Connect(std::move(options));
    if (!hub) {
        return hub.error();
    }
    auto all = (*hub)->ReadAll();
    if (!all) {
        return all.error();
    }
    client::Owners owners;
    for (const client::Property& property : *all) {
        owners.Take(property);
    }
    std::erase_if(*all, [](const client::Property& property) {
        return client::Owners::IsHeartbeat(property.id);
    });
    return Snapshot{std::move(*hub), std::move(*all), std::move(owners)};
}

std::uint32_t Context::TimeoutMilliseconds() const {
    return static_cast<std::uint32_t>(timeoutSeconds * 1000);
}

bool Context::Fancy() const {
    return !noColor && Environment("NO_COLOR").empty() && isatty(STDOUT_FILENO) == 1;
}

client::Error WithNextStep(const client::Endpoint& endpoint, const client::Error& error) {
    if (error.code != client::ErrorCode::NoConnection &&
        error.code != client::ErrorCode::TimedOut) {
        return error;
    }
    const std::string& path = endpoint.path;
    const char* next =
        error.code == client::ErrorCode::TimedOut ? "; is it a property hub? " : "; ";
    if (struct stat found{}; !path.empty() && stat(path.c_str(), &found) == 0) {
        if (S_ISDIR(found.st_mode)) {
            return {error.code, path + " is a folder; did you mean " + path + "/PRN1?"};
        }
        if (!S_ISSOCK(found.st_mode)) {
            return {error.code, path + " is a file and not the socket of a hub"};
        }
    } else if (!path.empty() && errno == ENOENT) {
        next = "; is vantryd running? ";
    }
    if (!path.empty() && access(path.c_str(), W_OK) != 0 && errno == EACCES) {
        next = "; join the group vantry, or use sudo; ";
    }
    return {error.code, error.text + next + "\"vantry doctor\" finds out why"};
}

int FailUsage(const std::string& text) {
    fmt::print(stderr, "vantry: {}\n", text);
    return Exit::kUsage;
}

int Fail(const client::Error& error) {
    fmt::print(stderr, "vantry: {}\n", error.text);
    switch (error.code) {
        case client::ErrorCode::NoConnection:
            return Exit::kNoConnection;
        case client::ErrorCode::TimedOut:
            return Exit::kTimedOut;
        default:
            return Exit::kRefused;
    }
}

}  // namespace vantry::cli
