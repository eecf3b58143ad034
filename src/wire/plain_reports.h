#pragma once

#include <string_view>

#include "wire/plain_tokens.h"
#include "wire/record_text.h"

namespace vantry {

/// The records of a message that does nothing but report, found without a tree of its text. The
/// text must outlive this object and the records, which have the texts of the message as they are.
/// Not thread-safe.
class PlainReports {
public:
    explicit PlainReports(std::string_view text);

    /// Returns whether there is a record that wasn't taken. If that is false in the beginning, the
    /// message is of another kind or is written in an unusual way, and the caller has to parse the
    /// text.
    bool HasNext() const { return hasNext; }
    /// Takes the next record in order. There must be one.
    RecordView Next();

private:
    PlainTokens rest;
    bool hasNext = false;
};

}  // namespace vantry
