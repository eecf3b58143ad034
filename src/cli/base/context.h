#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "client/hub.h"
#include "client/owners.h"

namespace vantry::cli {

/// The exit statuses of the program.
struct Exit {
    static constexpr int kDone = 0;
    static constexpr int kRefused = 1;
    static constexpr int kUsage = 2;
    static constexpr int kNoConnection = 3;
    static constexpr int kTimedOut = 4;
};

/// A connection, and all properties that the hub showed over it when it was made, except for the
/// heartbeats, which `owners` has learned from.
struct Snapshot {
    std::unique_ptr<client::Hub> hub;
    std::vector<client::Property> properties;
    client::Owners owners;
};

/// The options that all commands share, and what follows from them. Only the main thread changes
/// them.
struct Context {
    std::string tcp;
    std::string device;
    /// The name of a printer, see NamedPrinters.
    std::string printer;
    /// The names of several printers, separated by commas, or "all"; empty for one printer. When a
    /// command runs on several, `printer` has the one of this process, see RunOnSeveral.
    std::string several;
    double timeoutSeconds = 5;
    bool json = false;
    bool noColor = false;

    /// Returns the endpoint of the hub: that of an option, or else of $VANTRY_DEVICE, of the
    /// printer named by $VANTRY_CONTEXT, of the one in use (see NamedPrinters), or the local
    /// device. Returns an error if the option or name can't be resolved.
    client::Result<client::Endpoint> HubEndpoint() const;
    /// Returns the link if the hub is reached as clients outside the printer reach it, where it
    /// shows less and takes no writes: "TCP", "UMF1" or "BTD0". Empty for its local device.
    std::string OutsideLink() const;
    /// Returns the error of a write over such a link, of which the hub says nothing itself.
    client::Outcome MayWrite() const;
    /// Connects to the hub. Blocks up to the time-out, which replaces the deadline of the options.
    client::Result<std::unique_ptr<client::Hub>> Connect(client::Hub::Options options = {}) const;
    /// Connects to the hub and reads all properties. Blocks up to the time-out for each of the two.
    client::Result<Snapshot> ConnectAndReadAll(client::Hub::Options options = {}) const;
    /// Returns the time-out in the unit of the client library.
    std::uint32_t TimeoutMilliseconds() const;
    /// Returns whether standard output is a terminal on which colours and plots are wanted.
    bool Fancy() const;
};

/// Returns the socket of the local device: $VANTRY_DEVICE, or where vantryd makes it by default.
std::string DefaultDevice();

/// Returns the error of an attempt to reach a hub, with what to do next.
client::Error WithNextStep(const client::Endpoint& endpoint, const client::Error& error);

/// Prints the error to standard error. Returns the exit status that belongs to it.
int Fail(const client::Error& error);
/// Prints what is wrong with the arguments to standard error. Returns Exit::kUsage.
int FailUsage(const std::string& text);

}  // namespace vantry::cli
