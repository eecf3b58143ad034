#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "bridge/style.h"

namespace vantry::bridge {

// The JSON documents of the plain style, which the style of Home Assistant uses too. Functions with
// no state; docs/BRIDGE.md describes the documents.

/// Returns "vantry/v1/SITE/SERIAL/", with which the topics begin.
std::string PlainPrefix(const std::string& site, const std::string& serial);

/// Returns the value as a JSON number or bool if the description says that it is one and the text
/// can be read as one, and as a string otherwise.
nlohmann::ordered_json ValueOf(const Subject& subject, const std::string& text);

/// Returns the document as a text; bytes that aren't UTF-8 become U+FFFD.
std::string TextOf(const nlohmann::ordered_json& document);

/// Returns the versions that are known, by the names of what they are of.
nlohmann::ordered_json VersionsOf(const Health& health);
/// Returns the document of the topic "health" while there is a connection, with the present time.
nlohmann::ordered_json OnlineDocument(const Health& health);
/// Returns the document of that topic after the connection, which is also its will. It names the
/// connection by its times, and not the time at which it ended, which nobody knows in advance.
nlohmann::ordered_json OfflineDocument(const Health& health);

/// Reads a write: an object with "property" (a key), "value" and, as far as the message itself
/// doesn't say so, "answer", "correlation" and "expires". Without an answer topic `answerTopic` is
/// used.
Request ReadWrite(const Inventory& all, const mqtt::Message& message,
                  const std::string& answerTopic);

/// Returns the answer to a write, or nothing if nobody waits for it.
std::optional<mqtt::Message> AnswerTo(const Request& request, const Result<std::string>& value);

}  // namespace vantry::bridge
