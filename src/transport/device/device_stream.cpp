#include "transport/device/device_stream.h"

#include <utility>

namespace vantry {
namespace {

std::int32_t CountOrError(std::int32_t moved) { return moved < 0 ? StreamCode::kError : moved; }

}  // namespace

DeviceStream::DeviceStream(DeviceRegistry& devices, std::u16string_view name)
    : handle(devices.Open(name)) {}

DeviceStream::DeviceStream(std::shared_ptr<DeviceHandle> opened,
                           const std::shared_ptr<ConnectionAccount>& account)
    : Stream(account), handle(std::move(opened)) {
    if (const std::shared_ptr<DeviceHandle> device = Handle(); device && account) {
        device->ChargeTo(account);
    }
}

std::shared_ptr<DeviceHandle> DeviceStream::Handle() const {
    ScopedLock guard(lock);
    return handle;
}

std::int32_t DeviceStream::Read(std::uint8_t* buffer, std::int32_t length) {
    const std::shared_ptr<DeviceHandle> device = Handle();
    return device ? CountOrError(device->Read(buffer, length)) : StreamCode::kError;
}

std::int32_t DeviceStream::Write(const std::uint8_t* buffer, std::int32_t length) {
    const std::shared_ptr<DeviceHandle> device = Handle();
    return device ? CountOrError(device->Write(buffer, length)) : StreamCode::kError;
}

std::int32_t DeviceStream::WriteShared(const SharedFrame& frame) {
    const std::shared_ptr<DeviceHandle> device = Handle();
    return device ? CountOrError(device->WriteShared(frame)) : StreamCode::kError;
}

void DeviceStream::Close() {
    std::shared_ptr<DeviceHandle> closing;
    {
        ScopedLock guard(lock);
        closing = std::exchange(handle, nullptr);
    }
    if (closing) {
        closing->Close();
    }
}

bool DeviceStream::Control(std::uint32_t code, std::span<const std::uint8_t> input,
                           std::span<std::uint8_t> output) {
    const std::shared_ptr<DeviceHandle> device = Handle();
    return device && device->Control(code, input, output);
}

}  // namespace vantry
