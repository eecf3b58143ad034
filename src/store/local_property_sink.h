#pragma once

#include <memory>

#include "property/property.h"

namespace vantry {

/// Whoever publishes the properties of this process: the property engine.
class LocalPropertySink {
public:
    virtual ~LocalPropertySink() = default;
    /// Takes a property in and publishes it from now on. Called under the locks of the store, so it
    /// must not call back into it.
    virtual void AddProperty(std::shared_ptr<Property> property) = 0;
    /// Tells subscribers that a property is gone.
    virtual void RetireProperty(std::shared_ptr<Property> property) = 0;
};

}  // namespace vantry
