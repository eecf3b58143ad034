#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/accounting.h"
#include "wire/message_frame.h"

namespace vantry {

/// The answer to one request while it is put together from the texts of records. Belongs to one
/// thread.
///
/// What it holds is counted in the account of an external connection, in steps, so that a small
/// answer costs nothing. Over the bound the connection is closed, and the answer is given up.
class Reply {
public:
    /// `account` is empty for an internal stream. `everything` marks the answer to a request for
    /// all properties.
    Reply(std::shared_ptr<ConnectionAccount> account, bool everything);

    /// Appends a record. Returns false if the answer has been given up.
    [[nodiscard]] bool Add(std::string_view record);
    /// Appends a record that nothing was found.
    [[nodiscard]] bool AddFailure(std::string_view component, std::string_view groupGuid,
                                  std::string_view guid);
    /// The same for what was found and may not be seen: it stands behind all other records.
    [[nodiscard]] bool AddRefusal(std::string_view component, std::string_view groupGuid,
                                  std::string_view guid);

    /// Ends the answer and hands out its frame. What it counts stays counted while this object is
    /// there.
    MessageFrame Finish();

private:
    [[nodiscard]] bool Charge();

    const std::shared_ptr<ConnectionAccount> owner;
    ScopedCharge charge;
    MessageFrame frame;
    std::string refusals;
};

}  // namespace vantry
