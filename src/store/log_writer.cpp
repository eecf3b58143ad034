// A bounded queue of lines and the thread that appends them to the file. A line for which the queue
// or the file has no space is counted instead. The count is written as a line of its own as soon as
// a line can be written, so that a reader can see the gap. Before each write the thread tests
// whether the file still exists, and makes a new one if an operator has removed it.
//
// Each connection that ends without a goodbye leaves a line. So that many of them cost few
// wake-ups and writes, the thread pauses for a moment after each write, unless it is to stop, and
// then writes the lines that have come meanwhile at once. A line after a pause is written as soon
// as it comes.
//
// The state is shared between the object and its thread, so that a thread which hangs in the disk
// never uses a destroyed object.

#include "store/log_writer.h"

#include <ctime>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "runtime/event_flags.h"
#include "runtime/lock.h"

namespace vantry {
namespace {

constexpr std::uint32_t kStop = 1;
constexpr std::uint32_t kLines = 2;
constexpr std::uint32_t kPauseMilliseconds = 10;
constexpr std::size_t kUsualLines = 100;
constexpr std::size_t kMostLines = 1000;
/// asctime_r needs 26 bytes, and more for years of more than four digits.
constexpr std::size_t kTimeBytes = 64;

/// The time of a line as text. It is kept for as long as it is right, a second: making it for each
/// line took a third of the instructions of a session with one request.
class TimeText {
public:
    const std::string& Now() {
        const std::time_t now = std::time(nullptr);
        if (now != moment) {
            moment = now;
            text = Make(now);
        }
        return text;
    }

private:
    static std::string Make(std::time_t moment) {
        std::tm local{};
        localtime_r(&moment, &local);
        char time[kTimeBytes] = {};
        asctime_r(&local, time);
        std::string text = time;
        text.resize(text.empty() ? 0 : text.size() - 1);  // Removes the line feed.
        return text;
    }

    std::time_t moment = -1;
    std::string text;
};

std::string MakeLine(std::string_view time, std::string_view message) {
    std::string line;
    line.reserve(time.size() + message.size() + 3);
    return line.append(time).append(",").append(message).append("\r\n");
}

}  // namespace

struct LogWriter::Shared {
    Shared(std::shared_ptr<FileSystem> fileSystem, std::u16string_view fileName,
           std::uint64_t mostFileBytes)
        : files(std::move(fileSystem)), name(fileName), mostBytes(mostFileBytes) {
        lines.reserve(kUsualLines);
        // The first time text reads the time zone's file, which nobody should do under the lock.
        static_cast<void>(time.Now());
    }

    bool Open() {
        return static_cast<bool>(files->Open(name, FileUse::kAppend | FileUse::kMake, file));
    }

    void Add(std::string_view message) {
        ScopedLock guard(lock);
        if (lines.size() >= kMostLines) {
            ++dropped;
            return;
        }
        lines.push_back(MakeLine(time.Now(), message));
        if (lines.size() == 1) {
            signal.Set(kLines);
        }
    }

    /// Removes and returns the queued lines.
    std::vector<std::string> TakeLines() {
        std::vector<std::string> taken;
        taken.reserve(kUsualLines);
        ScopedLock guard(lock);
        signal.Clear(kLines);
        taken.swap(lines);
        return taken;
    }

    /// Appends the lines with one write. Those for which there is no space are counted.
    void AppendOrCount(const std::vector<std::string>& taken) {
        if (taken.empty()) {
            return;
        }
        // An operator may remove the file to get free space; these lines then begin a new file.
        if (files->Exists(name).IsMissing()) {
            static_cast<void>(Open());
        }
        if (AppendWithCount(std::accumulate(taken.begin(), taken.end(), std::string()))) {
            return;
        }
        for (const std::string& line : taken) {
            // Some of several lines may have space.
            if (taken.size() == 1 || !AppendWithCount(line)) {
                ScopedLock guard(lock);
                ++dropped;
            }
        }
    }

    /// Appends lines, and the number of the dropped ones before them.
    bool AppendWithCount(const std::string& some) {
        const std::uint64_t missing = TakeDropped();
        const std::string count =
            missing == 0
                ? ""
                : MakeLine(TimeText().Now(), std::to_string(missing) + " lines were dropped");
        if (Append(count + some)) {
            return true;
        }
        ScopedLock guard(lock);
        dropped += missing;
        return false;
    }

    std::uint64_t TakeDropped() {
        ScopedLock guard(lock);
        return std::exchange(dropped, 0);
    }

    bool Append(const std::string& text) {
        std::uint64_t size = 0;
        if (!file->Size(size) || text.size() > mostBytes || size > mostBytes - text.size()) {
            return false;
        }
        if (file->Write(size, text)) {
            return true;
        }
        // Otherwise the next line would follow a part of this one.
        static_cast<void>(file->Cut(size));
        return false;
    }

    const std::shared_ptr<FileSystem> files;
    const std::u16string name;
    const std::uint64_t mostBytes;
    /// Used only by the thread once that runs.
    std::unique_ptr<File> file;
    Mutex lock;
    std::vector<std::string> lines GUARDED_BY(lock);
    TimeText time GUARDED_BY(lock);
    std::uint64_t dropped GUARDED_BY(lock) = 0;
    EventFlags signal{false};
};

LogWriter::LogWriter(std::shared_ptr<FileSystem> files, std::u16string_view fileName,
                     std::uint64_t mostFileBytes, ThreadReaper& reaper, std::uint32_t priority)
    : shared(std::make_shared<Shared>(std::move(files), fileName, mostFileBytes)) {
    if (!shared->Open()) {
        return;
    }
    thread = reaper.MakeThread(&LogWriter::Run, priority, "log-writer");
    auto argument = std::make_unique<std::shared_ptr<Shared>>(shared);
    if (thread->Start(argument.get())) {
        static_cast<void>(argument.release());
    }
}

LogWriter::~LogWriter() {
    Stop();
    thread.reset();
}

bool LogWriter::IsOpen() const { return thread != nullptr; }

void LogWriter::Write(std::string_view message) { shared->Add(message); }

void LogWriter::Stop() { shared->signal.Set(kStop); }

std::uint32_t LogWriter::Run(void* argument) {
    const std::unique_ptr<std::shared_ptr<Shared>> owned(
        static_cast<std::shared_ptr<Shared>*>(argument));
    Shared& state = **owned;
    std::uint32_t seen = 0;
    while ((seen & kStop) == 0) {
        seen = state.signal.WaitAny(kStop | kLines);
        state.AppendOrCount(state.TakeLines());
        if ((seen & kStop) == 0) {
            static_cast<void>(state.signal.WaitAny(kStop, kPauseMilliseconds));
        }
    }
    return 0;
}

}  // namespace vantry
