#include "engine/remote_property.h"

#include <utility>

#include "wire/json/json_escapes.h"

namespace vantry {

RemoteProperty::RemoteProperty(const RecordView& report, std::shared_ptr<Stream> reporter)
    : StringProperty(std::string(report.value),
                     {std::string(report.guid), std::string(report.nameString),
                      std::string(report.groupGuid), std::string(report.groupString)}),
      component(report.component),
      componentName(report.componentString),
      owner(std::move(reporter)),
      place(owner->Account(), Resource::Properties),
      names(owner->Account(), Resource::PropertyText) {}

std::optional<Bound> RemoteProperty::Charge() {
    std::string held;
    GetValue(held);
    const std::optional<Bound> tooMany = place.Add(1);
    const std::optional<Bound> tooLong =
        names.Add(component.size() + componentName.size() + GroupGuid().size() + Guid().size() +
                  Group().size() + Name().size());
    const std::optional<Bound> valueTooLong = ChargeValue(held, *owner);
    return tooMany ? tooMany : tooLong ? tooLong : valueTooLong;
}

RemoteProperty::StoreResult RemoteProperty::StoreReported(std::string_view text,
                                                          const Stream& reporter) {
    if (HasValue(text)) {
        return {};
    }
    const std::optional<Bound> exceeded = ChargeValue(text, reporter);
    static_cast<void>(SetTextQuietly(text));
    return {.isChange = true, .exceeded = exceeded};
}

std::optional<Bound> RemoteProperty::ChargeValue(std::string_view text, const Stream& reporter) {
    // The charge of the old value is removed first, so that at the bound a value can be replaced by
    // one of the same length.
    value.reset();
    reporterOfValue = reporter.Account();
    // Counted as it stands in records, where a control character takes six bytes.
    const std::size_t bytes = reporterOfValue ? EscapedLength(text) : 0;
    return value.emplace(reporterOfValue, Resource::PropertyText).Add(bytes);
}

}  // namespace vantry
