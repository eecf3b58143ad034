// A component: the firmware driver of a simulated printer. It owns a print speed that can be set, a
// head temperature that changes by itself, an amount of substrate that falls while it prints, and a
// command that moves the feed motor. Writes are answered on a thread of the client library; the
// main thread changes the values ten times a second until the program is interrupted, and then
// withdraws them.
//
//     simulated_driver PATH-OF-PRN1

#include <algorithm>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "client/hub.h"

namespace {

using vantry::client::Announcement;
using vantry::client::Hub;
using vantry::client::PropertyId;
using vantry::client::ValueType;

constexpr char kComponent[] = "B80EB2EA-4F49-423A-875C-8ACB1ACB9734";

const PropertyId kSpeed{kComponent, "99A61D40-20CE-41EA-A579-EB92C6ED94C6",
                        "5D2C1E0A-3B2F-4E64-9A77-1C0F5A6B7D01"};
const PropertyId kTemperature{kComponent, "694B9450-3986-4D7C-AF84-4812A9423FAA",
                              "5D2C1E0A-3B2F-4E64-9A77-1C0F5A6B7D02"};
const PropertyId kSubstrate{kComponent, "41B87577-BD88-48CE-BF21-BF5A6BFC9FE3",
                            "5D2C1E0A-3B2F-4E64-9A77-1C0F5A6B7D03"};
const PropertyId kMotor{kComponent, "72E4A48E-F7D3-44AE-96D4-271C9A1FE0E1",
                        "5D2C1E0A-3B2F-4E64-9A77-1C0F5A6B7D04"};

/// The simulated machine. All operations are thread-safe, because the client library calls some of
/// them on a thread of its own.
class Printer {
public:
    void SetSpeed(unsigned inchesPerSecond) {
        const std::lock_guard guard(mutex);
        speed = inchesPerSecond;
    }
    /// Feeds a new substrate.
    void MoveMotor() {
        const std::lock_guard guard(mutex);
        substrate = 5000;
    }
    /// Simulates a tenth of a second.
    void Step() {
        const std::lock_guard guard(mutex);
        time += 0.1;
        temperature = 40 + 2.0 * speed + 6 * std::sin(time);
        // A new roll follows an empty one, so that something moves however long it runs.
        substrate = substrate > 0 ? std::max(0.0, substrate - speed * 0.1) : 5000;
    }
    std::string Temperature() const {
        const std::lock_guard guard(mutex);
        return std::to_string(std::lround(temperature));
    }
    std::string Substrate() const {
        const std::lock_guard guard(mutex);
        return std::to_string(std::lround(substrate));
    }

private:
    mutable std::mutex mutex;
    unsigned speed = 4;
    double time = 0;
    double temperature = 25;
    double substrate = 5000;
};

Announcement Make(PropertyId id, const char* group, const char* name, ValueType type,
                  std::string value) {
    return {.id = std::move(id),
            .componentName = "Firmware Driver",
            .groupName = group,
            .name = name,
            .type = type,
            .value = std::move(value),
            .onWrite = nullptr};
}

volatile std::sig_atomic_t stopped = 0;

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: simulated_driver PATH-OF-PRN1\n");
        return 2;
    }
    const auto hub = Hub::Connect(vantry::client::Endpoint::Device(argv[1]));
    if (!hub) {
        std::fprintf(stderr, "simulated_driver: %s\n", hub.error().text.c_str());
        return 3;
    }
    Printer printer;
    Announcement speed = Make(kSpeed, "General", "Print Speed", ValueType::Number, "4");
    speed.onWrite = [&](const std::string& written) -> std::optional<std::string> {
        const unsigned long wanted = std::stoul(written);
        if (wanted < 1 || wanted > 12) {
            return std::nullopt;  // The printer can't, so the old speed remains.
        }
        printer.SetSpeed(static_cast<unsigned>(wanted));
        return written;
    };
    Announcement motor = Make(kMotor, "Motors", "Move Feed Motor", ValueType::Command, "False");
    motor.onWrite = [&](const std::string&) {
        printer.MoveMotor();
        return std::optional<std::string>("True");
    };
    const auto announced = (*hub)->Announce(
        {speed, motor,
         Make(kTemperature, "Sensors", "Printhead Temperature", ValueType::Number, "25"),
         Make(kSubstrate, "Substrate Printer Properties", "Substrate Remaining", ValueType::Number,
              "5000")});
    if (!announced) {
        std::fprintf(stderr, "simulated_driver: %s\n", announced.error().text.c_str());
        return 1;
    }
    std::printf("the simulated firmware driver is connected\n");
    std::fflush(stdout);
    std::signal(SIGINT, [](int) { stopped = 1; });
    std::signal(SIGTERM, [](int) { stopped = 1; });
    while (stopped == 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        printer.Step();
        static_cast<void>((*hub)->Change(kTemperature, printer.Temperature()));
        static_cast<void>((*hub)->Change(kSubstrate, printer.Substrate()));
    }
    for (const PropertyId& id : {kSpeed, kMotor, kTemperature, kSubstrate}) {
        static_cast<void>((*hub)->Withdraw(id));
    }
    return 0;
}
