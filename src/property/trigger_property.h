#pragma once

#include <atomic>

#include "property/bool_property.h"

namespace vantry {

/// A command. Each time it is set to true it runs its callbacks, which do the work; its value is
/// the result of the last run. Setting it to false does nothing.
class TriggerProperty final : public BoolProperty {
public:
    using BoolProperty::BoolProperty;

    /// Calls the callbacks if `on` is true, whatever the value is, and doesn't store `on`. Blocks
    /// until they have returned.
    Refusal SetValue(bool on) override;
    /// Sets the result of the run. Callbacks call it when their work is done; after a failure the
    /// reports of the other callbacks of the same run are ignored.
    void ReportResult(bool ok);

private:
    std::atomic<bool> failed{false};
};

}  // namespace vantry
