#pragma once

#include <termios.h>

#include <cstddef>
#include <string>

namespace vantry::cli {

/// Colours, or none.
class Style {
public:
    explicit Style(bool coloured) : fancy(coloured) {}

    std::string Heading(const std::string& text) const { return Wrapped("\x1b[1;36m", text); }
    std::string Faint(const std::string& text) const { return Wrapped("\x1b[2m", text); }
    std::string Changed(const std::string& text) const { return Wrapped("\x1b[1;33m", text); }
    std::string Bad(const std::string& text) const { return Wrapped("\x1b[1;31m", text); }

private:
    std::string Wrapped(const char* code, const std::string& text) const {
        return fancy ? code + text + "\x1b[0m" : text;
    }

    bool fancy;
};

/// How large the terminal is.
struct TerminalSize {
    std::size_t columns;
    std::size_t rows;

    static TerminalSize Now();
};

/// The terminal as a screen to draw on, with keys that arrive at once and aren't shown. It is as it
/// was when the object has gone.
class Screen {
public:
    Screen();
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    /// Waits for a key for at most so long; 0 if none came.
    static char KeyWithin(int milliseconds);

private:
    termios before{};
    bool hasKeys;
};

/// Makes Ctrl-C and a closed terminal set a flag instead of ending the program at once.
void CatchInterrupts();
bool Interrupted();

}  // namespace vantry::cli
