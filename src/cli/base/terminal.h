#pragma once

#include <termios.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vantry::cli {

/// Wraps texts in the control sequences of their colours, or leaves them as they are.
class Style {
public:
    explicit Style(bool coloured) : fancy(coloured) {}

    std::string Heading(const std::string& text) const { return Wrapped("\x1b[1;36m", text); }
    std::string Faint(const std::string& text) const { return Wrapped("\x1b[2m", text); }
    std::string Changed(const std::string& text) const { return Wrapped("\x1b[1;33m", text); }
    std::string Bad(const std::string& text) const { return Wrapped("\x1b[1;31m", text); }
    /// Returns what places the cursor behind so many columns if terminals may disagree about the
    /// width of the text before it, as they do about emojis. Empty if colours aren't wanted.
    std::string ToColumn(std::size_t columns, std::string_view before) const;
    /// Returns the text with foreground and background swapped, which isn't a colour.
    static std::string Selected(const std::string& text) { return "\x1b[7m" + text + "\x1b[0m"; }

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

/// The keys that aren't characters.
struct Key {
    static constexpr int kBackspace = 0x7F;
    static constexpr int kEscape = 0x1B;
    /// Smaller numbers are the bytes of characters.
    static constexpr int kFirstSpecial = 0x100;
    static constexpr int kUp = kFirstSpecial;
    static constexpr int kDown = kFirstSpecial + 1;
    static constexpr int kPageUp = kFirstSpecial + 2;
    static constexpr int kPageDown = kFirstSpecial + 3;
    static constexpr int kHome = kFirstSpecial + 4;
    static constexpr int kEnd = kFirstSpecial + 5;
    static constexpr int kOther = kFirstSpecial + 6;
};

/// Switches the terminal to an empty screen without a cursor, on which keys are read at once and
/// aren't shown. The destructor restores the terminal. Ctrl-Z restores it too and stops the
/// program, which switches it again when it continues. There may be one at a time, which the main
/// thread uses.
class Screen {
public:
    Screen();
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    /// Blocks until a key is pressed, the time has passed or a signal arrives. Returns the byte of
    /// the key or one of Key, or 0.
    int KeyWithin(int milliseconds);

private:
    void Enter() const;
    void Leave() const;
    void StopIfAsked();

    termios before{};
    bool hasKeys;
};

/// Returns a text that draws the lines from the top left corner of a terminal of this size, with
/// `last` in its last line, and clears what was there before. Lines beyond the screen are left out.
/// No line may need more columns than the screen has.
std::string WholeScreen(const std::vector<std::string>& lines, const std::string& last,
                        const TerminalSize& size);

/// Makes SIGINT, SIGTERM and SIGHUP set a flag instead of ending the program.
void CatchInterrupts();
/// Returns whether one of them has arrived. Any thread may call it.
bool Interrupted();

}  // namespace vantry::cli
