// The terminal, by escape sequences that every terminal of today knows. Signals only set a flag or
// end a wait: a program notices them at its next look, so that the screen is always restored by the
// destructor and never by a handler.

#include "cli/base/terminal.h"

#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <limits>
#include <string_view>
#include <utility>

namespace vantry::cli {
namespace {

std::atomic<bool> interrupted{false};

// Set by the handlers of a screen.
volatile std::sig_atomic_t stopAsked = 0;
volatile std::sig_atomic_t continued = 0;

/// Returns the next byte of standard input, or 0 if none comes within the time.
int ByteWithin(int milliseconds) {
    pollfd wait{STDIN_FILENO, POLLIN, 0};
    unsigned char byte = 0;
    if (poll(&wait, 1, milliseconds) <= 0 || read(STDIN_FILENO, &byte, 1) != 1) {
        return 0;
    }
    return byte;
}

/// Returns the key whose sequence follows the escape byte that was read.
int KeyOfSequence() {
    // A terminal sends a sequence at once, so a pause means that the key was Escape itself.
    constexpr int kPause = 30;
    const int begin = ByteWithin(kPause);
    if (begin == 0) {
        return Key::kEscape;
    }
    std::string sequence;
    for (int byte = ByteWithin(kPause); byte != 0; byte = ByteWithin(kPause)) {
        sequence += static_cast<char>(byte);
        if (byte >= '@' && byte <= '~') {
            break;
        }
    }
    constexpr std::pair<std::string_view, int> kSequences[] = {
        {"A", Key::kUp},    {"B", Key::kDown}, {"5~", Key::kPageUp}, {"6~", Key::kPageDown},
        {"H", Key::kHome},  {"F", Key::kEnd},  {"1~", Key::kHome},   {"4~", Key::kEnd},
        {"7~", Key::kHome}, {"8~", Key::kEnd}};
    for (const auto& [text, key] : kSequences) {
        if ((begin == '[' || begin == 'O') && sequence == text) {
            return key;
        }
    }
    return Key::kOther;
}

void Put(std::string_view text) {
    static_cast<void>(!write(STDOUT_FILENO, text.data(), text.size()));
}

}  // namespace

TerminalSize TerminalSize::Now() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0 || size.ws_row == 0) {
        return {80, 24};
    }
    return {size.ws_col, size.ws_row};
}

std::size_t TerminalSize::ColumnsOfOutput() {
    return isatty(STDOUT_FILENO) == 1 ? Now().columns : std::numeric_limits<std::size_t>::max();
}

std::string Style::ToColumn(std::size_t columns, std::string_view before) const {
    const bool isPlain = std::none_of(before.begin(), before.end(), [](char byte) {
        return static_cast<unsigned char>(byte) >= 0x80;
    });
    return !fancy || isPlain || columns >= TerminalSize::Now().columns
               ? ""
               : "\x1b[" + std::to_string(columns + 1) + "G";
}

Screen::Screen() : hasKeys(tcgetattr(STDIN_FILENO, &before) == 0) {
    Enter();
    struct sigaction action {};
    action.sa_handler = [](int) { stopAsked = 1; };
    sigaction(SIGTSTP, &action, nullptr);
    action.sa_handler = [](int) { continued = 1; };
    sigaction(SIGCONT, &action, nullptr);
}

Screen::~Screen() {
    signal(SIGTSTP, SIG_DFL);
    signal(SIGCONT, SIG_DFL);
    Leave();
}

void Screen::Enter() const {
    if (hasKeys) {
        termios quiet = before;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
    }
    Put("\x1b[?1049h\x1b[?25l");
}

void Screen::Leave() const {
    Put("\x1b[?25h\x1b[?1049l");
    if (hasKeys) {
        tcsetattr(STDIN_FILENO, TCSANOW, &before);
    }
}

void Screen::StopIfAsked() {
    if (stopAsked != 0) {
        stopAsked = 0;
        Leave();
        struct sigaction handler {};
        struct sigaction action {};
        action.sa_handler = SIG_DFL;
        sigaction(SIGTSTP, &action, &handler);
        raise(SIGTSTP);
        sigaction(SIGTSTP, &handler, nullptr);
    }
    if (continued != 0) {
        continued = 0;
        Enter();
    }
}

int Screen::KeyWithin(int milliseconds) {
    StopIfAsked();
    const int key = ByteWithin(milliseconds);
    StopIfAsked();
    return key == Key::kEscape ? KeyOfSequence() : key == '\b' ? Key::kBackspace : key;
}

std::string WholeScreen(const std::vector<std::string>& lines, const std::string& last,
                        const TerminalSize& size) {
    std::string screen = "\x1b[H";
    for (std::size_t row = 0; row + 1 < size.rows; ++row) {
        screen += "\x1b[K" + (row < lines.size() ? lines[row] : "") + "\r\n";
    }
    return screen + "\x1b[K" + last;
}

void CatchInterrupts() {
    struct sigaction action {};
    action.sa_handler = [](int) { interrupted = true; };
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaction(number, &action, nullptr);
    }
    // A handler that does nothing: the signal of a changed window size interrupts the wait for a
    // key, so that the screen is drawn again at once.
    action.sa_handler = [](int) {};
    sigaction(SIGWINCH, &action, nullptr);
}

bool Interrupted() { return interrupted; }

}  // namespace vantry::cli
