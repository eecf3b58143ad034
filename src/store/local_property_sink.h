#pragma once

#include <memory>

#include "property/property.h"

namespace vantry {

/// Publishes the properties of this process. The property engine implements it.
class LocalPropertySink {
public:
    virtual ~LocalPropertySink() = default;
    /// Publishes the property now and after each change. The store calls this with its locks held,
    /// so it must not call back into the store or block.
    virtual void AddProperty(std::shared_ptr<Property> property) = 0;
    /// Publishes the withdrawal of a property.
    virtual void RetireProperty(std::shared_ptr<Property> property) = 0;
};

}  // namespace vantry
