#pragma once

#include <string>

#include "mqtt/broker_address.h"
#include "mqtt/tls_files.h"
#include "runtime/result.h"

namespace CLI {
class App;
}  // namespace CLI

namespace vantry::mqtt {

/// The options of a command line that say how to reach the broker: --broker, --protocol, --ca,
/// --cert, --key and --plain-text. Used by the main thread.
class BrokerOptions {
public:
    /// Adds the options. This object must live until the arguments are parsed. The help says of
    /// --cert and --key what is given here.
    void AddTo(CLI::App& app, const std::string& certificate, const std::string& key);

    // The following operations are called after the arguments have been parsed.

    /// Returns the broker. Returns Refused if the address can't be read, or if the connection would
    /// be unencrypted or can't be encrypted, see CheckEncryption.
    Result<BrokerAddress> Broker() const;
    const TlsFiles& Files() const { return files; }
    /// Returns whether to speak version 5 of MQTT, and not 3.1.1.
    bool IsVersion5() const { return protocol == "5"; }

private:
    std::string address;
    TlsFiles files;
    std::string protocol = "5";
    bool plainText = false;
};

}  // namespace vantry::mqtt
