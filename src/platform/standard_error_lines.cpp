// A bounded queue of lines and the thread that writes them.
//
// Standard error can't be made non-blocking, because other processes may share it. So a thread of
// its own writes, which starts with the first line: most hubs have nothing to report. Only that
// thread ever waits for a reader. It can be cancelled in the write, so that a program whose
// standard error nobody reads still ends.

#include "platform/standard_error_lines.h"

#include <unistd.h>

#include <cerrno>
#include <deque>
#include <utility>

#include "runtime/clock.h"
#include "runtime/condition.h"
#include "runtime/interruptible.h"
#include "runtime/lock.h"

namespace vantry {
namespace {

constexpr std::size_t kMostLines = 100;
constexpr std::uint32_t kStopMilliseconds = 1'000;

void WriteAll(std::string_view text) {
    while (!text.empty()) {
        ssize_t count = 0;
        {
            Interruptible here;
            count = write(STDERR_FILENO, text.data(), text.size());
        }
        if (count < 0 && errno != EINTR) {
            return;
        }
        text.remove_prefix(count < 0 ? 0 : static_cast<std::size_t>(count));
    }
}

}  // namespace

struct StandardErrorLines::Shared {
    void Add(std::string_view line, bool hasPrefix) {
        ScopedLock guard(lock);
        if (lines.size() >= kMostLines) {
            ++leftOut;
            return;
        }
        lines.push_back(CountOfLeftOut().append(hasPrefix ? prefix : "").append(line).append("\n"));
        changed.WakeAll();
    }

    /// Returns a line with the number of lines that were left out, or an empty text if none were.
    std::string CountOfLeftOut() REQUIRES(lock) {
        const std::uint64_t count = std::exchange(leftOut, 0);
        return count == 0 ? ""
                          : prefix + std::to_string(count) +
                                " lines were left out here, because nobody read them\n";
    }

    void Run() {
        for (;;) {
            std::string text;
            {
                ScopedLock guard(lock);
                isWriting = false;
                changed.WakeAll();
                while (lines.empty() && leftOut == 0 && !stopping) {
                    changed.Wait(lock);
                }
                if (!lines.empty()) {
                    text = std::move(lines.front());
                    lines.pop_front();
                } else if (leftOut != 0) {
                    text = CountOfLeftOut();
                } else {
                    return;
                }
                isWriting = true;
            }
            WriteAll(text);
        }
    }

    void Stop() {
        ScopedLock guard(lock);
        stopping = true;
        changed.WakeAll();
    }

    void Flush(std::uint32_t milliseconds) {
        const std::uint64_t deadline = NowNanoseconds() + milliseconds * kNanosecondsPerMillisecond;
        ScopedLock guard(lock);
        while ((!lines.empty() || isWriting) && NowNanoseconds() < deadline) {
            changed.WaitUntil(lock, deadline);
        }
    }

    Mutex lock;
    Condition changed;
    std::string prefix GUARDED_BY(lock);
    std::deque<std::string> lines GUARDED_BY(lock);
    std::uint64_t leftOut GUARDED_BY(lock) = 0;
    bool isWriting GUARDED_BY(lock) = false;
    bool stopping GUARDED_BY(lock) = false;
    /// Held while the thread is started.
    Mutex startLock;
    bool isStarted GUARDED_BY(startLock) = false;
};

StandardErrorLines::StandardErrorLines(std::string prefix) : shared(std::make_shared<Shared>()) {
    SetPrefix(std::move(prefix));
}

StandardErrorLines::~StandardErrorLines() {
    shared->Stop();
    if (!thread.WaitForEnd(kStopMilliseconds)) {
        thread.Terminate();
    }
}

void StandardErrorLines::SetPrefix(std::string prefix) {
    ScopedLock guard(shared->lock);
    shared->prefix = std::move(prefix);
}

void StandardErrorLines::Write(std::string_view line, bool hasPrefix) {
    shared->Add(line, hasPrefix);
    ScopedLock guard(shared->startLock);
    if (!shared->isStarted) {
        shared->isStarted = thread.Start([state = shared] { state->Run(); }, "notices");
    }
}

void StandardErrorLines::Flush(std::uint32_t milliseconds) { shared->Flush(milliseconds); }

}  // namespace vantry
