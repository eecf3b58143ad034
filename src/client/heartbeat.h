#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "client/property.h"
#include "client/result.h"

namespace vantry::client {

/// The value of a heartbeat property, by which a program shows that it still owns its properties
/// and when it set each of them. docs/LIVENESS.md describes the text.
struct Heartbeat {
    /// The group of all heartbeat properties.
    static constexpr std::string_view kGroup = "332342DD-949D-4665-9C3A-99890800C290";
    static constexpr std::string_view kName = "Heartbeat";

    /// Returns a heartbeat with the facts of this process and the present time.
    static Heartbeat OfThisProcess();
    /// Returns Refused for a text that isn't a heartbeat.
    static Result<Heartbeat> Parse(const std::string& text);
    /// Returns the text that Parse reads.
    std::string ToText() const;

    std::uint32_t process = 0;
    /// The time at which the process started, in hundredths of a second since the machine started.
    /// It distinguishes the process from a later one with the same id.
    std::uint64_t started = 0;
    std::string host;
    /// These identify a run of the machine, and the set of processes in which the process id is
    /// valid.
    std::string boot;
    std::string processes;
    /// The time of the heartbeat, in milliseconds since the machine started and since 1970.
    std::uint64_t clock = 0;
    std::uint64_t time = 0;
    /// The milliseconds between two heartbeats.
    std::uint32_t interval = 0;
    /// Whether the program has ended its connection in order. It sends no further heartbeat.
    bool hasEnded = false;
    /// The properties of the program by the GUIDs of their group and their own, with the time at
    /// which each was set last, in milliseconds since the machine started.
    std::map<std::string, std::map<std::string, std::uint64_t>> changed;
};

/// Returns the milliseconds since the machine started, including the time in which it slept. Unlike
/// other clocks, all processes of a machine share it, and it is never set.
std::uint64_t MachineMilliseconds();

/// Returns whether the process runs that had this id and started at this time. Returns true for a
/// process with this id whose start can't be read.
bool IsRunning(std::uint32_t process, std::uint64_t started);

}  // namespace vantry::client
