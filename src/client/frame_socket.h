#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

#include "client/endpoint.h"
#include "client/result.h"
#include "transport/stream/stream.h"
#include "wire/property_message.h"

namespace vantry::client {

/// A connected socket that speaks messages, each within a deadline. One thread receives and one at
/// a time sends; Abort may come from any thread and ends both.
class FrameSocket final : public Stream {
public:
    static Result<std::shared_ptr<FrameSocket>> Connect(const Endpoint& endpoint,
                                                        std::uint32_t deadlineMilliseconds);
    explicit FrameSocket(int connected) : Stream(1), descriptor(connected) {}
    ~FrameSocket() override;

    /// Waits `milliseconds`, kForever for no limit.
    static constexpr std::uint32_t kForever = 0xFFFFFFFF;
    Result<std::unique_ptr<PropertyMessage>> Receive(std::uint32_t milliseconds);
    /// The text of the next message, whatever it is.
    Result<std::string> ReceiveText(std::uint32_t milliseconds);
    Outcome Send(PropertyMessage& message, std::uint32_t milliseconds);
    /// Sends and receives: for a connection on which nothing comes unasked.
    Result<std::unique_ptr<PropertyMessage>> Ask(PropertyMessage& message,
                                                 std::uint32_t milliseconds);
    /// Ends the connection.
    void Abort();
    /// Waits until something can be received, and lifts the limit for receiving it. False if
    /// nothing comes within the time.
    bool WaitToReceive(std::uint32_t milliseconds);

    std::int32_t Read(std::uint8_t* buffer, std::int32_t length) override;
    std::int32_t Write(const std::uint8_t* buffer, std::int32_t length) override;
    void Close() override { Abort(); }

private:
    bool WaitFor(short events, std::uint64_t deadline) const;
    bool ReadWhole(void* buffer, std::size_t count);

    const int descriptor;
    static constexpr std::uint64_t kNoDeadline = ~std::uint64_t{0};
    std::uint64_t receiveDeadline = kNoDeadline;
    std::uint64_t sendDeadline = kNoDeadline;
};

}  // namespace vantry::client
