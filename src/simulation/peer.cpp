// A client in the simulation. It sends its messages in pieces of random sizes, and a thread of its
// own reads what arrives and cuts it into texts, so that a client which waits for nothing still
// takes what it is sent.

#include "simulation/peer.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <vector>

#include "driver/exports.h"
#include "runtime/clock.h"
#include "simulation/races.h"
#include "transport/frame/frame.h"

namespace vantry::simulation {
namespace {

constexpr std::size_t kHeadBytes = 20;
constexpr std::uint64_t kLookNanoseconds = 5 * kNanosecondsPerMillisecond;
constexpr int kMostLooks = 4'000;

}  // namespace

std::string Peer::NameOf(Link link) {
    constexpr std::array<const char*, 4> kNames = {"local", "tcp", "usb", "bluetooth"};
    return kNames[static_cast<std::size_t>(link)];
}

std::string Peer::FrameOf(std::string_view text) {
    std::string frame(MessageFrameMagic.begin(), MessageFrameMagic.end());
    for (int shift = 0; shift < 32; shift += 8) {
        frame.push_back(static_cast<char>(text.size() >> shift & 0xFF));
    }
    return frame.append(text);
}

std::shared_ptr<Peer> Peer::Connect(World& world, Link link, std::string name) {
    const std::shared_ptr<Peer> peer(new Peer(world, link, std::move(name)));
    if (link == Link::Local) {
        peer->number = InHub([] { return PRN_Open(0, 0, 0); });
        if (peer->number == 0) {
            return nullptr;
        }
    } else {
        const int connected = ConnectBy(world, link);
        if (connected < 0) {
            peer->closed = true;
            return nullptr;
        }
        peer->number = static_cast<std::uint32_t>(connected);
    }
    world.scheduler.Start(peer->name + " reader", [peer] { peer->ReadAll(); });
    return peer;
}

int Peer::ConnectBy(World& world, Link link) {
    switch (link) {
        case Link::Usb:
            return world.devices.PlugUsb();
        case Link::Bluetooth:
            return world.devices.CallBluetooth();
        default:
            return world.descriptors.Connect();
    }
}

bool Peer::IsServed() const {
    return link == Link::Local || world.descriptors.IsServed(static_cast<int>(number));
}

Peer::~Peer() {
    if (link != Link::Local && !closed) {
        world.devices.Forget(static_cast<int>(number));
        world.descriptors.Close(static_cast<int>(number));
    }
}

bool Peer::Send(std::string_view text) {
    world.scheduler.Trace("sends " + std::string(text));
    return SendBytes(FrameOf(text));
}

bool Peer::SendBytes(std::string_view rest) {
    int looks = 0;
    while (!rest.empty()) {
        // Messages are cut anywhere.
        const std::size_t part =
            world.random.OneIn(4) ? 1 + world.random.Below(rest.size()) : rest.size();
        if (closed) {
            return false;
        }
        const ssize_t count = link == Link::Local ? InHub([&] {
            return PRN_Write(number, rest.data(), static_cast<std::uint32_t>(part));
        })
                                                  : world.descriptors.Send(static_cast<int>(number),
                                                                           rest.substr(0, part));
        if (count == -EAGAIN && link != Link::Local && ++looks < kMostLooks) {
            world.scheduler.Sleep(kLookNanoseconds);
            continue;
        }
        if (count <= 0) {
            return false;
        }
        rest.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

std::optional<std::string> Peer::Receive(std::uint64_t milliseconds) {
    const std::uint64_t deadline =
        world.scheduler.Now() + milliseconds * kNanosecondsPerMillisecond;
    while (texts.empty()) {
        if (ended || world.scheduler.Now() >= deadline) {
            return std::nullopt;
        }
        world.scheduler.Wait("a text from the hub", this, deadline);
    }
    std::string text = std::move(texts.front());
    texts.pop_front();
    world.scheduler.Trace("receives " + text);
    return text;
}

std::int32_t Peer::ReadSome(char* buffer, std::uint32_t size) const {
    if (link == Link::Local) {
        return InHub([&] { return PRN_Read(number, buffer, size); });
    }
    iovec part{buffer, size};
    for (;;) {
        const ssize_t count = world.descriptors.Receive(static_cast<int>(number), {&part, 1}, true);
        if (count != -EINTR) {
            return static_cast<std::int32_t>(count);
        }
    }
}

void Peer::ReadAll() {
    std::vector<char> buffer(std::size_t{1'024} << world.random.Below(7));
    while (!closed) {
        if (!reading) {
            world.scheduler.Wait("the wish to read on", &reading);
            continue;
        }
        const std::int32_t count =
            ReadSome(buffer.data(), static_cast<std::uint32_t>(buffer.size()));
        if (count <= 0) {
            break;
        }
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
        TakeFrames();
    }
    ended = true;
    readerIsDone = true;
    world.scheduler.Wake(this);
}

void Peer::TakeFrames() {
    while (bytes.size() >= kHeadBytes) {
        if (!std::equal(MessageFrameMagic.begin(), MessageFrameMagic.end(), bytes.begin(),
                        [](auto left, char right) { return static_cast<char>(left) == right; })) {
            world.scheduler.Fail("the hub has written bytes that are no frame");
        }
        std::size_t length = 0;
        for (std::size_t place = 0; place < 4; ++place) {
            length |= std::size_t{static_cast<unsigned char>(bytes[16 + place])} << (8 * place);
        }
        if (bytes.size() < kHeadBytes + length) {
            return;
        }
        texts.push_back(bytes.substr(kHeadBytes, length));
        bytes.erase(0, kHeadBytes + length);
        world.scheduler.Wake(this);
    }
}

void Peer::SetReading(bool reads) {
    reading = reads;
    world.scheduler.Wake(&reading);
}

void Peer::EndSending() {
    world.scheduler.Trace("ends its sending side");
    if (link != Link::Local && !closed) {
        world.descriptors.ShutDown(static_cast<int>(number), SHUT_WR);
    }
}

void Peer::Close() {
    if (closed) {
        return;
    }
    world.scheduler.Trace("closes its connection");
    SetReading(true);
    if (link == Link::Local) {
        InHub([&] { return PRN_Close(number); });
    } else {
        world.descriptors.ShutDown(static_cast<int>(number), SHUT_RD);
    }
    closed = true;
    while (!readerIsDone) {
        world.scheduler.Wait("its reader to end", this);
    }
    if (link != Link::Local) {
        world.devices.Forget(static_cast<int>(number));
        world.descriptors.Close(static_cast<int>(number));
    }
}

void Peer::Reset() {
    if (link == Link::Local || closed) {
        Close();
        return;
    }
    closed = true;
    world.descriptors.ShutDown(static_cast<int>(number), SHUT_RD);
    SetReading(true);
    while (!readerIsDone) {
        world.scheduler.Wait("its reader to end", this);
    }
    world.devices.Forget(static_cast<int>(number));
    world.descriptors.Reset(static_cast<int>(number));
}

}  // namespace vantry::simulation
