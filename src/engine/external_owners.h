#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/remote_property.h"
#include "platform/accounting.h"

namespace vantry {

/// Records which properties in the remote table each external connection owns.
///
/// A withdrawn property is removed from this record at once, although the account of its owner
/// counts it until its withdrawal has been published. Not thread-safe: the engine guards it with
/// its reportsLock.
class ExternalOwners {
public:
    using Account = std::shared_ptr<ConnectionAccount>;

    /// Adds a property that has been inserted into the table.
    void Enter(const std::shared_ptr<RemoteProperty>& property);
    /// Removes a property that is erased from the table.
    void Leave(const RemoteProperty& property);
    /// Leaves the text of a property in the table out of what is counted, because its value is
    /// about to change. CountText follows.
    void UncountText(const RemoteProperty& property);
    /// Counts the text of the property again.
    void CountText(const RemoteProperty& property);

    /// Returns the bound that stands against storing a value of `bytes` bytes which `reporter`
    /// reports for a property of another owner, if one does. Such a value stays when its reporter
    /// has been closed, so all of them together may have half of the text of all properties.
    std::optional<Bound> BoundAgainst(const ConnectionAccount& reporter,
                                      const RemoteProperty& property, std::uint64_t bytes) const;

    /// Returns whether the properties in the table exceed `bound`, which is AllProperties or
    /// the bound of the text of all properties.
    bool IsOver(Bound bound, const Limits& limits) const;
    /// Returns the owner whose properties are to be withdrawn next: the one that disconnected first
    /// or, if all are connected, the one that holds most of `resource`. Returns null if there is no
    /// owner.
    Account NextToGo(Resource resource);
    /// Returns the owners that were closed because of a bound before their session ended.
    std::vector<Account> CutOwners();
    /// Returns at most `most` properties of an owner, the first in the order of their names.
    std::vector<std::shared_ptr<RemoteProperty>> SomeOf(const ConnectionAccount& owner,
                                                        std::size_t most) const;

private:
    /// Orders properties by their names, so that they are withdrawn in the same order each time.
    struct ByName {
        using is_transparent = void;
        static const RemoteProperty& Of(const RemoteProperty& one) { return one; }
        static const RemoteProperty& Of(const std::shared_ptr<RemoteProperty>& one) { return *one; }
        static auto NameOf(const RemoteProperty& one) {
            return std::tie(one.component, one.GroupGuid(), one.Guid());
        }
        template <typename A, typename B>
        bool operator()(const A& one, const B& other) const {
            return NameOf(Of(one)) < NameOf(Of(other));
        }
    };
    struct Row {
        Account account;
        std::set<std::shared_ptr<RemoteProperty>, ByName> properties;
    };
    using Connected = std::unordered_map<const ConnectionAccount*, Row>;

    /// Moves a row to the owners that have disconnected. Returns the row after it.
    Connected::iterator MoveToEnded(Connected::iterator row);

    /// The owners that were connected when they were last looked at.
    Connected connected;
    /// The owners that have disconnected, beginning with the one that did so first.
    std::map<std::pair<std::uint64_t, const ConnectionAccount*>, Row> ended;
    std::uint64_t properties = 0;
    std::uint64_t text = 0;
    /// The part of `text` that is values of properties of other owners.
    std::uint64_t foreignText = 0;
};

}  // namespace vantry
