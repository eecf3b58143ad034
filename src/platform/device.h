#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "platform/accounting.h"
#include "platform/shared_frame.h"
#include "runtime/lock.h"

namespace vantry {

/// One open handle of a named device. Any thread may call any operation at any time, and a Write
/// may run beside a Read that blocks.
class DeviceHandle {
public:
    static constexpr std::int32_t kFailed = -1;

    virtual ~DeviceHandle() = default;

    /// Blocks until some bytes have arrived, the driver's read time-out has passed, or the handle
    /// is closed. Returns the number of bytes, which may be less than `length`; 0 if nothing was
    /// read without an error; kFailed otherwise.
    virtual std::int32_t Read(std::uint8_t* buffer, std::int32_t length) = 0;
    /// Accepts bytes for the peer and doesn't wait until the peer reads them. Returns the number of
    /// accepted bytes, which is `length` unless the device accepts only a part; kFailed if the
    /// connection has failed or the handle has no peer.
    virtual std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) = 0;
    /// Does the same with the whole of `frame`. A handle that has to keep bytes for its peer keeps
    /// references to its texts.
    virtual std::int32_t WriteShared(const SharedFrame& frame) {
        const SharedFrame::Text whole = frame.Joined();
        return Write(reinterpret_cast<const std::uint8_t*>(whole->data()),
                     static_cast<std::int32_t>(whole->size()));
    }
    /// Counts what waits for the peer in `account` from now on. The owner calls it at most once,
    /// before the first write.
    virtual void ChargeTo(const std::shared_ptr<ConnectionAccount>&) {}
    /// Sends the driver a control code; ControlCode says which of them block. The driver reads
    /// `input` and fills `output` with its answer as far as both reach; bytes behind the answer
    /// keep their values. Returns false if the driver refuses the code; `output` is unchanged then.
    ///
    /// Its result may be ignored where the code only informs the driver.
    virtual bool Control(std::uint32_t code, std::span<const std::uint8_t> input,
                         std::span<std::uint8_t> output) = 0;
    /// Ends the handle: calls that block in it return, and later calls fail. Further calls of Close
    /// do nothing.
    virtual void Close() = 0;
};

/// Makes the handles of one device.
class DeviceDriver {
public:
    virtual ~DeviceDriver() = default;
    /// Returns a new handle, or an empty reference if the device can't be opened at the moment. Any
    /// thread may call it; it doesn't block.
    [[nodiscard]] virtual std::shared_ptr<DeviceHandle> Open() = 0;
};

/// The devices of the machine by name, such as "UMF1:". All operations are thread-safe.
class DeviceRegistry {
public:
    /// Makes `driver` open the device of this name, in place of a driver that was registered
    /// before. The registry shares the driver's ownership until Unregister.
    void Register(std::u16string_view name, std::shared_ptr<DeviceDriver> driver);
    /// Removes the driver of this name, if there is one. Handles that are open stay usable.
    void Unregister(std::u16string_view name);
    /// Returns a new handle of the device, or an empty reference if no driver is registered or the
    /// driver can't open it.
    [[nodiscard]] std::shared_ptr<DeviceHandle> Open(std::u16string_view name);

private:
    Mutex lock;
    std::map<std::u16string, std::shared_ptr<DeviceDriver>, std::less<>> drivers GUARDED_BY(lock);
};

}  // namespace vantry
