// A reader's way through the events.
//
// A reader that is new, or was away for too long, gets "begin", every property with its present
// value, and "end". These values are read from the table as they are sent, so that a slow reader
// needs no copy of them. What changes meanwhile is in the ring. After the last property, the events
// since the start follow, but only those that are still the last of their property: an older one
// could come after a newer value. If the ring no longer has all of them, the properties that have
// changed since the start are sent once more. After "end" every event is sent.
//
// A reader that falls behind by more than the ring holds begins anew. However slow it is, its
// memory is one part of 64 KiB, and what it gets is at most as old as that part.

#include "gateway/event_stream.h"

#include <utility>

namespace vantry::gateway {
namespace {

constexpr std::size_t kPartBytes = 64U << 10U;
constexpr std::chrono::seconds kLongestSilence{15};

}  // namespace

EventStream::EventStream(const PropertyTable& properties, Filter wanted,
                         const std::string& lastEventId, std::string about)
    : table(properties),
      filter(std::move(wanted)),
      aboutGateway(std::move(about)),
      sent(std::chrono::steady_clock::now()) {
    if (lastEventId.empty()) {
        return;
    }
    const auto number = table.Ring().NumberIn(lastEventId);
    if (number && table.Ring().HasAllAfter(*number)) {
        seen = *number;
        phase = Phase::Follow;
    } else {
        reason = "gap";
    }
}

std::optional<std::string> EventStream::Next() {
    std::string text;
    // A phase that is complete hands over to the next one at once.
    for (bool more = true; more && text.size() < kPartBytes;) {
        const Phase before = phase;
        if (phase == Phase::Begin) {
            AppendBegin(text);
        } else if (phase == Phase::Present) {
            AppendPresent(text);
        } else {
            AppendEvents(text);
        }
        more = phase != before;
    }
    const auto now = std::chrono::steady_clock::now();
    if (text.empty() && now - sent >= kLongestSilence) {
        text = ":\n\n";
    }
    if (!text.empty()) {
        sent = now;
    }
    return text;
}

void EventStream::AppendBegin(std::string& text) {
    text += std::string("retry: 2000\n\nevent: begin\ndata: {\"reason\":\"") + reason +
            "\",\"about\":" + aboutGateway + "}\n\n";
    known = 0;
    StartPresent();
}

void EventStream::StartPresent() {
    newestAtStart = table.Ring().Newest();
    last.reset();
    phase = Phase::Present;
}

void EventStream::AppendPresent(std::string& text) {
    const PropertyTable::Entries& all = table.All();
    for (auto next = last ? all.upper_bound(*last) : all.begin(); next != all.end(); ++next) {
        if (text.size() >= kPartBytes) {
            return;
        }
        last = next->first;
        const PropertyTable::Entry& entry = next->second;
        if (entry.lastEvent > known && filter.Accepts(entry.known.property)) {
            text += "event: property\ndata: " + entry.Json() + "\n\n";
        }
    }
    known = newestAtStart;
    seen = newestAtStart;
    phase = Phase::CatchUp;
}

void EventStream::AppendEvents(std::string& text) {
    const ChangeRing& ring = table.Ring();
    if (!ring.HasAllAfter(seen)) {
        if (phase == Phase::CatchUp) {
            StartPresent();
        } else {
            reason = "gap";
            phase = Phase::Begin;
        }
        return;
    }
    while (seen < ring.Newest() && text.size() < kPartBytes) {
        ++seen;
        Append(text, ring.Get(seen), seen);
    }
    if (phase == Phase::CatchUp && seen == ring.Newest()) {
        text += "event: end\nid: " + ring.IdOf(seen) + "\ndata: {}\n\n";
        phase = Phase::Follow;
    }
}

void EventStream::Append(std::string& text, const ChangeRing::Event& event,
                         std::uint64_t number) const {
    if (!event.property) {
        text += event.text;
        return;
    }
    const PropertyTable::Entry* const entry = table.Find(*event.property);
    if (phase == Phase::CatchUp && entry != nullptr) {
        // The reader may never have seen the property, if it is newer than the start.
        if (entry->lastEvent == number && filter.Accepts(entry->known.property)) {
            text += "event: property\nid: " + table.Ring().IdOf(number) +
                    "\ndata: " + entry->Json() + "\n\n";
        }
        return;
    }
    // A property that was forgotten has no names to compare.
    const bool isWanted =
        entry == nullptr ? filter.AcceptsAll() : filter.Accepts(entry->known.property);
    if (isWanted) {
        text += event.text;
    }
}

}  // namespace vantry::gateway
