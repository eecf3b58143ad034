// Vector clocks and a shadow of the memory.
//
// Each thread counts its releases, and knows of each other thread up to which count what it did
// comes before. A lock, an event, the end of a thread and an atomic operation pass this knowledge
// on. For each 8 bytes of memory the shadow has the last write and the last read: who, when by its
// own count, which of the bytes, and where in the code. An access conflicts with a noted one of
// another thread that the accessing thread doesn't know of. The order in which this run happened to
// execute them plays no part, so a lock that is missing is found in nearly every run that comes by,
// and not only in those in which it does harm. One write and one read are kept, so a conflict with
// an older access can be missed; none is reported without reason.
//
// Stacks of threads aren't looked at, since one stack serves one thread after the other.

#include "simulation/races.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "simulation/report.h"
#include "simulation/scheduler.h"

namespace vantry::simulation {
namespace {

using Clock = std::vector<std::uint32_t>;

constexpr std::uintptr_t kCellBytes = 8;
constexpr std::uintptr_t kPageCells = 512;
/// Who "accesses" memory that was freed.
constexpr std::uint16_t kNobody = 0xFFFF;

struct Access {
    std::uint32_t count = 0;
    std::uint16_t thread = 0;
    std::uint8_t bytes = 0;
    const void* place = nullptr;
};

struct Cell {
    Access write;
    Access read;
};

struct Page {
    Cell cells[kPageCells];
};

struct State {
    std::vector<Clock> clocks;
    std::unordered_map<const void*, Clock> released;
    std::unordered_map<std::uintptr_t, std::unique_ptr<Page>> pages;
    std::uintptr_t lastNumber = 0;
    Page* lastPage = nullptr;
};

/// Whether a function of this file runs, whose own memory isn't noted.
bool isBusy = false;

class Busy {
public:
    Busy() : before(std::exchange(isBusy, true)) {}
    ~Busy() { isBusy = before; }
    Busy(const Busy&) = delete;
    Busy& operator=(const Busy&) = delete;

private:
    const bool before;
};

State& Noted() {
    static State* const state = new State;
    return *state;
}

std::uint16_t Self() { return static_cast<std::uint16_t>(Scheduler::Current().Self()->number); }

Clock& ClockOf(std::uint16_t thread) {
    std::vector<Clock>& clocks = Noted().clocks;
    if (clocks.size() <= thread) {
        clocks.resize(thread + 1U);
    }
    Clock& clock = clocks[thread];
    if (clock.size() <= thread) {
        clock.resize(thread + 1U);
        clock[thread] = 1;
    }
    return clock;
}

void Join(Clock& clock, const Clock& other) {
    if (clock.size() < other.size()) {
        clock.resize(other.size());
    }
    for (std::size_t thread = 0; thread < other.size(); ++thread) {
        clock[thread] = std::max(clock[thread], other[thread]);
    }
}

Page* PageOf(std::uintptr_t cell, bool make) {
    State& state = Noted();
    const std::uintptr_t number = cell / kPageCells;
    if (state.lastPage != nullptr && state.lastNumber == number) {
        return state.lastPage;
    }
    const auto found = state.pages.find(number);
    if (found == state.pages.end() && !make) {
        return nullptr;
    }
    std::unique_ptr<Page>& page = found == state.pages.end() ? state.pages[number] : found->second;
    if (!page) {
        page = std::make_unique<Page>();
    }
    state.lastNumber = number;
    state.lastPage = page.get();
    return page.get();
}

[[noreturn]] void Report(const char* what, const Access& before, const void* place) {
    const CodeOfHub outside(false);
    const std::string other =
        before.thread == kNobody ? "freed" : Scheduler::Current().NameOf(before.thread);
    Scheduler::Current().Fail(std::string(what) + " (" + other + ")\n  here: " + CodeAt(place) +
                              "  before: " + CodeAt(before.place));
}

bool Conflicts(const Access& before, std::uint8_t bytes, const Clock& known, std::uint16_t self) {
    return (before.bytes & bytes) != 0 && before.thread != self &&
           (before.thread >= known.size() || known[before.thread] < before.count);
}

void NoteInCell(std::uintptr_t cell, std::uint8_t bytes, bool writes, const void* place) {
    Cell& noted = PageOf(cell, true)->cells[cell % kPageCells];
    const std::uint16_t self = Self();
    if (noted.write.thread == kNobody && (noted.write.bytes & bytes) != 0) {
        Report("the hub uses memory that it has freed", noted.write, place);
    }
    const Clock& known = ClockOf(self);
    if (Conflicts(noted.write, bytes, known, self)) {
        Report("nothing orders two accesses, of which the earlier one writes", noted.write, place);
    }
    if (writes && Conflicts(noted.read, bytes, known, self)) {
        Report("nothing orders a write after a read", noted.read, place);
    }
    (writes ? noted.write : noted.read) = {known[self], self, bytes, place};
}

template <typename Change>
void ForCells(const void* address, std::size_t size, const Change& change) {
    auto at = reinterpret_cast<std::uintptr_t>(address);
    const std::uintptr_t end = at + size;
    while (at < end) {
        const std::uintptr_t stop = std::min(end, (at / kCellBytes + 1) * kCellBytes);
        const auto first = static_cast<unsigned>(at % kCellBytes);
        const auto bytes = static_cast<std::uint8_t>(((1U << (stop - at)) - 1U) << first);
        change(at / kCellBytes, bytes);
        at = stop;
    }
}

}  // namespace

bool IsCodeOfHub() { return Scheduler::Exists() && Scheduler::Current().IsInHub(); }

CodeOfHub::CodeOfHub(bool isHub)
    : before(Scheduler::Exists() && Scheduler::Current().SetInHub(isHub)) {}

CodeOfHub::~CodeOfHub() {
    if (Scheduler::Exists()) {
        Scheduler::Current().SetInHub(before);
    }
}

void Acquire(const void* object) {
    if (Scheduler::Current().Self() == nullptr) {
        return;
    }
    const Busy busy;
    const CodeOfHub outside(false);
    const auto found = Noted().released.find(object);
    if (found != Noted().released.end()) {
        Join(ClockOf(Self()), found->second);
    }
}

void Release(const void* object) {
    if (Scheduler::Current().Self() == nullptr) {
        return;
    }
    const Busy busy;
    const CodeOfHub outside(false);
    Clock& clock = ClockOf(Self());
    Join(Noted().released[object], clock);
    ++clock[Self()];
}

void NoteAccess(const void* address, std::size_t size, bool writes, const void* place) {
    if (!IsCodeOfHub() || Scheduler::Current().IsOnStack(address)) {
        return;
    }
    const Busy busy;
    const CodeOfHub outside(false);
    ForCells(address, size, [&](std::uintptr_t cell, std::uint8_t bytes) {
        NoteInCell(cell, bytes, writes, place);
    });
}

void NoteAllocated(const void* address, std::size_t size) {
    if (isBusy) {
        return;
    }
    const Busy busy;
    ForCells(address, size, [&](std::uintptr_t cell, std::uint8_t) {
        if (Page* const page = PageOf(cell, false)) {
            page->cells[cell % kPageCells] = {};
        }
    });
}

void NoteFreed(const void* address, std::size_t size) {
    if (isBusy) {
        return;
    }
    const Busy busy;
    ForCells(address, size, [&](std::uintptr_t cell, std::uint8_t bytes) {
        if (Page* const page = PageOf(cell, false)) {
            page->cells[cell % kPageCells].write = {0, kNobody, bytes, nullptr};
        }
    });
}

}  // namespace vantry::simulation
