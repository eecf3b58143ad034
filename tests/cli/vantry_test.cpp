// Runs vantry as users do, against a running hub.

#include <gtest/gtest.h>
#include <signal.h>

#include <nlohmann/json.hpp>

#include "support/eventually.h"
#include "support/messages.h"
#include "support/temporary_directory.h"
#include "support/vantryd_process.h"

namespace vantry {
namespace {

using namespace test;

class VantryCommand : public testing::Test {
protected:
    ProcessResult Run(std::vector<std::string> arguments, const std::string& input = "") {
        arguments.insert(arguments.begin(), {"--device", (hub.devices / "PRN1").string()});
        return RunProgram(VANTRY_PATH, arguments, input);
    }
    /// Announces a component with an unusual text, a number that changes by itself, and a command.
    std::unique_ptr<BackgroundProgram> Announce() {
        const auto file = directory.Path() / "component.txt";
        WriteFile(file,
                  "component \"Firmware Driver\"\ngroup Motors\n"
                  "property \"Move Feed Motor\" command False\n"
                  "group Sensors\nproperty \"Head Temperature\" number 25 readonly ramp 20 60 1\n"
                  "group General\nproperty \"Odd \\\"name\\\"\" text \"a \\\"b\\\" \xFF\"\n");
        auto component = std::make_unique<BackgroundProgram>(
            VANTRY_PATH, std::vector<std::string>{"--device", (hub.devices / "PRN1").string(),
                                                  "announce", file.string()});
        EXPECT_TRUE(Eventually([&] { return Run({"list", "Head"}).exitStatus == 0; }));
        return component;
    }

