// The convention of Sparkplug 3.0: the site is the group, the printer the node, and each component
// a device.
//
// A birth names every metric with an alias, and what follows carries aliases alone. Every message
// has a sequence number from 0 to 255, which a birth of the node sets to 0, so that a host notices
// a lost one and asks for a birth. The will carries the number of the session (bdSeq), which the
// birth repeats. Nothing is retained. With a primary host, nothing is sent before its state says
// that it is online, and the node leaves the broker when it says the opposite. Without the hub the
// devices are dead and the node lives. A metric that isn't born yet is left out of the data: the
// birth that it causes contains it.

#include <map>
#include <nlohmann/json.hpp>
#include <set>

#include "bridge/sparkplug_metric.h"
#include "bridge/style.h"

namespace vantry::bridge {
namespace {

constexpr const char* kRebirth = "Node Control/Rebirth";

std::uint64_t Time(std::int64_t milliseconds) { return static_cast<std::uint64_t>(milliseconds); }

class SparkplugStyle final : public Style {
public:
    SparkplugStyle(const std::string& itsSite, const std::string& itsSerial, bool writes,
                   const std::string& primaryHost)
        : site(itsSite), serial(itsSerial), acceptsWrites(writes), host(primaryHost) {}

    mqtt::Message Will(const Health& /*health*/) override {
        hostTime = 0;
        session = (session + 1) % kNumbers;
        born.clear();
        devices.clear();
        return DeathOfNode();
    }

    std::vector<mqtt::Message> Birth(const Inventory& all, const Health& health) override {
        sequence = 0;
        sparkplug::Payload payload = NewPayload();
        AddSession(payload);
        sparkplug::Metric& rebirth = *payload.add_metrics();
        rebirth.set_name(kRebirth);
        rebirth.set_timestamp(payload.timestamp());
        rebirth.set_datatype(SparkplugType::kBoolean);
        rebirth.set_boolean_value(false);
        std::vector<mqtt::Message> messages = {Send("NBIRTH", "", payload)};
        born.clear();
        devices.clear();
        if (health.hasHub) {
            AddBirths(all, messages);
        }
        return messages;
    }

    std::vector<mqtt::Message> State(const Inventory& /*all*/, const Health& /*health*/) override {
        return {};
    }

    std::vector<mqtt::Message> HealthUpdate(const Inventory& all, const Health& health) override {
        std::vector<mqtt::Message> messages;
        if (health.hasHub && devices.empty()) {
            AddBirths(all, messages);
        } else if (!health.hasHub) {
            for (const std::string& device : devices) {
                messages.push_back(Send("DDEATH", device, NewPayload()));
            }
            devices.clear();
            born.clear();
        }
        return messages;
    }

    std::vector<mqtt::Message> Changes(const Inventory& /*all*/, const Batch& batch,
                                       bool historical) override {
        std::map<std::string, sparkplug::Payload> payloads;
        for (const Change& change : batch.changes) {
            const Subject& subject = *change.subject;
            if (!born.contains(subject.alias)) {
                continue;
            }
            sparkplug::Metric& metric = *payloads[SparkplugDeviceOf(subject)].add_metrics();
            metric.set_alias(subject.alias);
            metric.set_timestamp(Time(change.time));
            if (historical) {
                metric.set_is_historical(true);
            }
            SetValue(metric, subject, change.value, change.available);
            // The birth has told the type.
            metric.clear_datatype();
        }
        std::vector<mqtt::Message> messages;
        for (auto& [device, payload] : payloads) {
            payload.set_timestamp(Time(NowSince1970()));
            payload.set_seq(NextNumber());
            messages.push_back(Send("DDATA", device, payload));
        }
        return messages;
    }

    std::vector<mqtt::Message> Death(const Health& /*health*/) override { return {DeathOfNode()}; }

    std::vector<std::string> Filters() const override {
        std::vector<std::string> filters = {Topic("NCMD", "")};
        if (acceptsWrites) {
            filters.push_back(Topic("DCMD", "+"));
        }
        if (!host.empty()) {
            filters.push_back(HostTopic());
        }
        return filters;
    }

    std::vector<Request> Read(const Inventory& all, const mqtt::Message& message) override {
        if (!host.empty() && message.topic == HostTopic()) {
            return ReadHost(message.payload);
        }
        const bool isForNode = message.topic == Topic("NCMD", "");
        const bool isForDevice =
            acceptsWrites && message.topic.starts_with(Topic("DCMD", "") + "/");
        sparkplug::Payload payload;
        if (message.retain || (!isForNode && !isForDevice) ||
            !payload.ParseFromString(message.payload)) {
            return {};
        }
        std::vector<Request> requests;
        for (const sparkplug::Metric& metric : payload.metrics()) {
            if (isForDevice && requests.size() < kMostWrites) {
                requests.push_back(WriteIn(all, message.topic, metric));
            } else if (isForNode && metric.name() == kRebirth && metric.boolean_value()) {
                return {Request{Request::Kind::Rebirth}};
            }
        }
        return requests;
    }

    bool NeedsHost() const override { return !host.empty(); }

