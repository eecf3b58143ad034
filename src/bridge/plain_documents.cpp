// The JSON documents of the plain style, written and read. A number or a bool has the JSON type of
// its own only where the description of the property says so; everything else stays the text that
// the hub has, so no value changes on its way. What a broker delivers may be anything: a document
// that can't be read becomes a request with a refusal, which is answered like any other.

#include "bridge/plain_documents.h"

#include <charconv>

namespace vantry::bridge {
namespace {

using Json = nlohmann::ordered_json;

/// How long a write may be on its way if it doesn't say so, in milliseconds.
constexpr std::int64_t kExpiry = 30'000;
constexpr std::size_t kLongestWrite = 64U << 10U;

Json NumberOr(const std::string& text) {
    std::int64_t whole = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), whole);
    if (read.ec == std::errc{} && read.ptr == text.data() + text.size()) {
        return whole;
    }
    const std::optional<double> number = describe::NumberIn(text);
    return number ? Json(*number) : Json(text);
}

/// Returns the value as the hub spells it.
std::string TextOfValue(const Json& value) {
    if (value.is_string()) {
        return value.get<std::string>();
    }
    return value.is_boolean() ? (value.get<bool>() ? "True" : "False") : value.dump();
}

void ReadFields(const Inventory& all, const Json& document, Request& request) {
    const auto key = document.at("property").get<std::string>();
    request.value = TextOfValue(document.at("value"));
    request.subject = all.Find(key);
    if (!request.subject) {
        request.refusal = Error{ErrorCode::NotFound, "there is no property \"" + key + "\""};
    }
    if (document.contains("answer") && request.answerTopic.empty()) {
        request.answerTopic = document["answer"].get<std::string>();
    }
    if (document.contains("correlation") && request.correlation.empty()) {
        request.correlation = document["correlation"].get<std::string>();
    }
    if (document.contains("expires")) {
        request.expires = std::min(request.expires, document["expires"].get<std::int64_t>());
    }
}

}  // namespace

std::string PlainPrefix(const std::string& site, const std::string& serial) {
    return "vantry/v1/" + site + "/" + serial + "/";
}

Json ValueOf(const Subject& subject, const std::string& text) {
    if (subject.description.type == client::ValueType::Number) {
        return NumberOr(text);
    }
    const bool isTruth = subject.description.type == client::ValueType::Bool ||
                         subject.description.type == client::ValueType::Command;
    if (isTruth && (text == "True" || text == "False")) {
        return text == "True";
    }
    return text;
}

std::string TextOf(const Json& document) {
    return document.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json VersionsOf(const Health& health) {
    Json versions = {{"bridge", VANTRY_VERSION}};
    if (!health.firmware.empty()) {
        versions["firmware"] = health.firmware;
    }
    return versions;
}

Json OnlineDocument(const Health& health) {
    return {{"online", true},
            {"time", NowSince1970()},
            {"since", health.since},
            {"run", health.run},
            {"hub", health.hasHub},
            {"dropped", health.dropped},
            {"waiting", health.waiting},
            {"versions", VersionsOf(health)},
            {"errors", health.errors}};
}

Json OfflineDocument(const Health& health) {
    return {{"online", false}, {"since", health.since}, {"run", health.run}};
}

Request ReadWrite(const Inventory& all, const mqtt::Message& message,
                  const std::string& answerTopic) {
    Request request;
    request.answerTopic = message.responseTopic;
    request.correlation = message.correlation;
    request.expires = NowSince1970() + kExpiry;
    if (message.expirySeconds) {
        request.expires = NowSince1970() + std::int64_t{1000} * *message.expirySeconds;
    }
    if (message.retain) {
        request.refusal = Error{ErrorCode::Refused, "a retained write isn't obeyed"};
    } else if (message.payload.size() > kLongestWrite) {
        request.refusal = Error{ErrorCode::Refused, "the message is too long"};
    } else {
        try {
            ReadFields(all, Json::parse(message.payload), request);
        } catch (const Json::exception&) {
            request.refusal =
                Error{ErrorCode::Refused,
                      R"(a write is {"property": "COMPONENT/GROUP/NAME", "value": VALUE})"};
        }
    }
    if (request.answerTopic.empty()) {
        request.answerTopic = answerTopic;
    }
    return request;
}

std::optional<mqtt::Message> AnswerTo(const Request& request, const Result<std::string>& value) {
    if (request.answerTopic.empty()) {
        return std::nullopt;
    }
    Json document = {{"ok", static_cast<bool>(value)}};
    if (request.subject) {
        document["property"] = request.subject->key;
    }
    if (value) {
        document["value"] = request.subject ? ValueOf(*request.subject, *value) : Json(*value);
    } else {
        document["error"] = value.error().text;
    }
    if (!request.correlation.empty()) {
        document["correlation"] = request.correlation;
    }
    mqtt::Message answer{request.answerTopic, TextOf(document), 1};
    answer.correlation = request.correlation;
    return answer;
}

}  // namespace vantry::bridge
