#pragma once

#include <atomic>
#include <cstdint>

#include "transport/device/device_stream.h"

namespace vantry {

/// An external stream to an attached USB host. After a failed Read or Write IsAlive returns 0, so
/// that the engine also drops a subscriber that only receives. A failed Read closes the device's
/// handle.
class UsbStream final : public DeviceStream {
public:
    /// `opened` may be empty; every Read and Write fails then. The time-outs are passed to the
    /// driver unchanged.
    UsbStream(std::shared_ptr<DeviceHandle> opened,
              const std::shared_ptr<ConnectionAccount>& account, std::int32_t writeTimeout,
              std::int32_t readTimeoutOfDriver);

    /// Blocks as the driver does. Returns kError if no host is attached, and kLinkLost if a host is
    /// attached but nothing was read.
    [[nodiscard]] std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t WriteShared(const SharedFrame& frame) override;
    /// Passes a read time-out to the driver. Returns false if the driver refuses and another value
    /// is in force.
    bool SetReadTimeout(std::int32_t value);

private:
    bool IsHostAttached();
    /// Returns the result of a Write of which the driver returned `count`.
    std::int32_t ResultOf(std::int32_t count);

    std::atomic<std::int32_t> appliedReadTimeout;
    const std::int32_t readTimeout;
};

}  // namespace vantry