    std::vector<std::string> Retained() const override { return {}; }

    bool NeedsBirth(const Change& change) const override {
        return change.available && !born.contains(change.subject->alias);
    }

private:
    static constexpr std::uint64_t kNumbers = 256;
    static constexpr std::int64_t kExpiry = 30'000;
    static constexpr std::size_t kMostWrites = 64;

    std::string HostTopic() const { return "spBv1.0/STATE/" + host; }

    /// A host that has come back may be overtaken by the will of its earlier connection, which is
    /// older.
    std::vector<Request> ReadHost(const std::string& payload) {
        try {
            const nlohmann::json state = nlohmann::json::parse(payload);
            const auto time = state.at("timestamp").get<std::int64_t>();
            const bool isOnline = state.at("online").get<bool>();
            if (time >= hostTime) {
                hostTime = time;
                return {Request{isOnline ? Request::Kind::HostUp : Request::Kind::HostDown}};
            }
        } catch (const nlohmann::json::exception&) {
            // What isn't a state of a host says nothing about it.
        }
        return {};
    }

    std::string Topic(const std::string& type, const std::string& device) const {
        return "spBv1.0/" + site + "/" + type + "/" + serial + (device.empty() ? "" : "/" + device);
    }

    std::uint64_t NextNumber() { return std::exchange(sequence, (sequence + 1) % kNumbers); }

    sparkplug::Payload NewPayload() {
        sparkplug::Payload payload;
        payload.set_timestamp(Time(NowSince1970()));
        payload.set_seq(NextNumber());
        return payload;
    }

    void AddSession(sparkplug::Payload& payload) const {
        sparkplug::Metric& metric = *payload.add_metrics();
        metric.set_name("bdSeq");
        metric.set_timestamp(payload.timestamp());
        metric.set_datatype(SparkplugType::kInt64);
        metric.set_long_value(session);
    }

    mqtt::Message Send(const std::string& type, const std::string& device,
                       const sparkplug::Payload& payload) const {
        return {Topic(type, device), payload.SerializeAsString()};
    }

    mqtt::Message DeathOfNode() const {
        sparkplug::Payload payload;
        payload.set_timestamp(Time(NowSince1970()));
        AddSession(payload);
        mqtt::Message death = Send("NDEATH", "", payload);
        death.qos = 1;
        return death;
    }

    void AddBirths(const Inventory& all, std::vector<mqtt::Message>& messages) {
        std::map<std::string, sparkplug::Payload> payloads;
        for (const auto& [id, entry] : all.All()) {
            const Subject& subject = *entry.subject;
            sparkplug::Metric& metric = *payloads[SparkplugDeviceOf(subject)].add_metrics();
            metric.set_name(SparkplugNameOf(subject));
            metric.set_alias(subject.alias);
            metric.set_timestamp(Time(entry.time));
            SetValue(metric, subject, entry.value, true);
            if (const std::string& unit = subject.description.unit; !unit.empty()) {
                metric.mutable_properties()->add_keys("engUnit");
                sparkplug::PropertyValue& value = *metric.mutable_properties()->add_values();
                value.set_type(SparkplugType::kString);
                value.set_string_value(unit);
            }
            born.insert(subject.alias);
        }
        for (auto& [device, payload] : payloads) {
            payload.set_timestamp(Time(NowSince1970()));
            payload.set_seq(NextNumber());
            devices.insert(device);
            messages.push_back(Send("DBIRTH", device, payload));
        }
    }

    Request WriteIn(const Inventory& all, const std::string& topic,
                    const sparkplug::Metric& metric) const {
        Request request;
        request.expires = NowSince1970() + kExpiry;
        const std::string device = topic.substr(topic.rfind('/') + 1);
        for (const auto& [id, entry] : all.All()) {
            const Subject& subject = *entry.subject;
            const bool isMeant = metric.has_alias() ? metric.alias() == subject.alias
                                                    : metric.name() == SparkplugNameOf(subject);
            if (isMeant && SparkplugDeviceOf(subject) == device) {
                request.subject = entry.subject;
            }
        }
        const std::optional<std::string> value = ValueIn(metric);
        if (!request.subject || !value) {
            request.refusal = Error{ErrorCode::NotFound, "no such metric, or no value"};
        } else {
            request.value = *value;
        }
        return request;
    }

    const std::string site;
    const std::string serial;
    const bool acceptsWrites;
    const std::string host;
    /// The time of the newest state of the host, in milliseconds since 1970.
    std::int64_t hostTime = 0;
    /// The number of the session; the first is 0.
    std::uint64_t session = kNumbers - 1;
    std::uint64_t sequence = 0;
    /// The aliases in the last births, and the devices that are alive.
    std::set<std::uint64_t> born;
    std::set<std::string> devices;
};

}  // namespace

std::unique_ptr<Style> StyleOf::Sparkplug(const std::string& site, const std::string& serial,
                                          bool acceptsWrites, const std::string& host) {
    return std::make_unique<SparkplugStyle>(site, serial, acceptsWrites, host);
}

}  // namespace vantry::bridge
