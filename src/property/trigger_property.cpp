#include "property/trigger_property.h"

namespace vantry {

Refusal TriggerProperty::SetValue(bool on) {
    if (!on) {
        return kAccepted;
    }
    failed = false;
    return NotifyChanged();
}

void TriggerProperty::ReportResult(bool ok) {
    if (failed) {
        return;
    }
    SetValueQuietly(ok);
    failed = !ok;
}

}  // namespace vantry
