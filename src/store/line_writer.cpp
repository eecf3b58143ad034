// A queue of lines and the thread that saves them.
//
// The queue is bounded without losing the last value of a property: from 100 queued lines on, a
// newer line replaces the queued line with the same prefix, so the queue never has more than 100
// lines and one for each property. Lines whose write failed are put back to the front of the queue,
// and are tried again with the next line and at the stop. A line that the disk has no room for
// doesn't hold up the others: what fits is saved meanwhile. At the stop all queued lines become one
// write, which has the last value of each property.
//
// The state is shared between the object and its thread: if a write hangs in the disk, the
// destructor stops waiting after 5 s, and the state stays alive until the thread ends.

#include "store/line_writer.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <iterator>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "runtime/clock.h"
#include "runtime/event.h"
#include "runtime/event_flags.h"
#include "runtime/lock.h"

namespace vantry {
namespace {

constexpr std::uint32_t kWork = 1;
constexpr std::uint32_t kStop = 2;
constexpr std::uint32_t kStopMilliseconds = 5000;
constexpr std::size_t kUnfoldedLines = 100;
constexpr std::uint64_t kBetweenNotices = 1'000 * kNanosecondsPerMillisecond;

/// Removes all but the newest line of each prefix, which gets the place of the oldest one.
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
    Shared(std::shared_ptr<PropertyFile> propertyFile, Saves howToSave, Notices& operatorNotices)
        : file(std::move(propertyFile)), saves(howToSave), notices(&operatorNotices) {}

    /// Saves the queued lines. Returns false at the first write that fails, with its lines queued
    /// again.
    bool SavePass() {
        std::vector<PendingLine> lines;
        do {
            lines = TakeLines(saves == Saves::Replace || stopping);
            if (const FileResult saved = file->Save(lines); !saved) {
                PutBack(std::move(lines));
                TellFailure(saved);
                fits = saved.IsNoRoom() && SaveWhatFits();
                return false;
            }
        } while (!lines.empty());
        return true;
    }

    /// Saves the queued lines for which there is room, and leaves the others in the queue.
    bool SaveWhatFits() {
        std::vector<PendingLine> lines = TakeLines(true);
        const bool saved = file->SaveWhatFits(lines);
        PutBack(std::move(lines));
        return saved;
    }

    /// Saves the queued lines at the stop. Tries a second time after a failure, which may have been
    /// temporary, and then the backup, since there is no later time.
    void LastPass() {
        if (SavePass() || SavePass()) {
            return;
        }
        if (fits) {
            Tell("has no room for all changes; those that need most are lost");
        } else if (file->SaveInBackup(TakeLines(true))) {
            Tell(
                "can't be saved; the last changes are in its backup, which is used as long as the "
                "file can't be read");
        } else {
            Tell("can't be saved; the last changes are lost");
        }
    }

    void TellFailure(const FileResult& failure) {
        const std::uint64_t now = NowNanoseconds();
        if (lastTold == 0 || now - lastTold >= kBetweenNotices) {
            lastTold = now;
            Tell("can't be saved (" + failure.Reason() + "); the changes wait in memory");
        }
    }

    void Tell(const std::string& what) {
        ScopedLock guard(noticesLock);
        if (notices != nullptr) {
            notices->Tell(file->ShownName() + " " + what);
        }
    }

    void TellNoMore() {
        ScopedLock guard(noticesLock);
        notices = nullptr;
    }

    /// Removes and returns the lines of the next write: all queued lines, or only the oldest one.
    std::vector<PendingLine> TakeLines(bool all) {
        ScopedLock guard(linesLock);
        const auto end = all || waiting.empty() ? waiting.end() : std::next(waiting.begin());
        std::vector<PendingLine> lines(std::move_iterator(waiting.begin()),
                                       std::move_iterator(end));
        waiting.erase(waiting.begin(), end);
        if (lines.size() > 1) {
            Fold(lines);
        }
        return lines;
    }

    /// Queues the lines of a failed write before all others.
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
    Mutex linesLock;
    std::deque<PendingLine> waiting GUARDED_BY(linesLock);
    EventFlags signal{true};
    std::atomic<bool> stopping{false};
    Mutex noticesLock;
    /// Null when the owner has given up waiting.
    Notices* notices GUARDED_BY(noticesLock);
    // The following are used only by whoever makes the passes.

    std::uint64_t lastTold = 0;
    /// Whether the lines that have room were saved after the last write that failed.
    bool fits = false;
    /// The thread sets this as its last action.
    Event ended{false};
};

LineWriter::LineWriter(std::shared_ptr<PropertyFile> propertyFile, Saves howToSave,
                       Notices& operatorNotices, ThreadReaper& reaper, std::uint32_t priority)
    : shared(std::make_shared<Shared>(std::move(propertyFile), howToSave, operatorNotices)),
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
    if (!threadRuns) {
        shared->LastPass();
    } else if (!shared->ended.Wait(kStopMilliseconds)) {
        shared->Tell("isn't saved yet, because the disk hangs; the last changes may be lost");
    }
    shared->TellNoMore();
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
