#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/limits.h"
#include "runtime/lock.h"

namespace vantry {

/// Tells the program around the hub what its operator should know, one line at a time. Any thread
/// may call any operation; the lines of different threads never mix.
class Notices {
public:
    using Sink = std::function<void(std::string_view line)>;

    /// Lines go to standard error, after the prefix "vantry: ", until SetSink.
    Notices();

    /// Hands all later lines, which have no line end, to `writeLine`. It runs under this object's
    /// lock, so it must not call back into it.
    void SetSink(Sink writeLine);

    void Tell(std::string_view line);
    /// Tells that the connection to `peer` was closed because of `bound`. At most one line a second
    /// goes out for each bound; the others are counted.
    void TellClosed(Bound bound, std::string_view peer);
    /// Tells how many lines of TellClosed were left out, for each bound whose second is over. The
    /// hub calls it from time to time, so that a count never waits for the next closing.
    void TellLeftOut();

private:
    struct Row {
        std::uint64_t lastTold = 0;
        std::uint64_t leftOut = 0;
    };

    Lock lock;
    Sink sink GUARDED_BY(lock);
    std::array<Row, kBoundCount> rows GUARDED_BY(lock){};
};

}  // namespace vantry
