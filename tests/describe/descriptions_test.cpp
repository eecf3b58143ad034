#include "describe/descriptions.h"

#include <gtest/gtest.h>

#include "support/temporary_directory.h"

namespace vantry::describe {
namespace {

using client::ValueType;

client::Property Named(const std::string& name, const std::string& guid) {
    return {.id = {"955CFDC2-8EA6-478E-A927-7C870022EA03", "G", guid},
            .componentName = "Vantry",
            .groupName = "General",
            .name = name,
            .value = "0"};
}

TEST(Description, RefusesWhatDoesNotFitAndSaysWhatDoes) {
    const Description number{
        .type = ValueType::Number, .unit = "ms", .minimum = 10, .maximum = 20.5, .step = 0.5};
    const Description whole{.type = ValueType::Number, .minimum = 0, .step = 1};
    const Description words{.type = ValueType::Text, .words = {"Slow", "Fast"}};
    const Description truth{.type = ValueType::Bool};
    const Description command{.type = ValueType::Command};
    const Description fixed{.writable = false};
    const Description unknown;
    const struct {
        const Description& description;
        std::string typed;
        std::string sent;
        std::string refusal;
    } cases[] = {
        {number, "10", "10", ""},
        {number, "12.5", "12.5", ""},
        {number, "12.3", "", "a number from 10 to 20.5 ms in steps of 0.5"},
        {number, "fast", "", "\"fast\" isn't that"},
        {number, "nan", "", "a number"},
        {number, "12 ", "", "a number"},
        {number, "", "", "a number"},
        {whole, "-1", "", "a whole number of at least 0"},
        {whole, "3.7", "", "a whole number"},
        {words, "Fast", "Fast", ""},
        {words, "fast", "", "one of Slow, Fast"},
        {truth, "on", "True", ""},
        {truth, "NO", "False", ""},
        {truth, "maybe", "", "True or False"},
        {command, "1", "True", ""},
        {command, "False", "", "which runs it"},
        {fixed, "x", "", "read-only"},
        {unknown, "anything", "anything", ""},
    };
    for (const auto& [description, typed, sent, refusal] : cases) {
        const auto fitted = Fit(description, "Name", typed);
        ASSERT_EQ(bool(fitted), refusal.empty()) << typed;
        if (fitted) {
            EXPECT_EQ(*fitted, sent) << typed;
        } else {
            EXPECT_NE(fitted.error().text.find(refusal), std::string::npos) << fitted.error().text;
        }
    }
}

TEST(Descriptions, TheInstalledOnesDescribeTheHubAndItsUnits) {
    const auto loaded = Descriptions::Load({DESCRIPTIONS_PATH});
    EXPECT_TRUE(loaded.problems.empty()) << loaded.problems[0];
    const struct {
        const char* name;
        const char* guid;
        std::optional<ValueType> type;
        const char* unit;
    } cases[] = {
        {"Property Publishing Period in ms", "DA821DC5-948D-4659-9B52-177E4C102129",
         ValueType::Number, "ms"},
        {"Store Properties", "DDF2926A-0A65-4196-88FE-5858BC957E0B", ValueType::Command, ""},
        {"ribbon remaining (MILS)", "?", ValueType::Number, "mil"},
        {"Cutter Motor Deceleration - (steps per second)^2", "?", ValueType::Number, "step/s²"},
        {"Print Speed", "?", std::nullopt, ""}};
    for (const auto& [name, guid, type, unit] : cases) {
        const Description description = loaded.descriptions.Of(Named(name, guid));
        EXPECT_EQ(description.type, type) << name;
        EXPECT_EQ(description.unit, unit) << name;
    }
}

TEST(Descriptions, ALaterFileReplacesWhatItStatesAndAMistakeLeavesOutItsFile) {
    const test::TemporaryDirectory directory;
    const auto write = [&](const char* name, const char* text) {
        test::WriteFile(directory.Path() / name, text);
    };
    write("1.json", R"({"names": [{"match": "fan *", "unit": "1/min", "text": "old"}],
                        "properties": [{"guid": "P", "text": "new", "maximum": 9},
                                       {"guid": "P", "group": "OTHER", "maximum": 1}]})");
    write("2.json", R"({"properties": [{"guid": "P", "type": "number", "step": 1}]} // mine)");
    write("3.json", R"({"properties": [{"guid": "P", "unit": "m"}, {"guid": "P", "unti": "s"}]})");
    write("4.json", R"({"properties": [{"text": "of nothing"}]})");
    write("5.json", "[]");
    const auto loaded = Descriptions::Load({"/nonexistent", directory.Path()});
    ASSERT_EQ(loaded.problems.size(), 3U);
    EXPECT_NE(loaded.problems[0].find("3.json: entry 2 of \"properties\": \"unti\" isn't known"),
              std::string::npos)
        << loaded.problems[0];
    EXPECT_EQ(
        loaded.descriptions.Of(Named("Fan Speed", "P")),
        (Description{
            .type = ValueType::Number, .unit = "1/min", .maximum = 9, .step = 1, .text = "new"}));
}

}  // namespace
}  // namespace vantry::describe
