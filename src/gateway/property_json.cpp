// Properties as JSON. A value of more than 64 KiB is cut, and its length is stated beside it. A
// name or value that isn't UTF-8 gets replacement characters, because JSON has no bytes.

#include "gateway/property_json.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

#include "wire/vocabulary/groups.h"

namespace vantry::gateway {
namespace {

using Json = nlohmann::ordered_json;

/// A client that reads slowly holds a copy of what is being sent, so a value of any length would
/// multiply by the number of clients.
constexpr std::size_t kLongestValue = 64U << 10U;

std::string Text(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

const char* NameOf(client::Origin origin) {
    switch (origin) {
        case client::Origin::Present:
            return "present";
        case client::Origin::Reconciled:
            return "reconciled";
        default:
            return "change";
    }
}

Json IdOf(const client::PropertyId& id) {
    return {{"component", id.component}, {"group", id.group}, {"guid", id.property}};
}

void AddState(Json& json, const KnownProperty& known) {
    json["value"] = known.property.value.substr(0, kLongestValue);
    if (known.property.value.size() > kLongestValue) {
        json["valueBytes"] = known.property.value.size();
    }
    json["available"] = known.property.available;
    json["time"] = TimeText(known.time);
    json["origin"] = NameOf(known.property.origin);
}

Json OwnerOf(const KnownProperty& known) {
    Json json{{"presence", client::NameOf(known.owner.presence)}, {"why", known.owner.why}};
    if (known.owner.process != 0) {
        json["process"] = known.owner.process;
        json["host"] = known.owner.host;
    }
    return json;
}

Json DescriptionOf(const describe::Description& description) {
    Json json = Json::object();
    const auto add = [&json](const char* name, const auto& value) {
        if (value) {
            json[name] = *value;
        }
    };
    if (description.type) {
        json["type"] = describe::NameOf(*description.type);
    }
    if (!description.unit.empty()) {
        json["unit"] = description.unit;
    }
    add("minimum", description.minimum);
    add("maximum", description.maximum);
    add("step", description.step);
    if (!description.words.empty()) {
        json["words"] = description.words;
    }
    if (!description.text.empty()) {
        json["text"] = description.text;
    }
    add("writable", description.writable);
    return json;
}

}  // namespace

std::string TimeText(Time time) {
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count();
    const std::time_t seconds = static_cast<std::time_t>(milliseconds / 1000);
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> text{};
    const std::size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    std::array<char, 8> fraction{};
    std::snprintf(fraction.data(), fraction.size(), ".%03dZ",
                  static_cast<int>(milliseconds % 1000));
    return std::string(text.data(), length) + fraction.data();
}

std::string ToJson(const KnownProperty& known) {
    const client::Property& property = known.property;
    Json json = IdOf(property.id);
    json["componentName"] = property.componentName;
    json["groupName"] = property.groupName;
    json["name"] = property.name;
    AddState(json, known);
    if (const std::string kind = KindOfGroup(property.id.group); !kind.empty()) {
        json["kind"] = kind;
    }
    json["since"] = TimeText(known.since);
    json["sinceIsExact"] = known.isSinceExact;
    json["owner"] = OwnerOf(known);
    json["settable"] = known.isSettable;
    json["description"] = DescriptionOf(known.description);
    return Text(json);
}

std::string ChangeToJson(const KnownProperty& known) {
    Json json = IdOf(known.property.id);
    AddState(json, known);
    return Text(json);
}

std::string OwnerToJson(const KnownProperty& known) {
    Json json = IdOf(known.property.id);
    json["owner"] = OwnerOf(known);
    return Text(json);
}

std::string KindOfGroup(const std::string& guid) {
    for (const NamedGuid& group : {Groups::kError, Groups::kUserError, Groups::kPrinterError}) {
        if (guid == group.guid) {
            return "problem";
        }
    }
    for (const NamedGuid& group : {Groups::kSubstratePrinterProperties,
                                   Groups::kRibbonPrinterProperties, Groups::kBattery}) {
        if (guid == group.guid) {
            return "supply";
        }
    }
    if (guid == client::Owners::HeartbeatGroup()) {
        return "heartbeat";
    }
    const bool isJob = guid == Groups::kAllJobsGroup.guid || guid.find("Job ") != std::string::npos;
    return isJob ? "job" : "";
}

std::string Utf8(const std::string& text) {
    return Json::parse(Text(Json(text))).get<std::string>();
}

}  // namespace vantry::gateway
