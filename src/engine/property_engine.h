#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "engine/external_owners.h"
#include "engine/property_engine_base.h"
#include "engine/remote_property_table.h"
#include "engine/reply.h"
#include "engine/report_rights.h"
#include "engine/subscriber.h"
#include "platform/platform.h"
#include "runtime/event.h"
#include "wire/property_message.h"

namespace vantry {

/// The heart of the hub: every message of every component passes through it. It answers reads,
/// routes writes to whoever owns a property, and tells subscribers of changes.
///
/// Session threads call ProcessMessage, one at a time for a stream and side by side for different
/// ones. A reply, a forwarded write and a publication hold the send lock of their stream while they
/// write, and nothing else.
class PropertyEngine final : public PropertyEngineBase {
public:
    /// The publishing thread runs from here on. `component` is the hub's own. `machine` must
    /// outlive the engine.
    PropertyEngine(std::shared_ptr<PropertyStore> propertyStore, ThreadReaper& reaper,
                   std::uint32_t priority, std::shared_ptr<Property> component, Platform& machine);
    /// Waits for the publishing thread. Subscribers are not told.
    ~PropertyEngine() override;

    /// Large texts of external streams wait for their turn here.
    std::uint32_t ProcessMessage(std::shared_ptr<Stream> stream) override;

private:
    using StreamReference = std::shared_ptr<Stream>;

    void PublishLoop() override;

    std::uint32_t ProcessLargeText(const StreamReference& stream, std::string_view text);
    std::uint32_t ProcessText(const StreamReference& stream, std::string_view text);
    /// Does what the request says, and writes at most one reply. Returns 0 to end the session.
    std::uint32_t HandleMessage(const StreamReference& stream, const PropertyMessage& request);

    // The steps of HandleMessage.
    /// Each of the three returns false if the reply has been given up.
    bool Answer(const PropertyMessage& request, bool external, Reply& reply);
    bool AnswerEntry(const EntryView& entry, bool external, Reply& reply);
    bool AnswerEverything(bool external, Reply& reply);
    bool AddRecord(const Property& property, const RecordOwner& owner, bool external, Reply& reply);
    void EnterSubscription(const StreamReference& stream, const PropertyMessage& request);
    void TakeReports(const StreamReference& stream, const PropertyMessage& request);
    void DropSubscriber(const Stream& stream);

    // Writes and reports.
    void ApplySetRequests(const PropertyMessage& request);
    /// Returns the bound that the report's connection exceeds, if it does.
    std::optional<Bound> TakeReport(const RecordView& report, const StreamReference& stream);
    std::optional<Bound> Announce(const RecordView& report, const StreamReference& stream)
        REQUIRES(reportsLock);
    std::optional<Bound> Revalue(const std::shared_ptr<RemoteProperty>& known,
                                 std::string_view value, const Stream& reporter)
        REQUIRES(reportsLock);
    void Withdraw(const std::shared_ptr<RemoteProperty>& property) REQUIRES(reportsLock);
    void WithdrawAllOf(const ConnectionAccount& account);
    /// Closes connections and withdraws properties because `exceeded` is.
    void Relieve(const std::shared_ptr<ConnectionAccount>& reporter, Bound exceeded);

    // The turns of the publishing thread.
    void DropGoneSubscribers();
    void WithdrawOfCutOwners();
    void CollectChanges(PendingRecords& pending);
    void AppendRemoteChanges(PendingRecords& pending);
    void Publish(PendingRecords& pending);
    void ShowStatus();

    Platform& platform;
    const std::shared_ptr<Accounting> accounting;
    Event stopEvent{true};
    std::atomic<bool> stopping{false};
    /// Guards the list and what each subscriber wants. Nothing is written under it.
    Lock subscribersLock;
    std::vector<std::shared_ptr<Subscriber>> subscribers GUARDED_BY(subscribersLock);
    /// Held while one report is taken, so that a report over an internal stream and one over an
    /// external stream never both decide whose a property is. The table and the queues are locked
    /// inside it.
    Lock reportsLock;
    ReportRights reportRights GUARDED_BY(reportsLock);
    ExternalOwners externalOwners GUARDED_BY(reportsLock);
    RemotePropertyTable remoteTable;
    ChangeQueue remoteChanges;
    Lock remoteRetiredLock;
    std::vector<std::shared_ptr<RemoteProperty>> remoteRetired GUARDED_BY(remoteRetiredLock);
};

}  // namespace vantry
