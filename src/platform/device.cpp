#include "platform/device.h"

#include <utility>

namespace vantry {

void DeviceRegistry::Register(std::u16string_view name, std::shared_ptr<DeviceDriver> driver) {
    ScopedLock guard(lock);
    drivers.insert_or_assign(std::u16string(name), std::move(driver));
}

void DeviceRegistry::Unregister(std::u16string_view name) {
    ScopedLock guard(lock);
    if (const auto found = drivers.find(name); found != drivers.end()) {
        drivers.erase(found);
    }
}

std::shared_ptr<DeviceHandle> DeviceRegistry::Open(std::u16string_view name) {
    std::shared_ptr<DeviceDriver> driver;
    {
        ScopedLock guard(lock);
        if (const auto found = drivers.find(name); found != drivers.end()) {
            driver = found->second;
        }
    }
    return driver ? driver->Open() : nullptr;
}

}  // namespace vantry
