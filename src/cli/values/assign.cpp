// Setting several properties and finding out what became of each.
//
// The protocol has no answer to a write: all that can be seen is what the owners publish. So the
// properties of other components are subscribed to before the write, on a connection of its own,
// and the present values are awaited, so that what is heard later follows the write. The hub's own
// properties have their values as soon as the hub has read the message, so one request for values
// behind it tells.

#include "cli/values/assign.h"

#include <algorithm>
#include <optional>
#include <set>
#include <utility>

#include "client/event_queue.h"
#include "client/records.h"

namespace vantry::cli {
namespace {

using client::Property;
using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// How long an owner may report other values before it counts as one that refuses.
constexpr milliseconds kPatienceWithOthers(1500);

bool IsBool(const std::string& value) { return client::IsValue(client::ValueType::Bool, value); }

/// The assignments whose end isn't known yet.
class Waiting {
public:
    explicit Waiting(const std::vector<Assignment>& toWaitFor) : assignments(toWaitFor) {
        for (const Assignment& assignment : assignments) {
            results.push_back({assignment.before, Assigned::How::Silent});
            open.insert(results.size() - 1);
        }
    }

    bool IsOver() const { return open.empty(); }
    std::vector<Assigned> Results() && { return std::move(results); }

    /// Takes what a request for values showed after the write.
    void TakeAnswer(const std::vector<Property>& all) {
        for (const std::size_t place : std::set<std::size_t>(open)) {
            const auto found = std::find_if(all.begin(), all.end(), [&](const Property& property) {
                return property.id == assignments[place].before.id;
            });
            if (found == all.end()) {
                End(place, results[place].now, Assigned::How::Gone);
                continue;
            }
            results[place].now = *found;
            const bool isOwn = found->id.component == client::Hub::OwnComponent();
            if (Has(place, *found) && (isOwn || !MayBeCommand(place))) {
                End(place, *found, Assigned::How::Done);
            } else if (isOwn) {
                End(place, *found, Assigned::How::Refused);
            }
        }
    }

    /// Takes a change that followed the write.
    void TakeChange(const Property& change) {
        for (const std::size_t place : std::set<std::size_t>(open)) {
            const Property& before = assignments[place].before;
            if (before.id != change.id) {
                continue;
            }
            if (!change.available) {
                End(place, change, Assigned::How::Gone);
            } else if (Has(place, change)) {
                End(place, change, Assigned::How::Done);
            } else if (MayBeCommand(place)) {
                End(place, change, Assigned::How::Failed);
            } else if (change.value != before.value) {
                results[place].now = change;
                results[place].how = Assigned::How::Refused;
                firstOther = firstOther.value_or(Clock::now());
            }
        }
    }

    /// Returns whether all that are open have reported other values for long enough.
    bool HaveAllRefused() const {
        return firstOther && Clock::now() - *firstOther > kPatienceWithOthers &&
               std::all_of(open.begin(), open.end(), [&](std::size_t place) {
                   return results[place].how == Assigned::How::Refused;
               });
    }

private:
    bool Has(std::size_t place, const Property& property) const {
        return client::SameValue(property.value, assignments[place].value);
    }
    /// Returns whether only a later report shows that the write had an effect.
    bool MayBeCommand(std::size_t place) const {
        const std::string& before = assignments[place].before.value;
        return IsBool(before) && client::SameValue(before, assignments[place].value);
    }
    void End(std::size_t place, const Property& now, Assigned::How how) {
        results[place] = {now, how};
        open.erase(place);
    }

    const std::vector<Assignment>& assignments;
    std::vector<Assigned> results;
    std::set<std::size_t> open;
    std::optional<Clock::time_point> firstOther;
};

/// Blocks until the present values of the subscribed properties have arrived.
void AwaitPresentValues(client::EventQueue& changes, std::set<client::PropertyId> ids,
                        Clock::time_point deadline) {
    while (!ids.empty() && Clock::now() < deadline) {
        if (const auto change = changes.Take(milliseconds(50))) {
            ids.erase(change->id);
        }
    }
}

}  // namespace

client::Result<std::vector<Assigned>> Assign(client::Hub& hub,
                                             const std::vector<Assignment>& assignments,
                                             milliseconds atMost) {
    const Clock::time_point deadline = Clock::now() + atMost;
    std::vector<client::PropertyWrite> writes;
    std::set<client::PropertyId> foreign;
    for (const Assignment& assignment : assignments) {
        writes.push_back({assignment.before.id, assignment.value});
        if (assignment.before.id.component != client::Hub::OwnComponent()) {
            foreign.insert(assignment.before.id);
        }
    }
    client::EventQueue changes;
    client::Subscription subscription;
    if (!foreign.empty()) {
        subscription = hub.Subscribe(client::Interest::List({foreign.begin(), foreign.end()}),
                                     changes.Callback());
        AwaitPresentValues(changes, foreign, deadline);
    }
    if (const client::Outcome sent = hub.Write(writes); !sent) {
        return sent.error();
    }
    Waiting waiting(assignments);
    const auto all = hub.ReadAll();
    if (!all) {
        return all.error();
    }
    waiting.TakeAnswer(*all);
    while (!waiting.IsOver() && !waiting.HaveAllRefused() && Clock::now() < deadline) {
        if (const auto change = changes.Take(milliseconds(50))) {
            waiting.TakeChange(*change);
        }
    }
    return std::move(waiting).Results();
}

}  // namespace vantry::cli
