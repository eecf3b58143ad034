#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "client/hub.h"

namespace vantry::cli {

/// How the program ends.
struct Exit {
    static constexpr int kDone = 0;
    static constexpr int kRefused = 1;
    static constexpr int kUsage = 2;
    static constexpr int kNoConnection = 3;
    static constexpr int kTimedOut = 4;
};

/// A connection, and everything that can be seen over it.
struct Snapshot {
    std::unique_ptr<client::Hub> hub;
    std::vector<client::Property> properties;
};

/// What the options say that all commands share.
struct Context {
    std::string tcp;
    std::string device;
    double timeoutSeconds = 5;
    bool json = false;
    bool noColor = false;

    client::Result<client::Endpoint> HubEndpoint() const;
    client::Result<std::unique_ptr<client::Hub>> Connect() const;
    client::Result<Snapshot> ConnectAndReadAll() const;
    std::uint32_t TimeoutMilliseconds() const;
    /// Whether standard output is a terminal that may get colours and pictures.
    bool Fancy() const;
};

/// The path of the local device where vantryd makes it unless it is told otherwise.
std::string DefaultDevice();
/// The directory that stands for the printer's file system, likewise.
std::string DefaultRoot();

/// Tells of the error on standard error; the exit status that goes with it.
int Fail(const client::Error& error);

}  // namespace vantry::cli
