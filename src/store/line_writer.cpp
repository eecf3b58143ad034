#include "store/line_writer.h"

#include <utility>

#include "runtime/clock.h"
#include "store/property_file.h"

namespace vantry {
namespace {

constexpr std::uint32_t kWork = 1;
constexpr std::uint32_t kStop = 2;
/// A little less than what a Thread is given to end by itself.
constexpr std::uint64_t kLastWorkNanoseconds = 400 * kNanosecondsPerMillisecond;
constexpr std::uint64_t kNever = ~std::uint64_t{0};

}  // namespace

struct LineWriter::Shared {
    /// What a refused write should have left in a file.
    struct Unwritten {
        std::u16string path;
        std::string text;
    };

    explicit Shared(const FileSystem& fileSystem) : files(fileSystem) {}

    /// Works off the queue; ends early when time is up, or when a file breaks off.
    void RewritePass() {
        while (NowNanoseconds() < deadline) {
            const std::optional<WriteTask> task = TakeTask();
            if (!task || !Rewrite(*task)) {
                return;
            }
        }
    }

    std::optional<WriteTask> TakeTask() {
        ScopedLock guard(tasksLock);
        if (tasks.empty()) {
            return std::nullopt;
        }
        WriteTask task = std::move(tasks.front());
        tasks.pop_front();
        return task;
    }

    /// False if the file could not be read, which loses the task and ends the pass.
    bool Rewrite(const WriteTask& task) {
        ScopedLock guard(filesLock);
        const std::filesystem::path path = files.PathOf(task.path);
        std::string text;
        if (unwritten && unwritten->path == task.path) {
            text = std::move(unwritten->text);
            unwritten.reset();
        } else if (!ReadPropertyText(path, text)) {
            return false;
        }
        text = ReplaceLine(text, task.prefix, task.line);
        if (!WritePropertyText(path, text)) {
            unwritten = {task.path, std::move(text)};
        }
        return true;
    }

    const FileSystem& files;
    Lock tasksLock;
    std::deque<WriteTask> tasks GUARDED_BY(tasksLock);
    Lock filesLock;
    std::optional<Unwritten> unwritten GUARDED_BY(filesLock);
    EventFlags signal{true};
    std::atomic<std::uint64_t> deadline{kNever};
};

LineWriter::LineWriter(const FileSystem& files, ThreadReaper& reaper, std::uint32_t priority)
    : shared(std::make_shared<Shared>(files)),
      thread(reaper.MakeThread(&LineWriter::Run, priority)) {
    auto argument = std::make_unique<std::shared_ptr<Shared>>(shared);
    if (thread->Start(argument.get())) {
        static_cast<void>(argument.release());
    }
}

LineWriter::~LineWriter() {
    shared->deadline = NowNanoseconds() + kLastWorkNanoseconds;
    shared->signal.Set(kStop);
    thread.reset();
}

void LineWriter::StartAnew(std::u16string_view path) {
    ScopedLock guard(shared->filesLock);
    shared->unwritten = {std::u16string(path), ""};
}

const Lock& LineWriter::FilesLock() const { return shared->filesLock; }

void LineWriter::Queue(std::string_view prefix, std::string_view value, std::u16string_view path) {
    WriteTask task{std::string(prefix), std::string(prefix), std::u16string(path)};
    task.line.append("=").append(value);
    {
        ScopedLock guard(shared->tasksLock);
        shared->tasks.push_back(std::move(task));
    }
    shared->signal.Set(kWork);
}

std::uint32_t LineWriter::Run(void* argument) {
    const std::unique_ptr<std::shared_ptr<Shared>> owned(
        static_cast<std::shared_ptr<Shared>*>(argument));
    Shared& state = **owned;
    for (;;) {
        const std::uint32_t seen = state.signal.WaitAny(kWork | kStop);
        if ((seen & kWork) != 0) {
            state.RewritePass();
        }
        if ((seen & kStop) != 0) {
            return 0;
        }
    }
}

}  // namespace vantry
