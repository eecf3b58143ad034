// libmosquitto 2.0 has assertions that a packet can make fail: a property of version 5 that it
// doesn't know is logged without a handle, and the logging asserts that there is one. A broker must
// not be able to end this program, so the function that a failed assertion calls is replaced here.
// While the library works for a connection, it throws, through frames of C that hold no lock at
// that place and have tables for unwinding. In all other cases it ends the program as usual.

#include "mqtt/library_guard.h"

#include <cstdio>
#include <cstdlib>

namespace {

struct AssertionFailed {};

thread_local bool isGuarded = false;

}  // namespace

// NOLINTNEXTLINE(bugprone-reserved-identifier): the name is of the C library.
extern "C" [[noreturn]] __attribute__((visibility("default"))) void __assert_fail(
    const char* assertion, const char* file, unsigned line, const char* function) {
    if (isGuarded) {
        isGuarded = false;
        throw AssertionFailed();
    }
    std::fprintf(stderr, "%s:%u: %s: Assertion `%s' failed.\n", file, line, function, assertion);
    std::abort();
}

namespace vantry::mqtt {

std::optional<int> Guarded(const std::function<int()>& work) {
    try {
        isGuarded = true;
        const int code = work();
        isGuarded = false;
        return code;
    } catch (const AssertionFailed&) {
        return std::nullopt;
    }
}

}  // namespace vantry::mqtt
