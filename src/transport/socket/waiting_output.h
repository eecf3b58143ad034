#pragma once

#include <sys/uio.h>

#include <cstddef>
#include <list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/accounting.h"
#include "platform/shared_frame.h"
#include "transport/socket/output_part.h"

namespace vantry {

/// The bytes that a peer hasn't taken yet, in their order. They are counted in the account of the
/// connection, if it has one. Not thread-safe: the lock of the output guards it.
class WaitingOutput {
public:
    WaitingOutput() = default;
    ~WaitingOutput() { DropAll(); }
    WaitingOutput(const WaitingOutput&) = delete;
    WaitingOutput& operator=(const WaitingOutput&) = delete;

    /// Sets the account that counts the bytes, which may be empty. Called before the first Keep.
    void ChargeTo(std::shared_ptr<ConnectionAccount> owner) { account = std::move(owner); }
    /// Returns the account, which is empty for internal connections.
    const std::shared_ptr<ConnectionAccount>& Account() const { return account; }

    std::size_t Bytes() const { return bytes; }
    bool Empty() const { return bytes == 0; }

    /// Keeps what follows the first `taken` bytes of a frame. Returns the bound that is exceeded
    /// then, if one is.
    [[nodiscard]] std::optional<Bound> Keep(std::span<const OutputPart> parts, std::size_t taken);
    /// Stores the first texts in `vectors`, as far as there is space. Returns the filled part,
    /// whose texts live until the next call that changes this object.
    std::span<iovec> First(std::span<iovec> vectors) const;
    /// Removes the first `count` bytes, which have been sent.
    void Drop(std::size_t count);
    void DropAll();

private:
    struct Piece {
        std::string own;
        /// If it isn't empty, it is the text in place of `own`.
        SharedFrame::Text shared;

        std::string_view Text() const { return shared ? *shared : own; }
    };

    /// Keeps `rest`, which is the end of the part.
    std::optional<Bound> KeepPart(const OutputPart& part, std::string_view rest);
    void DropFirst();

    std::shared_ptr<ConnectionAccount> account;
    std::list<Piece> pieces;
    /// How many bytes of the first piece were sent.
    std::size_t sentOfFirst = 0;
    std::size_t bytes = 0;
};

}  // namespace vantry
