#pragma once

#include <termios.h>

#include <cstddef>
#include <string>

namespace vantry::cli {

/// Wraps texts in the control sequences of their colours, or leaves them as they are.
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

/// The size of a terminal in characters.
struct TerminalSize {
    std::size_t columns;
    std::size_t rows;

    /// Returns the size of the terminal behind standard output, or 80 by 24 if it isn't known.
    static TerminalSize Now();
    /// Returns the number of columns if standard output is a terminal, otherwise the largest
    /// number.
    static std::size_t ColumnsOfOutput();
};

/// Switches the terminal to an empty screen without a cursor, on which keys are read at once and
/// aren't shown. The destructor restores the terminal.
class Screen {
public:
    Screen();
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    /// Blocks until a key is pressed, the time has passed or a signal arrives. Returns the key, or
    /// 0.
    static char KeyWithin(int milliseconds);

private:
    termios before{};
    bool hasKeys;
};

/// Makes SIGINT, SIGTERM and SIGHUP set a flag instead of ending the program.
void CatchInterrupts();
/// Returns whether one of them has arrived. Any thread may call it.
bool Interrupted();

}  // namespace vantry::cli
