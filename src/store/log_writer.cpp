#include "store/log_writer.h"

#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "runtime/event_flags.h"
#include "runtime/lock.h"

namespace vantry {
namespace {

constexpr std::uint32_t kStop = 1;
constexpr std::uint32_t kLines = 2;
constexpr std::size_t kUsualLines = 100;
/// asctime_r asks for 26 bytes, and more for a year that is far off.
constexpr std::size_t kTimeBytes = 64;

std::string MakeLine(std::string_view message) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    char time[kTimeBytes] = {};
    asctime_r(&local, time);
    std::string line = time;
    line.resize(line.empty() ? 0 : line.size() - 1);  // The line feed of asctime.
    return line.append(",").append(message).append("\r\n");
}

}  // namespace

struct LogWriter::Shared {
    explicit Shared(std::unique_ptr<Stream> stream) : output(std::move(stream)) {
        lines.reserve(kUsualLines);
    }

    /// The lines that wait, which are then taken.
    std::vector<std::string> TakeLines() {
        std::vector<std::string> taken;
        taken.reserve(kUsualLines);
        ScopedLock guard(lock);
        signal.Clear(kLines);
        taken.swap(lines);
        return taken;
    }

    /// Of the thread alone.
    const std::unique_ptr<Stream> output;
    Lock lock;
    std::vector<std::string> lines GUARDED_BY(lock);
    EventFlags signal{false};
};

LogWriter::LogWriter(std::unique_ptr<Stream> output, ThreadReaper& reaper, std::uint32_t priority)
    : shared(std::make_shared<Shared>(std::move(output))),
      thread(reaper.MakeThread(&LogWriter::Run, priority)) {
    auto argument = std::make_unique<std::shared_ptr<Shared>>(shared);
    if (thread->Start(argument.get())) {
        static_cast<void>(argument.release());
    }
}

LogWriter::~LogWriter() {
    Stop();
    thread.reset();
}

void LogWriter::Write(std::string_view message) {
    std::string line = MakeLine(message);
    ScopedLock guard(shared->lock);
    shared->lines.push_back(std::move(line));
    shared->signal.Set(kLines);
}

void LogWriter::Stop() { shared->signal.Set(kStop); }

std::uint32_t LogWriter::Run(void* argument) {
    const std::unique_ptr<std::shared_ptr<Shared>> owned(
        static_cast<std::shared_ptr<Shared>*>(argument));
    Shared& state = **owned;
    std::uint32_t seen = 0;
    while ((seen & kStop) == 0) {
        seen = state.signal.WaitAny(kStop | kLines);
        for (const std::string& line : state.TakeLines()) {
            state.output->Write(reinterpret_cast<const std::uint8_t*>(line.data()),
                                static_cast<std::int32_t>(line.size()));
        }
    }
    return 0;
}

}  // namespace vantry
