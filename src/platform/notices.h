#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/limits.h"
#include "platform/standard_error_lines.h"
#include "runtime/lock.h"

namespace vantry {

/// Reports to the operator, one line at a time, by way of the program around the hub. All
/// operations are thread-safe; the lines of different threads never mix. An operation blocks while
/// the sink of another thread's line runs, so a sink must not wait for whoever reads the lines.
class Notices {
public:
    using Sink = std::function<void(std::string_view line)>;

    /// Lines go to standard error, after the prefix "vantry: ", until SetSink. No operation waits
    /// for whoever reads them; the destructor waits for up to 1 s (see StandardErrorLines).
    Notices() = default;

    /// Replaces the prefix of later lines.
    void SetPrefix(std::string prefix) { lines.SetPrefix(std::move(prefix)); }

    /// Passes all later lines, without their line ends, to `writeLine`. The sink runs under this
    /// object's lock, so it must not call any operation of it.
    void SetSink(Sink writeLine);

    /// Blocks until the lines for standard error are written or the time has passed.
    void Flush(std::uint32_t milliseconds) { lines.Flush(milliseconds); }

    /// Reports one line.
    void Tell(std::string_view line);
    /// Reports that a peer has sent a text that can't be parsed: "error: ", which stands in place
    /// of the prefix, and the message of the parser.
    void TellParserFailure(std::string_view message);
    /// Reports that the connection to `peer` was closed because of `bound`. For each bound at most
    /// one line a second is written; further ones are only counted.
    void TellClosed(Bound bound, std::string_view peer);
    /// Reports how many lines TellClosed has left out, for each bound whose second has passed. The
    /// hub calls it regularly, so that a count is reported even if no connection is closed after
    /// it.
    void TellLeftOut();

private:
    void Write(std::string_view line, bool hasPrefix = true) REQUIRES(lock);

    struct Row {
        std::uint64_t lastTold = 0;
        std::uint64_t leftOut = 0;
    };

    StandardErrorLines lines{"vantry: "};
    Mutex lock;
    /// Empty while lines go to standard error.
    Sink sink GUARDED_BY(lock);
    std::array<Row, kBoundCount> rows GUARDED_BY(lock){};
};

}  // namespace vantry
