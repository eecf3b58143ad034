#include "engine/remote_property.h"

#include <utility>

namespace vantry {

RemoteProperty::RemoteProperty(const PropertyResponse& report, std::shared_ptr<Stream> reporter)
    : StringProperty(report.value,
                     {report.guid, report.nameString, report.groupGuid, report.groupString}),
      component(report.component),
      componentName(report.componentString),
      owner(std::move(reporter)) {}

bool RemoteProperty::TakeReported(std::string_view text) {
    std::string held;
    GetValue(held);
    if (held == text) {
        return false;
    }
    static_cast<void>(SetTextQuietly(text));
    return true;
}

}  // namespace vantry
