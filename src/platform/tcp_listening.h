#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

namespace vantry {

/// What the machine puts in place of the hub's own listening address, so that tests and a second
/// hub on one machine need no change in the hub, and what became of it.
class TcpListening {
public:
    /// The port that stands for none: nothing is listened on.
    static constexpr std::uint16_t kNoPort = 65534;

    /// Takes the address of the interface, in host order, 0 for all of them, and the port in place
    /// of the hub's, 0 for a free one; nothing leaves the hub's own.
    void Replace(std::uint32_t interfaceAddress, std::optional<std::uint16_t> otherPort) {
        address = interfaceAddress;
        port = otherPort;
    }

    std::uint32_t Address() const { return address; }
    std::uint16_t PortInPlaceOf(std::uint16_t asked) const { return port.value_or(asked); }

    /// The port really bound, 0 for none, and the error number of a failed attempt.
    std::atomic<std::uint16_t> boundPort{0};
    std::atomic<int> bindError{0};

private:
    std::uint32_t address = 0;
    std::optional<std::uint16_t> port;
};

}  // namespace vantry
