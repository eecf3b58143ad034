#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "engine/properties_by_account.h"
#include "engine/remote_property.h"
#include "platform/accounting.h"

namespace vantry {

/// Records which properties in the remote table each external connection owns, and for which of
/// others it has reported the value.
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
    void CountText(const std::shared_ptr<RemoteProperty>& property);

    /// Returns the bound that stands against storing a value of `bytes` bytes which `reporter`
    /// reports for a property of another owner, if one does. Such a value stays when its reporter
    /// has been closed, so those for internal owners and those for external ones may have a quarter
    /// of the text of all properties each.
    std::optional<Bound> BoundAgainst(const ConnectionAccount& reporter,
                                      const RemoteProperty& property, std::uint64_t bytes) const;

    /// Returns whether the properties in the table exceed `bound`, which is AllProperties or
    /// the bound of the text of all properties.
    bool IsOver(Bound bound, const Limits& limits) const;
    /// The owners and their properties.
    PropertiesByAccount& Owners() { return owners; }
    /// The connections that have reported values of properties of other external connections, and
    /// these properties.
    PropertiesByAccount& ForeignReporters() { return foreignReporters; }

private:
    PropertiesByAccount owners;
    PropertiesByAccount foreignReporters;
    std::uint64_t properties = 0;
    std::uint64_t text = 0;
    /// The parts of `text` that are values of properties of other owners, external and internal.
    std::uint64_t foreignText = 0;
    std::uint64_t foreignTextOfInternal = 0;
};

}  // namespace vantry
