#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/accounting.h"
#include "platform/turns.h"
#include "property/kept_text.h"
#include "transport/stream/stream.h"
#include "wire/message_frame.h"

namespace vantry {

/// Assembles the answer to one request from the texts of records. Used by one thread.
///
/// Its bytes, copied or shared, are counted in the account of an external connection, in steps, so
/// that a small answer needs no accounting. When the connection exceeds its bound it is closed, and
/// the answer is abandoned, as is one whose peer has gone.
class Reply {
public:
    /// The answer is one to `stream`, which must outlive it. `everything` marks it as one to a
    /// request for all properties. A long answer needs one of `turns`, which may be null, and keeps
    /// it.
    Reply(const Stream& stream, bool everything, Turns* turns);

    /// Returns false if the answer is to be abandoned: work of the connection is dropped, or the
    /// peer has gone. It may ask the system, so it isn't for short answers.
    bool IsWanted() const;
    /// Returns whether the answer has to wait for a turn before a record of `bytes` bytes is added.
    bool NeedsTurnFor(std::size_t bytes);
    /// Waits for the turn. The caller keeps nothing alive meanwhile that others want to release,
    /// such as a property. Returns as Add does: an answer that nobody wants any more is abandoned.
    [[nodiscard]] bool AwaitTurn();
    bool HoldsTurn() const { return turn.has_value(); }
    /// Appends a record, which is shared if it is long. Returns false if the answer has been
    /// abandoned.
    [[nodiscard]] bool Add(const KeptText::Shared& record);
    /// Appends many records, and makes room at once for those that it copies. Returns as Add does.
    [[nodiscard]] bool AddAll(std::span<const KeptText::Shared> records);
    /// Appends a record which says that the requested property wasn't found. Returns as Add does.
    [[nodiscard]] bool AddFailure(std::string_view component, std::string_view groupGuid,
                                  std::string_view guid);
    /// Does the same for a property that the peer may not see. These records follow all others.
    [[nodiscard]] bool AddRefusal(std::string_view component, std::string_view groupGuid,
                                  std::string_view guid);

    /// Completes the answer and returns its frame. The accounting lasts until this object is
    /// destroyed, so it must exist while the frame is written.
    [[nodiscard]] MessageFrame Finish();

private:
    /// Counts what the answer holds, and `more` bytes. Returns as Add does.
    [[nodiscard]] bool Charge(std::size_t more);

    const Stream& peer;
    /// Null for an internal stream. The stream keeps it.
    ConnectionAccount* const owner;
    Turns* const turnsWhenLong;
    std::optional<ScopedTurn> turn;
    ScopedCharge charge;
    MessageFrame frame;
    std::string refusals;
};

}  // namespace vantry
