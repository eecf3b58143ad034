// What external connections keep in the remote table, by connection. The sums are changed with each
// entry and read for each report, so that a bound is checked without a walk over the table.
//
// A connection that has ended leaves its properties behind, so there can be thousands of such
// owners, and a peer that exceeds a bound makes the hub withdraw one after the other. They are kept
// in the order in which they go. Nobody tells this class that a connection has ended: it looks at
// the owners that were connected, whose number has a bound, when it has no ended one left, and once
// in each tick of publishing.

#include "engine/external_owners.h"

#include <algorithm>
#include <iterator>

namespace vantry {

void ExternalOwners::Enter(const std::shared_ptr<RemoteProperty>& property) {
    CountText(*property);
    if (const Account& account = property->owner->Account()) {
        Row& row = connected[account.get()];
        row.account = account;
        row.properties.insert(property);
        ++properties;
    }
}

void ExternalOwners::Leave(const RemoteProperty& property) {
    UncountText(property);
    const Account& account = property.owner->Account();
    const auto remove = [&](auto& rows, const auto& key) {
        const auto row = rows.find(key);
        if (row == rows.end()) {
            return;
        }
        auto& owned = row->second.properties;
        if (const auto place = owned.find(property); place != owned.end()) {
            owned.erase(place);
            --properties;
        }
        if (owned.empty()) {
            rows.erase(row);
        }
    };
    if (account) {
        remove(connected, account.get());
        remove(ended, std::pair(account->LeftAt(), account.get()));
    }
}

void ExternalOwners::UncountText(const RemoteProperty& property) {
    text -= property.ExternalText();
    foreignText -= property.ForeignText();
}

void ExternalOwners::CountText(const RemoteProperty& property) {
    text += property.ExternalText();
    foreignText += property.ForeignText();
}

std::optional<Bound> ExternalOwners::BoundAgainst(const ConnectionAccount& reporter,
                                                  const RemoteProperty& property,
                                                  std::uint64_t bytes) const {
    const Limits& limits = reporter.Owner().Bounds();
    const std::uint64_t ofReporter =
        reporter.Held(Resource::PropertyText) - property.ValueCountedIn(reporter);
    if (ofReporter + bytes > limits[Bound::PropertyText]) {
        return Bound::PropertyText;
    }
    const std::uint64_t ofOthers = foreignText - property.ForeignText();
    if (ofOthers + bytes > limits[Bound::AllPropertyText] / 2) {
        return Bound::AllPropertyText;
    }
    return std::nullopt;
}

bool ExternalOwners::IsOver(Bound bound, const Limits& limits) const {
    return (bound == Bound::AllProperties ? properties : text) > limits[bound];
}

ExternalOwners::Account ExternalOwners::NextToGo(Resource resource) {
    for (auto row = connected.begin(); ended.empty() && row != connected.end();) {
        const Account& account = row->second.account;
        if (account->WasCut()) {
            // Its properties are to be withdrawn in any case.
            return account;
        }
        row = account->LeftAt() != 0 ? MoveToEnded(row) : std::next(row);
    }
    if (!ended.empty()) {
        return ended.begin()->second.account;
    }
    Account most;
    for (const auto& [key, row] : connected) {
        if (!most || row.account->Held(resource) > most->Held(resource)) {
            most = row.account;
        }
    }
    return most;
}

ExternalOwners::Connected::iterator ExternalOwners::MoveToEnded(Connected::iterator row) {
    const ConnectionAccount* const account = row->first;
    Row& place = ended[{account->LeftAt(), account}];
    place.account = std::move(row->second.account);
    place.properties.merge(row->second.properties);
    return connected.erase(row);
}

std::vector<ExternalOwners::Account> ExternalOwners::CutOwners() {
    std::vector<Account> cut;
    for (auto row = connected.begin(); row != connected.end();) {
        const Account& account = row->second.account;
        if (account->WasCut()) {
            cut.push_back(account);
        } else if (account->LeftAt() != 0) {
            row = MoveToEnded(row);
            continue;
        }
        ++row;
    }
    return cut;
}

std::vector<std::shared_ptr<RemoteProperty>> ExternalOwners::SomeOf(const ConnectionAccount& owner,
                                                                    std::size_t most) const {
    std::vector<std::shared_ptr<RemoteProperty>> some;
    const auto add = [&](const auto& rows, const auto& key) {
        if (const auto row = rows.find(key); row != rows.end()) {
            const auto& owned = row->second.properties;
            std::copy_n(owned.begin(), std::min(most - some.size(), owned.size()),
                        std::back_inserter(some));
        }
    };
    add(connected, &owner);
    add(ended, std::pair(owner.LeftAt(), &owner));
    return some;
}

}  // namespace vantry
