#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace vantry::fleet {

/// What the broker says of one printer. Times are milliseconds since 1970, and 0 if they aren't
/// known.
struct Printer {
    std::string site;
    std::string serial;
    bool isOnline = false;
    /// Whether the bridge has its hub.
    bool hasHub = false;
    /// When the bridge connected to the broker last.
    std::int64_t since = 0;
    /// When the newest news of this printer were sent.
    std::int64_t news = 0;
    std::uint64_t dropped = 0;
    std::uint64_t waiting = 0;
    /// Of the bridge and of the firmware; empty if it isn't known.
    std::string bridge = {};
    std::string firmware = {};
    /// The properties that report a problem, as COMPONENT/GROUP/NAME.
    std::vector<std::string> errors = {};

    /// Returns "online", "no hub" or "offline".
    const char* State() const;
    /// Returns whether somebody has to look at it.
    bool IsTroubled() const { return !isOnline || !hasHub || !errors.empty(); }
};

/// The printers of a broker, put together from their retained messages. Used by one thread.
class Roster {
public:
    /// Returns the topics to subscribe to; an empty site means all of them.
    static std::vector<std::string> Topics(const std::vector<std::string>& sites);

    /// Takes a message. What isn't one of a printer is counted and left out.
    void Take(const std::string& topic, const std::string& payload);
    /// Returns the printers in the order of sites and serial numbers.
    std::vector<Printer> All() const;
    /// Returns how many messages couldn't be read.
    std::size_t Unreadable() const { return unreadable; }

private:
    std::map<std::pair<std::string, std::string>, Printer> printers;
    std::size_t unreadable = 0;
};

}  // namespace vantry::fleet
