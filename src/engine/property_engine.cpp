// The processing of a message. The engine reads the whole message, parses it without holding a
// lock, and processes its sections in a fixed order. The entries of a section are read from the
// parsed tree without being copied. The most frequent messages, which read a few properties or only
// report, are taken apart without a tree. The reply is assembled from the kept texts of the
// records, and written with the send lock of its stream held.
//
// A text of more than kLargeText bytes that arrives over an external stream waits for a turn, so
// that only a fixed number of such texts at a time need memory for their tree and their answer.
// While a text waits and while it is processed, it is counted as received text. A shorter message
// waits for a turn of another kind if it takes much more work than its length says: if it needs a
// tree and isn't very short, or asks for everything or for a group. Otherwise hundreds of threads
// would meet at the lock of the table and in the allocator. Other messages never wait.

#include "engine/property_engine.h"

#include <algorithm>
#include <string>
#include <utility>

#include "platform/freed_memory.h"
#include "transport/frame/frame.h"
#include "transport/frame/frame_reader.h"

namespace vantry {
namespace {

constexpr std::size_t kUsualSubscribers = 20;
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

bool PropertyEngine::WasCut(const Stream& stream) {
    const std::shared_ptr<ConnectionAccount>& account = stream.Account();
    return account && account->WasCut();
}

bool PropertyEngine::IsEnding(const Stream& stream) {
    const std::shared_ptr<ConnectionAccount>& account = stream.Account();
    return account && (account->WasCut() || account->IsDismissed());
}

Turns* PropertyEngine::DemandingMessages(const Stream& stream) {
    const std::shared_ptr<ConnectionAccount>& account = stream.Account();
    return account ? &account->Owner().DemandingMessages() : nullptr;
}

PropertyEngine::PropertyEngine(std::shared_ptr<PropertyStore> propertyStore, ThreadReaper& reaper,
                               std::uint32_t priority, std::shared_ptr<Property> component,
                               Platform& machine)
    : PropertyEngineBase(std::move(propertyStore), reaper, priority, std::move(component)),
      platform(machine),
      accounting(machine.accounting),
      reportRights(machine.settings, OwnComponent().Guid()) {
    subscribers.reserve(kUsualSubscribers);
    StartPublishing();
}

PropertyEngine::~PropertyEngine() {
    stopping = true;
    stopEvent.Set();
    WaitForPublishLoop();
}

std::uint32_t PropertyEngine::ProcessMessage(std::shared_ptr<Stream> stream) {
    std::string text;
    if (ReadFrame(*stream, text, Frame::kMaximumText) != FrameEnd::Whole) {
        return 0;
    }
    const bool isLarge = stream->Account() && text.size() > kLargeText;
    return isLarge ? ProcessLargeText(stream, text) : ProcessText(stream, text);
}

std::uint32_t PropertyEngine::ProcessLargeText(const StreamReference& stream,
                                               std::string_view text) {
    const std::shared_ptr<ConnectionAccount> account = stream->Account();
    ScopedCharge charge(account, Resource::ReceivedText);
    if (charge.Add(text.size())) {
        account->Owner().Relieve(Resource::ReceivedText);
    }
    if (account->WasCut()) {
        return 0;
    }
    const ScopedTurn turn(&account->Owner().LargeTexts());
    account->NoteArrival();
    if (IsEnding(*stream)) {
        return 0;
    }
    const std::uint32_t result = ProcessText(stream, text);
    if (text.size() > kVeryLargeText) {
        ReturnFreedMemory();
    }
    return result;
}

std::uint32_t PropertyEngine::ProcessText(const StreamReference& stream, std::string_view text) {
    const PlainReads reads(text);
    if (!reads.Entries().empty()) {
        Turns* const turns = DemandingMessages(*stream);
        const bool isDemanding = turns != nullptr && AsksForGroup(reads.Entries());
        const ScopedTurn turn(isDemanding ? turns : nullptr);
        return IsEnding(*stream)
                   ? 0
                   : HandleReads(stream, reads.Entries(), isDemanding ? nullptr : turns);
    }
    if (PlainReports reports(text); reports.HasNext()) {
        return HandleReports(stream, reports);
    }
    return ProcessTree(stream, text);
}

std::uint32_t PropertyEngine::ProcessTree(const StreamReference& stream, std::string_view text) {
    Turns* turns = DemandingMessages(*stream);
    const bool isDemanding = text.size() > kShortText && text.size() <= kLargeText;
    const ScopedTurn turnToRead(isDemanding ? std::exchange(turns, nullptr) : nullptr);
    PropertyMessage request;
    std::string_view failure;
    if (request.ReadText(text, failure)) {
        const RequestSections sections = request.Sections();
        const ScopedTurn turnToAnswer(AsksForMany(sections) ? std::exchange(turns, nullptr)
                                                            : nullptr);
        return IsEnding(*stream) ? 0 : HandleMessage(stream, sections, turns);
    }
    if (!failure.empty()) {
        platform.notices.TellParserFailure(failure);
    }
    return 0;
}

std::uint32_t PropertyEngine::HandleMessage(const StreamReference& stream,
                                            const RequestSections& request, Turns* turnsWhenLong) {
    const bool external = IsExternalStream(*stream);
    // The order of the sections is fixed: each step sees the effect of the steps before it.
    if (!external && request.setRequests != nullptr) {
        ApplySetRequests(request);
    }
    // The subscription is entered before its values are read; otherwise a change between the two
    // would not be reported to the subscriber.
    if (request.Subscribe()) {
        EnterSubscription(stream, request);
    }
    std::optional<Reply> reply;
    if (request.Read()) {
        reply.emplace(stream->Account(), request.WantEverything(), turnsWhenLong);
        if (!Answer(request, external, *reply)) {
            return 0;
        }
    }
    if (request.getResponses != nullptr) {
        TakeReports(stream, request);
    }
    if (request.disconnect != nullptr) {
        DropSubscriber(*stream);
        return 0;
    }
    if (WasCut(*stream)) {
        return 0;
    }
    return reply ? WriteReply(*stream, *reply) : 1;
}

std::uint32_t PropertyEngine::HandleReads(const StreamReference& stream,
                                          std::span<const WantedProperty> wanted,
                                          Turns* turnsWhenLong) {
    const bool external = IsExternalStream(*stream);
    Reply reply(stream->Account(), false, turnsWhenLong);
    for (const WantedProperty& property : wanted) {
        if (!AnswerEntry(property, external, reply)) {
            return 0;
        }
    }
    return WasCut(*stream) ? 0 : WriteReply(*stream, reply);
}

std::uint32_t PropertyEngine::HandleReports(const StreamReference& stream, PlainReports& reports) {
    bool goesOn = true;
    while (goesOn && reports.HasNext()) {
        goesOn = TakeReport(reports.Next(), stream);
    }
    return goesOn ? 1 : 0;
}

std::uint32_t PropertyEngine::WriteReply(Stream& stream, Reply& reply) {
    MessageFrame frame = reply.Finish();
    ScopedLock guard(stream.SendLock());
    return frame.WriteTo(stream) ? 1 : 0;
}

bool PropertyEngine::Answer(const RequestSections& request, bool external, Reply& reply) {
    if (request.WantEverything()) {
        return AnswerEverything(external, reply);
    }
    bool goesOn = true;
    // A subscription is also answered with the current values, after those of the reads.
    for (const JsonValue* const section : {request.getRequests, request.subscribeRequests}) {
        RequestSections::ForEachEntry(section, [&](const EntryView& entry) {
            goesOn = goesOn && AnswerEntry({.component = entry.Component(), .guids = entry.Guids()},
                                           external, reply);
            return goesOn;
        });
    }
    return goesOn;
}

void PropertyEngine::EnterSubscription(const StreamReference& stream,
                                       const RequestSections& request) {
    std::shared_ptr<Subscriber> subscriber = FindSubscriber(*stream);
    const bool isNew = !subscriber;
    if (isNew) {
        subscriber = std::make_shared<Subscriber>(stream);
    }
    const std::optional<Bound> exceeded = AddEntries(*subscriber, request.subscribeRequests, isNew);
    if (isNew) {
        // Before its list is whole, nothing may be sent by it: an empty list means everything.
        ScopedLock guard(subscribersLock);
        subscribers.push_back(std::move(subscriber));
    }
    if (!exceeded) {
        return;
    }
    if (exceeded == Bound::Subscriptions) {
        stream->Account()->Cut(*exceeded);
    } else {
        // Nobody is closed for what peers that have gone since the last tick still hold.
        DropGoneSubscribers();
        stream->Account()->Owner().Relieve(Resource::Subscriptions);
    }
    DropGoneSubscribers();
}

std::optional<Bound> PropertyEngine::AddEntries(Subscriber& subscriber, const JsonValue* section,
                                                bool evenIfListed) {
    // A message can have more than a million entries, and publications wait for the lock.
    constexpr std::size_t kAtOnce = 1'000;
    std::vector<EntryView> some;
    std::optional<Bound> exceeded;
    const auto add = [&] {
        ScopedLock guard(subscribersLock);
        for (const EntryView& entry : some) {
            const std::optional<Bound> bound =
                subscriber.Add(entry.Component(), entry.GroupGuid(), entry.Guid(), evenIfListed);
            exceeded = bound ? bound : exceeded;
            if (bound == Bound::Subscriptions) {
                break;
            }
        }
        some.clear();
        return exceeded != Bound::Subscriptions;
    };
    RequestSections::ForEachEntry(section, [&](const EntryView& entry) {
        some.push_back(entry);
        return some.size() < kAtOnce || add();
    });
    static_cast<void>(add());
    return exceeded;
}

std::shared_ptr<Subscriber> PropertyEngine::FindSubscriber(const Stream& stream) {
    ScopedLock guard(subscribersLock);
    const auto place = std::find_if(
        subscribers.begin(), subscribers.end(),
        [&](const std::shared_ptr<Subscriber>& known) { return known->Id() == stream.Id(); });
    return place == subscribers.end() ? nullptr : *place;
}

void PropertyEngine::DropSubscriber(const Stream& stream) {
    const std::shared_ptr<Subscriber> dropped = FindSubscriber(stream);
    if (!dropped) {
        return;
    }
    {
        ScopedLock guard(subscribersLock);
        std::erase(subscribers, dropped);
    }
    dropped->End();
}

}  // namespace vantry
