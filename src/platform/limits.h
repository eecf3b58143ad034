#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vantry {

/// The resources that peers can make the hub use and that have a bound. They are counted for
/// external connections, except the last two, which are counted for clients of the local device.
enum class Bound : std::uint8_t {
    Connections,
    TcpConnections,
    TextReceived,
    LargeTexts,
    DemandingMessages,
    Answer,
    Answers,
    Output,
    Outputs,
    Properties,
    AllProperties,
    PropertyText,
    AllPropertyText,
    Subscriptions,
    AllSubscriptions,
    EndedPeers,
    WaitingRecords,
    LogBytes,
    LocalInput,
    LocalOutput,
};

inline constexpr std::size_t kBoundCount = 20;

/// The value of a bound that isn't in force.
inline constexpr std::uint64_t kUnbounded = ~std::uint64_t{0};

/// The name, the built-in value and the meaning of a bound.
struct BoundDescription {
    /// Its name in a limits file and in notices.
    std::string_view name;
    std::uint64_t builtIn;
    /// A sentence for the operator that says what is counted and what happens beyond the bound.
    std::string_view meaning;
};

/// Returns the description of a bound, which lives as long as the process.
const BoundDescription& DescriptionOf(Bound bound);

/// The bounds of one hub. The program around the hub sets them before the hub starts; from then on
/// they never change, so any thread may read them.
class Limits {
public:
    /// Sets the built-in values.
    Limits();

    std::uint64_t operator[](Bound bound) const { return values[static_cast<std::size_t>(bound)]; }
    /// Sets a bound. Called before threads share the object.
    void Set(Bound bound, std::uint64_t value) { values[static_cast<std::size_t>(bound)] = value; }

    /// Lowers the bounds on connections to what the machine can serve beside the local device:
    /// three quarters of the descriptors and threads that this process may have, or less where few
    /// are left beside the hub's own, of which TCP gets fifteen sixteenths. Never raises a bound.
    void FitToMachine();

    /// Sets the bounds that `text` names, in lines `name = value`. Blank lines and those that begin
    /// with "#" are skipped. Returns an empty string, or a message that names the first wrong line:
    /// one that isn't of this form, an unknown or repeated name, or a value that isn't a whole
    /// number above 0. The limits are unchanged then.
    [[nodiscard]] std::string Read(std::string_view text);
    /// Does the same with the content of a file. The message says why a file can't be read.
    [[nodiscard]] std::string ReadFile(const std::string& path);
    /// Returns the bounds with their values and meanings, as a text that Read accepts.
    std::string Print() const;

private:
    std::array<std::uint64_t, kBoundCount> values;
};

/// Returns a sentence that says why this process can't run a hub: it may have too few descriptors
/// or too little address space. Returns an empty string if it can.
[[nodiscard]] std::string MachineShortage();

}  // namespace vantry
