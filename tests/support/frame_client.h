#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace vantry::test {

/// A client that speaks frames over a socket. Waits are bounded by a generous time.
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
    /// The text of the next frame; nothing at the end of the stream.
    std::optional<std::string> Receive();
    /// Frames until one holds `part`.
    std::optional<std::string> ReceiveUntil(std::string_view part);
    std::optional<std::string> Ask(std::string_view text);
    /// True when the stream has ended, whatever came before.
    bool SeesEnd();
    /// Whether something comes within the time.
    bool HearsWithin(int milliseconds) const;

    void ShutDownSending();
    void Close();
    /// Closes so that the other side sees a reset.
    void Reset();

private:
    explicit FrameClient(int connected) : descriptor(connected) {}
    bool ReceiveBytes(char* buffer, std::size_t count);

    int descriptor;
};

}  // namespace vantry::test
