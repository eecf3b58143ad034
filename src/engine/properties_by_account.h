#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "engine/remote_property.h"
#include "platform/accounting.h"

namespace vantry {

/// Lists properties by a connection that has to do with them, such as their owner. Not thread-safe.
///
/// A connection that has ended leaves its properties behind, so there can be thousands of such
/// connections, and a peer that exceeds a bound makes the hub withdraw the properties of one after
/// the other. They are kept in the order in which they ended. Nobody tells this class that a
/// connection has ended: it looks at those that were connected, whose number has a bound, when it
/// has no ended one left, and in CutAccounts.
class PropertiesByAccount {
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

public:
    using Account = std::shared_ptr<ConnectionAccount>;
    using Listed = std::set<std::shared_ptr<RemoteProperty>, ByName>;

    void Add(const Account& account, const std::shared_ptr<RemoteProperty>& property);
    /// Returns whether the property was listed for the account.
    bool Remove(const ConnectionAccount& account, const RemoteProperty& property);

    /// Returns the connection that ended first or, if all are connected, the one for which
    /// `amountOf`, which is called with the account and its properties, returns most. One that is
    /// to be dropped because of a bound goes before the others that are connected. Returns null if
    /// there is none.
    template <typename AmountOf>
    Account NextToGo(const AmountOf& amountOf) {
        for (auto row = connected.begin(); ended.empty() && row != connected.end();) {
            const Account& account = row->second.account;
            if (account->WasCut()) {
                return account;
            }
            row = account->LeftAt() != 0 ? MoveToEnded(row) : std::next(row);
        }
        if (!ended.empty()) {
            return ended.begin()->second.account;
        }
        Account most;
        std::uint64_t amountOfMost = 0;
        for (const auto& [key, row] : connected) {
            const std::uint64_t amount = amountOf(*row.account, row.properties);
            if (!most || amount > amountOfMost) {
                most = row.account;
                amountOfMost = amount;
            }
        }
        return most;
    }
    /// Returns the connections that were closed because of a bound before their session ended.
    std::vector<Account> CutAccounts();
    /// Returns at most `most` properties of a connection, the first in the order of their names.
    std::vector<std::shared_ptr<RemoteProperty>> SomeOf(const ConnectionAccount& account,
                                                        std::size_t most) const;

private:
    struct Row {
        Account account;
        Listed properties;
    };
    using Connected = std::unordered_map<const ConnectionAccount*, Row>;

    /// Moves a row to the connections that have ended. Returns the row after it.
    Connected::iterator MoveToEnded(Connected::iterator row);

    /// The connections that were connected when they were last looked at.
    Connected connected;
    /// The connections that have ended, beginning with the one that did so first.
    std::map<std::pair<std::uint64_t, const ConnectionAccount*>, Row> ended;
};

}  // namespace vantry
