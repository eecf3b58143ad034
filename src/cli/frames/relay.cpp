// A relay before the local device.
//
// One thread serves all connections with poll. Each connection has two directions, each with a
// buffer: bytes are read only while the buffer has room, so a slow reader makes its writer wait as
// if there were no relay. The frames are cut out of what is read, before it is passed on.

#include "cli/frames/relay.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <utility>

#include "cli/base/files.h"
#include "cli/base/terminal.h"
#include "client/connector.h"

namespace vantry::cli {
namespace {

constexpr std::size_t kMostWaiting = 256 * 1024;
constexpr std::size_t kMostConnections = 256;
constexpr int kTickMilliseconds = 1000;

/// Returns the process that has connected, such as "process 123 (driver)".
std::string ProgramBehind(int socket) {
    ucred peer{};
    socklen_t length = sizeof peer;
    if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &length) != 0) {
        return "an unknown process";
    }
    std::ifstream file(fmt::format("/proc/{}/comm", peer.pid));
    std::string name;
    std::getline(file, name);
    return fmt::format("process {} ({})", peer.pid, name);
}

/// One way through a connection.
struct Direction {
    FrameCutter cutter;
    std::string waiting = {};
    bool hasEnded = false;
    bool isShut = false;

    /// Reads once. Returns false if the connection is broken.
    bool Read(int from) {
        std::array<char, 65536> bytes{};
        const ssize_t count = recv(from, bytes.data(), bytes.size(), 0);
        if (count > 0) {
            cutter.Take({bytes.data(), static_cast<std::size_t>(count)});
            waiting.append(bytes.data(), static_cast<std::size_t>(count));
        } else if (count == 0) {
            hasEnded = true;
        }
        return count >= 0 || errno == EAGAIN || errno == EINTR;
    }
    /// Writes what the socket takes. Returns false if the connection is broken.
    bool Write(int to) {
        if (!waiting.empty()) {
            const ssize_t count = send(to, waiting.data(), waiting.size(), MSG_NOSIGNAL);
            if (count < 0) {
                return errno == EAGAIN || errno == EINTR;
            }
            waiting.erase(0, static_cast<std::size_t>(count));
        }
        if (hasEnded && waiting.empty() && !std::exchange(isShut, true)) {
            shutdown(to, SHUT_WR);
        }
        return true;
    }
    bool MayRead() const { return !hasEnded && waiting.size() < kMostWaiting; }
};

}  // namespace

class Relay::Connection {
public:
    Connection(int ofProgram, int ofHub, FrameCutter toHub, FrameCutter toProgram)
        : program(ofProgram), hub(ofHub), in{std::move(toHub)}, out{std::move(toProgram)} {}
    ~Connection() {
        in.cutter.End();
        out.cutter.End();
        close(program);
        close(hub);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    pollfd WaitForProgram() const { return {program, Events(in, out), 0}; }
    pollfd WaitForHub() const { return {hub, Events(out, in), 0}; }
    /// Carries bytes after poll. Returns false when the connection has ended.
    bool Carry(const pollfd& fromProgram, const pollfd& fromHub) {
        constexpr short kSomething = POLLIN | POLLHUP | POLLERR;
        const bool isGood =
            (!in.MayRead() || (fromProgram.revents & kSomething) == 0 || in.Read(program)) &&
            (!out.MayRead() || (fromHub.revents & kSomething) == 0 || out.Read(hub)) &&
            in.Write(hub) && out.Write(program);
        // A program that has closed its connection receives no answers, and a hub that has, no
        // messages.
        return isGood && !(in.isShut && out.isShut);
    }

private:
    /// Returns what to wait for at a socket, from which one direction reads and to which the other
    /// one writes. A socket with nothing to wait for isn't watched, because an end would wake poll
    /// again and again.
    static short Events(const Direction& from, const Direction& to) {
        return static_cast<short>((from.MayRead() ? POLLIN : 0) |
                                  (to.waiting.empty() ? 0 : POLLOUT));
    }

    const int program;
    const int hub;
    Direction in;
    Direction out;
};

Relay::Relay(client::Endpoint ofHub, std::size_t mostKept, Greeter connected, Sink frames)
    : hub(std::move(ofHub)),
      most(mostKept),
      greeter(std::move(connected)),
      sink(std::move(frames)) {}

Relay::~Relay() {
    connections.clear();
    if (listening >= 0) {
        close(listening);
        unlink(listenPath.c_str());
    }
}

client::Outcome Relay::Listen(const std::string& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return client::Error{client::ErrorCode::Refused,
                             path + ": a path of a socket has less than 108 bytes"};
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    const auto* const generic = reinterpret_cast<const sockaddr*>(&address);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socket < 0) {
        return FileError(path);
    }
    struct stat there {};
    if (lstat(path.c_str(), &there) == 0 && S_ISSOCK(there.st_mode) &&
        connect(socket, generic, sizeof address) != 0 && errno == ECONNREFUSED) {
        unlink(path.c_str());
    }
    const mode_t before = umask(077);
    const bool isBound = bind(socket, generic, sizeof address) == 0 && listen(socket, 64) == 0;
    umask(before);
    if (!isBound) {
        const client::Error error = FileError(path);
        close(socket);
        return error;
    }
    // The gate of the local device is the group of its socket; whoever can't use it can't go round
    // it here. Without the right to give the socket that group, it stays this user's own.
    struct stat device {};
    if (stat(hub.path.c_str(), &device) == 0 &&
        chown(path.c_str(), static_cast<uid_t>(-1), device.st_gid) == 0) {
        chmod(path.c_str(), device.st_mode & 0777U);
    }
    listening = socket;
    listenPath = path;
    return client::Done{};
}

void Relay::Accept() {
    const int program = accept4(listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (program < 0) {
        return;
    }
    const auto toHub = client::ConnectTo(hub, client::Deadline::In(kTickMilliseconds), nullptr);
    if (!toHub) {
        fmt::print(stderr, "vantry: {}\n", toHub.error().text);
        close(program);
        return;
    }
    const std::uint32_t number = count++;
    isEnding = isEnding || !greeter(number, ProgramBehind(program));
    const auto cutter = [&](bool isToHub) {
        return FrameCutter(most,
                           [this, number, isToHub](std::string_view kept, std::uint64_t length) {
                               isEnding = isEnding || !sink(number, isToHub, kept, length);
                           });
    };
    connections.emplace_back(program, *toHub, cutter(true), cutter(false));
}

void Relay::Serve(std::vector<pollfd>& waiting) {
    std::size_t place = 1;
    for (auto connection = connections.begin(); connection != connections.end(); place += 2) {
        const bool goesOn = connection->Carry(waiting[place], waiting[place + 1]);
        connection = goesOn ? std::next(connection) : connections.erase(connection);
    }
    if (waiting[0].revents != 0) {
        Accept();
    }
}

void Relay::Run(const std::function<void()>& tick) {
    while (!Interrupted() && !isEnding) {
        const bool hasRoom = connections.size() < kMostConnections;
        std::vector<pollfd> waiting = {{hasRoom ? listening : -1, POLLIN, 0}};
        for (const Connection& connection : connections) {
            for (pollfd each : {connection.WaitForProgram(), connection.WaitForHub()}) {
                each.fd = each.events == 0 ? -1 : each.fd;
                waiting.push_back(each);
            }
        }
        if (poll(waiting.data(), waiting.size(), kTickMilliseconds) >= 0) {
            Serve(waiting);
        }
        tick();
    }
    connections.clear();
}

}  // namespace vantry::cli
