// The style of this program's own: few topics, and JSON that a person can read.
//
// Under vantry/v1/SITE/SERIAL/ stand "state" (retained, all values), "event" (changes with their
// times) and "health" (retained; the will is here). A reader takes the state and follows the
// events. Events carry a number, so a reader can find out what it has missed or has twice.

#include "bridge/plain_documents.h"

namespace vantry::bridge {
namespace {

using Json = nlohmann::ordered_json;

class PlainStyle final : public Style {
public:
    PlainStyle(const std::string& site, const std::string& serial, bool writes)
        : prefix(PlainPrefix(site, serial)), acceptsWrites(writes) {}

    mqtt::Message Will(const Health& health) override {
        return Retain("health", OfflineDocument(health));
    }

    std::vector<mqtt::Message> Birth(const Inventory& all, const Health& health) override {
        std::vector<mqtt::Message> messages = {Retain("health", OnlineDocument(health))};
        // Before the hub is there, the state that the broker has is the last one known.
        if (!all.All().empty()) {
            messages.push_back(StateOf(all, health));
        }
        return messages;
    }

    std::vector<mqtt::Message> State(const Inventory& all, const Health& health) override {
        return {StateOf(all, health)};
    }

    std::vector<mqtt::Message> HealthUpdate(const Inventory& /*all*/,
                                            const Health& health) override {
        return {Retain("health", OnlineDocument(health))};
    }

    std::vector<mqtt::Message> Changes(const Inventory& /*all*/, const Batch& batch,
                                       bool historical) override {
        lastNumber = std::max(lastNumber, historical ? 0 : batch.number);
        Json changes = Json::array();
        for (const Change& change : batch.changes) {
            Json entry = {{"property", change.subject->key}, {"time", change.time}};
            entry["value"] =
                change.available ? ValueOf(*change.subject, change.value) : Json(nullptr);
            changes.push_back(std::move(entry));
        }
        Json document = {{"run", batch.run}, {"seq", batch.number}};
        if (historical) {
            document["historical"] = true;
        }
        document["changes"] = std::move(changes);
        return {{prefix + "event", TextOf(document), 1}};
    }

    std::vector<mqtt::Message> Death(const Health& health) override {
        return {Retain("health", OfflineDocument(health))};
    }

    std::vector<std::string> Filters() const override {
        return acceptsWrites ? std::vector<std::string>{prefix + "cmd/set"}
                             : std::vector<std::string>();
    }

    std::vector<Request> Read(const Inventory& all, const mqtt::Message& message) override {
        if (message.topic != prefix + "cmd/set") {
            return {};
        }
        return {ReadWrite(all, message, prefix + "answer")};
    }

    std::vector<std::string> Retained() const override {
        return {prefix + "state", prefix + "health"};
    }

private:
    mqtt::Message Retain(const std::string& name, const Json& document) const {
        return {prefix + name, TextOf(document), 1, true};
    }

    mqtt::Message StateOf(const Inventory& all, const Health& health) const {
        Json properties = Json::object();
        for (const auto& [id, entry] : all.All()) {
            Json description = {{"value", ValueOf(*entry.subject, entry.value)},
                                {"time", entry.time}};
            if (!entry.subject->description.unit.empty()) {
                description["unit"] = entry.subject->description.unit;
            }
            properties[entry.subject->key] = std::move(description);
        }
        return Retain("state", {{"run", health.run},
                                {"seq", lastNumber},
                                {"time", NowSince1970()},
                                {"versions", VersionsOf(health)},
                                {"properties", std::move(properties)}});
    }

    const std::string prefix;
    const bool acceptsWrites;
    /// The number of the newest event, which the state includes.
    std::uint64_t lastNumber = 0;
};

}  // namespace

std::unique_ptr<Style> StyleOf::Plain(const std::string& site, const std::string& serial,
                                      bool acceptsWrites) {
    return std::make_unique<PlainStyle>(site, serial, acceptsWrites);
}

}  // namespace vantry::bridge
