#include "wire/property_message.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "support/messages.h"

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

}  // namespace
}  // namespace vantry
