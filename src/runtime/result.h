#pragma once

#include <cassert>
#include <string>
#include <utility>
#include <variant>

namespace vantry {

/// The kinds of errors, as far as a program reacts differently to them. One that has nothing to do
/// with a hub, such as an option or a file that can't be read, is Refused.
enum class ErrorCode {
    /// There is no connection to the hub, or it broke while something was under way.
    NoConnection,
    /// The deadline passed.
    TimedOut,
    /// The hub doesn't have the property, or this connection may not see it.
    NotFound,
    /// What was asked can't be: a value of another type, a property that is announced already.
    Refused,
    /// The program that owned the property has ended, so nobody takes what is written.
    OwnerGone
};

/// What went wrong: a code for programs and a sentence for people.
struct Error {
    ErrorCode code;
    std::string text;
};

/// Holds a value, or the error that says why there is none. Belongs to one thread at a time.
template <typename Value>
class [[nodiscard]] Result {
public:
    Result(Value good) : content(std::move(good)) {}
    Result(Error bad) : content(std::move(bad)) {}

    /// Returns true if there is a value.
    explicit operator bool() const { return content.index() == 0; }
    /// These return the value. To call one of them when there is none is a mistake of the program,
    /// which an assertion reports.
    Value& operator*() { return *Good(*this); }
    const Value& operator*() const { return *Good(*this); }
    Value* operator->() { return Good(*this); }
    const Value* operator->() const { return Good(*this); }
    /// Returns the error. To call it when there is a value is a mistake of the program.
    const Error& error() const {
        const Error* const bad = std::get_if<1>(&content);
        assert(bad != nullptr && "this result holds a value");
        return *bad;
    }

private:
    template <typename Self>
    static auto* Good(Self& self) {
        auto* const good = std::get_if<0>(&self.content);
        assert(good != nullptr && "this result holds an error");
        return good;
    }

    std::variant<Value, Error> content;
};

/// The value of a success that returns nothing.
struct Done {};
/// Success without a value, or the reason of a failure.
using Outcome = Result<Done>;

}  // namespace vantry
