// A stream over a handle of the USB driver.
//
// The driver has no time-out of reads at first, so that the first message may come at any time.
// After the first Read the time-out of the link is set. A Read that returns nothing asks the driver
// whether a host is still attached, to distinguish a detached host from a time-out.

#include "transport/usb/usb_stream.h"

#include <array>
#include <bit>
#include <utility>

#include "transport/device/device_control_codes.h"

namespace vantry {
namespace {

constexpr std::int32_t kNoTimeout = -1;

std::array<std::uint8_t, 4> BytesOf(std::int32_t value) {
    return std::bit_cast<std::array<std::uint8_t, 4>>(value);
}

}  // namespace

UsbStream::UsbStream(std::shared_ptr<DeviceHandle> opened,
                     const std::shared_ptr<ConnectionAccount>& account, std::int32_t writeTimeout,
                     std::int32_t readTimeoutOfDriver)
    : DeviceStream(std::move(opened), account),
      appliedReadTimeout(kNoTimeout),
      readTimeout(readTimeoutOfDriver) {
    SetReadTimeout(kNoTimeout);
    Control(ControlCode::kSetWriteTimeout, BytesOf(writeTimeout), {});
}

bool UsbStream::SetReadTimeout(std::int32_t value) {
    if (Control(ControlCode::kSetReadTimeout, BytesOf(value), {})) {
        appliedReadTimeout = value;
        return true;
    }
    return appliedReadTimeout == value;
}

std::int32_t UsbStream::Read(std::uint8_t* buffer, std::int32_t length) {
    std::int32_t count = DeviceStream::Read(buffer, length);
    if (appliedReadTimeout == kNoTimeout && !SetReadTimeout(readTimeout)) {
        count = StreamCode::kError;
    } else if (count > 0) {
        return count;
    }
    MarkDead();
    const bool attached = IsHostAttached();
    Close();
    if (!attached) {
        return StreamCode::kError;
    }
    return count == 0 ? StreamCode::kLinkLost : count;
}

std::int32_t UsbStream::Write(const std::uint8_t* buffer, std::int32_t length) {
    return ResultOf(DeviceStream::Write(buffer, length));
}

std::int32_t UsbStream::WriteShared(const SharedFrame& frame) {
    return ResultOf(DeviceStream::WriteShared(frame));
}

std::int32_t UsbStream::ResultOf(std::int32_t count) {
    if (count > 0) {
        return count;
    }
    MarkDead();
    return count == 0 ? StreamCode::kLinkLost : count;
}

bool UsbStream::IsHostAttached() {
    std::array<std::uint8_t, 4> answer{};
    return Control(ControlCode::kIsHostAttached, {}, answer) &&
           answer != std::array<std::uint8_t, 4>{};
}

}  // namespace vantry
