// What vantryd tells those that started it, and whether it waits for them.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>

#include "support/eventually.h"
#include "support/messages.h"
#include "support/temporary_directory.h"
#include "support/vantryd_process.h"

namespace vantry {
namespace {

using namespace test;

TEST(Vantryd, TellsItsServiceManager) {
    const TemporaryDirectory directory;
    const std::filesystem::path path = directory.Path() / "notify";
    const int manager = socket(AF_UNIX, SOCK_DGRAM, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    ASSERT_EQ(bind(manager, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
    setenv("WATCHDOG_USEC", "600000", 1);
    VantrydProcess hub(directory.Path());
    unsetenv("NOTIFY_SOCKET");
    unsetenv("WATCHDOG_USEC");
    const auto heard = [&] {
        std::string text(64, '\0');
        const ssize_t count = recv(manager, text.data(), text.size(), 0);
        text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        return text;
    };
    EXPECT_EQ(heard(), "READY=1");
    FrameClient client = hub.Device("PRN1");
    const auto hears = [&](const std::string& part) {
        return Eventually([&] { return heard().find(part) != std::string::npos; });
    };
    EXPECT_TRUE(hears(" clients, 3"));
    EXPECT_TRUE(hears("WATCHDOG=1"));
    EXPECT_TRUE(hears("WATCHDOG=1"));
    hub.Signal(SIGINT);
    EXPECT_TRUE(hears("STOPPING=1"));
    EXPECT_EQ(hub.Wait(), 0);
    close(manager);
}

TEST(Vantryd, NeverWaitsForTheReaderOfItsStandardError) {
    std::array<int, 2> errors{};
    ASSERT_EQ(pipe2(errors.data(), O_CLOEXEC), 0);
    const int room = fcntl(errors[1], F_SETPIPE_SZ, 4096);
    ASSERT_GT(room, 0);
    const std::string full(static_cast<std::size_t>(room), 'x');
    ASSERT_EQ(write(errors[1], full.data(), full.size()), room);
    const TemporaryDirectory directory;
    // The log of this hub can't be opened, which is told at the start.
    std::filesystem::create_directories(directory.Path() / "root/Store/VantryLogFileName.txt");
    VantrydProcess hub(directory.Path(), {}, 0, errors[1]);
    FrameClient honest = hub.Device("PRN1");
    for (int round = 0; round < 300; ++round) {
        FrameClient peer = hub.Tcp();
        // The parser's message and the end of the session are told.
        peer.Send("no JSON");
        EXPECT_TRUE(peer.SeesEnd());
    }
    EXPECT_TRUE(honest.Ask(Get(PublishingPeriod())));
    hub.Signal(SIGTERM);
    EXPECT_EQ(hub.Wait(), 0);
    close(errors[0]);
    close(errors[1]);
}

}  // namespace
}  // namespace vantry
