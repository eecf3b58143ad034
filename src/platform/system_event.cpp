#include "platform/system_event.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>
#include <vector>

#include "runtime/interruptible.h"

namespace vantry {

SystemEvent::SystemEvent() : descriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

SystemEvent::~SystemEvent() { close(descriptor); }

void SystemEvent::Set() {
    const std::uint64_t one = 1;
    static_cast<void>(!write(descriptor, &one, sizeof one));
}

void SystemEvent::Reset() { static_cast<void>(Take()); }

bool SystemEvent::Take() {
    std::uint64_t count = 0;
    return read(descriptor, &count, sizeof count) == sizeof count;
}

std::optional<std::size_t> WaitForAny(std::span<const std::shared_ptr<SystemEvent>> events) {
    std::vector<pollfd> waits;
    waits.reserve(events.size());
    for (const std::shared_ptr<SystemEvent>& event : events) {
        if (!event || event->descriptor < 0) {
            return std::nullopt;
        }
        waits.push_back({event->descriptor, POLLIN, 0});
    }
    for (;;) {
        for (std::size_t place = 0; place < events.size(); ++place) {
            if (events[place]->Take()) {
                return place;
            }
        }
        Interruptible here;
        poll(waits.data(), waits.size(), -1);
    }
}

std::shared_ptr<SystemEvent> SystemEventRegistry::Create(std::u16string_view name) {
    ScopedLock guard(lock);
    std::weak_ptr<SystemEvent>& entry = events[std::u16string(name)];
    std::shared_ptr<SystemEvent> event = entry.lock();
    if (!event) {
        event = std::make_shared<SystemEvent>();
        entry = event;
    }
    return event;
}

std::shared_ptr<SystemEvent> SystemEventRegistry::Open(std::u16string_view name) {
    ScopedLock guard(lock);
    const auto found = events.find(name);
    return found == events.end() ? nullptr : found->second.lock();
}

}  // namespace vantry
