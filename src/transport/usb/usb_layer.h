#pragma once

#include <memory>

#include "platform/platform.h"
#include "transport/session/listener.h"

namespace vantry {

/// Makes the listener of the USB link. It also owns the property with the link's time-out: clients
/// read and set that property, but nothing in the hub uses its value, so its type isn't needed
/// here.
class UsbLayer {
public:
    /// The platform must outlive the layer and all objects that it makes.
    UsbLayer(Platform& machine, std::shared_ptr<const void> txTimeout);

    /// Returns a listener that isn't opened yet. Doesn't block.
    std::shared_ptr<Listener> MakeListener();

private:
    Platform& platform;
    const std::shared_ptr<const void> txTimeoutProperty;
};

}  // namespace vantry
