// What the gateway parses of a request besides HTTP, and what it prints of texts that a hub gives:
// everything is taken or refused, and a hostile text stays within its place.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>

#include "gateway/filter.h"
#include "gateway/history_reader.h"
#include "gateway/metrics.h"
#include "gateway_sample.h"

namespace {

using vantry::fuzz::GatewaySample;
using namespace vantry::gateway;

void Require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

vantry::client::Property Named(const std::string& text) {
    vantry::client::Property property;
    property.id = {text, "GROUP", text};
    property.componentName = text;
    property.groupName = text;
    property.name = text;
    property.value = text;
    return property;
}

void ParseTargets(const std::string& text) {
    const auto target = ParseTarget(text);
    if (!target) {
        return;
    }
    for (const std::string& segment : target->segments) {
        Require(segment != "." && segment != "..");
        Require(std::none_of(segment.begin(), segment.end(), [](char byte) {
            return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f;
        }));
    }
    if (const auto filter = Filter::ForList(target->query)) {
        static_cast<void>(filter->Accepts(Named(text)));
    }
    if (const auto question = HistoryQuestion::From(target->query)) {
        Require(question->span.begin < question->span.end && question->most <= 10'000);
    }
}

void AskWithHeaders(const std::string& text) {
    // Writes that wait are bounded, so one sample serves all inputs.
    static Statistics& statistics = *new Statistics;
    static GatewaySample& sample = *new GatewaySample(statistics);
    Request request;
    request.method = "GET";
    request.target = "/api/changes";
    request.host = request.origin = request.authorization = request.accept = text;
    request.lastEventId = request.ifNoneMatch = text;
    request.localAddress = "127.0.0.1";
    static_cast<void>(sample.api.Refusal(request));
    static_cast<void>(sample.table.Ring().NumberIn(text));
    sample.api.Handle(request,
                      [](Response response) { Require(response.source->Next().has_value()); });
    request.target = "/metrics";
    sample.api.Handle(request, [](const Response&) {});
    request.method = "PUT";
    request.target = "/api/properties/COMPONENT/GROUP/Note";
    request.contentType = "application/json";
    request.body = text;
    sample.api.Handle(request, [](const Response& response) { Require(response.status >= 400); });
}

/// A property whose every text is hostile is one line of JSON, one event, and one sample.
void Print(const std::string& text) {
    Statistics statistics;
    GatewaySample sample(statistics);
    vantry::client::Property property = Named(text);
    sample.table.Take({property, std::chrono::system_clock::now()});
    const auto* const entry = sample.table.Find(property.id);
    Require(entry != nullptr &&
            !nlohmann::json::parse(entry->Json(), nullptr, false).is_discarded());
    const auto& event = sample.table.Ring().Get(sample.table.Ring().Newest()).text;
    Require(std::count(event.begin(), event.end(), '\n') == 4 &&
            event.find('\r') == std::string::npos);
    property.value = "1";
    sample.table.Take({property, std::chrono::system_clock::now()});
    Metrics metrics(sample.table, sample.hub.Now(), statistics, MetricsFormat::OpenMetrics);
    std::string printed;
    while (const auto part = metrics.Next()) {
        printed += *part;
    }
    std::size_t samples = 0;
    for (std::size_t at = 0;
         (at = printed.find("\nvantry_property_value{", at)) != std::string::npos; ++at) {
        ++samples;
    }
    Require(samples == 3 && printed.ends_with("\n# EOF\n"));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    ParseTargets(text);
    ParseTargets("/?" + text);
    AskWithHeaders(text);
    Print(text);
    return 0;
}
