#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace vantry::test {

/// A client that sends and receives frames over a socket. A wait that reaches the timeout of
/// Eventually fails the test. One thread at a time uses it.
class FrameClient {
public:
    static FrameClient ToUnixSocket(const std::filesystem::path& path);
    static FrameClient ToTcp(std::uint16_t port);
    /// Takes over a socket that is connected already.
    static FrameClient On(int connected) { return FrameClient(connected); }
    ~FrameClient() { Close(); }
    FrameClient(FrameClient&& other) noexcept;
    FrameClient& operator=(FrameClient&&) = delete;

    /// Sends the text as one frame.
    void Send(std::string_view text);
    void SendBytes(std::string_view bytes);
    /// Returns the text of the next frame, or nothing at the end of the stream.
    std::optional<std::string> Receive();
    /// Receives frames until one contains `part`, and returns its text, or nothing at the end of
    /// the stream.
    std::optional<std::string> ReceiveUntil(std::string_view part);
    /// Sends the text and receives one frame.
    std::optional<std::string> Ask(std::string_view text);
    /// Waits for the end of the stream and discards what comes before. Returns whether it came.
    bool SeesEnd();
    /// Returns whether something arrives, or the stream ends, within the time.
    bool HearsWithin(int milliseconds) const;

    void ShutDownSending();
    /// Makes the system keep hardly anything that comes, so that a peer that isn't read notices.
    void ReceiveLittle() const;
    /// Lets later sends fail when the other side takes nothing for so long.
    void GiveUpSendingAfter(int milliseconds) const;
    /// Takes some of what has come, if anything has.
    void Skim() const;
    void Close();
    /// Closes so that the other side sees a reset.
    void Reset();

private:
    explicit FrameClient(int connected) : descriptor(connected) {}
    bool ReceiveBytes(char* buffer, std::size_t count);

    int descriptor;
};

}  // namespace vantry::test
