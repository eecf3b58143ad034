#pragma once

#include <memory>

#include "platform/platform.h"
#include "property/property.h"
#include "transport/listener.h"

namespace vantry {

/// Makes the listener of the USB link, and keeps the property with its time-out alive, which
/// clients read and set and which nothing in the hub looks at.
class UsbLayer {
public:
    UsbLayer(Platform& machine, std::shared_ptr<Property> txTimeout);

    std::shared_ptr<Listener> MakeListener();

private:
    Platform& platform;
    const std::shared_ptr<Property> txTimeoutProperty;
};

}  // namespace vantry
