#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>
#include <vector>

#include "engine/remote_property.h"
#include "platform/accounting.h"

namespace vantry {

/// Which external connections own properties in the table, and how much. What is withdrawn leaves
/// here at once, though the accounts count it until its withdrawal has been published. One thread
/// at a time may use it.
class ExternalOwners {
public:
    using Account = std::shared_ptr<ConnectionAccount>;

    void Enter(const RemoteProperty& property);
    void Leave(const RemoteProperty& property);
    /// Says that a value in the table has `before` bytes less and `after` more.
    void Revalue(std::uint64_t before, std::uint64_t after) { text += after - before; }

    /// Whether what is in the table exceeds this bound of all.
    bool IsOver(Bound bound, const Limits& limits) const;
    /// Returns the owner whose properties go next: the one that has been gone for longest, else the
    /// one that holds most. Empty if there is none.
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
