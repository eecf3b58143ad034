// Reads, writes and reports. The hub answers a read itself, with the value that the component
// reported last. It forwards a write of a component's property to the component, and keeps its own
// copy until the component reports a new value. Writes have no reply.

#include <deque>
#include <map>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/property_engine.h"
#include "engine/record_texts.h"
#include "wire/record_text.h"
#include "wire/section_keys.h"

namespace vantry {
namespace {

ChangeOrigin OriginOf(const Stream& stream) {
    return IsExternalStream(stream) ? ChangeOrigin::External : ChangeOrigin::Internal;
}

RecordView ReportIn(const EntryView& entry) {
    return {.component = entry.Component(),
            .componentString = entry.Text(Field::kComponentString),
            .groupGuid = entry.GroupGuid(),
            .guid = entry.Guid(),
            .groupString = entry.Text(Field::kGroupString),
            .nameString = entry.Text(Field::kNameString),
            .status = entry.Text(Field::kStatus),
            .value = entry.Text(Field::kValue)};
}

}  // namespace

std::optional<PropertyEngine::Excess> PropertyEngine::ExcessOf(std::optional<Bound> exceeded) {
    if (!exceeded) {
        return std::nullopt;
    }
    const bool isOfOne = exceeded == Bound::Properties || exceeded == Bound::PropertyText;
    return Excess{.bound = *exceeded, .remedy = isOfOne ? Remedy::CloseReporter : Remedy::Relieve};
}

bool PropertyEngine::AnswerEntry(const WantedProperty& wanted, bool external, Reply& reply) {
    const auto& [groupGuid, guid] = wanted.guids;
    if (reply.NeedsTurnFor(0) && !reply.AwaitTurn()) {
        return false;
    }
    bool found = false;
    if (guid.empty()) {
        std::deque<std::shared_ptr<Property>> members;
        Catalog().ListGroup(members, groupGuid);
        RemotePropertyTable::List remotes;
        remoteTable.ListGroup(remotes, groupGuid);
        for (const std::shared_ptr<Property>& member : members) {
            if (!AddRecord(*member, LocalOwner(), external, reply)) {
                return false;
            }
        }
        for (const std::shared_ptr<RemoteProperty>& member : remotes) {
            if (!AddRecord(*member, OwnerOf(*member), external, reply)) {
                return false;
            }
        }
        found = !members.empty() || !remotes.empty();
    } else if (wanted.component == OwnComponent().Guid()) {
        if (const auto property = Catalog().FindProperty(guid, groupGuid)) {
            return AddRecord(*property, LocalOwner(), external, reply);
        }
    } else {
        return AnswerRemote(wanted, external, reply);
    }
    return found || reply.AddFailure(wanted.component, groupGuid, guid);
}

bool PropertyEngine::AnswerRemote(const WantedProperty& wanted, bool external, Reply& reply) {
    const auto find = [&] {
        return remoteTable.Find(wanted.guids.guid, wanted.guids.groupGuid, wanted.component);
    };
    auto property = find();
    if (property && external && reply.NeedsTurnFor(property->ValueLength())) {
        property.reset();
        if (!reply.AwaitTurn()) {
            return false;
        }
        property = find();
    }
    return property ? AddRecord(*property, OwnerOf(*property), external, reply)
                    : reply.AddFailure(wanted.component, wanted.guids.groupGuid, wanted.guids.guid);
}

bool PropertyEngine::AddRecord(const Property& property, const RecordOwner& owner, bool external,
                               Reply& reply) {
    if (external && !Rights().MaySee(property.GroupGuid())) {
        return reply.AddRefusal(owner.component, property.GroupGuid(), property.Guid());
    }
    return reply.Add(RecordTextOf(property, owner));
}

bool PropertyEngine::AnswerEverything(bool external, Reply& reply) {
    // Requests for single properties are answered with "Property Not Found"; a request for all
    // properties silently omits the hidden ones.
    std::deque<std::shared_ptr<Property>> properties;
    Catalog().ListProperties(properties);
    RemotePropertyTable::List remotes;
    remoteTable.ListProperties(remotes, external);
    std::vector<KeptText::Shared> texts;
    texts.reserve(properties.size() + remotes.size());
    for (const std::shared_ptr<Property>& property : properties) {
        if (!external || Rights().MaySee(property->GroupGuid())) {
            texts.push_back(RecordTextOf(*property, LocalOwner()));
        }
    }
    for (const std::shared_ptr<RemoteProperty>& property : remotes) {
        texts.push_back(RecordTextOf(*property, OwnerOf(*property)));
    }
    return reply.AddAll(texts);
}

void PropertyEngine::ApplySetRequests(const RequestSections& request) {
    struct Forward {
        std::shared_ptr<Stream> owner;
        MessageFrame frame;
    };
    // Grouped by the Id of the connection, because each message of a connection has its own Stream
    // object.
    std::map<std::uint32_t, Forward> forwards;
    RequestSections::ForEachEntry(request.setRequests, [&](const EntryView& write) {
        const std::string_view value = write.Text(Field::kValue);
        if (write.Component() == OwnComponent().Guid()) {
            if (const auto property = Catalog().FindProperty(write.Guid(), write.GroupGuid())) {
                // A value that the property rejects leaves it unchanged; a write has no reply.
                static_cast<void>(property->SetText(value));
            }
        } else if (const auto property =
                       remoteTable.Find(write.Guid(), write.GroupGuid(), write.Component())) {
            Forward& forward = forwards[property->owner->Id()];
            std::string& text = forward.frame.Buffer();
            if (!forward.owner) {
                forward.owner = property->owner;
                text.append("{\"").append(Section::kSetRequests).append("\": [");
            }
            AppendWrite(text, write.Component(), write.GroupGuid(), write.Guid(), value);
            text.push_back(',');
        }
        return true;
    });
    for (auto& [connection, forward] : forwards) {
        std::string& text = forward.frame.Buffer();
        text.back() = ']';
        text.push_back('}');
        ScopedLock guard(forward.owner->SendLock());
        // A failure means that the owner has disconnected; nobody waits for an answer.
        static_cast<void>(forward.frame.WriteTo(*forward.owner));
    }
}

void PropertyEngine::TakeReports(const StreamReference& stream, const RequestSections& request,
                                 bool mayWaitForRoom) {
    RequestSections::ForEachEntry(request.getResponses, [&](const EntryView& entry) {
        return TakeReport(ReportIn(entry), stream, mayWaitForRoom);
    });
}

bool PropertyEngine::TakeReport(const RecordView& report, const StreamReference& stream,
                                bool mayWaitForRoom) {
    std::optional<Excess> excess = StoreReport(report, stream, mayWaitForRoom);
    while (excess) {
        excess = Apply(*excess, stream->Account()) ? StoreReport(report, stream, mayWaitForRoom)
                                                   : std::nullopt;
    }
    return !WasCut(*stream);
}

std::optional<PropertyEngine::Excess> PropertyEngine::StoreReport(const RecordView& report,
                                                                  const StreamReference& stream,
                                                                  bool mayWaitForRoom) {
    if (report.status == Status::kNotFound) {
        return std::nullopt;
    }
    const bool external = IsExternalStream(*stream);
    if (external && !ReportRights::IsSafe(report)) {
        return std::nullopt;
    }
    const std::uint64_t weight = RemoteProperty::WeightOf(report.value, *stream);
    ScopedLock guard(reportsLock);
    if (external && !reportRights.Admits(report)) {
        return std::nullopt;
    }
    if (external && mayWaitForRoom) {
        if (const std::optional<Bound> exceeded = ExceededTwice()) {
            return Excess{.bound = *exceeded, .remedy = Remedy::Wait};
        }
    }
    std::shared_ptr<RemoteProperty> known =
        remoteTable.Find(report.guid, report.groupGuid, report.component);
    const bool isOfInternal = known && !IsExternalStream(*known->owner);
    if (!external && !isOfInternal) {
        // The first report of an internal owner has claimed the property.
        reportRights.Claim(report);
    }
    if (known && !external && !isOfInternal && reportRights.InternalTakesOver()) {
        // The names that the external peer gave the property are replaced too.
        remoteTable.Erase(known->Key());
        externalOwners.Leave(*known);
        static_cast<void>(Announce(report, weight, stream));
        known = remoteTable.Find(report.guid, report.groupGuid, report.component);
    }
    if (!known) {
        return report.status == Status::kSuccessful ? Announce(report, weight, stream)
                                                    : std::nullopt;
    }
    const std::optional<Excess> excess = Revalue(known, report.value, weight, *stream);
    if (report.status == Status::kNoLongerAvailable) {
        Withdraw(known);
        if (excess && excess->remedy == Remedy::RelieveForeign) {
            // There is no value any more that needs room.
            return std::nullopt;
        }
    }
    return excess;
}

std::optional<PropertyEngine::Excess> PropertyEngine::Announce(const RecordView& report,
                                                               std::uint64_t weight,
                                                               const StreamReference& stream) {
    const auto announced =
        std::make_shared<RemoteProperty>(report, stream, Rights().MaySee(report.groupGuid));
    if (!remoteTable.Insert(announced)) {
        return std::nullopt;
    }
    const std::optional<Bound> exceeded = announced->Charge(weight);
    externalOwners.Enter(announced);
    // The first report counts as a change.
    remoteChanges.Push(announced, OriginOf(*stream));
    return ExcessOf(exceeded);
}

std::optional<PropertyEngine::Excess> PropertyEngine::Revalue(
    const std::shared_ptr<RemoteProperty>& known, std::string_view value, std::uint64_t weight,
    const Stream& reporter) {
    if (known->HasValue(value)) {
        return std::nullopt;
    }
    const std::shared_ptr<ConnectionAccount>& account = reporter.Account();
    if (account && account != known->owner->Account()) {
        // Closing the reporter would not withdraw the value, so it isn't stored at all.
        if (const auto bound = externalOwners.BoundAgainst(*account, *known, weight)) {
            // What an internal component has announced isn't withdrawn because of others.
            const bool helps = bound == Bound::AllPropertyText && IsExternalStream(*known->owner);
            return Excess{.bound = *bound,
                          .remedy = helps ? Remedy::RelieveForeign : Remedy::CloseReporter};
        }
    }
    externalOwners.UncountText(*known);
    const std::optional<Bound> exceeded = known->StoreReported(value, weight, reporter);
    externalOwners.CountText(known);
    remoteChanges.Push(known, OriginOf(reporter));
    return ExcessOf(exceeded);
}

void PropertyEngine::Withdraw(const std::shared_ptr<RemoteProperty>& property) {
    {
        ScopedLock guard(remoteRetiredLock);
        remoteRetired.push_back(property);
    }
    remoteTable.Erase(property->Key());
    externalOwners.Leave(*property);
}

}  // namespace vantry
