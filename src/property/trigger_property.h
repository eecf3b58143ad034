#pragma once

#include <atomic>

#include "property/bool_property.h"

namespace vantry {

/// A command. Setting it true runs its callbacks, which do the work, each time anew; its value
/// tells how the last run went. False does nothing.
class TriggerProperty final : public BoolProperty {
public:
    using BoolProperty::BoolProperty;

    /// Fires on true, whatever the value is, and doesn't store it.
    Refusal SetValue(bool on) override;
    /// For the callbacks, when their work is done: one that failed decides the outcome.
    void ReportResult(bool ok);

private:
    std::atomic<bool> failed{false};
};

}  // namespace vantry
