// What vantryd tells the service manager that started it.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "support/eventually.h"
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

}  // namespace
}  // namespace vantry
