// The program vantryd: options, ready line, signals, refusals.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "support/eventually.h"
#include "support/messages.h"
#include "support/temporary_directory.h"
#include "support/vantryd_process.h"

namespace vantry {
namespace {

using namespace test;

class Vantryd : public testing::Test {
protected:
    TemporaryDirectory directory;
};

TEST_F(Vantryd, IsReadyWithSocketsThatItRemovesAtTheEnd) {
    VantrydProcess hub(directory.Path());
    EXPECT_EQ(hub.ReadyLine(), "ready port=" + std::to_string(hub.Port()) + " root=" +
                                   hub.root.string() + " devices=" + hub.devices.string());
    for (const char* name : {"PRN1", "UMF1", "BTD0"}) {
        struct stat status {};
        ASSERT_EQ(stat((hub.devices / name).c_str(), &status), 0);
        EXPECT_TRUE(S_ISSOCK(status.st_mode));
        EXPECT_EQ(status.st_mode & 0777, 0660U);
    }
    FrameClient local = hub.Device("PRN1");
    FrameClient outside = hub.Tcp();
    EXPECT_TRUE(local.Ask(kSubscribeAll));
    hub.Signal(SIGTERM);
    hub.Signal(SIGINT);
    hub.Signal(SIGTERM);
    EXPECT_EQ(hub.Wait(), 0);
    EXPECT_TRUE(local.SeesEnd());
    EXPECT_TRUE(outside.SeesEnd());
    EXPECT_TRUE(std::filesystem::is_empty(hub.devices));
    EXPECT_EQ(ReadFile(hub.root / "DriverUnloadSuccessful").size(), 4U);
}

TEST_F(Vantryd, TellsWhatIsWrongAndTouchesNothingOfAnother) {
    VantrydProcess hub(directory.Path());
    const std::string other = (directory.Path() / "other").string();
    WriteFile(directory.Path() / "file", "");
    const std::string file = (directory.Path() / "file").string();
    const std::string limits = (directory.Path() / "limits").string();
    WriteFile(limits, "answer = 5\n# a comment\n\nanswr = 5\n");
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string mentions;
    } cases[] = {
        {{"--root", hub.root.string(), "--devices", other}, 1, hub.root.string()},
        {{"--root", other, "--devices", hub.devices.string()}, 1, hub.devices.string()},
        {{"--root", file, "--devices", other}, 1, file},
        {{"--root", other, "--devices", file + "/below"}, 1, file},
        {{"--root", other, "--devices", other + std::string(100, 'x')}, 1, "too long"},
        {{"--port", "none"}, 2, "usage:"},
        {{"--port", "65536"}, 2, "'65536'"},
        {{"--port"}, 2, "--port"},
        {{"--bind", "localhost"}, 2, "'localhost'"},
        {{"--root", ""}, 2, "--root takes DIR"},
        {{"--saves", "quickly"}, 2, "'quickly'"},
        {{"--external-reports", "all"}, 2, "'all'"},
        {{"--limits", file + ".no"}, 2, "No such file"},
        {{"--limits", ""}, 2, "can't be read"},
        {{"--limits", limits, "--print-limits"}, 2, "line 4: there is no such limit: 'answr = 5'"},
        {{"--limits", "/dev/zero"}, 2, "too long"},
        {{"--what"}, 2, "--what"},
        {{"-xy"}, 2, "-xy"},
        {{"extra"}, 2, "extra"},
    };
    for (const auto& [arguments, status, mentions] : cases) {
        const ProcessResult result = RunVantryd(arguments);
        EXPECT_EQ(result.exitStatus, status) << mentions;
        EXPECT_EQ(result.output, "");
        EXPECT_NE(result.errors.find(mentions), std::string::npos) << result.errors;
    }
    EXPECT_TRUE(hub.Device("PRN1").Ask(kGetAll));
    EXPECT_NE(RunVantryd({"--version"}).output.find("vantryd "), std::string::npos);
    EXPECT_NE(RunVantryd({"--help"}).output.find("--devices"), std::string::npos);
}

TEST_F(Vantryd, PrintsTheLimitsInForceAsAFileThatItReads) {
    const std::string file = (directory.Path() / "limits").string();
    WriteFile(file, "connections = 9\r\n  log-bytes=16777216");
    const ProcessResult printed = RunVantryd({"--limits", file, "--print-limits"});
    EXPECT_EQ(printed.exitStatus, 0) << printed.errors;
    for (const char* line : {"\nconnections = 9\n", "\nlog-bytes = 16777216\n", "\nanswer = "}) {
        EXPECT_NE(printed.output.find(line), std::string::npos) << line;
    }
    WriteFile(file, printed.output);
    EXPECT_EQ(RunVantryd({"--limits", file, "--print-limits"}).output, printed.output);
}

TEST_F(Vantryd, RunsOnWithoutTcpWhenThePortIsTakenOrUnwanted) {
    VantrydProcess first(directory.Path() / "1");
    VantrydProcess second(directory.Path() / "2", {"--port", std::to_string(first.Port())});
    EXPECT_TRUE(second.ReadyLine().starts_with("ready port=none ")) << second.ReadyLine();
    EXPECT_TRUE(second.Device("PRN1").Ask(kGetAll));
    VantrydProcess third(directory.Path() / "3", {"--port", "65534", "--bluetooth"});
    EXPECT_TRUE(third.ReadyLine().starts_with("ready port=none "));
}

TEST_F(Vantryd, TakesOverWhatADeadOneHasLeft) {
    {
        VantrydProcess killed(directory.Path());
        killed.Kill();
        EXPECT_TRUE(std::filesystem::exists(killed.devices / "PRN1"));
    }
    VantrydProcess hub(directory.Path());
    EXPECT_TRUE(hub.Device("PRN1").Ask(kGetAll));
}

TEST_F(Vantryd, TellsItsServiceManager) {
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

TEST_F(Vantryd, ValuesSurviveEveryWayToStop) {
    int period = 750;
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        ++period;
        {
            VantrydProcess hub(directory.Path());
            FrameClient client = hub.Device("PRN1");
            client.Send(Set(PublishingPeriod(), std::to_string(period)));
            EXPECT_TRUE(client.Ask(Get(PublishingPeriod())));
            hub.Signal(signal);
            EXPECT_EQ(hub.Wait(), 0) << signal;
        }
        VantrydProcess hub(directory.Path());
        EXPECT_NE(hub.Device("PRN1").Ask(Get(PublishingPeriod()))->find(std::to_string(period)),
                  std::string::npos)
            << signal;
    }
}

}  // namespace
}  // namespace vantry
