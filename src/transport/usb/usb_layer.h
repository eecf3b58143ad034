#pragma once

#include <memory>

#include "platform/platform.h"
#include "transport/session/listener.h"

namespace vantry {

/// Makes the listener of the USB link. Also keeps the property with the link's time-out alive:
/// clients read and set that property, but nothing in the hub uses its value, so its type doesn't
/// matter here.
class UsbLayer {
public:
    UsbLayer(Platform& machine, std::shared_ptr<const void> txTimeout);

    std::shared_ptr<Listener> MakeListener();

private:
    Platform& platform;
    const std::shared_ptr<const void> txTimeoutProperty;
};

}  // namespace vantry
