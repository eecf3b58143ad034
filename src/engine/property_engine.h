#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "engine/external_owners.h"
#include "engine/property_engine_base.h"
#include "engine/remote_property_table.h"
#include "engine/reply.h"
#include "engine/report_rights.h"
#include "engine/subscriber.h"
#include "platform/platform.h"
#include "runtime/condition.h"
#include "runtime/event.h"
#include "wire/plain_reads.h"
#include "wire/plain_reports.h"
#include "wire/property_message.h"

namespace vantry {

/// Processes the messages of all components: answers reads, forwards each write to the owner of its
/// property, and publishes changes to the subscribers.
///
/// Session threads call ProcessMessage, one thread at a time for one stream and concurrently for
/// different streams. While the engine writes a reply, a forwarded write or a publication, it holds
/// the send lock of that stream and no other lock.
///
/// Its functions stand in five files: property_turns.cpp has how a message is read and what it
/// waits for, property_engine.cpp what happens to it and in which order, property_exchange.cpp
/// reads, writes and reports, property_bounds.cpp how the bounds on reports are kept, and
/// publish_loop.cpp the publishing thread.
class PropertyEngine final : public PropertyEngineBase {
public:
    /// Starts the publishing thread. If the system can't create a thread, the engine answers and
    /// forwards as usual and publishes nothing. `component` is the property that names the hub's
    /// own component. `machine` must outlive the engine.
    PropertyEngine(std::shared_ptr<PropertyStore> propertyStore, ThreadReaper& reaper,
                   std::uint32_t priority, std::shared_ptr<Property> component, Platform& machine);
    /// Stops the publishing thread and blocks until it has ended. Sends nothing to subscribers. No
    /// thread may be in ProcessMessage any more.
    ~PropertyEngine() override;

    /// Reads one message and acts on it. Returns 1 to continue the session and 0 to end it, which
    /// also follows from a message that can't be read. Blocks until the message has arrived; a
    /// large text of an external stream then waits for its turn.
    std::uint32_t ProcessMessage(std::shared_ptr<Stream> stream) override;

private:
    using StreamReference = std::shared_ptr<Stream>;

    void PublishLoop() override;

    std::uint32_t ProcessLargeText(const StreamReference& stream, std::string_view text);
    /// `isLarge` says that the text has a turn of the large ones.
    std::uint32_t ProcessText(const StreamReference& stream, std::string_view text, bool isLarge);
    /// Acts on all sections of the request, and writes at most one reply. Returns 0 to end the
    /// session.
    std::uint32_t HandleMessage(const StreamReference& stream, const RequestSections& request,
                                Turns* turnsWhenLong);
    /// Does the same for a message that only asks for these properties.
    std::uint32_t HandleReads(const StreamReference& stream, std::span<const WantedProperty> wanted,
                              Turns* turnsWhenLong);
    /// Does the same for a message that only reports.
    std::uint32_t HandleReports(const StreamReference& stream, PlainReports& reports,
                                bool mayWaitForRoom);
    std::uint32_t ProcessTree(const StreamReference& stream, std::string_view text, bool isLarge);
    /// Reads the text and acts on it. `turnsWhenLong` is null if a turn is held. Returns nothing,
    /// and has done nothing, if the answer may be long and `mayAnswerMany` is false.
    std::optional<std::uint32_t> ReadAndHandle(const StreamReference& stream, std::string_view text,
                                               Turns* turnsWhenLong, bool mayAnswerMany);
    /// Waits for a turn, and before for room for reports, so that no turn is held meanwhile.
    void TakeTurnWithRoom(const Stream& stream, Turns& turns, std::optional<ScopedTurn>& turn);
    static std::uint32_t WriteReply(Stream& stream, Reply& reply);
    /// Returns whether the connection of the stream is closed because it exceeded a bound.
    static bool WasCut(const Stream& stream);
    /// Returns whether it is, or the hub is about to stop, so that waiting work is dropped.
    static bool IsEnding(const Stream& stream);
    /// Returns the semaphore for long answers; null for an internal stream.
    static Turns* LongAnswers(const Stream& stream);

    // The steps of HandleMessage.
    /// Each of the functions that return a bool returns false if the reply has been abandoned
    /// because the peer exceeds a bound or has gone, or because the hub stops.
    bool Answer(const RequestSections& request, bool external, Reply& reply);
    bool AnswerEntry(const WantedProperty& wanted, bool external, Reply& reply);
    bool AnswerEverything(bool external, Reply& reply);
    bool AddRecord(const Property& property, const RecordOwner& owner, bool external, Reply& reply);
    bool AnswerRemote(const WantedProperty& wanted, bool external, Reply& reply);
    void EnterSubscription(const StreamReference& stream, const RequestSections& request);
    /// Adds the entries to the list of the subscriber. Returns the last bound that is exceeded, if
    /// one is; behind an entry beyond the subscriber's own bound no more are added.
    std::optional<Bound> AddEntries(Subscriber& subscriber, const JsonValue* section,
                                    bool evenIfListed);
    /// Returns null if the stream hasn't subscribed.
    std::shared_ptr<Subscriber> FindSubscriber(const Stream& stream);
    void TakeReports(const StreamReference& stream, const RequestSections& request,
                     bool mayWaitForRoom);
    /// Stores one reported value and closes whoever exceeds a bound by it. Returns whether the
    /// reporter goes on. A caller that holds a turn must not wait for room: it has looked before.
    bool TakeReport(const RecordView& report, const StreamReference& stream, bool mayWaitForRoom);
    void DropSubscriber(const Stream& stream);

