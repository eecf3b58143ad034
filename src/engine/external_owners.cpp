// What external connections keep in the remote table. The sums are changed with each entry and read
// for each report, so that a bound is checked without a walk over the table.

#include "engine/external_owners.h"

namespace vantry {

void ExternalOwners::Enter(const std::shared_ptr<RemoteProperty>& property) {
    CountText(property);
    if (const Account& account = property->owner->Account()) {
        owners.Add(account, property);
        ++properties;
    }
}

void ExternalOwners::Leave(const RemoteProperty& property) {
    UncountText(property);
    const Account& account = property.owner->Account();
    if (account && owners.Remove(*account, property)) {
        --properties;
    }
}

void ExternalOwners::UncountText(const RemoteProperty& property) {
    text -= property.ExternalText();
    if (!property.owner->Account()) {
        foreignTextOfInternal -= property.ForeignText();
    } else if (property.ForeignText() != 0) {
        foreignText -= property.ForeignText();
        foreignReporters.Remove(*property.ReporterOfValue(), property);
    }
}

void ExternalOwners::CountText(const std::shared_ptr<RemoteProperty>& property) {
    text += property->ExternalText();
    if (!property->owner->Account()) {
        foreignTextOfInternal += property->ForeignText();
    } else if (property->ForeignText() != 0) {
        foreignText += property->ForeignText();
        foreignReporters.Add(property->ReporterOfValue(), property);
    }
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
    const std::uint64_t foreign = property.owner->Account() ? foreignText : foreignTextOfInternal;
    if (foreign - property.ForeignText() + bytes > limits[Bound::AllPropertyText] / 4) {
        return Bound::AllPropertyText;
    }
    return std::nullopt;
}

bool ExternalOwners::IsOver(Bound bound, const Limits& limits) const {
    return (bound == Bound::AllProperties ? properties : text) > limits[bound];
}

}  // namespace vantry
