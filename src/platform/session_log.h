#pragma once

#include <string_view>

namespace vantry {

/// The log that sessions write errors to.
class SessionLog {
public:
    virtual ~SessionLog() = default;
    /// Writes a line, which is passed without its line end. Any thread may call it; it doesn't wait
    /// for a disk. A line that can't be written is dropped.
    virtual void Write(std::string_view message) = 0;
};

}  // namespace vantry
