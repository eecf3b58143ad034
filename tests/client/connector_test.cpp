// Connecting to something that doesn't answer.

#include "client/connector.h"

#include <dlfcn.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <future>
#include <utility>
#include <vector>

#include "client/client_fixture.h"
#include "client/turn.h"
#include "support/messages.h"
#include "support/scripted_server.h"

namespace {

/// While this is true, the look-up of "slow.test" hangs; otherwise it finds this machine.
std::atomic<bool> lookupHangs{false};
std::atomic<int> lookups{0};
std::atomic<int> endedLookups{0};

}  // namespace

/// Replaces the system's function in this program.
extern "C" int getaddrinfo(const char* name, const char* service, const addrinfo* hints,
                           addrinfo** result) {
    using Function = int (*)(const char*, const char*, const addrinfo*, addrinfo**);
    static const auto real = reinterpret_cast<Function>(dlsym(RTLD_NEXT, "getaddrinfo"));
    if (std::strcmp(name, "slow.test") == 0 && (hints->ai_flags & AI_NUMERICHOST) == 0) {
        ++lookups;
        static_cast<void>(vantry::test::Eventually([] { return !lookupHangs.load(); }));
        ++endedLookups;
        name = "127.0.0.1";
    }
    return real(name, service, hints, result);
}

namespace vantry::client {
namespace {

constexpr std::uint32_t kAnHour = 3'600'000;

/// A socket that listens and accepts nothing, with a full backlog.
class Deaf {
public:
    Deaf(int family, const sockaddr* address, socklen_t size) {
        listener = socket(family, SOCK_STREAM, 0);
        EXPECT_EQ(bind(listener, address, size), 0);
        listen(listener, 0);
        getsockname(listener, reinterpret_cast<sockaddr*>(&bound), &boundSize);
        for (int& client : clients) {
            client = socket(family, SOCK_STREAM | SOCK_NONBLOCK, 0);
            static_cast<void>(connect(client, reinterpret_cast<sockaddr*>(&bound), boundSize));
        }
    }
    ~Deaf() {
        for (const int client : clients) {
            close(client);
        }
        close(listener);
    }
    Deaf(const Deaf&) = delete;
    Deaf& operator=(const Deaf&) = delete;

    std::uint16_t Port() const {
        sockaddr_in address{};
        std::memcpy(&address, &bound, sizeof address);
        return ntohs(address.sin_port);
    }

private:
    int listener;
    int clients[4]{};
    sockaddr_storage bound{};
    socklen_t boundSize = sizeof bound;
};

TEST(Connector, GivesUpAtTheDeadlineAndWhenItIsInterrupted) {
    const test::TemporaryDirectory directory;
    sockaddr_in loopback{};
    loopback.sin_family = AF_INET;
    loopback.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const Deaf tcp(AF_INET, reinterpret_cast<const sockaddr*>(&loopback), sizeof loopback);
    const std::string path = (directory.Path() / "deaf").string();
    sockaddr_un local{};
    local.sun_family = AF_UNIX;
    std::strncpy(local.sun_path, path.c_str(), sizeof local.sun_path - 1);
    const Deaf device(AF_UNIX, reinterpret_cast<const sockaddr*>(&local), sizeof local);
    lookupHangs = true;
    for (const Endpoint& endpoint :
         {Endpoint::Tcp("slow.test"), Endpoint::Tcp("127.0.0.1", tcp.Port()),
          Endpoint::Device(path)}) {
        const auto late = ConnectTo(endpoint, Deadline::In(50), nullptr);
        ASSERT_FALSE(late) << endpoint.Name();
        EXPECT_NE(late.error().text.find(endpoint.Name()), std::string::npos) << late.error().text;
        Interruption interruption;
        auto connecting = std::async(std::launch::async, [&] {
            return static_cast<bool>(ConnectTo(endpoint, Deadline::In(kAnHour), &interruption));
        });
        EXPECT_EQ(connecting.wait_for(20ms), std::future_status::timeout) << endpoint.Name();
        interruption.Set();
        EXPECT_FALSE(connecting.get()) << endpoint.Name();
    }
    lookupHangs = false;
    EXPECT_TRUE(Eventually([] { return endedLookups == lookups; }));
}

TEST(Connector, APeerThatLosesItsPowerIsNoticed) {
    test::ScriptedServer server([](test::FrameClient& peer) { EXPECT_TRUE(peer.SeesEnd()); });
    const auto connected =
        ConnectTo(Endpoint::Tcp("127.0.0.1", server.Port()), Deadline::In(kAnHour), nullptr);
    ASSERT_TRUE(connected);
    // The system does it, if it is asked to watch an idle connection and to limit the wait for an
    // acknowledgement.
    for (const auto& [level, option] : {std::pair(SOL_SOCKET, SO_KEEPALIVE),
                                        std::pair<int, int>(IPPROTO_TCP, TCP_USER_TIMEOUT)}) {
        int value = 0;
        socklen_t size = sizeof value;
        EXPECT_EQ(getsockopt(*connected, level, option, &value, &size), 0);
        EXPECT_GT(value, 0);
    }
    close(*connected);
}

TEST(Turn, IsWaitedForUntilTheDeadlineOnly) {
    Turn turn;
    const ScopedTurn first(turn, Deadline::In(kAnHour));
    ASSERT_TRUE(first);
    // Each of the others waits until its own deadline, and not for those before it.
    std::vector<std::future<bool>> others;
    for (int number = 0; number < 6; ++number) {
        others.push_back(std::async(std::launch::async, [&] {
            return static_cast<bool>(ScopedTurn(turn, Deadline::In(20)));
        }));
    }
    for (std::future<bool>& other : others) {
        EXPECT_FALSE(other.get());
    }
}

TEST(Connector, TheEndOfAHubDoesNotWaitForItsAttemptToConnect) {
    test::ScriptedServer server([](test::FrameClient& peer) {
        static_cast<void>(peer.Receive());
        peer.Send(test::Section("PropertyGetResponses",
                                {test::ReportEntry(test::PublishingPeriod(), "500")}));
        static_cast<void>(peer.Receive());
        lookupHangs = true;
    });
    Hub::Options options;
    options.deadlineMilliseconds = kAnHour;
    options.firstPauseMilliseconds = 1;
    auto hub = Hub::Connect(Endpoint::Tcp("slow.test", server.Port()), options);
    ASSERT_TRUE(hub) << hub.error().text;
    EXPECT_FALSE((*hub)->Read(kPeriod));  // The server ends the connection instead of answering.
    ASSERT_TRUE(Eventually([&] { return lookupHangs && lookups > endedLookups; }));
    const int ended = endedLookups;
    hub->reset();
    EXPECT_EQ(endedLookups, ended);
    lookupHangs = false;
}

}  // namespace
}  // namespace vantry::client
