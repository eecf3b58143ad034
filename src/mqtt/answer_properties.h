#pragma once

#include "mqtt/message.h"

struct mqtt5__property;  // NOLINT(bugprone-reserved-identifier): the name is of libmosquitto

namespace vantry::mqtt {

/// The properties of version 5 by which a message asks for an answer: the topic for it, the bytes
/// that it repeats, and the time until which it is wanted. A list for the library, which is freed
/// with the object. Belongs to one thread.
class AnswerProperties {
public:
    AnswerProperties() = default;
    ~AnswerProperties();
    AnswerProperties(const AnswerProperties&) = delete;
    AnswerProperties& operator=(const AnswerProperties&) = delete;

    /// Adds those that the message has.
    void Add(const Message& message);
    /// Returns the list, which is null if it is empty. It lives as long as the object.
    const mqtt5__property* Get() const { return list; }

private:
    mqtt5__property* list = nullptr;
};

/// Stores the properties of a received message, as far as there are some, in its fields.
void ReadAnswerProperties(const mqtt5__property* properties, Message& message);

}  // namespace vantry::mqtt
