#include "mqtt/answer_properties.h"

#include <mosquitto.h>
#include <mqtt_protocol.h>

#include <cstdint>
#include <cstdlib>

namespace vantry::mqtt {

AnswerProperties::~AnswerProperties() { mosquitto_property_free_all(&list); }

void AnswerProperties::Add(const Message& message) {
    if (!message.responseTopic.empty()) {
        mosquitto_property_add_string(&list, MQTT_PROP_RESPONSE_TOPIC,
                                      message.responseTopic.c_str());
    }
    if (!message.correlation.empty()) {
        mosquitto_property_add_binary(&list, MQTT_PROP_CORRELATION_DATA, message.correlation.data(),
                                      static_cast<std::uint16_t>(message.correlation.size()));
    }
    if (message.expirySeconds) {
        mosquitto_property_add_int32(&list, MQTT_PROP_MESSAGE_EXPIRY_INTERVAL,
                                     *message.expirySeconds);
    }
}

void ReadAnswerProperties(const mqtt5__property* properties, Message& message) {
    char* text = nullptr;
    if (mosquitto_property_read_string(properties, MQTT_PROP_RESPONSE_TOPIC, &text, false) !=
        nullptr) {
        message.responseTopic = text;
        std::free(text);
    }
    void* data = nullptr;
    std::uint16_t length = 0;
    if (mosquitto_property_read_binary(properties, MQTT_PROP_CORRELATION_DATA, &data, &length,
                                       false) != nullptr) {
        message.correlation.assign(static_cast<const char*>(data), length);
        std::free(data);
    }
    std::uint32_t seconds = 0;
    if (mosquitto_property_read_int32(properties, MQTT_PROP_MESSAGE_EXPIRY_INTERVAL, &seconds,
                                      false) != nullptr) {
        message.expirySeconds = seconds;
    }
}

}  // namespace vantry::mqtt
