// The convention by which Home Assistant finds devices: one retained document describes the printer
// and its properties, and templates in it pick each value out of a retained document of all values.
// The health of the plain style says whether the printer is available.
//
// All values are sent at each change. So the style is for a workshop and not for a fleet. There is
// no place for values of the past.

#include <algorithm>
#include <cctype>
#include <map>
#include <set>

#include "bridge/plain_documents.h"

namespace vantry::bridge {
namespace {

using Json = nlohmann::ordered_json;

/// Returns the text as one that identifies an entity.
std::string Identifier(const std::string& text) {
    std::string identifier;
    for (const char byte : text) {
        identifier += std::isalnum(static_cast<unsigned char>(byte)) != 0
                          ? static_cast<char>(std::tolower(static_cast<unsigned char>(byte)))
                          : '_';
    }
    return identifier;
}

/// Returns the text between quotes, as the language of the templates reads it.
std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char byte : text) {
        quoted += byte == '\'' || byte == '\\' ? std::string{'\\', byte} : std::string{byte};
    }
    return quoted + "'";
}

const char* DeviceClass(const std::string& unit) {
    static const std::map<std::string, const char*> kClasses = {
        {"°C", "temperature"}, {"°F", "temperature"}, {"ms", "duration"}, {"s", "duration"},
        {"V", "voltage"},      {"mV", "voltage"},     {"A", "current"},   {"mA", "current"},
        {"W", "power"},        {"Hz", "frequency"}};
    const auto found = kClasses.find(unit);
    return found == kClasses.end() ? nullptr : found->second;
}

class HomeAssistantStyle final : public Style {
public:
    HomeAssistantStyle(const std::string& site, const std::string& itsSerial, bool writes)
        : serial(itsSerial), prefix(PlainPrefix(site, itsSerial)), acceptsWrites(writes) {}

    mqtt::Message Will(const Health& health) override {
        return Retain(prefix + "health", OfflineDocument(health));
    }

    std::vector<mqtt::Message> Birth(const Inventory& all, const Health& health) override {
        std::vector<mqtt::Message> messages = HealthUpdate(all, health);
        if (!all.All().empty()) {
            messages.push_back(Retain(Config(), ConfigOf(all)));
            messages.push_back(ValuesOf(all));
        }
        return messages;
    }

    std::vector<mqtt::Message> State(const Inventory& all, const Health& /*health*/) override {
        return {ValuesOf(all)};
    }

    std::vector<mqtt::Message> HealthUpdate(const Inventory& /*all*/,
                                            const Health& health) override {
        return {Retain(prefix + "health", OnlineDocument(health))};
    }

    std::vector<mqtt::Message> Changes(const Inventory& all, const Batch& /*batch*/,
                                       bool historical) override {
        return historical ? std::vector<mqtt::Message>() : std::vector{ValuesOf(all)};
    }

    std::vector<mqtt::Message> Death(const Health& health) override { return {Will(health)}; }

    std::vector<std::string> Filters() const override {
        std::vector<std::string> filters = {kStatus};
        if (acceptsWrites) {
            filters.push_back(Command());
        }
        return filters;
    }

    std::vector<Request> Read(const Inventory& all, const mqtt::Message& message) override {
        if (message.topic == kStatus && message.payload == "online") {
            return {Request{Request::Kind::Rebirth}};
        }
        if (acceptsWrites && message.topic == Command()) {
            return {ReadWrite(all, message, prefix + "answer")};
        }
        return {};
    }

    std::vector<std::string> Retained() const override {
        return {Config(), prefix + "values", prefix + "health"};
    }

    bool KeepsHistory() const override { return false; }

    bool NeedsBirth(const Change& change) const override {
        return change.available != described.contains(change.subject->key);
    }

private:
    static constexpr const char* kStatus = "homeassistant/status";

    std::string Config() const { return "homeassistant/device/" + serial + "/config"; }
    std::string Command() const { return prefix + "cmd/set"; }

    static mqtt::Message Retain(const std::string& topic, const Json& document) {
        return {topic, TextOf(document), 1, true};
    }

    mqtt::Message ValuesOf(const Inventory& all) const {
        Json values = Json::object();
        for (const auto& [id, entry] : all.All()) {
            values[entry.subject->key] = ValueOf(*entry.subject, entry.value);
        }
        return Retain(prefix + "values", values);
    }

    Json ConfigOf(const Inventory& all) {
        Json entities = Json::object();
        described.clear();
        for (const auto& [id, entry] : all.All()) {
            const std::string identifier =
                Identifier(id.component + "_" + id.group + "_" + id.property);
            entities[identifier] = EntityOf(*entry.subject);
            entities[identifier]["unique_id"] = Identifier(serial) + "_" + identifier;
            described.insert(entry.subject->key);
        }
        return {{"dev", {{"ids", {serial}}, {"name", "Printer " + serial}, {"sn", serial}}},
                {"o", {{"name", "vantry-bridge"}, {"sw", VANTRY_VERSION}}},
                {"state_topic", prefix + "values"},
                {"availability_topic", prefix + "health"},
                {"availability_template",
                 "{{ 'online' if value_json.online and value_json.hub else 'offline' }}"},
                {"qos", 1},
                {"cmps", std::move(entities)}};
    }

    Json EntityOf(const Subject& subject) const {
        const describe::Description& known = subject.description;
        const auto type = known.type.value_or(client::ValueType::Text);
        const bool isWritable = acceptsWrites && known.writable == true;
        Json entity = {{"name", subject.group + " " + subject.name},
                       {"value_template", "{{ value_json[" + Quoted(subject.key) + "] }}"}};
        if (type == client::ValueType::Number) {
            entity["p"] = isWritable ? "number" : "sensor";
            AddNumber(known, isWritable, entity);
        } else if (type == client::ValueType::Command && isWritable) {
            entity["p"] = "button";
            entity["payload_press"] = "True";
            entity.erase("value_template");
        } else if (type != client::ValueType::Text) {
            entity["p"] = isWritable ? "switch" : "binary_sensor";
            entity["payload_on"] = "True";
            entity["payload_off"] = "False";
        } else if (isWritable && !known.words.empty()) {
            entity["p"] = "select";
            entity["options"] = known.words;
        } else {
            entity["p"] = isWritable ? "text" : "sensor";
        }
        if (isWritable) {
            entity["command_topic"] = Command();
            entity["command_template"] =
                "{\"property\": " + TextOf(subject.key) + ", \"value\": {{ value | tojson }}}";
        }
        return entity;
    }

    static void AddNumber(const describe::Description& known, bool isWritable, Json& entity) {
        if (!known.unit.empty()) {
            entity["unit_of_measurement"] = known.unit;
            if (const char* const name = DeviceClass(known.unit)) {
                entity["device_class"] = name;
            }
        }
        if (!isWritable) {
            entity["state_class"] = "measurement";
            return;
        }
        const auto add = [&](const char* name, const std::optional<double>& number) {
            if (number) {
                entity[name] = *number;
            }
        };
        add("min", known.minimum);
        add("max", known.maximum);
        add("step", known.step);
    }

    const std::string serial;
    const std::string prefix;
    const bool acceptsWrites;
    /// The keys that the last birth has described.
    std::set<std::string> described;
};

}  // namespace

std::unique_ptr<Style> StyleOf::HomeAssistant(const std::string& site, const std::string& serial,
                                              bool acceptsWrites) {
    return std::make_unique<HomeAssistantStyle>(site, serial, acceptsWrites);
}

}  // namespace vantry::bridge
