#pragma once

#include <string_view>

namespace vantry {

/// Where sessions tell of what went wrong.
class SessionLog {
public:
    virtual ~SessionLog() = default;
    /// Takes a line without its end. Any thread may call it; the caller never waits for a file.
    virtual void Write(std::string_view message) = 0;
};

}  // namespace vantry
