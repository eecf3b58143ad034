#include "platform/system_event.h"

#include <vector>

#include "runtime/interruptible.h"

namespace vantry {

std::optional<std::size_t> WaitForAny(std::span<const std::shared_ptr<SystemEvent>> events) {
    std::vector<pollfd> waits;
    waits.reserve(events.size());
    for (const std::shared_ptr<SystemEvent>& event : events) {
        if (!event || event->state.Number() < 0) {
            return std::nullopt;
        }
        waits.push_back({event->state.Number(), POLLIN, 0});
    }
    if (events.empty()) {
        return std::nullopt;
    }
    for (;;) {
        for (std::size_t place = 0; place < events.size(); ++place) {
            if (events[place]->state.Clear()) {
                return place;
            }
        }
        Interruptible here;
        events.front()->descriptors.Poll(waits);
    }
}

std::shared_ptr<SystemEvent> SystemEventRegistry::Create(std::u16string_view name) {
    ScopedLock guard(lock);
    std::weak_ptr<SystemEvent>& entry = events[std::u16string(name)];
    std::shared_ptr<SystemEvent> event = entry.lock();
    if (!event) {
        event = std::make_shared<SystemEvent>(descriptors);
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
