#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "platform/device.h"
#include "runtime/lock.h"
#include "transport/stream/stream.h"

namespace vantry {

/// A handle of a device as a stream, which it owns. If the device couldn't be opened, every Read
/// and Write returns kError, as after Close. Read blocks as the driver's Read does; Write doesn't
/// wait for the peer.
class DeviceStream : public Stream {
public:
    /// Makes an internal stream over a new handle of the device.
    DeviceStream(DeviceRegistry& devices, std::u16string_view name);
    /// Makes an external stream over `opened`, which may be empty. `account` may be empty too; then
    /// nothing is counted.
    DeviceStream(std::shared_ptr<DeviceHandle> opened,
                 const std::shared_ptr<ConnectionAccount>& account);
    ~DeviceStream() override { DeviceStream::Close(); }

    [[nodiscard]] std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t WriteShared(const SharedFrame& frame) override;
    void Close() override;
    std::uint32_t IsAlive() const override { return IsOpen() ? Stream::IsAlive() : 0; }

    /// Sends the driver a control code; see DeviceHandle. Returns false without an open handle, or
    /// if the driver refuses.
    bool Control(std::uint32_t code, std::span<const std::uint8_t> input,
                 std::span<std::uint8_t> output);

protected:
    bool IsOpen() const { return Handle() != nullptr; }

private:
    std::shared_ptr<DeviceHandle> Handle() const;

    Mutex lock;
    std::shared_ptr<DeviceHandle> handle GUARDED_BY(lock);
};

}  // namespace vantry
