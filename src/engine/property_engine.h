#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <vector>

#include "engine/external_rights.h"
#include "engine/property_engine_base.h"
#include "engine/remote_property_table.h"
#include "engine/report_rights.h"
#include "engine/subscriber.h"
#include "platform/platform.h"
#include "runtime/event.h"

namespace vantry {

/// The heart of the hub: every message of every component passes through it. It answers reads,
/// routes writes to whoever owns a property, and tells subscribers of changes.
///
/// Session threads call ProcessMessage, one at a time for a stream and side by side for different
/// ones. No write to a stream waits for its peer, so the locks under which replies, forwarded
/// writes and publications go out are never held up by anybody outside.
class PropertyEngine final : public PropertyEngineBase {
public:
    /// The publishing thread runs from here on. `component` is the hub's own. `machine` must
    /// outlive the engine.
    PropertyEngine(std::shared_ptr<PropertyStore> propertyStore, ThreadReaper& reaper,
                   std::uint32_t priority, std::shared_ptr<Property> component, Platform& machine);
    /// Waits for the publishing thread. Subscribers are not told.
    ~PropertyEngine() override;

    std::uint32_t ProcessMessage(std::shared_ptr<Stream> stream) override;
    std::uint32_t HandleMessage(std::shared_ptr<Stream> stream,
                                std::unique_ptr<PropertyMessage> request,
                                std::unique_ptr<PropertyMessage> reply) override;
    void GetProperties(const std::deque<PropertyRequest>& requests,
                       std::deque<PropertyResponse>& responses) override;
    void GetEveryProperty(std::deque<PropertyResponse>& responses) override;

private:
    void PublishLoop() override;

    // The steps of HandleMessage.
    void Answer(const PropertyMessage& request, bool external, PropertyMessage& reply);
    void EnterSubscription(const std::shared_ptr<Stream>& stream, const PropertyMessage& request);
    void TakeReports(const std::shared_ptr<Stream>& stream, const PropertyMessage& request);
    void DropSubscriber(const Stream& stream);

    // Writes and reports.
    void ApplySetRequests(const std::deque<PropertySetRequest>& requests);
    void TakeReport(const PropertyResponse& report, const std::shared_ptr<Stream>& stream);
    void AnnounceRemoteProperty(const PropertyResponse& report,
                                const std::shared_ptr<Stream>& stream);
    void Withdraw(const std::shared_ptr<RemoteProperty>& property);
    bool AppendRemoteGroup(const std::string& groupGuid, std::deque<PropertyResponse>& records);
    bool AppendRemoteProperty(const PropertyRequest& request,
                              std::deque<PropertyResponse>& records);

    // The turns of the publishing thread.
    void DropDeadSubscribers();
    void CollectChanges(std::deque<PropertyResponse>& pending);
    void AppendRemoteChanges(std::deque<PropertyResponse>& records);
    void Publish(std::deque<PropertyResponse>& pending);

    std::vector<Subscriber>::iterator FindSubscriber(std::uint32_t streamId)
        REQUIRES(subscribersLock);
    /// Writes a message under the locks that keep it apart from others to the same stream.
    [[nodiscard]] bool Send(Stream& stream, const PropertyMessage& message);

    const ExternalRights rights;
    Event stopEvent{true};
    std::atomic<bool> stopping{false};
    /// Guards the list and each subscriber's own list; held across replies, forwarded writes and
    /// fan-outs. Order: subscribersLock, retiredLock, a subscriber's send lock.
    Lock subscribersLock;
    std::vector<Subscriber> subscribers GUARDED_BY(subscribersLock);
    /// Held while one report is taken, so that a report over an internal stream and one over an
    /// external stream never both decide whose a property is.
    Lock reportsLock;
    ReportRights reportRights GUARDED_BY(reportsLock);
    RemotePropertyTable remoteTable;
    ChangeQueue remoteChanges;
    Lock remoteRetiredLock;
    std::vector<std::shared_ptr<RemoteProperty>> remoteRetired GUARDED_BY(remoteRetiredLock);
};

}  // namespace vantry
