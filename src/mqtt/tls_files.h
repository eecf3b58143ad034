#pragma once

#include <string>

namespace vantry::mqtt {

/// The files of an encrypted connection, in PEM. Without `ca` the authorities of the system are
/// trusted. Without `certificate` and `key` the client has no certificate.
struct TlsFiles {
    /// Returns a text that differs when one of the files has been replaced or written. Blocks for
    /// the look-up of the files.
    std::string Stamp() const;

    std::string ca = {};
    std::string certificate = {};
    std::string key = {};
};

}  // namespace vantry::mqtt
