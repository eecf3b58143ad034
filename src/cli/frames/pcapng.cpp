// A pcapng file is a series of blocks: a header, a description of each connection as an interface,
// and a packet for each frame. Each block is one write, so a program that is killed leaves whole
// blocks. After a failed write the file is cut behind the last whole block, and can still be read.

#include "cli/frames/pcapng.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>

#include "cli/base/files.h"

namespace vantry::cli {
namespace {

constexpr std::uint32_t kSectionHeader = 0x0A0D0D0A;
constexpr std::uint32_t kInterfaceDescription = 1;
constexpr std::uint32_t kEnhancedPacket = 6;

// Options of the blocks.
constexpr std::uint16_t kEndOfOptions = 0;
constexpr std::uint16_t kUserApplication = 4;
constexpr std::uint16_t kInterfaceName = 2;
constexpr std::uint16_t kInterfaceDescriptionText = 3;
constexpr std::uint16_t kPacketFlags = 2;

/// Appends the number in the byte order of the machine, which the section header states.
template <typename Number>
void Put(std::string& text, Number number) {
    text.append(reinterpret_cast<const char*>(&number), sizeof number);
}

void PutPadded(std::string& text, std::string_view bytes) {
    text += bytes;
    text.append((4 - bytes.size() % 4) % 4, '\0');
}

void PutOption(std::string& text, std::uint16_t code, std::string_view value) {
    value = value.substr(0, std::numeric_limits<std::uint16_t>::max());
    Put(text, code);
    Put(text, static_cast<std::uint16_t>(value.size()));
    PutPadded(text, value);
}

}  // namespace

PcapngFile::~PcapngFile() {
    if (descriptor >= 0) {
        close(descriptor);
    }
}

client::Outcome PcapngFile::Create(const std::string& name, bool replace) {
    path = name;
    descriptor =
        open(name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | (replace ? O_TRUNC : O_EXCL), 0666);
    if (descriptor < 0) {
        return errno == EEXIST ? client::Error{client::ErrorCode::Refused,
                                               name + " exists; --force replaces it"}
                               : FileError(name);
    }
    std::string body;
    Put(body, std::uint32_t{0x1A2B3C4D});
    Put(body, std::uint16_t{1});
    Put(body, std::uint16_t{0});
    // The length of the section isn't known.
    Put(body, std::int64_t{-1});
    PutOption(body, kUserApplication, "vantry " VANTRY_VERSION);
    PutOption(body, kEndOfOptions, "");
    return Append(kSectionHeader, std::move(body));
}

client::Outcome PcapngFile::AddInterface(const std::string& description) {
    std::string body;
    Put(body, kLinkType);
    Put(body, std::uint16_t{0});
    Put(body, static_cast<std::uint32_t>(kMostBytes));
    PutOption(body, kInterfaceName, description.substr(0, description.find(',')));
    PutOption(body, kInterfaceDescriptionText, description);
    PutOption(body, kEndOfOptions, "");
    return Append(kInterfaceDescription, std::move(body));
}

client::Outcome PcapngFile::AddPacket(std::uint32_t interface, Direction direction,
                                      std::chrono::system_clock::time_point when,
                                      std::string_view kept, std::uint64_t length) {
    const auto microseconds = static_cast<std::uint64_t>(
        std::chrono::floor<std::chrono::microseconds>(when.time_since_epoch()).count());
    constexpr std::uint64_t kMost = std::numeric_limits<std::uint32_t>::max();
    std::string body;
    body.reserve(kept.size() + 64);
    Put(body, interface);
    Put(body, static_cast<std::uint32_t>(microseconds >> 32U));
    Put(body, static_cast<std::uint32_t>(microseconds));
    Put(body, static_cast<std::uint32_t>(kept.size()));
    Put(body, static_cast<std::uint32_t>(std::min(length, kMost)));
    PutPadded(body, kept);
    std::string flags;
    Put(flags, static_cast<std::uint32_t>(direction));
    PutOption(body, kPacketFlags, flags);
    PutOption(body, kEndOfOptions, "");
    return Append(kEnhancedPacket, std::move(body));
}

client::Outcome PcapngFile::Append(std::uint32_t type, std::string body) {
    const auto length = static_cast<std::uint32_t>(body.size() + 12);
    std::string block;
    Put(block, type);
    Put(block, length);
    block += body;
    Put(block, length);
    for (std::size_t done = 0; done < block.size();) {
        const ssize_t written = write(descriptor, block.data() + done, block.size() - done);
        if (written < 0 && errno == EINTR) {
            continue;
        }
        if (written <= 0) {
            const client::Error error = FileError(path);
            static_cast<void>(!ftruncate(descriptor, whole));
            return error;
        }
        done += static_cast<std::size_t>(written);
    }
    whole += length;
    return client::Done{};
}

}  // namespace vantry::cli
