#include "engine/remote_property.h"

#include <utility>

#include "wire/json/json_escapes.h"

namespace vantry {

RemoteProperty::RemoteProperty(const RecordView& report, std::shared_ptr<Stream> reporter,
                               bool mayBeSeenOutside)
    : StringProperty(std::string(report.value),
                     {std::string(report.guid), std::string(report.nameString),
                      std::string(report.groupGuid), std::string(report.groupString)}),
      component(report.component),
      componentName(report.componentString),
      owner(std::move(reporter)),
      passesOutside(mayBeSeenOutside),
      place(owner->Account(), Resource::Properties),
      names(owner->Account(), Resource::PropertyText) {}

std::uint64_t RemoteProperty::WeightOf(std::string_view value, const Stream& reporter) {
    return reporter.Account() ? EscapedLength(value) : 0;
}

std::optional<Bound> RemoteProperty::Charge(std::uint64_t valueWeight) {
    const std::optional<Bound> tooMany = place.Add(1);
    const std::optional<Bound> tooLong =
        names.Add(component.size() + componentName.size() + GroupGuid().size() + Guid().size() +
                  Group().size() + Name().size());
    const std::optional<Bound> valueTooLong = ChargeValue(valueWeight, *owner);
    return tooMany ? tooMany : tooLong ? tooLong : valueTooLong;
}

std::optional<Bound> RemoteProperty::StoreReported(std::string_view text, std::uint64_t weight,
                                                   const Stream& reporter) {
    const std::optional<Bound> exceeded = ChargeValue(weight, reporter);
    static_cast<void>(SetTextQuietly(text));
    return exceeded;
}

std::optional<Bound> RemoteProperty::ChargeValue(std::uint64_t weight, const Stream& reporter) {
    // The charge of the old value is removed first, so that at the bound a value can be replaced by
    // one of the same length.
    value.reset();
    reporterOfValue = reporter.Account();
    return value.emplace(reporterOfValue, Resource::PropertyText).Add(weight);
}

}  // namespace vantry
