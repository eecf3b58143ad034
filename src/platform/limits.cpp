// The bounds, their built-in values and their text form.
//
// The table below has every number that limits a peer, so that `vantryd --print-limits` can list
// all of them and a reviewer finds them in one place. Code that enforces a bound gets its value
// from Limits or from an account (see accounting.h) and contains no number of its own.

#include "platform/limits.h"

#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <optional>
#include <utility>

namespace vantry {
namespace {

constexpr std::uint64_t kMiB = 1U << 20U;
/// The descriptors and threads, each counted apart, that a hub without clients has.
constexpr std::uint64_t kOfHub = 24;
constexpr std::uint64_t kLeastDescriptors = 40;
/// The address space that the hub needs without clients, and that the thread of a connection needs
/// for its stack.
constexpr std::uint64_t kLeastSpace = 512 * kMiB;
constexpr std::uint64_t kStackSpace = 8 * kMiB;

constexpr std::array<BoundDescription, kBoundCount> kDescriptions = {{
    {"connections", 512, "External connections. A new one beyond it is closed."},
    {"tcp-connections", 480,
     "External connections over TCP; the rest is kept for USB and Bluetooth. A new one beyond it "
     "is "
     "closed."},
    {"text-received", 64 * kMiB,
     "Bytes of unfinished messages of all connections. Of those that hold much, the one that has "
     "waited longest for its next byte is closed."},
    {"large-texts", 2,
     "Messages of more than 64 KiB that are worked on at a time. Others wait for their turn."},
    {"demanding-messages", 4,
     "Shorter messages that take much work to read, and as many that take much to answer, such as "
     "requests for everything, that are worked on at a time. Others wait for their turn."},
    {"answer", 64 * kMiB,
     "Bytes of an answer being put together. The connection is closed without the answer."},
    {"answers", 128 * kMiB,
     "Bytes of all answers being put together. The connection is closed without the answer."},
    {"output", 16 * kMiB,
     "Bytes that wait for one connection, unless they are a single frame. It is closed."},
    {"outputs", 64 * kMiB,
     "Bytes that wait for all connections; a shared text counts once. Those with most are closed "
     "until an eighth is free."},
    {"properties", 4'096, "Properties that one connection has reported. It is closed."},
    {"all-properties", 16'384,
     "Properties that all connections have reported. Those of vanished connections are withdrawn "
     "first; then the connection with most is closed."},
    {"property-text", 8 * kMiB,
     "Bytes of text of the properties that one connection has reported. It is closed."},
    {"all-property-text", 32 * kMiB,
     "Bytes of text of the properties that all connections have reported. As for all-properties."},
    {"subscriptions", 16'384, "Entries of the subscriptions of one connection. It is closed."},
    {"all-subscriptions", 65'536,
     "Entries of the subscriptions of all connections. The connection with most is closed."},
    {"ended-peers", 128,
     "TCP peers that have ended their sending side and are kept for their subscriptions. The "
     "oldest "
     "is dropped."},
    {"waiting-records", 20'000,
     "Records that wait for the end of a publishing period. The period ends early."},
    {"log-bytes", kUnbounded, "Bytes of the error log. A line beyond it is dropped and counted."},
    {"local-input", 4 * kMiB,
     "Bytes that the hub takes from the socket of one client of the local device beyond the "
     "message that it is reading. The others wait in the socket."},
    {"local-output", 64 * kMiB,
     "Bytes that wait for one client of the local device, unless they are a single frame. The "
     "client "
     "is closed."},
}};

std::string_view Trim(std::string_view text) {
    constexpr std::string_view kBlanks = " \t\r";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::optional<Bound> BoundNamed(std::string_view name) {
    const auto found = std::find_if(kDescriptions.begin(), kDescriptions.end(),
                                    [&](const auto& bound) { return bound.name == name; });
    if (found == kDescriptions.end()) {
        return std::nullopt;
    }
    return static_cast<Bound>(found - kDescriptions.begin());
}

std::optional<std::uint64_t> WholeNumber(std::string_view text) {
    std::uint64_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec != std::errc{} || result.ptr != text.data() + text.size() || number == 0) {
        return std::nullopt;
    }
    return number;
}

std::uint64_t SoftLimit(__rlimit_resource resource) {
    rlimit limit{};
    if (getrlimit(resource, &limit) != 0 || limit.rlim_cur == RLIM_INFINITY) {
        return kUnbounded;
    }
    return limit.rlim_cur;
}

/// Returns how many threads the control group of this process may have, or kUnbounded.
std::uint64_t ControlGroupThreads() {
    std::ifstream membership("/proc/self/cgroup");
    std::string line;
    while (std::getline(membership, line)) {
        constexpr std::string_view kUnified = "0::";
        if (!line.starts_with(kUnified)) {
            continue;
        }
        std::ifstream file("/sys/fs/cgroup" + line.substr(kUnified.size()) + "/pids.max");
        std::string text;
        std::getline(file, text);
        return WholeNumber(text).value_or(kUnbounded);
    }
    return kUnbounded;
}

}  // namespace

const BoundDescription& DescriptionOf(Bound bound) {
    return kDescriptions[static_cast<std::size_t>(bound)];
}

Limits::Limits() {
    std::transform(kDescriptions.begin(), kDescriptions.end(), values.begin(),
                   [](const BoundDescription& bound) { return bound.builtIn; });
}

void Limits::FitToMachine() {
    const std::uint64_t space = SoftLimit(RLIMIT_AS);
    const std::uint64_t machine = std::min(
        {SoftLimit(RLIMIT_NOFILE), SoftLimit(RLIMIT_NPROC), ControlGroupThreads(),
         // Half of the space beyond the least is for threads, and half for what they hold.
         space == kUnbounded ? space
                             : kOfHub + (space - std::min(space, kLeastSpace)) / 2 / kStackSpace});
    if (machine == kUnbounded) {
        return;
    }
    // An eighth of a small machine is for the local device and for connections that end.
    const std::uint64_t beside = machine - std::min(machine, kOfHub + machine / 8);
    const std::uint64_t most = std::max<std::uint64_t>(std::min(beside, machine / 4 * 3), 2);
    const std::uint64_t mostOverTcp = most - std::max<std::uint64_t>(most / 16, 1);
    Set(Bound::Connections, std::min((*this)[Bound::Connections], most));
    Set(Bound::TcpConnections, std::min((*this)[Bound::TcpConnections], mostOverTcp));
    // A TCP peer that has ended its side keeps a descriptor without being a connection, and as many
    // that the hub has ended linger.
    const std::uint64_t left = machine - std::min(machine, (*this)[Bound::Connections] + kOfHub);
    Set(Bound::EndedPeers, std::clamp<std::uint64_t>(left / 4, 1, (*this)[Bound::EndedPeers]));
}

std::string MachineShortage() {
    if (const std::uint64_t descriptors = SoftLimit(RLIMIT_NOFILE);
        descriptors < kLeastDescriptors) {
        return "the process may have " + std::to_string(descriptors) +
               " descriptors (ulimit -n); the hub needs " + std::to_string(kLeastDescriptors);
    }
    if (const std::uint64_t space = SoftLimit(RLIMIT_AS); space < kLeastSpace) {
        return "the process may have " + std::to_string(space / kMiB) +
               " MiB of address space (ulimit -v); the hub needs " +
               std::to_string(kLeastSpace / kMiB);
    }
    return {};
}

std::string Limits::Read(std::string_view text) {
    Limits changed = *this;
    std::array<bool, kBoundCount> seen{};
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        const std::string_view line = Trim(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const auto wrong = [&](std::string_view what) {
            return "line " + std::to_string(number) + ": " + std::string(what) + ": '" +
                   std::string(line) + "'";
        };
        const std::size_t equals = line.find('=');
        if (equals == std::string_view::npos) {
            return wrong("a line is 'name = value'");
        }
        const std::optional<Bound> bound = BoundNamed(Trim(line.substr(0, equals)));
        if (!bound) {
            return wrong("there is no such limit");
        }
        if (std::exchange(seen[static_cast<std::size_t>(*bound)], true)) {
            return wrong("the limit was set before");
        }
        const std::optional<std::uint64_t> value = WholeNumber(Trim(line.substr(equals + 1)));
        if (!value) {
            return wrong("a value is a whole number above 0");
        }
        changed.Set(*bound, *value);
    }
    *this = changed;
    return {};
}

std::string Limits::ReadFile(const std::string& path) {
    // This is far more than a line for every bound. The length is fixed because the path may name a
    // device whose content is endless.
    std::string text(64U << 10U, '\0');
    std::ifstream file(path, std::ios::binary);
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    if (!file.is_open() || file.bad()) {
        return std::string("can't be read: ") + std::strerror(errno);
    }
    if (!file.eof()) {
        return "is too long for a limits file";
    }
    return Read(std::string_view(text).substr(0, static_cast<std::size_t>(file.gcount())));
}

std::string Limits::Print() const {
    std::string text;
    for (std::size_t place = 0; place < kBoundCount; ++place) {
        const BoundDescription& bound = kDescriptions[place];
        text.append("# ").append(bound.meaning).append("\n");
        const bool none = values[place] == kUnbounded;
        text.append(none ? "# " : "").append(bound.name).append(" = ");
        text.append(none ? "none" : std::to_string(values[place])).append("\n");
    }
    return text;
}

}  // namespace vantry
