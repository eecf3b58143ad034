// The terminal, by escape sequences that every terminal of today knows. Signals only set a flag or
// end a wait: a program notices them at its next look, so that the screen is always restored by the
// destructor and never by a handler.

#include "cli/base/terminal.h"

#include <poll.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <limits>
#include <string_view>

namespace vantry::cli {
namespace {

std::atomic<bool> interrupted{false};

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

Screen::Screen() : hasKeys(tcgetattr(STDIN_FILENO, &before) == 0) {
    if (hasKeys) {
        termios quiet = before;
        quiet.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
        tcsetattr(STDIN_FILENO, TCSANOW, &quiet);
    }
    Put("\x1b[?1049h\x1b[?25l");
}

Screen::~Screen() {
    Put("\x1b[?25h\x1b[?1049l");
    if (hasKeys) {
        tcsetattr(STDIN_FILENO, TCSANOW, &before);
    }
}

char Screen::KeyWithin(int milliseconds) {
    pollfd wait{STDIN_FILENO, POLLIN, 0};
    char key = 0;
    if (poll(&wait, 1, milliseconds) <= 0 || read(STDIN_FILENO, &key, 1) != 1) {
        return 0;
    }
    return key;
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
