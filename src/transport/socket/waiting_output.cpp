// What waits for a peer is a list of pieces: copies, or references to texts that several
// connections share. A short text is appended to the copy before it, because a piece costs more
// than such a text. A piece is counted in the account until its last byte was sent.

#include "transport/socket/waiting_output.h"

#include <algorithm>
#include <utility>

namespace vantry {
namespace {

/// Shorter texts are appended to the piece before them.
constexpr std::size_t kShort = 4U << 10U;
constexpr std::size_t kLongestJoined = 64U << 10U;
/// What a piece needs in the list and in the accounting beside its text.
constexpr std::size_t kBytesOfPiece = 160;

}  // namespace

std::optional<Bound> WaitingOutput::Keep(std::span<const OutputPart> parts, std::size_t taken) {
    std::optional<Bound> exceeded;
    for (const OutputPart& part : parts) {
        const std::size_t skipped = std::min(taken, part.text.size());
        taken -= skipped;
        if (skipped < part.text.size()) {
            const std::optional<Bound> now = KeepPart(part, part.text.substr(skipped));
            exceeded = now ? now : exceeded;
        }
    }
    return exceeded;
}

std::optional<Bound> WaitingOutput::KeepPart(const OutputPart& part, std::string_view rest) {
    bytes += rest.size();
    if (part.shared && rest.size() >= kShort) {
        if (pieces.empty()) {
            sentOfFirst = part.text.size() - rest.size();
        }
        pieces.push_back({{}, part.shared});
        if (!account) {
            return std::nullopt;
        }
        // A text that hundreds wait for is counted once, but each of them has a piece for it.
        const std::optional<Bound> exceeded = account->Add(Resource::Output, kBytesOfPiece);
        const std::optional<Bound> now = account->AddShared(part.shared.get(), part.text.size());
        return now ? now : exceeded;
    }
    const bool joins = !pieces.empty() && !pieces.back().shared && rest.size() < kShort &&
                       pieces.back().own.size() < kLongestJoined;
    if (!joins) {
        pieces.emplace_back();
    }
    pieces.back().own.append(rest);
    return account ? account->Add(Resource::Output, rest.size()) : std::nullopt;
}

std::span<iovec> WaitingOutput::First(std::span<iovec> vectors) const {
    std::size_t count = 0;
    std::size_t skip = sentOfFirst;
    for (auto piece = pieces.begin(); piece != pieces.end() && count < vectors.size(); ++piece) {
        vectors[count++] = VectorOf(piece->Text().substr(std::exchange(skip, 0)));
    }
    return vectors.first(count);
}

void WaitingOutput::Drop(std::size_t count) {
    bytes -= count;
    sentOfFirst += count;
    while (!pieces.empty() && sentOfFirst >= pieces.front().Text().size()) {
        sentOfFirst -= pieces.front().Text().size();
        DropFirst();
    }
}

void WaitingOutput::DropAll() {
    while (!pieces.empty()) {
        DropFirst();
    }
    bytes = 0;
    sentOfFirst = 0;
}

void WaitingOutput::DropFirst() {
    const Piece& first = pieces.front();
    if (account && first.shared) {
        account->RemoveShared(first.shared.get());
        account->Remove(Resource::Output, kBytesOfPiece);
    } else if (account) {
        account->Remove(Resource::Output, first.own.size());
    }
    pieces.pop_front();
}

}  // namespace vantry
