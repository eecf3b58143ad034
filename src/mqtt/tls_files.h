#pragma once

#include <string>

#include "mqtt/broker_address.h"
#include "runtime/result.h"

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

/// Returns Refused, with what is wrong, unless the files fit the broker and a broker on another
/// machine is reached encrypted or `allowsPlainText` is given. Thread-safe.
Outcome CheckEncryption(const BrokerAddress& broker, const TlsFiles& files, bool allowsPlainText);

}  // namespace vantry::mqtt
