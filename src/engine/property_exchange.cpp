// Reads, writes and reports. A read never leaves the hub: what a component last reported answers
// it. A write of a component's property always does: it goes to the component, and the hub's copy
// stays until the component reports back. No write has a reply.

#include <map>
#include <utility>

#include "engine/property_engine.h"
#include "engine/record_builder.h"

namespace vantry {

void PropertyEngine::GetProperties(const std::deque<PropertyRequest>& requests,
                                   std::deque<PropertyResponse>& responses) {
    for (const PropertyRequest& request : requests) {
        bool found = false;
        if (request.guid.empty()) {
            found = AppendLocalGroup(request.groupGuid, responses);
            found = AppendRemoteGroup(request.groupGuid, responses) || found;
        } else if (request.component == OwnComponent().Guid()) {
            found = AppendLocalProperty(request, responses);
        } else {
            found = AppendRemoteProperty(request, responses);
        }
        if (!found) {
            responses.push_back(MakeFailureResponse(request, Status::kNotFound));
        }
    }
}

bool PropertyEngine::AppendRemoteGroup(const std::string& groupGuid,
                                       std::deque<PropertyResponse>& records) {
    std::deque<std::shared_ptr<RemoteProperty>> members;
    remoteTable.ListGroup(members, groupGuid);
    for (const std::shared_ptr<RemoteProperty>& member : members) {
        records.push_back(MakeRemoteRecord(*member, Status::kSuccessful));
    }
    return !members.empty();
}

bool PropertyEngine::AppendRemoteProperty(const PropertyRequest& request,
                                          std::deque<PropertyResponse>& records) {
    const std::shared_ptr<RemoteProperty> found =
        remoteTable.Find(request.guid, request.groupGuid, request.component);
    if (found) {
        records.push_back(MakeRemoteRecord(*found, Status::kSuccessful));
    }
    return found != nullptr;
}

void PropertyEngine::GetEveryProperty(std::deque<PropertyResponse>& responses) {
    PropertyEngineBase::GetEveryProperty(responses);
    std::deque<std::shared_ptr<RemoteProperty>> properties;
    remoteTable.ListProperties(properties);
    for (const std::shared_ptr<RemoteProperty>& property : properties) {
        responses.push_back(MakeRemoteRecord(*property, Status::kSuccessful));
    }
}

void PropertyEngine::ApplySetRequests(const std::deque<PropertySetRequest>& requests) {
    struct Forward {
        std::shared_ptr<Stream> owner;
        std::deque<PropertySetRequest> writes;
    };
    // By connection: each message of one comes through an object of its own.
    std::map<std::uint32_t, Forward> forwards;
    for (const PropertySetRequest& request : requests) {
        if (request.component == OwnComponent().Guid()) {
            if (const auto property = Catalog().FindProperty(request.guid, request.groupGuid)) {
                // A value that the property can't take leaves it as it was; a write has no reply.
                static_cast<void>(property->SetText(request.value));
            }
        } else if (const auto property =
                       remoteTable.Find(request.guid, request.groupGuid, request.component)) {
            Forward& forward = forwards[property->owner->Id()];
            forward.owner = property->owner;
            forward.writes.push_back(request);
        }
    }
    for (auto& [connection, forward] : forwards) {
        PropertyMessage message;
        message.EncodeSetRequests(std::move(forward.writes));
        // An owner that is gone doesn't get it, and nobody waits for an answer.
        static_cast<void>(Send(*forward.owner, message));
    }
}

void PropertyEngine::TakeReport(const PropertyResponse& report,
                                const std::shared_ptr<Stream>& stream) {
    if (report.status == Status::kNotFound) {
        return;
    }
    const bool external = IsExternalStream(*stream);
    ScopedLock guard(reportsLock);
    if (external && !reportRights.Admits(report)) {
        return;
    }
    if (!external) {
        reportRights.Claim(report);
    }
    std::shared_ptr<RemoteProperty> known =
        remoteTable.Find(report.guid, report.groupGuid, report.component);
    if (known && !external && IsExternalStream(*known->owner) && reportRights.InternalTakesOver()) {
        // The names that an outsider gave it go with it.
        remoteTable.Erase(known->Key());
        AnnounceRemoteProperty(report, stream);
        known = remoteTable.Find(report.guid, report.groupGuid, report.component);
    }
    if (known) {
        if (known->TakeReported(report.value)) {
            remoteChanges.Push(known, external ? ChangeOrigin::External : ChangeOrigin::Internal);
        }
        if (report.status == Status::kNoLongerAvailable) {
            Withdraw(known);
        }
    } else if (report.status == Status::kSuccessful) {
        AnnounceRemoteProperty(report, stream);
    }
}

void PropertyEngine::AnnounceRemoteProperty(const PropertyResponse& report,
                                            const std::shared_ptr<Stream>& stream) {
    const auto announced = std::make_shared<RemoteProperty>(report, stream);
    remoteTable.Insert(announced);
    // The first report counts as a change.
    remoteChanges.Push(announced,
                       IsExternalStream(*stream) ? ChangeOrigin::External : ChangeOrigin::Internal);
}

void PropertyEngine::Withdraw(const std::shared_ptr<RemoteProperty>& property) {
    {
        ScopedLock guard(remoteRetiredLock);
        remoteRetired.push_back(property);
    }
    remoteTable.Erase(property->Key());
}

}  // namespace vantry
