// The table of descriptors, with events and pollers.
//
// Descriptors get the lowest free number, so that a number that is used too late belongs to
// somebody else. Who waits for several of them is woken by any change, and looks again. Where the
// system gave no descriptor, the hub may pass the error on as its number; such a call does nothing,
// as in the system.

#include "simulation/simulated_descriptors.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "runtime/clock.h"
#include "simulation/races.h"
#include "simulation/scheduler.h"

namespace vantry::simulation {
namespace {

/// No descriptor of the system has such a number in a simulation.
constexpr int kFirstNumber = 1'000'000;
/// More are a leak.
constexpr std::size_t kUsualMost = 2'000;

}  // namespace

SimulatedDescriptors::SimulatedDescriptors(std::uint64_t seed)
    : random(seed * 2 + 3),
      errorOneIn(random.OneIn(2) ? 20 : 0),
      lateOneIn(random.OneIn(2) ? 1 + random.Below(20) : 0),
      capacity(std::size_t{512} << random.Below(10)),
      mostOpen(kUsualMost) {}

void SimulatedDescriptors::Changed(const Node& node) {
    for (const void* const object :
         {static_cast<const void*>(&node), static_cast<const void*>(node.in.get()),
          static_cast<const void*>(node.out.get()), static_cast<const void*>(this)}) {
        if (object != nullptr) {
            Scheduler::Current().Wake(object);
        }
    }
}

std::size_t SimulatedDescriptors::CountOpen() const {
    return static_cast<std::size_t>(std::count_if(
        nodes.begin(), nodes.end(), [](const auto& entry) { return !entry.second->isPeers; }));
}

int SimulatedDescriptors::Add(NodeReference node) {
    if (!node->isPeers && CountOpen() >= mostOpen) {
        if (mostOpen == kUsualMost) {
            Scheduler::Current().Fail("descriptors are used up");
        }
        Scheduler::Current().Trace("gets no descriptor");
        return -EMFILE;
    }
    int number = kFirstNumber;
    for (const auto& [used, other] : nodes) {
        if (used != number) {
            break;
        }
        ++number;
    }
    nodes.emplace(number, std::move(node));
    return number;
}

SimulatedDescriptors::NodeReference SimulatedDescriptors::Get(int number, const char* use) const {
    const auto found = nodes.find(number);
    if (found == nodes.end()) {
        Scheduler::Current().Fail("descriptor " + std::to_string(number) + " isn't open: " + use);
    }
    return found->second;
}

void SimulatedDescriptors::Close(int descriptor) {
    const OutsideHub here;
    if (descriptor < 0) {
        return;
    }
    const NodeReference node = Get(descriptor, "close");
    Scheduler::Current().Point("closes a descriptor");
    nodes.erase(descriptor);
    if (node->kind == Kind::Socket) {
        Leave(*node);
    }
    for (const NodeReference& unaccepted : node->waiting) {
        ResetBoth(*unaccepted);
    }
    Changed(*node);
}

int SimulatedDescriptors::OpenEvent() {
    const OutsideHub here;
    return Add(std::make_shared<Node>(Kind::Event));
}

void SimulatedDescriptors::SetEvent(int event) {
    const OutsideHub here;
    if (event >= 0) {
        const NodeReference node = Get(event, "set an event");
        node->isSet = true;
        Release(node.get());
        Changed(*node);
        Scheduler::Current().QuietPoint();
    }
}

bool SimulatedDescriptors::ClearEvent(int event) {
    const OutsideHub here;
    Scheduler::Current().QuietPoint();
    if (event < 0) {
        return false;
    }
    const NodeReference node = Get(event, "clear an event");
    Acquire(node.get());
    return std::exchange(node->isSet, false);
}

bool SimulatedDescriptors::IsReady(const Node& node, short events) const {
    switch (node.kind) {
        case Kind::Event:
            return node.isSet;
        case Kind::Socket:
            if (node.out->wasReset || node.out->readerHasGone) {
                return true;
            }
            return (events & POLLOUT) != 0 ? node.out->Size() <= capacity / 2
                                           : node.in->HasArrived() || node.in->EndHasArrived();
        default:
            return false;
    }
}

void SimulatedDescriptors::Poll(std::span<pollfd> waits) {
    const OutsideHub here;
    for (;;) {
        for (const pollfd& wait : waits) {
            if (wait.fd >= 0 && IsReady(*Get(wait.fd, "poll"), wait.events)) {
                return;
            }
        }
        Scheduler::Current().Wait("one of some events", this);
    }
}

int SimulatedDescriptors::OpenPoller() {
    const OutsideHub here;
    return Add(std::make_shared<Node>(Kind::Poller));
}

int SimulatedDescriptors::AddToPoller(int poller, int descriptor, short events) {
    const OutsideHub here;
    if (poller < 0 || descriptor < 0) {
        return -EBADF;
    }
    const NodeReference watched = Get(descriptor, "watch");
    Get(poller, "watch with")->watched[descriptor] = {events, watched};
    Changed(*watched);
    return 0;
}

void SimulatedDescriptors::RemoveFromPoller(int poller, int descriptor) {
    const OutsideHub here;
    if (poller >= 0 && descriptor >= 0) {
        Get(descriptor, "watch no more");
        Get(poller, "watch with")->watched.erase(descriptor);
    }
}

void SimulatedDescriptors::WaitForPoller(int poller, int milliseconds) {
    const OutsideHub here;
    Scheduler& scheduler = Scheduler::Current();
    scheduler.QuietPoint();
    if (poller < 0) {
        return;
    }
    const NodeReference node = Get(poller, "wait with");
    const std::uint64_t deadline =
        milliseconds < 0 ? kNever
                         : scheduler.Now() + static_cast<std::uint64_t>(milliseconds) *
                                                 kNanosecondsPerMillisecond;
    for (;;) {
        for (const auto& [number, watch] : node->watched) {
            const NodeReference target = watch.second.lock();
            if (target && IsReady(*target, watch.first)) {
                return;
            }
        }
        if (scheduler.Now() >= deadline) {
            return;
        }
        scheduler.Wait("a socket that takes output", this, deadline);
    }
}

}  // namespace vantry::simulation
