#include "mqtt/broker_options.h"

#include <CLI/CLI.hpp>

namespace vantry::mqtt {

void BrokerOptions::AddTo(CLI::App& app, const std::string& certificate, const std::string& key) {
    app.add_option("--broker", address, "the broker")
        ->type_name("mqtt[s]://HOST[:PORT]")
        ->required();
    app.add_option("--protocol", protocol, "the version of MQTT: 5 or 3.1.1")
        ->check(CLI::IsMember({"5", "3.1.1"}))
        ->capture_default_str();
    app.add_option("--ca", files.ca, "the authorities that the broker's certificate is of")
        ->type_name("FILE");
    app.add_option("--cert", files.certificate, certificate)->type_name("FILE");
    app.add_option("--key", files.key, key)->type_name("FILE");
    app.add_flag("--plain-text", plainText,
                 "allow a connection to another machine without encryption");
}

Result<BrokerAddress> BrokerOptions::Broker() const {
    const Result<BrokerAddress> broker = BrokerAddress::Parse(address);
    if (!broker) {
        return Error{broker.error().code, "--broker: " + broker.error().text};
    }
    if (const Outcome safe = CheckEncryption(*broker, files, plainText); !safe) {
        return safe.error();
    }
    return broker;
}

}  // namespace vantry::mqtt
