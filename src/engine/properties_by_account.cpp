#include "engine/properties_by_account.h"

#include <algorithm>
#include <iterator>

namespace vantry {

void PropertiesByAccount::Add(const Account& account,
                              const std::shared_ptr<RemoteProperty>& property) {
    Row& row = connected[account.get()];
    row.account = account;
    row.properties.insert(property);
}

bool PropertiesByAccount::Remove(const ConnectionAccount& account, const RemoteProperty& property) {
    const auto removeFrom = [&](auto& rows, const auto& key) {
        const auto row = rows.find(key);
        if (row == rows.end()) {
            return false;
        }
        auto& listed = row->second.properties;
        const auto place = listed.find(property);
        const bool isListed = place != listed.end();
        if (isListed) {
            listed.erase(place);
        }
        if (listed.empty()) {
            rows.erase(row);
        }
        return isListed;
    };
    return removeFrom(connected, &account) ||
           removeFrom(ended, std::pair(account.LeftAt(), &account));
}

PropertiesByAccount::Connected::iterator PropertiesByAccount::MoveToEnded(Connected::iterator row) {
    const ConnectionAccount* const account = row->first;
    Row& place = ended[{account->LeftAt(), account}];
    place.account = std::move(row->second.account);
    place.properties.merge(row->second.properties);
    return connected.erase(row);
}

std::vector<PropertiesByAccount::Account> PropertiesByAccount::CutAccounts() {
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

std::vector<std::shared_ptr<RemoteProperty>> PropertiesByAccount::SomeOf(
    const ConnectionAccount& account, std::size_t most) const {
    std::vector<std::shared_ptr<RemoteProperty>> some;
    const auto addFrom = [&](const auto& rows, const auto& key) {
        if (const auto row = rows.find(key); row != rows.end()) {
            const auto& listed = row->second.properties;
            std::copy_n(listed.begin(), std::min(most - some.size(), listed.size()),
                        std::back_inserter(some));
        }
    };
    addFrom(connected, &account);
    addFrom(ended, std::pair(account.LeftAt(), &account));
    return some;
}

}  // namespace vantry
