// The metrics.
//
// All properties are samples of one metric, distinguished by labels, because their names are free
// texts and come and go with the components. The names of a property may occur twice; its GUIDs,
// in the label "id", don't. A unit is a label too: values are passed on as they are, not converted.

#include "gateway/metrics.h"

#include <sys/resource.h>
#include <unistd.h>

#include <fstream>
#include <utility>

#include "describe/description.h"
#include "gateway/metric_text.h"

namespace vantry::gateway {
namespace {

constexpr std::size_t kPartBytes = 64U << 10U;
using Kind = MetricText::Kind;

double SecondsOf(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

void AddProcess(MetricText& text) {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    text.Single("vantry_gateway_cpu_seconds", Kind::Counter, "Processor time of the gateway.",
                SecondsOf(usage.ru_utime) + SecondsOf(usage.ru_stime));
    std::ifstream file("/proc/self/statm");
    long size = 0;
    long resident = 0;
    if (file >> size >> resident) {
        text.Single("vantry_gateway_resident_memory_bytes", Kind::Gauge, "Memory of the gateway.",
                    static_cast<double>(resident) * static_cast<double>(sysconf(_SC_PAGESIZE)));
    }
}

void AddGateway(MetricText& text, const Statistics& statistics) {
    text.Declare("vantry_gateway_info", Kind::Gauge, "The version of the gateway, always 1.");
    text.Add(1, {{"version", VANTRY_VERSION}});
    AddProcess(text);
    text.Single("vantry_gateway_connections", Kind::Gauge, "Open connections of clients.",
                static_cast<double>(statistics.connections));
    text.Single("vantry_gateway_streams", Kind::Gauge, "Open streams of events.",
                static_cast<double>(statistics.streams));
    text.Declare("vantry_gateway_responses", Kind::Counter, "Responses, by their status.");
    for (const auto& [status, count] : statistics.responses) {
        text.Add(static_cast<double>(count), {{"status", std::to_string(status)}});
    }
    text.Declare("vantry_gateway_writes", Kind::Counter, "Writes, by what became of them.");
    for (const auto& [outcome, count] : statistics.writes) {
        text.Add(static_cast<double>(count), {{"outcome", outcome}});
    }
    text.Declare("vantry_gateway_closed_connections", Kind::Counter,
                 "Connections that the gateway closed: for keeping it waiting, or to make room.");
    text.Add(static_cast<double>(statistics.closedForTime), {{"reason", "time"}});
    text.Add(static_cast<double>(statistics.closedForRoom), {{"reason", "room"}});
    text.Single("vantry_gateway_sent_bytes", Kind::Counter, "Bytes sent to clients.",
                static_cast<double>(statistics.bytesSent));
    text.Single("vantry_gateway_events", Kind::Counter, "Events made for streams.",
                static_cast<double>(statistics.eventsMade));
}

void AddHub(MetricText& text, const HubLink::State& hub, const Statistics& statistics,
            std::size_t properties) {
    text.Declare("vantry_hub_up", Kind::Gauge, "Whether the hub is connected and answers.");
    text.Add(hub.isConnected ? 1 : 0,
             {{"endpoint", hub.endpoint}, {"link", hub.isExternal ? "tcp" : "device"}});
    if (hub.roundTrip) {
        text.Single("vantry_hub_round_trip_seconds", Kind::Gauge,
                    "Time that the hub took for the last question.", hub.roundTrip->count());
    }
    text.Single("vantry_hub_connections", Kind::Counter, "Connections to the hub.",
                static_cast<double>(hub.connections));
    text.Single("vantry_hub_reconnections", Kind::Counter, "Connections that replaced a lost one.",
                static_cast<double>(hub.connections > 0 ? hub.connections - 1 : 0));
    text.Single("vantry_hub_properties", Kind::Gauge, "Properties that exist.",
                static_cast<double>(properties));
    text.Single("vantry_hub_changes_received", Kind::Counter, "Changes received from the hub.",
                static_cast<double>(statistics.changesReceived));
}

/// Returns the number that a property is, or nothing.
std::optional<double> NumberOf(const KnownProperty& known) {
    if (!known.property.available ||
        known.description.type.value_or(client::ValueType::Number) == client::ValueType::Text) {
        return std::nullopt;
    }
    if (known.property.value == "True") {
        return 1;
    }
    if (known.property.value == "False") {
        return 0;
    }
    return describe::NumberIn(known.property.value);
}

void AddProperty(MetricText& text, const KnownProperty& known) {
    const client::Property& property = known.property;
    if (const auto number = NumberOf(known)) {
        text.Add(*number, {{"component", property.componentName},
                           {"group", property.groupName},
                           {"name", property.name},
                           {"unit", known.description.unit},
                           {"kind", KindOfGroup(property.id.group)},
                           {"id", property.id.component + "/" + property.id.group + "/" +
                                      property.id.property}});
    }
}

}  // namespace

MetricsFormat FormatFor(const std::string& accept) {
    return accept.find("application/openmetrics-text") == std::string::npos
               ? MetricsFormat::Prometheus
               : MetricsFormat::OpenMetrics;
}

const char* ContentTypeOf(MetricsFormat format) {
    return format == MetricsFormat::OpenMetrics
               ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
               : "text/plain; version=0.0.4; charset=utf-8";
}

Metrics::Metrics(const PropertyTable& properties, const HubLink::State& hub,
                 const Statistics& statistics, MetricsFormat wanted)
    : table(properties), format(wanted) {
    MetricText head(format == MetricsFormat::OpenMetrics);
    AddGateway(head, statistics);
    AddHub(head, hub, statistics, table.Available());
    text = head.Take();
    AppendComponents();
    head.Declare("vantry_property_value", Kind::Gauge,
                 "Properties that are numbers, and 1 for True and 0 for False.");
    text += head.Take();
}

void Metrics::AppendComponents() {
    MetricText part(format == MetricsFormat::OpenMetrics);
    part.Declare("vantry_component_up", Kind::Gauge,
                 "Whether the program of a component runs, if it shows that.");
    const std::string* before = nullptr;
    for (const auto& [id, entry] : table.All()) {
        const auto presence = table.OwnerOf(id).presence;
        if ((before == nullptr || *before != id.component) &&
            presence != client::Owners::Presence::Unknown) {
            part.Add(presence == client::Owners::Presence::Alive ? 1 : 0,
                     {{"component", entry.known.property.componentName}, {"id", id.component}});
            before = &id.component;
        }
    }
    text += part.Take();
}

std::optional<std::string> Metrics::Next() {
    if (hasEnded) {
        return std::nullopt;
    }
    MetricText part(format == MetricsFormat::OpenMetrics);
    part.Declare("vantry_property_value", Kind::Gauge, "");
    part.Take();
    const PropertyTable::Entries& all = table.All();
    auto next = last ? all.upper_bound(*last) : all.begin();
    for (; next != all.end() && text.size() < kPartBytes; ++next) {
        last = next->first;
        AddProperty(part, next->second.known);
        text += part.Take();
    }
    if (next == all.end()) {
        text += format == MetricsFormat::OpenMetrics ? "# EOF\n" : "";
        hasEnded = true;
    }
    return std::exchange(text, {});
}

}  // namespace vantry::gateway
