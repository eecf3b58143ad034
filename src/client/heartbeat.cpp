// The text of a heartbeat and the facts in it.
//
// The text is a JSON object, because programs in other languages read it too. Its times are numbers
// with a decimal point, in seconds: the hub's reader keeps 32 bits of an integer, which don't hold
// the milliseconds of two months. All times are those of the machine's clock (see
// MachineMilliseconds), so setting the wall clock makes no value older; the wall clock is in the
// text once, for people.

#include "client/heartbeat.h"

#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>

#include "wire/json/json_escapes.h"
#include "wire/json/json_reader.h"

namespace vantry::client {
namespace {

constexpr std::uint64_t kPerSecond = 1000;

std::uint64_t Milliseconds(clockid_t clock) {
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * kPerSecond +
           static_cast<std::uint64_t>(now.tv_nsec) / 1'000'000;
}

std::string FirstLine(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

std::string TargetOf(const char* link) {
    std::array<char, 64> target{};
    const ssize_t length = readlink(link, target.data(), target.size());
    return {target.data(), length > 0 ? static_cast<std::size_t>(length) : 0};
}

/// Returns the number with `digits` decimals, without regard to the locale.
std::string Decimal(std::uint64_t number, std::uint64_t unit) {
    const std::string fraction = std::to_string(unit + number % unit);
    return std::to_string(number / unit) + "." + fraction.substr(1);
}

std::string Quoted(const std::string& text) { return '"' + EscapeJsonText(text) + '"'; }

struct ProcessFacts {
    std::string state;
    /// See Heartbeat::started.
    std::uint64_t started = 0;
};

/// Returns what the system knows about a process, or empty facts.
ProcessFacts FactsOf(std::uint32_t process) {
    // The name of the program is in parentheses and may contain any character.
    constexpr int kFieldsBetween = 18;
    const std::string line = FirstLine("/proc/" + std::to_string(process) + "/stat");
    const std::size_t name = line.rfind(')');
    if (name == std::string::npos) {
        return {};
    }
    std::istringstream fields(line.substr(name + 1));
    ProcessFacts facts;
    fields >> facts.state;
    std::string skipped;
    for (int count = 0; count < kFieldsBetween; ++count) {
        fields >> skipped;
    }
    std::uint64_t ticks = 0;
    fields >> ticks;
    facts.started = ticks * 100 / static_cast<std::uint64_t>(sysconf(_SC_CLK_TCK));
    return facts;
}

/// Reads the members of a heartbeat.
class Members {
public:
    explicit Members(const JsonObject& itsObject) : object(itsObject) {}

    std::string Text(std::string_view key) {
        const JsonValue* const found = Find(key, JsonType::String);
        return found == nullptr ? "" : std::string(std::string_view(found->string));
    }
    /// Returns the number in units of 1 / `unit`.
    std::uint64_t Number(std::string_view key, double unit) {
        const JsonValue* const found = FindKey(object, key);
        return found == nullptr ? Missing() : NumberOf(*found, unit);
    }
    std::uint64_t NumberOf(const JsonValue& value, double unit) {
        if (value.type == JsonType::Integer && value.integer >= 0) {
            return static_cast<std::uint64_t>(static_cast<double>(value.integer) * unit);
        }
        // Beyond this limit not every number of milliseconds is a double.
        if (value.type == JsonType::Float && value.real >= 0 && value.real < 9e12) {
            return static_cast<std::uint64_t>(std::llround(value.real * unit));
        }
        return Missing();
    }
    const JsonValue* Find(std::string_view key, JsonType type) {
        const JsonValue* const found = FindKey(object, key);
        if (found == nullptr || found->type != type) {
            Missing();
            return nullptr;
        }
        return found;
    }
    bool AreComplete() const { return complete; }

private:
    std::uint64_t Missing() {
        complete = false;
        return 0;
    }

    const JsonObject& object;
    bool complete = true;
};

}  // namespace

std::uint64_t MachineMilliseconds() { return Milliseconds(CLOCK_BOOTTIME); }

bool IsRunning(std::uint32_t process, std::uint64_t started) {
    if (process == 0 || (kill(static_cast<pid_t>(process), 0) != 0 && errno == ESRCH)) {
        return false;
    }
    const ProcessFacts facts = FactsOf(process);
    // A process that has ended keeps its id until its parent has asked for its status.
    const bool hasEnded = facts.state == "Z" || facts.state == "X";
    return !hasEnded && (facts.started == 0 || facts.started == started);
}

Heartbeat Heartbeat::OfThisProcess() {
    Heartbeat beat;
    beat.process = static_cast<std::uint32_t>(getpid());
    beat.started = FactsOf(beat.process).started;
    std::array<char, 256> name{};
    gethostname(name.data(), name.size() - 1);
    beat.host = name.data();
    beat.boot = FirstLine("/proc/sys/kernel/random/boot_id");
    beat.processes = TargetOf("/proc/self/ns/pid");
    beat.clock = MachineMilliseconds();
    beat.time = Milliseconds(CLOCK_REALTIME);
    return beat;
}

std::string Heartbeat::ToText() const {
    std::string text = "{\"process\": " + std::to_string(process) +
                       ", \"started\": " + Decimal(started, 100) + ", \"host\": " + Quoted(host) +
                       ", \"boot\": " + Quoted(boot) + ", \"processes\": " + Quoted(processes) +
                       ", \"clock\": " + Decimal(clock, kPerSecond) +
                       ", \"time\": " + Decimal(time, kPerSecond) +
                       ", \"interval\": " + Decimal(interval, kPerSecond) +
                       ", \"ended\": " + (hasEnded ? "true" : "false") + ", \"changed\": {";
    const char* groupComma = "";
    for (const auto& [group, properties] : changed) {
        text += groupComma + Quoted(group) + ": {";
        groupComma = ", ";
        const char* comma = "";
        for (const auto& [property, at] : properties) {
            text += comma + Quoted(property) + ": " + Decimal(at, kPerSecond);
            comma = ", ";
        }
        text += "}";
    }
    return text + "}}";
}

Result<Heartbeat> Heartbeat::Parse(const std::string& text) {
    const Error bad{ErrorCode::Refused, "the text is no heartbeat"};
    JsonValue root;
    if (!ParseJson(text, root).empty() || root.type != JsonType::Object) {
        return bad;
    }
    Members members(root.object);
    Heartbeat beat;
    beat.process = static_cast<std::uint32_t>(members.Number("process", 1));
    beat.started = members.Number("started", 100);
    beat.host = members.Text("host");
    beat.boot = members.Text("boot");
    beat.processes = members.Text("processes");
    beat.clock = members.Number("clock", kPerSecond);
    beat.time = members.Number("time", kPerSecond);
    beat.interval = static_cast<std::uint32_t>(members.Number("interval", kPerSecond));
    const JsonValue* const ended = members.Find("ended", JsonType::Bool);
    beat.hasEnded = ended != nullptr && ended->boolean;
    if (const JsonValue* const groups = members.Find("changed", JsonType::Object)) {
        for (const JsonMember& group : groups->object) {
            for (const JsonMember& property : group.value.object) {
                beat.changed[std::string(std::string_view(group.key))]
                            [std::string(std::string_view(property.key))] =
                    members.NumberOf(property.value, kPerSecond);
            }
        }
    }
    return members.AreComplete() ? Result<Heartbeat>(std::move(beat)) : bad;
}

}  // namespace vantry::client