    // Writes and reports.
    void ApplySetRequests(const RequestSections& request);
    /// What helps against a bound that a report exceeds.
    enum class Remedy : std::uint8_t {
        CloseReporter,
        /// Properties of those that have gone are withdrawn, and then those of whoever holds most.
        Relieve,
        /// Withdrawals are published. The report isn't stored before.
        Wait,
        /// Values that others than the owners reported go. The report isn't stored before.
        RelieveForeign,
    };
    struct Excess {
        Bound bound;
        Remedy remedy;
    };
    static std::optional<Excess> ExcessOf(std::optional<Bound> exceeded);
    /// Stores one reported value. Returns what it exceeds, if anything.
    std::optional<Excess> StoreReport(const RecordView& report, const StreamReference& stream,
                                      bool mayWaitForRoom);
    /// `weight` is that of the reported value; see RemoteProperty::WeightOf.
    std::optional<Excess> Announce(const RecordView& report, std::uint64_t weight,
                                   const StreamReference& stream) REQUIRES(reportsLock);
    std::optional<Excess> Revalue(const std::shared_ptr<RemoteProperty>& known,
                                  std::string_view value, std::uint64_t weight,
                                  const Stream& reporter) REQUIRES(reportsLock);
    void Withdraw(const std::shared_ptr<RemoteProperty>& property) REQUIRES(reportsLock);
    void WithdrawAllOf(const ConnectionAccount& account);
    /// Withdraws the properties that are listed for `account` in the part of externalOwners which
    /// `list` returns.
    void WithdrawListed(const ConnectionAccount& account,
                        PropertiesByAccount& (ExternalOwners::*list)());
    /// Withdraws properties whose values others than their owners reported, beginning with the
    /// values of connections that have ended. Returns false if the reporter itself must go.
    bool RelieveForeign(const std::shared_ptr<ConnectionAccount>& reporter);
    /// Blocks while twice a bound is exceeded because withdrawals haven't been published yet, and
    /// closes the reporter if that lasts too long. Returns whether the report is to be tried again.
    bool AwaitRoom(ConnectionAccount& reporter);
    /// Returns the bound that is exceeded twice by what is in the table and what was withdrawn.
    std::optional<Bound> ExceededTwice() const;
    /// Applies the remedy. Returns whether the report wasn't stored and is to be tried again.
    bool Apply(const Excess& excess, const std::shared_ptr<ConnectionAccount>& reporter);
    /// Closes connections and withdraws their properties until the bound is kept again.
    void Relieve(Bound exceeded);
    void CloseReporter(ConnectionAccount& reporter, Bound exceeded);

    // The steps of a publishing tick.
    void DropGoneSubscribers();
    void WithdrawOfCutOwners();
    void CollectChanges(PendingRecords& pending);
    void AppendRemoteChanges(PendingRecords& pending);
    /// Publishes the records before the end of the period if their text is long. Returns whether it
    /// did.
    bool PublishIfMuch(PendingRecords& pending);
    void Publish(PendingRecords& pending);
    void ShowStatus();

    Platform& platform;
    const std::shared_ptr<Accounting> accounting;
    Event stopEvent{true};
    std::atomic<bool> stopping{false};
    /// Guards the list and the entries of each subscriber. No stream is written to while it is
    /// held.
    Mutex subscribersLock;
    std::vector<std::shared_ptr<Subscriber>> subscribers GUARDED_BY(subscribersLock);
    /// Held while one report is processed, which makes an activity of several steps atomic: a
    /// report over an internal stream and one over an external stream must not both find the
    /// property absent and then both become its owner. The locks of the table and of the queues are
    /// entered while it is held.
    Mutex reportsLock;
    ReportRights reportRights GUARDED_BY(reportsLock);
    ExternalOwners externalOwners GUARDED_BY(reportsLock);
    RemotePropertyTable remoteTable;
    ChangeQueue remoteChanges;
    Mutex roomLock;
    /// Woken in each tick of publishing. Reports that wait for room wait with roomLock held.
    Condition roomMade;
    Mutex remoteRetiredLock;
    std::vector<std::shared_ptr<RemoteProperty>> remoteRetired GUARDED_BY(remoteRetiredLock);
};

}  // namespace vantry
