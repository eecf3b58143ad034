#pragma once

#include <string>
#include <utility>
#include <variant>

namespace vantry::client {

enum class ErrorCode {
    /// There is no connection to the hub, or it broke while something was under way.
    NoConnection,
    /// The deadline passed.
    TimedOut,
    /// The hub doesn't have the property, or this connection may not see it.
    NotFound,
    /// What was asked can't be: a value of another type, a property that is announced already.
    Refused
};

/// What went wrong, for programs and for people.
struct Error {
    ErrorCode code;
    std::string text;
};

/// A value, or the reason why there is none.
template <typename Value>
class [[nodiscard]] Result {
public:
    Result(Value good) : content(std::move(good)) {}
    Result(Error bad) : content(std::move(bad)) {}

    explicit operator bool() const { return content.index() == 0; }
    /// Only of a good one.
    Value& operator*() { return *std::get_if<0>(&content); }
    const Value& operator*() const { return *std::get_if<0>(&content); }
    Value* operator->() { return std::get_if<0>(&content); }
    const Value* operator->() const { return std::get_if<0>(&content); }
    /// Only of a bad one.
    const Error& error() const { return *std::get_if<1>(&content); }

private:
    std::variant<Value, Error> content;
};

struct Done {};
/// Success without a value, or the reason of a failure.
using Outcome = Result<Done>;

}  // namespace vantry::client
