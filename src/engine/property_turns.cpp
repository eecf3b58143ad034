// How a message is read, and what it waits for before. It is parsed without a lock. The most
// frequent messages, which read a few properties or only report, are taken apart without a tree.
//
// A text of more than kLargeText bytes that arrives over an external stream waits for a turn, so
// that only a fixed number of such texts at a time need memory for their tree and their answer.
// While a text waits and while it is processed, it is counted as received text. A shorter message
// waits for a turn of another kind if it takes much more work than its length says: one to be read
// if it needs a tree and isn't very short, and one to be answered if it asks for everything, for a
// group or for long values. Otherwise hundreds of threads would meet at the lock of the table and
// in the allocator. Other messages never wait.
//
// Nothing is waited for while a turn is held: no other turn, and no room for reports. A message
// that has a turn to be read is answered in it, or read again when it has one to be answered.

#include "engine/property_engine.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/freed_memory.h"
#include "transport/frame/frame.h"
#include "transport/frame/frame_reader.h"

namespace vantry {
namespace {

constexpr std::size_t kLargeText = 64U << 10U;
/// A shorter text waits for no turn because of its tree, which takes up to 26 times its length.
constexpr std::size_t kShortText = 2U << 10U;
/// The tree of such a text took tens of megabytes, which the allocator would keep for itself.
constexpr std::size_t kVeryLargeText = 512U << 10U;

bool AsksForGroup(std::span<const WantedProperty> wanted) {
    return std::any_of(wanted.begin(), wanted.end(),
                       [](const WantedProperty& one) { return one.guids.guid.empty(); });
}

/// Returns whether the request asks for everything or for a group.
bool AsksForMany(const RequestSections& request) {
    bool many = request.WantEverything();
    for (const JsonValue* const section : {request.getRequests, request.subscribeRequests}) {
        RequestSections::ForEachEntry(section, [&](const EntryView& entry) {
            many = many || entry.Guid().empty();
            return !many;
        });
    }
    return many;
}

}  // namespace

bool PropertyEngine::IsEnding(const Stream& stream) {
    const std::shared_ptr<ConnectionAccount>& account = stream.Account();
    return account && account->IsEnding();
}

Turns* PropertyEngine::LongAnswers(const Stream& stream) {
    const std::shared_ptr<ConnectionAccount>& account = stream.Account();
    return account ? &account->Owner().LongAnswers() : nullptr;
}

std::uint32_t PropertyEngine::ProcessMessage(std::shared_ptr<Stream> stream) {
    std::string text;
    if (ReadFrame(*stream, text, Frame::kMaximumText) != FrameEnd::Whole) {
        return 0;
    }
    const bool isLarge = stream->Account() && text.size() > kLargeText;
    return isLarge ? ProcessLargeText(stream, text) : ProcessText(stream, text, false);
}

std::uint32_t PropertyEngine::ProcessLargeText(const StreamReference& stream,
                                               std::string_view text) {
    const std::shared_ptr<ConnectionAccount> account = stream->Account();
    account->NoteWhole();
    ScopedCharge charge(account, Resource::ReceivedText);
    if (charge.Add(text.size())) {
        account->Owner().Relieve(Resource::ReceivedText);
    }
    if (account->WasCut()) {
        return 0;
    }
    std::optional<ScopedTurn> turn;
    TakeTurnWithRoom(*stream, account->Owner().LargeTexts(), turn);
    account->NoteArrival();
    if (IsEnding(*stream)) {
        return 0;
    }
    const std::uint32_t result = ProcessText(stream, text, true);
    if (text.size() > kVeryLargeText) {
        ReturnFreedMemory();
    }
    return result;
}

void PropertyEngine::TakeTurnWithRoom(const Stream& stream, Turns& turns,
                                      std::optional<ScopedTurn>& turn) {
    turn.emplace(&turns);
    while (ExceededTwice() && !IsEnding(stream)) {
        turn.reset();
        AwaitRoom(*stream.Account());
        turn.emplace(&turns);
    }
}

std::uint32_t PropertyEngine::ProcessText(const StreamReference& stream, std::string_view text,
                                          bool isLarge) {
    const PlainReads reads(text);
    if (!reads.Entries().empty()) {
        Turns* const turns = isLarge ? nullptr : LongAnswers(*stream);
        const bool isDemanding = turns != nullptr && AsksForGroup(reads.Entries());
        const ScopedTurn turn(isDemanding ? turns : nullptr);
        return IsEnding(*stream)
                   ? 0
                   : HandleReads(stream, reads.Entries(), isDemanding ? nullptr : turns);
    }
    if (PlainReports reports(text); reports.HasNext()) {
        return HandleReports(stream, reports, !isLarge);
    }
    return ProcessTree(stream, text, isLarge);
}

std::uint32_t PropertyEngine::ProcessTree(const StreamReference& stream, std::string_view text,
                                          bool isLarge) {
    Turns* const answers = LongAnswers(*stream);
    if (answers == nullptr || isLarge) {
        return *ReadAndHandle(stream, text, nullptr, true);
    }
    {
        std::optional<ScopedTurn> turn;
        const bool isDemanding = text.size() > kShortText;
        if (isDemanding) {
            TakeTurnWithRoom(*stream, stream->Account()->Owner().DemandingTexts(), turn);
        }
        if (const auto result =
                ReadAndHandle(stream, text, isDemanding ? nullptr : answers, false)) {
            return *result;
        }
    }
    // The tree isn't kept while the request waits, so the text is read again.
    std::optional<ScopedTurn> turn;
    TakeTurnWithRoom(*stream, *answers, turn);
    return *ReadAndHandle(stream, text, nullptr, true);
}

std::optional<std::uint32_t> PropertyEngine::ReadAndHandle(const StreamReference& stream,
                                                           std::string_view text,
                                                           Turns* turnsWhenLong,
                                                           bool mayAnswerMany) {
    if (IsEnding(*stream)) {
        return 0;
    }
    PropertyMessage request;
    std::string_view failure;
    if (request.ReadText(text, failure)) {
        const RequestSections sections = request.Sections();
        if (!mayAnswerMany && AsksForMany(sections)) {
            return std::nullopt;
        }
        return HandleMessage(stream, sections, turnsWhenLong);
    }
    if (!failure.empty()) {
        platform.notices.TellParserFailure(failure);
    }
    return 0;
}

}  // namespace vantry
