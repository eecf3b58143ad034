#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "engine/remote_property.h"
#include "platform/accounting.h"

namespace vantry {

/// Records which external connections own properties in the remote table, and how many.
///
/// A withdrawn property is removed from this record at once, although the account of its owner
/// counts it until its withdrawal has been published. Not thread-safe: the engine guards it with
/// its reportsLock.
class ExternalOwners {
public:
    using Account = std::shared_ptr<ConnectionAccount>;

    /// Adds a property that has been inserted into the table.
    void Enter(const RemoteProperty& property);
    /// Removes a property that is erased from the table.
    void Leave(const RemoteProperty& property);
    /// Updates the number of bytes after a value in the table has changed, from `before` to `after`
    /// bytes of external text.
    void Revalue(std::uint64_t before, std::uint64_t after) { text += after - before; }

    /// Returns whether the properties in the table exceed `bound`, which is AllProperties or
    /// the bound of the text of all properties.
    bool IsOver(Bound bound, const Limits& limits) const;
    /// Returns the owner whose properties are to be withdrawn next: the one that disconnected first
    /// or, if all are connected, the one that holds most of `resource`. Returns null if there is no
    /// owner.
    Account NextToGo(Resource resource) const;
    /// Returns the owners that were closed because of a bound.
    std::vector<Account> CutOwners() const;

private:
    struct Row {
        Account account;
        std::uint64_t properties = 0;
    };

    std::unordered_map<const ConnectionAccount*, Row> rows;
    std::uint64_t properties = 0;
    std::uint64_t text = 0;
};

}  // namespace vantry
