#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "client/result.h"

namespace vantry::cli {

/// A packet capture file in the format pcapng, to which interfaces and packets are appended. Every
/// block is in the file when the operation returns, so that a file whose program was killed ends
/// with a whole block. Only one thread may use it.
class PcapngFile {
public:
    /// Whether a packet goes to the hub or comes from it.
    enum class Direction : std::uint32_t { Inbound = 1, Outbound = 2 };

    /// The most bytes of a packet that are kept; readers of these files accept no more.
    static constexpr std::size_t kMostBytes = 262144;
    /// The number that stands for "user-defined protocol 0".
    static constexpr std::uint16_t kLinkType = 147;

    PcapngFile() = default;
    ~PcapngFile();
    PcapngFile(const PcapngFile&) = delete;
    PcapngFile& operator=(const PcapngFile&) = delete;

    /// Creates the file and writes its head. Returns Refused, with the name, if the file exists and
    /// `replace` is false, or if it can't be written.
    client::Outcome Create(const std::string& name, bool replace);
    /// Adds an interface with this description. Interfaces are numbered from 0.
    client::Outcome AddInterface(const std::string& description);
    /// Adds a packet of which `kept` was kept, of `length` bytes. Returns Refused if the disk is
    /// full; the file then ends with the block before.
    client::Outcome AddPacket(std::uint32_t interface, Direction direction,
                              std::chrono::system_clock::time_point when, std::string_view kept,
                              std::uint64_t length);

private:
    client::Outcome Append(std::uint32_t type, std::string body);

    std::string path;
    int descriptor = -1;
    /// The length of the file up to its last whole block.
    std::int64_t whole = 0;
};

}  // namespace vantry::cli
