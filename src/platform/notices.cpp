#include "platform/notices.h"

#include <string>
#include <utility>

#include "runtime/clock.h"

namespace vantry {
namespace {

constexpr std::uint64_t kBetweenLines = 1'000 * kNanosecondsPerMillisecond;

}  // namespace

void Notices::SetSink(Sink writeLine) {
    ScopedLock guard(lock);
    sink = std::move(writeLine);
}

void Notices::Tell(std::string_view line) {
    ScopedLock guard(lock);
    Write(line);
}

void Notices::TellParserFailure(std::string_view message) {
    ScopedLock guard(lock);
    Write("error: " + std::string(message), false);
}

void Notices::TellClosed(Bound bound, std::string_view peer) {
    const std::uint64_t now = NowNanoseconds();
    ScopedLock guard(lock);
    Row& row = rows[static_cast<std::size_t>(bound)];
    if (row.lastTold != 0 && now - row.lastTold < kBetweenLines) {
        ++row.leftOut;
        return;
    }
    row.lastTold = now;
    std::string line = "closed " + std::string(peer) + ": the limit '" +
                       std::string(DescriptionOf(bound).name) + "' is reached";
    if (const std::uint64_t others = std::exchange(row.leftOut, 0); others != 0) {
        line += " (and " + std::to_string(others) + " more before it)";
    }
    Write(line);
}

void Notices::TellLeftOut() {
    const std::uint64_t now = NowNanoseconds();
    ScopedLock guard(lock);
    for (std::size_t place = 0; place < rows.size(); ++place) {
        Row& row = rows[place];
        if (row.leftOut == 0 || now - row.lastTold < kBetweenLines) {
            continue;
        }
        row.lastTold = now;
        Write("closed " + std::to_string(std::exchange(row.leftOut, 0)) +
              " more connections: the limit '" +
              std::string(DescriptionOf(static_cast<Bound>(place)).name) + "' is reached");
    }
}

void Notices::Write(std::string_view line, bool hasPrefix) {
    if (sink) {
        sink(line);
    } else {
        lines.Write(line, hasPrefix);
    }
}

}  // namespace vantry
