#pragma once

#include <atomic>
#include <cstdint>

#include "transport/device/device_stream.h"

namespace vantry {

/// The connection to an attached USB host. External. Once a read or a write has failed the stream
/// counts as dead, so that a subscriber that is only written to is noticed too, and a failed read
/// gives the device's handle back.
class UsbStream final : public DeviceStream {
public:
    UsbStream(std::shared_ptr<DeviceHandle> opened,
              const std::shared_ptr<ConnectionAccount>& account, std::int32_t writeTimeout,
              std::int32_t readTimeoutOfDriver);

    /// kError without a host, kLinkLost if the host is there and nothing came.
    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t WriteShared(const std::shared_ptr<const std::string>& frame) override;
    /// False if the driver refuses and has another value in force.
    bool SetReadTimeout(std::int32_t value);

private:
    bool IsHostAttached();
    /// What a write returns that moved `count` bytes.
    std::int32_t ResultOf(std::int32_t count);

    std::atomic<std::int32_t> appliedReadTimeout;
    const std::int32_t readTimeout;
};

}  // namespace vantry
