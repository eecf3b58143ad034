#include "bridge/identity.h"

#include <utility>

namespace vantry::bridge {
namespace {

std::string WithSerial(std::string name, const std::string& serial) {
    const std::size_t place = name.find("%s");
    return place == std::string::npos ? name : name.replace(place, 2, serial);
}

}  // namespace

std::unique_ptr<Style> MakeStyle(const Options& options, const PrinterEntry& entry) {
    // The hub takes no writes over TCP.
    const bool writes = !options.allowWrite.empty() && !entry.hub.path.empty();
    switch (options.style) {
        case StyleName::kHomeAssistant:
            return StyleOf::HomeAssistant(options.site, entry.serial, writes);
        case StyleName::kSparkplug:
            return StyleOf::Sparkplug(options.site, entry.serial, writes, options.primaryHost);
        default:
            return StyleOf::Plain(options.site, entry.serial, writes);
    }
}

mqtt::Connection::Settings ConnectionFor(const Options& options, const std::string& serial) {
    mqtt::Connection::Settings settings;
    settings.broker = options.broker;
    settings.tls = {options.tls.ca, WithSerial(options.tls.certificate, serial),
                    WithSerial(options.tls.key, serial)};
    settings.clientId = serial;
    settings.keepAliveSeconds = options.keepAliveSeconds;
    settings.isVersion5 = options.isVersion5;
    return settings;
}

}  // namespace vantry::bridge
