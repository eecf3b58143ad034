#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "platform/device.h"
#include "runtime/lock.h"
#include "transport/stream/stream.h"

namespace vantry {

/// A named device as a stream. Opening never fails; without a device every Read and Write returns
/// kError. A second Close is harmless.
class DeviceStream : public Stream {
public:
    /// An internal stream over a new handle of the device.
    DeviceStream(DeviceRegistry& devices, std::u16string_view name);
    /// An external stream over `opened`, which may be empty. Without an account nothing is counted.
    DeviceStream(std::shared_ptr<DeviceHandle> opened,
                 const std::shared_ptr<ConnectionAccount>& account);
    ~DeviceStream() override { DeviceStream::Close(); }

    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t WriteShared(const std::shared_ptr<const std::string>& frame) override;
    void Close() override;

    /// Sends the driver a control code. False without a device, or if the driver refuses.
    bool Control(std::uint32_t code, std::span<const std::uint8_t> input,
                 std::span<std::uint8_t> output);

protected:
    bool IsOpen() const { return Handle() != nullptr; }

private:
    std::shared_ptr<DeviceHandle> Handle() const;

    Lock lock;
    std::shared_ptr<DeviceHandle> handle GUARDED_BY(lock);
};

}  // namespace vantry
