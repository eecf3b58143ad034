#pragma once

#include <memory>
#include <string>

#include "property/string_property.h"
#include "transport/stream/stream.h"
#include "wire/property_records.h"

namespace vantry {

/// A property of a component at the far end of a stream: what the component last reported of it.
/// Writes go to `owner`, the stream of the first report, also when that has ended.
class RemoteProperty final : public StringProperty {
public:
    RemoteProperty(const PropertyResponse& report, std::shared_ptr<Stream> reporter);

    /// Stores what a component has reported. Returns whether the value is another one now.
    [[nodiscard]] bool TakeReported(std::string_view text);

    std::string Key() const { return FullKey(component, GroupGuid(), Guid()); }

    const std::string component;
    const std::string componentName;
    const std::shared_ptr<Stream> owner;
};

}  // namespace vantry
