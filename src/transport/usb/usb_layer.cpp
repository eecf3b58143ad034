#include "transport/usb/usb_layer.h"

#include <utility>

#include "transport/usb/usb_listener.h"

namespace vantry {

UsbLayer::UsbLayer(Platform& machine, std::shared_ptr<const void> txTimeout)
    : platform(machine), txTimeoutProperty(std::move(txTimeout)) {}

std::shared_ptr<Listener> UsbLayer::MakeListener() {
    constexpr std::int32_t kWriteTimeout = 100;
    constexpr std::int32_t kNoReadTimeout = -1;
    return std::make_shared<UsbListener>(platform, kWriteTimeout, kNoReadTimeout);
}

}  // namespace vantry
