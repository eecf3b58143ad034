// Sums of what external connections keep in the remote table, by connection. They are changed with
// each entry and read for each report, so that a bound is checked without a walk over the table.
// Only the choice of who has to go walks, over connections and not over properties, and happens
// once a bound is exceeded.

#include "engine/external_owners.h"

namespace vantry {

void ExternalOwners::Enter(const RemoteProperty& property) {
    CountText(property);
    if (const Account& account = property.owner->Account()) {
        Row& row = rows[account.get()];
        row.account = account;
        ++row.properties;
        ++properties;
    }
}

void ExternalOwners::Leave(const RemoteProperty& property) {
    UncountText(property);
    const auto row = rows.find(property.owner->Account().get());
    if (row != rows.end()) {
        --properties;
        if (--row->second.properties == 0) {
            rows.erase(row);
        }
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
