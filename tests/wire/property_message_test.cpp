#include "wire/property_message.h"

#include <gtest/gtest.h>

#include "support/messages.h"
#include "transport/stream/queue_stream.h"

namespace vantry {
namespace {

/// Returns a message that was read from a frame with this text.
std::unique_ptr<PropertyMessage> Received(const std::string& text) {
    QueueStream stream;
    const std::string frame = test::FrameOf(text);
    stream.WriteBytes({frame.begin(), frame.end()});
    stream.Close();
    auto message = std::make_unique<PropertyMessage>();
    EXPECT_TRUE(message->ReadFrom(stream)) << text;
    return message;
}

std::string Sent(PropertyMessage& message) {
    QueueStream stream;
    EXPECT_TRUE(message.WriteTo(stream));
    std::string bytes(1 << 16, '\0');
    bytes.resize(static_cast<std::size_t>(
        stream.Read(reinterpret_cast<std::uint8_t*>(bytes.data()), 1 << 16)));
    return bytes;
}

TEST(PropertyMessage, AWholeFrameIsExact) {
    PropertyMessage message;
    message.EncodeSubscribeAll();
    const std::string text = R"({"SubscribeAllCurrentAndNewProperties": true})";
    EXPECT_EQ(text.size(), 0x2DU);
    EXPECT_EQ(Sent(message), test::FrameOf(text));
}

TEST(PropertyMessage, SplitsTheGuidAtItsFirstColon) {
    const struct {
        const char* guid;
        const char* group;
        const char* property;
    } cases[] = {{"G:P", "G", "P"}, {"G:", "G", ""}, {"GP", "GP", "GP"}, {"G:P:Q", "G", "P:Q"}};
    for (const auto& [guid, group, property] : cases) {
        std::deque<PropertyRequest> requests;
        Received(R"({"PropertyGetRequests": [{"Component": "C","GUID": ")" + std::string(guid) +
                 "\"}]}")
            ->DecodeGetRequests(requests);
        ASSERT_EQ(requests.size(), 1U);
        EXPECT_EQ(requests[0], (PropertyRequest{"C", group, property}));
    }
}

TEST(PropertyMessage, WhatIsMissingOrOfAnotherTypeReadsAsEmpty) {
    const auto message = Received(
        R"({"PropertySetRequests": [{"GUID": "G:P","Value": 5},7,{}],"PropertyGetRequests": 7})");
    std::deque<PropertySetRequest> writes;
    message->DecodeSetRequests(writes);
    ASSERT_EQ(writes.size(), 3U);
    EXPECT_EQ(writes[0].guid, "P");
    EXPECT_EQ(writes[0].component, "");
    EXPECT_EQ(writes[0].value, "");
    EXPECT_TRUE(message->HasSection("PropertyGetRequests"));
    std::deque<PropertyRequest> reads;
    message->DecodeGetRequests(reads);
    EXPECT_TRUE(reads.empty());
}

TEST(PropertyMessage, ReadsOfASubscriptionStandBehindTheOthers) {
    const auto message = Received(
        R"({"PropertySubscribeRequests": [{"GUID": "G:S"}],"PropertyGetRequests": [{"GUID": "G:R"}]})");
    std::deque<PropertyRequest> reads;
    message->DecodeGetRequests(reads);
    ASSERT_EQ(reads.size(), 2U);
    EXPECT_EQ(reads[0].guid, "R");
    EXPECT_EQ(reads[1].guid, "S");
}

TEST(PropertyMessage, OnlySingleSubscribeRequestsAddUp) {
    PropertyMessage message;
    message.AddSubscribeRequest({"C", "G", "1"});
    message.AddSubscribeRequest({"C", "G", "2"});
    EXPECT_NE(Sent(message).find(
                  R"([{"Component": "C","GUID": "G:1"},{"Component": "C","GUID": "G:2"}])"),
              std::string::npos);
    message.AddSubscribeRequests({{"C", "G", "3"}});
    EXPECT_EQ(test::Count(Sent(message), "GUID"), 1U);
}

TEST(PropertyMessage, AnEmptyQueueIsAnEmptySectionAndAForwardedValueKeepsItsBytes) {
    PropertyMessage message;
    message.EncodeGetResponses({});
    message.EncodeSetRequests({{"P", "G", "C", "a\tb"}});
    EXPECT_EQ(Sent(message),
              test::FrameOf("{\"PropertyGetResponses\": [],\"PropertySetRequests\": "
                            "[{\"Component\": \"C\",\"GUID\": \"G:P\",\"Value\": \"a\tb\"}]}"));
}

}  // namespace
}  // namespace vantry
