#include "wire/property_message.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/messages.h"
#include "wire/record_text.h"

namespace vantry {
namespace {

TEST(PropertyMessage, OnlySingleSubscribeRequestsAddUp) {
    PropertyMessage message;
    message.AddSubscribeRequest({"C", "G", "1"});
    message.AddSubscribeRequest({"C", "G", "2"});
    EXPECT_NE(message.ToFrame().Buffer().find(
                  R"([{"Component": "C","GUID": "G:1"},{"Component": "C","GUID": "G:2"}])"),
              std::string::npos);
    message.AddSubscribeRequests({{"C", "G", "3"}});
    EXPECT_EQ(test::Count(message.ToFrame().Buffer(), "GUID"), 1U);
}

TEST(MessageFrame, ALongTextIsSharedByFramesAndTheirBytesStay) {
    const auto longText = std::make_shared<const std::string>(100'000, 'l');
    const auto shortText = std::make_shared<const std::string>("short");
    for (const int longOnes : {0, 1, 2}) {
        MessageFrame frame;
        std::string expected = "begin,";
        frame.Buffer().append("begin,");
        for (int count = 0; count < longOnes; ++count) {
            frame.Append(longText);
            frame.Append(shortText);
            expected += *longText + *shortText;
        }
        const SharedFrame shared = frame.Share();
        EXPECT_EQ(*shared.Joined(), test::FrameOf(expected));
        EXPECT_EQ(std::count(shared.Texts().begin(), shared.Texts().end(), longText), longOnes);
    }
}

TEST(ReplaceValue, LeavesLittleMoreMemoryThanTheTextNeeds) {
    std::string text;
    const std::string first(900, 'x');
    AppendRecord(text, {"C", "c", "G", "1", "g", "n", "s", first});
    const std::size_t place = ValuePlace(text, first);
    for (std::size_t length = 0; length < 300; ++length) {
        const std::string value(length, 'y');
        ReplaceValue(text, place, value);
        EXPECT_TRUE(text.ends_with("\"Value\": \"" + value + "\"}"));
        EXPECT_LE(text.capacity(), text.size() + 64);
    }
}

}  // namespace
}  // namespace vantry
