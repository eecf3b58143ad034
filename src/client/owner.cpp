// Announcing properties and processing writes.
//
// The hub forwards writes to the connection that reported a property first. A property that an
// earlier connection has left in the hub is therefore withdrawn and announced again, with two ticks
// of the hub between. A report has no answer, so a question is sent after it: when that is
// answered, the hub has processed the report.
//
// Announcements holds the state; this class sends it. A change is entered there first and sent by
// SendUnsent, which one thread at a time executes.

#include "client/owner.h"

#include <exception>
#include <utility>

#include "client/records.h"
#include "client/travel.h"
#include "wire/section_keys.h"
#include "wire/vocabulary/components.h"
#include "wire/vocabulary/groups.h"
#include "wire/vocabulary/hub_properties.h"

namespace vantry::client {
namespace {

/// From this number of failures on, Change reports that the hub rejects the announcements.
constexpr int kSuspicious = 3;

/// Returns a question with a short answer, which shows that the hub has processed what was sent
/// before.
Question Probe() {
    return Question::List(
        {{std::string(Components::kVantry.guid), std::string(Groups::kGeneral.guid),
          std::string(HubProperties::kPublishingPeriod.guid)}});
}

}  // namespace

Owner::Owner(Channel& itsChannel, Requester& itsRequester, Timing itsTiming,
             ErrorCallback tellError)
    : channel(itsChannel),
      requester(itsRequester),
      timing(itsTiming),
      onError(std::move(tellError)),
      heartbeats(timing.heartbeatMilliseconds) {}

Outcome Owner::Report(const std::vector<Announcement>& properties, std::string_view status,
                      const SendFunction& send) {
    std::deque<PropertyResponse> records;
    for (const Announcement& property : properties) {
        records.push_back(ReportOf(property, status));
    }
    for (std::deque<PropertyResponse>& part : InParts(std::move(records))) {
        PropertyMessage message;
        message.EncodeGetResponses(part);
        if (Outcome sent = send(message); !sent) {
            return sent;
        }
    }
    return Done{};
}

Owner::Way Owner::OverChannel(const Deadline& deadline) {
    return {
        [this, deadline](const Question& question) { return requester.Ask(question, deadline); },
        [this, deadline](const PropertyMessage& message) {
            return channel.Send(message, deadline);
        }};
}

Outcome Owner::ReplaceEarlierAnnouncement(const std::vector<Announcement>& properties,
                                          const Way& way) {
    std::deque<PropertyRequest> requests;
    for (const Announcement& property : properties) {
        requests.push_back(RequestFor(property.id));
    }
    bool anyLeft = false;
    for (const std::deque<PropertyRequest>& part : InParts(std::move(requests))) {
        const auto records = way.ask(Question::List(part));
        if (!records) {
            return records.error();
        }
        for (const PropertyResponse& record : *records) {
            anyLeft = anyLeft || record.status != Status::kNotFound;
        }
    }
    std::uint32_t pause = announcements.PauseBefore(properties);
    if (anyLeft) {
        if (Outcome told = Report(properties, Status::kNoLongerAvailable, way.send); !told) {
            return told;
        }
        pause = Announcements::kBetweenWithdrawalAndReturn;
    }
    if (pause != 0 && ending.Wait(pause)) {
        return Error{ErrorCode::NoConnection, "the program ends its connection"};
    }
    if (Outcome told = Report(properties, Status::kSuccessful, way.send); !told) {
        return told;
    }
    const auto answer = way.ask(Probe());
    return answer ? Outcome(Done{}) : Outcome(answer.error());
}

std::vector<Announcement> Owner::WithHeartbeats(const std::vector<Announcement>& properties) {
    std::vector<Announcement> all = properties;
    for (const Announcement& heartbeat : heartbeats.Join(properties)) {
        if (const Outcome added = announcements.Add({heartbeat}); added) {
            all.push_back(heartbeat);
        } else {
            onError(added.error());
        }
    }
    if (heartbeats.Interval() != 0 && !isBeating.exchange(true) &&
        !beating.Start(heartbeats.Interval(),
                       [this] { Beat(false, Deadline::In(timing.deadlineMilliseconds)); })) {
        onError({ErrorCode::NoConnection, "the system has no thread to give for heartbeats"});
    }
    return all;
}

Outcome Owner::Announce(const std::vector<Announcement>& wanted, const Deadline& deadline) {
    const ScopedTurn turn(announcing, deadline);
    if (!turn) {
        return Error{ErrorCode::TimedOut, "the announcement before took too long"};
    }
    Outcome known = announcements.Add(wanted);
    if (!known || wanted.empty()) {
        return known;
    }
    const std::vector<Announcement> properties = WithHeartbeats(wanted);
    known = ReplaceEarlierAnnouncement(properties, OverChannel(deadline));
    if (known) {
        announcements.MarkKnown(properties);
        Beat(false, deadline);
        return known;
    }
    if (known.error().code == ErrorCode::NoConnection) {
        return Done{};
    }
    for (const Announcement& property : properties) {
        static_cast<void>(announcements.Withdraw(property.id));
    }
    for (const Announcement& property : wanted) {
        heartbeats.Leave(property.id);
    }
    return known;
}

Outcome Owner::SetValue(const PropertyId& id, const std::string& value) {
    Outcome changed = announcements.SetValue(id, value);
    if (changed) {
        heartbeats.NoteChange(id);
    }
    return changed;
}

void Owner::Beat(bool ends, const Deadline& deadline) {
    for (const auto& [id, text] : heartbeats.Beat(ends)) {
        static_cast<void>(announcements.SetValue(id, text));
    }
    static_cast<void>(SendUnsent(deadline));
}

void Owner::Stop(const Deadline& deadline) {
    ending.Set();
    beating.Stop();
    if (channel.IsUp()) {
        Beat(true, deadline);
    }
}

Outcome Owner::Change(const PropertyId& id, const std::string& value, const Deadline& deadline) {
    if (Outcome changed = SetValue(id, value); !changed) {
        return changed;
    }
    static_cast<void>(SendUnsent(deadline));
    if (failedRestorations >= kSuspicious) {
        return Error{ErrorCode::NoConnection,
                     "the hub keeps ending the connection on which the properties are announced"};
    }
    return Done{};
}

Outcome Owner::Withdraw(const PropertyId& id, const Deadline& deadline) {
    if (Outcome withdrawn = announcements.Withdraw(id); !withdrawn) {
        return withdrawn;
    }
    if (const auto heartbeat = heartbeats.Leave(id)) {
        static_cast<void>(announcements.Withdraw(*heartbeat));
    }
    static_cast<void>(SendUnsent(deadline));
    return Done{};
}

Outcome Owner::SendUnsent(const Deadline& deadline) {
    const ScopedTurn turn(telling, deadline);
    if (!turn) {
        return Error{ErrorCode::TimedOut, "the hub did not take the changes before in time"};
    }
    const Announcements::Unsent unsent = announcements.TakeUnsent();
    const Way way = OverChannel(deadline);
    Outcome sent = Report(unsent.changed, Status::kSuccessful, way.send);
    if (sent) {
        sent = Report(unsent.withdrawn, Status::kNoLongerAvailable, way.send);
    }
    if (!sent) {
        announcements.PutBack(unsent);
    }
    return sent;
}

void Owner::RunHandler(const PropertySetRequest& write) {
    const PropertyId id{write.component, write.groupGuid, write.guid};
    const Result<Announcement> property = announcements.Find(id);
    const bool isCommand = property && property->type == ValueType::Command;
    if (!property || !property->onWrite || (!isCommand && !IsValue(property->type, write.value)) ||
        (isCommand && SameValue(write.value, "False"))) {
        return;
    }
    try {
        const std::optional<std::string> value = property->onWrite(write.value);
        if (value) {
            if (Outcome changed = SetValue(id, *value); !changed) {
                onError(changed.error());
            }
        }
    } catch (const std::exception& problem) {
        onError({ErrorCode::Refused,
                 "the handler of \"" + property->name + "\" failed: " + problem.what()});
    }
}

void Owner::TakeWrites(const std::deque<PropertySetRequest>& writes) {
    for (const PropertySetRequest& write : writes) {
        RunHandler(write);
    }
    static_cast<void>(SendUnsent(Deadline::In(timing.deadlineMilliseconds)));
}

Outcome Owner::Restore(FrameSocket& socket,
                       const std::function<void(std::unique_ptr<ReceivedMessage>)>& other) {
    const auto send = [&](const PropertyMessage& message) {
        return socket.Send(message, Deadline::In(timing.deadlineMilliseconds));
    };
    const auto ask = [&](const Question& question) -> Result<std::deque<PropertyResponse>> {
        const Deadline deadline = Deadline::In(timing.deadlineMilliseconds);
        auto answer = socket.Ask(question.Message(), deadline);
        while (answer && !(*answer)->message.HasSection(Section::kGetResponses)) {
            other(std::move(*answer));
            answer = socket.Receive(deadline);
        }
        if (!answer) {
            return answer.error();
        }
        std::deque<PropertyResponse> records;
        (*answer)->message.DecodeGetResponses(records);
        return records;
    };
    const Announcements::Unsent all = announcements.TakeAll();
    Outcome restored = Report(all.withdrawn, Status::kNoLongerAvailable, send);
    if (restored && !all.changed.empty()) {
        restored = ReplaceEarlierAnnouncement(all.changed, {ask, send});
    } else if (restored) {
        const auto answer = ask(Probe());
        restored = answer ? Outcome(Done{}) : Outcome(answer.error());
    }
    if (restored) {
        failedRestorations = 0;
        announcements.MarkKnown(all.changed);
    } else {
        announcements.PutBack(all);
        failedRestorations += all.changed.empty() ? 0 : 1;
    }
    return restored;
}

void Owner::AnnounceLeftOvers(const Deadline& deadline) {
    const ScopedTurn turn(announcing, deadline);
    const std::vector<Announcement> left =
        turn ? announcements.TakeNew() : std::vector<Announcement>();
    if (left.empty()) {
        return;
    }
    if (const Outcome known = ReplaceEarlierAnnouncement(left, OverChannel(deadline)); known) {
        announcements.MarkKnown(left);
        static_cast<void>(SendUnsent(deadline));
    } else if (known.error().code != ErrorCode::NoConnection) {
        onError(known.error());
        channel.Restart();
    }
}

}  // namespace vantry::client
