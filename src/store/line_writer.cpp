// A queue of lines and the thread that saves them.
//
// The queue is bounded without losing a value: from 100 waiting lines on, a newer line takes the
// place of the waiting one with the same prefix, so it never holds more than 100 lines and one for
// each property. Lines that the disk has refused go back to the front of the queue and are tried
// again with the next line and at the stop. At the stop all that wait become one write, however
// many they are: what counts is the last value of each property.

#include "store/line_writer.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <iterator>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "runtime/event.h"
#include "runtime/event_flags.h"
#include "runtime/lock.h"

namespace vantry {
namespace {

constexpr std::uint32_t kWork = 1;
constexpr std::uint32_t kStop = 2;
constexpr std::uint32_t kStopMilliseconds = 5000;
constexpr std::size_t kUnfoldedLines = 100;

/// Leaves only the newest line of each prefix, at the place of its oldest.
void Fold(std::vector<PendingLine>& lines) {
    std::vector<PendingLine> folded;
    std::unordered_map<std::string, std::size_t> places;
    for (PendingLine& line : lines) {
        const auto [place, isNew] = places.emplace(line.prefix, folded.size());
        if (isNew) {
            folded.push_back(std::move(line));
        } else {
            folded[place->second] = std::move(line);
        }
    }
    lines = std::move(folded);
}

}  // namespace

struct LineWriter::Shared {
    Shared(std::shared_ptr<PropertyFile> propertyFile, Saves howToSave)
        : file(std::move(propertyFile)), saves(howToSave) {}

    /// Saves what waits. Ends early and returns false when the disk refuses.
    bool SavePass() {
        std::vector<PendingLine> lines;
        do {
            lines = TakeLines();
            if (!file->Save(lines)) {
                PutBack(std::move(lines));
                return false;
            }
        } while (!lines.empty());
        return true;
    }

    /// Saves what waits at the stop. A refusal that was only of the moment is given a second
    /// chance, since there is no later one.
    void LastPass() {
        if (!SavePass()) {
            static_cast<void>(SavePass());
        }
    }

    /// Takes the lines of the next write: all that wait, or the oldest one.
    std::vector<PendingLine> TakeLines() {
        ScopedLock guard(linesLock);
        const bool all = saves == Saves::Replace || stopping;
        const auto end = all || waiting.empty() ? waiting.end() : std::next(waiting.begin());
        std::vector<PendingLine> lines(std::move_iterator(waiting.begin()),
                                       std::move_iterator(end));
        waiting.erase(waiting.begin(), end);
        if (lines.size() > 1) {
            Fold(lines);
        }
        return lines;
    }

    void PutBack(std::vector<PendingLine> lines) {
        ScopedLock guard(linesLock);
        waiting.insert(waiting.begin(), std::move_iterator(lines.begin()),
                       std::move_iterator(lines.end()));
    }

    void Add(PendingLine line) {
        ScopedLock guard(linesLock);
        const auto isOlder = [&](const PendingLine& other) { return other.prefix == line.prefix; };
        const auto older = waiting.size() < kUnfoldedLines
                               ? waiting.rend()
                               : std::find_if(waiting.rbegin(), waiting.rend(), isOlder);
        if (older == waiting.rend()) {
            waiting.push_back(std::move(line));
        } else {
            *older = std::move(line);
        }
    }

    const std::shared_ptr<PropertyFile> file;
    const Saves saves;
    Lock linesLock;
    std::deque<PendingLine> waiting GUARDED_BY(linesLock);
    EventFlags signal{true};
    std::atomic<bool> stopping{false};
    /// Set by the thread as its last act.
    Event ended{false};
};

LineWriter::LineWriter(std::shared_ptr<PropertyFile> propertyFile, Saves howToSave,
                       ThreadReaper& reaper, std::uint32_t priority)
    : shared(std::make_shared<Shared>(std::move(propertyFile), howToSave)),
      thread(reaper.MakeThread(&LineWriter::Run, priority, "file-writer")) {
    auto argument = std::make_unique<std::shared_ptr<Shared>>(shared);
    threadRuns = thread->Start(argument.get());
    if (threadRuns) {
        static_cast<void>(argument.release());
    }
}

LineWriter::~LineWriter() {
    shared->stopping = true;
    shared->signal.Set(kStop);
    if (threadRuns) {
        static_cast<void>(shared->ended.Wait(kStopMilliseconds));
    } else {
        shared->LastPass();
    }
    thread.reset();
}

void LineWriter::Queue(std::string_view prefix, std::string_view value) {
    PendingLine line{std::string(prefix), std::string(prefix)};
    line.line.append("=").append(value.substr(0, value.find('\n')));
    shared->Add(std::move(line));
    Wake();
}

void LineWriter::Wake() { shared->signal.Set(kWork); }

std::uint32_t LineWriter::Run(void* argument) {
    const std::unique_ptr<std::shared_ptr<Shared>> owned(
        static_cast<std::shared_ptr<Shared>*>(argument));
    Shared& state = **owned;
    while ((state.signal.WaitAny(kWork | kStop) & kStop) == 0) {
        static_cast<void>(state.SavePass());
    }
    state.LastPass();
    state.ended.Set();
    return 0;
}

}  // namespace vantry
