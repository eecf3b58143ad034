#include "host/service_reporter.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace vantry {
namespace {

TEST(ServiceReporter, AHubThatTakesNoTurnsIsNotReportedAsAlive) {
    setenv("NOTIFY_SOCKET", "/nobody/listens", 1);
    setenv("WATCHDOG_USEC", "3000000", 1);
    HubStatus status;
    ServiceReporter reporter(status, "no TCP port");
    EXPECT_EQ(reporter.IntervalMilliseconds(), 1'000U);
    ++status.publishingTurns;
    EXPECT_EQ(reporter.NextMessage(), "WATCHDOG=1\nSTATUS=0 clients, 0 properties, no TCP port\n");
    EXPECT_EQ(reporter.NextMessage(), "");
    ++status.publishingTurns;
    ++status.clients;
    EXPECT_EQ(reporter.NextMessage(), "WATCHDOG=1\nSTATUS=1 clients, 0 properties, no TCP port\n");
    unsetenv("NOTIFY_SOCKET");
    unsetenv("WATCHDOG_USEC");
    EXPECT_EQ(ServiceReporter(status, "").IntervalMilliseconds(), 0U);
}

}  // namespace
}  // namespace vantry