    TemporaryDirectory directory;
    VantrydProcess hub{directory.Path()};
};

TEST_F(VantryCommand, ListsByGroupWithFilters) {
    const auto component = Announce();
    const std::string all = Run({"list"}).output;
    EXPECT_LT(all.find("\nGeneral\n"), all.find("\nMotors\n"));
    EXPECT_EQ(Count(Run({"list", "--component", "firmware"}).output, "Firmware Driver"), 3U);
    EXPECT_EQ(Count(Run({"list", "--group", "Motors", "--names"}).output, "\n"), 1U);
    EXPECT_EQ(Run({"list", "*Temp*", "--names"}).output, "Sensors/Head Temperature\n");
    EXPECT_EQ(Run({"list", "nothing like it"}).exitStatus, 1);
    const auto document = nlohmann::json::parse(Run({"list", "--json"}).output, nullptr, false);
    ASSERT_TRUE(document.is_array());
    EXPECT_EQ(document.size(), 38U);
    EXPECT_EQ(all.find('\x1b'), std::string::npos);
}

TEST_F(VantryCommand, GetsAndSets) {
    const auto component = Announce();
    EXPECT_EQ(Run({"get", "usbprntxtimeout"}).output, "35000\n");
    EXPECT_EQ(Run({"get", "General/UsbPrnTxTimeout", "move feed motor"}).output,
              "General/UsbPrnTxTimeout: 35000\nMotors/Move Feed Motor: False\n");
    const ProcessResult set = Run({"set", "UsbPrnTxTimeout", "1234"});
    EXPECT_EQ(set.output, "General/UsbPrnTxTimeout is now 1234\n");
    EXPECT_EQ(set.exitStatus, 0);
    EXPECT_EQ(Run({"set", "Odd \"name\"", "x\"\\"}).exitStatus, 0);
    EXPECT_EQ(Run({"get", "Odd \"name\""}).output, "x\"\\\n");
    EXPECT_EQ(Run({"set", "--no-wait", "Move Feed Motor", "True"}).exitStatus, 0);
    EXPECT_TRUE(Eventually([&] { return Run({"get", "Move Feed Motor"}).output == "True\n"; }));
    const auto one = nlohmann::json::parse(Run({"--json", "get", "Move Feed Motor"}).output);
    EXPECT_EQ(one["group"], "Motors");
}

TEST_F(VantryCommand, SaysWhatIsWrongByWordAndStatus) {
    const auto component = Announce();
    const struct {
        std::vector<std::string> arguments;
        int status;
        std::string mentions;
    } cases[] = {
        {{"get", "Hed Temperature"}, 1, "Sensors/Head Temperature"},
        {{"--timeout", "0.5", "set", "Head Temperature", "1"}, 4, "did not take"},
        {{"announce", "/nonexistent"}, 1, "No such file"},
        {{"replay", VANTRY_PATH}, 1, "no recorded message"},
        {{"lst"}, 2, "no command \"lst\"; did you mean \"list\"?"},
        {{"set", "one"}, 2, "vantry help set"},
        {{"set", "Print", "Speed", "8"}, 2, "in quotes"},
        {{"set", "one", "-x"}, 2, "-- stands before"},
        {{"help", "wtch"}, 1, "did you mean \"watch\"?"},
        {{"--timeout", "0", "list"}, 2, "0.001 to 86400"},
    };
    for (const auto& [arguments, status, mentions] : cases) {
        const ProcessResult result = Run(arguments);
        EXPECT_EQ(result.exitStatus, status) << arguments[0];
        EXPECT_NE(result.errors.find(mentions), std::string::npos) << result.errors;
    }
    EXPECT_EQ(RunProgram(VANTRY_PATH, {"--device", "/nonexistent", "list"}).exitStatus, 3);
    const std::string tcp = "127.0.0.1:" + std::to_string(hub.Port());
    EXPECT_EQ(RunProgram(VANTRY_PATH, {"--tcp", tcp, "set", "a", "b"}).exitStatus, 1);
    EXPECT_EQ(RunProgram(VANTRY_PATH, {"--tcp", tcp, "get", "Firmware Version"}).output,
              "1.1.153310\n");
}

TEST_F(VantryCommand, WatchesChangesAsLinesOrJson) {
    const auto component = Announce();
    const std::string lines = Run({"watch", "Head Temperature", "--count", "3"}).output;
    EXPECT_EQ(Count(lines, "Sensors/Head Temperature = "), 3U);
    const std::string json = Run({"--json", "watch", "Head Temperature", "--count", "2"}).output;
    const auto first = nlohmann::json::parse(json.substr(0, json.find('\n')));
    EXPECT_EQ(first["name"], "Head Temperature");
    // Without a terminal there is no table.
    EXPECT_EQ(Run({"watch", "--live", "Head Temperature", "--count", "1"}).output.find('\x1b'),
              std::string::npos);
}

TEST_F(VantryCommand, EndsWhenItsOutputCannotBeWritten) {
    const auto component = Announce();
    const std::string run = std::string("exec 2>&1; ") + VANTRY_PATH + " --device '" +
                            (hub.devices / "PRN1").string() + "' ";
    // The test program may have been started with the signal ignored.
    EXPECT_EQ(RunProgram("/bin/bash", {"-c", "trap '' PIPE; set -o pipefail; " + run +
                                                 "watch 'Head Temperature' | head -n 1 >/dev/null"})
                  .exitStatus,
              128 + SIGPIPE);
    const ProcessResult full = RunProgram("/bin/bash", {"-c", run + "list >/dev/full"});
    EXPECT_EQ(full.exitStatus, 1);
    EXPECT_NE(full.output.find("No space left on device"), std::string::npos) << full.output;
}

TEST_F(VantryCommand, AnEndedComponentIsWithdrawn) {
    const auto component = Announce();
    EXPECT_EQ(component->Interrupt(), 0);
    EXPECT_EQ(Run({"list", "Head Temperature"}).exitStatus, 1);
}

TEST_F(VantryCommand, ConversesByHandAndPlaysItAgain) {
    const std::string file = (directory.Path() / "talk").string();
    const std::string input =
        Set(PublishingPeriod(), "750") + "\n" + Get(PublishingPeriod()) + "\n";
    const ProcessResult recorded = Run({"record", file}, input);
    EXPECT_EQ(Count(recorded.output, "\"Value\": \"750\""), 1U);
    EXPECT_EQ(Count(ReadFile(file), "\n"), 3U);
    EXPECT_EQ(Run({"set", "Property Publishing Period in ms", "500"}).exitStatus, 0);
    EXPECT_EQ(Run({"replay", "--fast", file}).output, recorded.output);
    EXPECT_EQ(Run({"get", "Property Publishing Period in ms"}).output, "750\n");
    EXPECT_EQ(Run({"raw"}, "no object\n").exitStatus, 0);
}

TEST_F(VantryCommand, MeasuresAndTellsTheStatus) {
    const auto bench =
        nlohmann::json::parse(Run({"--json", "bench", "--seconds", "0.3"}).output, nullptr, false);
    ASSERT_TRUE(bench.is_object());
    EXPECT_GT(bench["requestsPerSecond"], 0);
    const auto status = nlohmann::json::parse(
        Run({"--json", "status", "--root", hub.root.string()}).output, nullptr, false);
    ASSERT_TRUE(status.is_object());
    EXPECT_EQ(status["components"]["Vantry"], 35);
    EXPECT_EQ(status["versions"]["Firmware Version"], "1.1.153310");
    EXPECT_FALSE(status["log"].empty());
    EXPECT_NE(Run({"status"}).output.find("35 properties"), std::string::npos);
}

TEST_F(VantryCommand, BashCompletesTheNamesOfTheRunningHub) {
    const std::string script =
        "export VANTRY_DEVICE='" + (hub.devices / "PRN1").string() +
        "' PATH=" + std::filesystem::path(VANTRY_PATH).parent_path().string() + ":$PATH\nsource '" +
        COMPLETION_PATH +
        "'\nCOMP_WORDS=(vantry get general/usb) COMP_CWORD=2\n_vantry\necho \"${COMPREPLY[@]}\"\n"
        "COMP_WORDS=(vantry st) COMP_CWORD=1\n_vantry\necho \"${COMPREPLY[@]}\"\n";
    EXPECT_EQ(RunProgram("/bin/bash", {"-c", script}).output, "General/UsbPrnTxTimeout\nstatus\n");
}

TEST_F(VantryCommand, TheExamplesWorkTogether) {
    BackgroundProgram driver(SIMULATED_DRIVER_PATH, {(hub.devices / "PRN1").string()});
    ASSERT_TRUE(Eventually([&] { return Run({"list", "Print Speed"}).exitStatus == 0; }));
    EXPECT_EQ(Run({"set", "Print Speed", "7"}).exitStatus, 0);
    EXPECT_EQ(Run({"--timeout", "0.5", "set", "Print Speed", "99"}).exitStatus, 4);
    EXPECT_EQ(Run({"set", "Move Feed Motor", "True"}).exitStatus, 0);
    const ProcessResult monitor = RunProgram(MONITOR_PATH, {(hub.devices / "PRN1").string(), "60"});
    EXPECT_EQ(monitor.exitStatus, 0);
    EXPECT_NE(monitor.output.find("Sensors/Printhead Temperature = "), std::string::npos);
    EXPECT_EQ(driver.Interrupt(), 0);
    EXPECT_EQ(Run({"list", "Print Speed"}).exitStatus, 1);
}

}  // namespace
}  // namespace vantry
