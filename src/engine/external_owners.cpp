#include "engine/external_owners.h"

namespace vantry {

void ExternalOwners::Enter(const RemoteProperty& property) {
    text += property.ExternalText();
    if (const Account& account = property.owner->Account()) {
        Row& row = rows[account.get()];
        row.account = account;
        ++row.properties;
        ++properties;
    }
}

void ExternalOwners::Leave(const RemoteProperty& property) {
    text -= property.ExternalText();
    const auto row = rows.find(property.owner->Account().get());
    if (row != rows.end()) {
        --properties;
        if (--row->second.properties == 0) {
            rows.erase(row);
        }
    }
}

bool ExternalOwners::IsOver(Bound bound, const Limits& limits) const {
    return (bound == Bound::AllProperties ? properties : text) > limits[bound];
}

ExternalOwners::Account ExternalOwners::NextToGo(Resource resource) const {
    Account next;
    const auto goesBefore = [&](const ConnectionAccount& one, const ConnectionAccount& other) {
        if ((one.LeftAt() != 0) != (other.LeftAt() != 0)) {
            return one.LeftAt() != 0;
        }
        return one.LeftAt() != 0 ? one.LeftAt() < other.LeftAt()
                                 : one.Held(resource) > other.Held(resource);
    };
    for (const auto& [key, row] : rows) {
        if (!next || goesBefore(*row.account, *next)) {
            next = row.account;
        }
    }
    return next;
}

std::vector<ExternalOwners::Account> ExternalOwners::CutOwners() const {
    std::vector<Account> cut;
    for (const auto& [key, row] : rows) {
        if (row.account->WasCut()) {
            cut.push_back(row.account);
        }
    }
    return cut;
}

}  // namespace vantry
