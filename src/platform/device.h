#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "platform/accounting.h"
#include "runtime/lock.h"

namespace vantry {

/// One open handle of a named device. Any thread may call any operation at any time.
class DeviceHandle {
public:
    static constexpr std::int32_t kFailed = -1;

    virtual ~DeviceHandle() = default;

    /// Waits until some bytes are there. The count, which may be less than `length`; 0 if nothing
    /// was moved without an error; kFailed otherwise.
    virtual std::int32_t Read(std::uint8_t* buffer, std::int32_t length) = 0;
    virtual std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) = 0;
    /// Writes the whole of `frame`, as Write does. A handle that has to keep bytes for its peer
    /// keeps a reference to the frame, which must not change any more.
    virtual std::int32_t WriteShared(const std::shared_ptr<const std::string>& frame) {
        return Write(reinterpret_cast<const std::uint8_t*>(frame->data()),
                     static_cast<std::int32_t>(frame->size()));
    }
    /// From now on counts what waits for the peer in `account`. Called at most once, before the
    /// first write.
    virtual void ChargeTo(const std::shared_ptr<ConnectionAccount>&) {}
    /// Sends the driver a control code. False if it refuses.
    virtual bool Control(std::uint32_t code, std::span<const std::uint8_t> input,
                         std::span<std::uint8_t> output) = 0;
    /// Ends the handle: whatever blocks in it returns, whatever comes later fails.
    virtual void Close() = 0;
};

/// What stands behind a device name.
class DeviceDriver {
public:
    virtual ~DeviceDriver() = default;
    /// A new handle, or an empty reference if the device can't be opened now.
    virtual std::shared_ptr<DeviceHandle> Open() = 0;
};

/// The devices of the machine by name, such as "UMF1:". Safe for any number of threads.
class DeviceRegistry {
public:
    void Register(std::u16string_view name, std::shared_ptr<DeviceDriver> driver);
    void Unregister(std::u16string_view name);
    /// A handle of the device, or an empty reference if there is no such device.
    std::shared_ptr<DeviceHandle> Open(std::u16string_view name);

private:
    Lock lock;
    std::map<std::u16string, std::shared_ptr<DeviceDriver>, std::less<>> drivers GUARDED_BY(lock);
};

}  // namespace vantry
