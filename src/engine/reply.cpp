// The answer grows in the buffer of its frame. Refusals are collected apart and appended at the
// end. A text is counted before it is appended, also one that is shared, since the answer may be
// the last that keeps it alive. The accounting needs a lock that all connections share, so it is
// called rarely: not at all for an answer of up to 64 KiB, and then once for each 256 KiB, in
// advance. Then it is also found out whether the peer has gone, which takes a system call.

#include "engine/reply.h"

#include <algorithm>
#include <utility>

#include "wire/record_text.h"
#include "wire/section_keys.h"

namespace vantry {
namespace {

/// The bytes of an answer that aren't counted, and the number of bytes that are counted in advance
/// with each call.
constexpr std::size_t kUncounted = 64U << 10U;
constexpr std::size_t kStep = 256U << 10U;
/// What Finish appends to the records.
constexpr std::size_t kEndBytes = 2;

bool IsCopied(std::string_view record) { return MessageFrame::CopiedBytes(record) != 0; }

}  // namespace

Reply::Reply(const Stream& stream, bool everything, Turns* turns)
    : peer(stream),
      owner(stream.Account().get()),
      turnsWhenLong(turns),
      charge(stream.Account(), Resource::Answer) {
    std::string& text = frame.Buffer();
    text.append("{\"");
    if (everything) {
        text.append(Section::kGetAllResponse).append("\": true,\"");
    }
    text.append(Section::kGetResponses).append("\": [");
}

bool Reply::NeedsTurnFor(std::size_t bytes) {
    return turnsWhenLong != nullptr && !turn && frame.Size() + refusals.size() + bytes > kUncounted;
}

bool Reply::AwaitTurn() {
    turn.emplace(turnsWhenLong);
    return IsWanted();
}

bool Reply::IsWanted() const {
    return owner == nullptr || !(owner->IsEnding() || peer.HasPeerGone());
}

bool Reply::Add(const KeptText::Shared& record) {
    if (!Charge(record->size() + 1)) {
        return false;
    }
    frame.Append(record);
    frame.Buffer().push_back(',');
    return true;
}

bool Reply::AddAll(std::span<const KeptText::Shared> records) {
    std::size_t size = 0;
    for (const KeptText::Shared& record : records) {
        size += record->size() + 1;
    }
    if (!Charge(size)) {
        return false;
    }
    std::string& text = frame.Buffer();
    for (auto next = records.begin(); next != records.end();) {
        // A buffer that grows by doubling would copy the answer once more, from and to cold memory.
        std::size_t copied = kEndBytes;
        for (auto other = next; other != records.end() && IsCopied(**other); ++other) {
            copied += (*other)->size() + 1;
        }
        text.reserve(text.size() + copied);
        for (; next != records.end() && IsCopied(**next); ++next) {
            text.append(**next).push_back(',');
        }
        if (next != records.end()) {
            frame.Append(*next++);
            text.push_back(',');
        }
    }
    return true;
}

bool Reply::AddFailure(std::string_view component, std::string_view groupGuid,
                       std::string_view guid) {
    AppendFailureRecord(frame.Buffer(), component, groupGuid, guid);
    frame.Buffer().push_back(',');
    return Charge(0);
}

bool Reply::AddRefusal(std::string_view component, std::string_view groupGuid,
                       std::string_view guid) {
    AppendFailureRecord(refusals, component, groupGuid, guid);
    refusals.push_back(',');
    return Charge(0);
}

bool Reply::Charge(std::size_t more) {
    const std::size_t held = frame.Size() + refusals.size() + more;
    if (owner == nullptr || held <= kUncounted + charge.Amount()) {
        return true;
    }
    const std::optional<Bound> exceeded =
        charge.Add(std::max<std::uint64_t>(kStep, held - charge.Amount()));
    if (exceeded) {
        owner->Cut(*exceeded);
    }
    return IsWanted();
}

MessageFrame Reply::Finish() {
    std::string& text = frame.Buffer();
    text.append(refusals);
    if (text.back() == ',') {
        text.back() = ']';
    } else {
        text.push_back(']');
    }
    text.push_back('}');
    return std::move(frame);
}

}  // namespace vantry
