#include "wire/property_message.h"

#include <gtest/gtest.h>

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

}  // namespace
}  // namespace vantry
