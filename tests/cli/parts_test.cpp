#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>

#include "cli/base/json.h"
#include "cli/base/text.h"
#include "cli/script/script.h"
#include "cli/select/condition.h"
#include "cli/select/property_names.h"
#include "cli/show/live_table.h"
#include "cli/show/time_plot.h"

namespace vantry::cli {
namespace {

client::Property Made(const std::string& component, const std::string& group,
                      const std::string& name, const std::string& guid) {
    return {.id = {"C-" + component, "G-" + group, guid},
            .componentName = component,
            .groupName = group,
            .name = name,
            .value = "1"};
}

TEST(FindByName, TakesEveryWayToNameAProperty) {
    const std::vector<client::Property> all = {
        Made("A", "General", "Print Speed", "P1"), Made("A", "Motors", "Speed", "P2"),
        Made("B", "Motors", "Speed", "P3"), Made("B", "Sensors", "speed", "P4")};
    const struct {
        const char* name;
        const char* guid;
    } found[] = {{"Print Speed", "P1"},    {"print speed", "P1"},  {"general/print speed", "P1"},
                 {"A/Motors/Speed", "P2"}, {"G-Motors:P3", "P3"},  {"C-B:G-Motors:P3", "P3"},
                 {"speed", "P4"},          {"Sensors/Speed", "P4"}};
    for (const auto& [name, guid] : found) {
        const auto property = FindByName(all, name);
        ASSERT_TRUE(property) << name << ": " << property.error().text;
        EXPECT_EQ(property->id.property, guid) << name;
    }
    const auto ambiguous = FindByName(all, "Motors/Speed");
    ASSERT_FALSE(ambiguous);
    EXPECT_NE(ambiguous.error().text.find("A/Motors/Speed"), std::string::npos);
    EXPECT_NE(ambiguous.error().text.find("B/Motors/Speed"), std::string::npos);
    const auto misspelt = FindByName(all, "Prnt Sped");
    ASSERT_FALSE(misspelt);
    EXPECT_NE(misspelt.error().text.find("\"Print Speed\""), std::string::npos);
    EXPECT_EQ(FindByName(all, "zzzzzzzzzzzz").error().text.find("did you mean"), std::string::npos);
}

TEST(Condition, ComparesNumbersAndTextsAsAPersonMeans) {
    const struct {
        const char* text;
        const char* name;
        const char* holds;
        const char* fails;
    } cases[] = {{"Fan Speed > 0", "Fan Speed", "1200", "0"},
                 {"Fan Speed>=10", "Fan Speed", "10.0", "9"},
                 {"A/B/C < -1.5", "A/B/C", "-2", "none"},
                 {"Speed <= 4", "Speed", "4", ""},
                 {"Move Feed Motor == true", "Move Feed Motor", "True", "False"},
                 {"Speed = 4", "Speed", "04", "40"},
                 {"Speed != 4", "Speed", "5", "4.0"},
                 {"Version ~ 1.*", "Version", "1.2", "2.1"},
                 {"Version ~ beta", "Version", "2 Beta", "2"},
                 {"Empty =", "Empty", "", " "},
                 {"\"a \\\"<\\\" b\" = \" x>y\"", "a \"<\" b", " x>y", "x>y"}};
    for (const auto& [text, name, holds, fails] : cases) {
        const auto condition = Condition::Parse(text);
        ASSERT_TRUE(condition) << text << ": " << condition.error().text;
        EXPECT_EQ(condition->Name(), name);
        EXPECT_TRUE(condition->Holds(holds)) << text;
        EXPECT_FALSE(condition->Holds(fails)) << text;
    }
    for (const char* wrong : {"", "Fan Speed", "> 3", "Fan Speed > fast", "\"a > 3", "x ! 3"}) {
        const auto condition = Condition::Parse(wrong);
        ASSERT_FALSE(condition) << wrong;
        EXPECT_NE(condition.error().text.find("'Fan Speed > 0'"), std::string::npos);
    }
}

TEST(Text, FitsColumnsWhateverTheCharacters) {
    const struct {
        const char* text;
        std::size_t columns;
        const char* fitted;
    } cases[] = {{"abc", 5, "abc  "},     {"abcdef", 4, "abc…"},       {"漢字漢字", 5, "漢字…"},
                 {"漢字漢字", 4, "漢… "}, {"e\u0301a", 2, "e\u0301a"}, {"\xFF\xFE", 3, "\xFF\xFE "},
                 {"abc", 0, ""}};
    for (const auto& [text, columns, fitted] : cases) {
        EXPECT_EQ(Fitted(text, columns), fitted) << text;
    }
    EXPECT_EQ(Wrapped("\u0301漢字abc", 3, 2), (std::vector<std::string>{"\u0301漢", "字…"}));
    EXPECT_EQ(Printable("a\x1b[31m\n\t\x7f"), "a\\x1b[31m\\n\\t\\x7f");
}

TEST(Text, JsonIsValidForEveryValue) {
    client::Property property = Made("A", "G", "N", "P");
    property.value.clear();
    for (int byte = 0; byte < 256; ++byte) {
        property.value.push_back(static_cast<char>(byte));
    }
    const auto document = Json::parse(OneLine(JsonOf(property)), nullptr, false);
    ASSERT_FALSE(document.is_discarded());
    EXPECT_EQ(document["name"], "N");
    property.value = "\xC3\xA9\"\\";
    EXPECT_EQ(Json::parse(OneLine(JsonOf(property)))["value"], property.value);
}

TEST(Script, ReadsPropertiesWithTheirBehaviour) {
    std::istringstream file(R"(
# a comment
component "Firmware Driver"
group Sensors
property "Head \"A\"" number 25 readonly ramp 20 60 10   # behind
group Mine 6D9E0C5B-6B9F-4A56-8B43-6A1B6A4B6F02
property Go command False fails
property On bool True
property Off truth False
)");
    const auto script = ReadScript(file);
    ASSERT_TRUE(script) << script.error().text;
    ASSERT_EQ(script->size(), 4U);
    const ScriptedProperty& head = (*script)[0];
    EXPECT_EQ(head.announcement.id.component, "B80EB2EA-4F49-423A-875C-8ACB1ACB9734");
    EXPECT_EQ(head.announcement.id.group, "694B9450-3986-4D7C-AF84-4812A9423FAA");
    EXPECT_EQ(head.announcement.name, "Head \"A\"");
    EXPECT_FALSE(head.announcement.onWrite);
    EXPECT_EQ(head.ramp->At(0), 20);
    EXPECT_EQ(head.ramp->At(5), 40);
    EXPECT_EQ(head.ramp->At(15), 40);
    EXPECT_EQ((*script)[1].announcement.id.group, "6D9E0C5B-6B9F-4A56-8B43-6A1B6A4B6F02");
    EXPECT_EQ((*script)[1].announcement.onWrite("True"), "False");
    EXPECT_EQ(head.announcement.id.property.size(), 36U);
    EXPECT_EQ((*script)[2].announcement.type, client::ValueType::Bool);
    EXPECT_EQ((*script)[3].announcement.type, client::ValueType::Bool);
}

TEST(Script, SaysWhatIsWrongAndWhere) {
    const struct {
        const char* text;
        const char* problem;
    } cases[] = {{"", "no property"},
                 {"component", "line 1: 'component' needs a name"},
                 {"thing x", "'thing'"},
                 {"property a text b", "needs a component"},
                 {"component c\ngroup g\nproperty a colour b", "line 3: 'colour'"},
                 {"component c\ngroup g\nproperty a text", "needs a value"},
                 {"component c\ngroup g\nproperty a text b what", "'what'"},
                 {"component c\ngroup g\nproperty a number 1 ramp 1 x 2", "ramp"},
                 {"component c\ngroup g\nproperty a text b ramp 1 2 3", "only a number"},
                 {"component c\ngroup g\nproperty a number -5", "line 3: '-5' is no number"},
                 {"component c\ngroup g\nproperty a bool maybe", "'maybe' is no bool"},
                 {"component c\ngroup \"open", "line 2: a quote isn't closed"},
                 {"component c\ngroup g\nproperty a text b\nproperty a text c", "already"}};
    for (const auto& [text, problem] : cases) {
        std::istringstream file(text);
        const auto script = ReadScript(file);
        ASSERT_FALSE(script) << text;
        EXPECT_NE(script.error().text.find(problem), std::string::npos) << script.error().text;
    }
}

/// Returns the lines of a screen without control sequences.
std::vector<std::string> LinesOf(const std::string& screen) {
    std::istringstream text(
        std::regex_replace(screen, std::regex("\x1b\\[[0-9;]*[A-Za-z]|\r"), ""));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(TimePlot, LosesNoPeakAndNamesItsScale) {
    const std::deque<TimedNumber> samples = {{-5, 3}, {10, 0}, {20, 1}, {20.1, 7}, {20.2, 1}};
    EXPECT_EQ(Sparkline({{0, 0}, {1, 1}, {2, 2}, {3, 3}}, {-1, 3}, 4), "▁▃▆█");
    EXPECT_EQ(Sparkline({{2, 5}}, {0, 3}, 3), " ▅▅");
    const auto lines = TimePlot(samples, {0, 60}, 50, 8);
    ASSERT_EQ(lines.size(), 8U);
    EXPECT_TRUE(lines[0].starts_with("  7 ┤")) << lines[0];
    EXPECT_TRUE(lines[5].starts_with("  0 ┤")) << lines[5];
    EXPECT_NE(lines[0].find("⡇"), std::string::npos) << lines[0];
    EXPECT_TRUE(lines[7].ends_with("now") && lines[7].find("-60 s") != std::string::npos);
    for (const std::string& line : lines) {
        EXPECT_LE(ColumnsOf(line), 50U);
    }
    EXPECT_TRUE(TimePlot({}, {0, 60}, 50, 8).empty());
    EXPECT_TRUE(TimePlot(samples, {0, 60}, 12, 8).empty());
    EXPECT_TRUE(TimePlot(samples, {0, 60}, 50, 4).empty());
}

class LiveTableTest : public ::testing::Test {
protected:
    const Context context{};
    const Catalog catalog{context, Snapshot{}};
    LiveTable table{catalog};

    void Record(const std::string& group, const std::string& name, const std::string& value,
                double seconds = 0) {
        client::Property property = Made("C", group, name, group + name);
        property.value = value;
        table.Record(property, seconds);
    }
    std::vector<std::string> Draw(const TerminalSize& size, double seconds = 1) {
        return LinesOf(table.Draw(size, {true, "hub", "12:00:00", seconds}, Style(false)));
    }
    void Type(const std::string& keys) {
        for (const char key : keys) {
            table.Press(key);
        }
    }
};

TEST_F(LiveTableTest, FitsEveryTerminal) {
    for (int number = 0; number < 50; ++number) {
        Record("Group", "漢字 🖨️ name " + std::to_string(number),
               std::string(static_cast<std::size_t>(number), 'x'));
    }
    for (const TerminalSize size :
         {TerminalSize{80, 24}, TerminalSize{200, 10}, TerminalSize{40, 60}, TerminalSize{20, 4},
          TerminalSize{5, 1}}) {
        Type(" p");
        const std::vector<std::string> lines = Draw(size);
        EXPECT_LE(lines.size(), size.rows);
        for (const std::string& line : lines) {
            EXPECT_LT(ColumnsOf(line), size.columns) << line;
        }
    }
}

TEST_F(LiveTableTest, KeepsTheCursorOnItsPropertyAndTheScreenFull) {
    Record("Debug Zone", "A zone", "False");
    for (int number = 10; number < 40; ++number) {
        Record("Group", "P" + std::to_string(number), "1");
    }
    EXPECT_TRUE(Draw({80, 24})[2].starts_with("P10"));
    table.Press('G');
    std::vector<std::string> lines = Draw({80, 24});
    EXPECT_TRUE(lines[22].starts_with("A zone"));
    EXPECT_TRUE(lines[23].starts_with("11-31 of 31")) << lines[23];
    EXPECT_TRUE(Draw({80, 50})[2].starts_with("P10"));
    table.Press(Key::kUp);
    Draw({80, 24});
    Record("Group", "P15", "2", 1);
    lines = Draw({80, 24});
    EXPECT_TRUE(lines[21].starts_with("P38")) << lines[21];
    table.Press('g');
    EXPECT_TRUE(Draw({80, 24})[2].starts_with("P15"));
}

TEST_F(LiveTableTest, FiltersSortsAndPlots) {
    Record("Sensors", "Heat", "20");
    Record("Sensors", "Air", "3", 2);
    Record("Sensors", "Heat", "30", 5);
    Record("General", "Label", std::string(500, 'y'));
    EXPECT_TRUE(Draw({80, 24}, 5)[2].starts_with("Heat"));
    EXPECT_TRUE(Draw({80, 24}, 5)[6].starts_with("30 ┤"));
    Type("s");
    EXPECT_TRUE(Draw({80, 24})[2].starts_with("Air"));
    Type("/lab");
    EXPECT_TRUE(Draw({80, 24}).back().starts_with("/lab"));
    Type("\n");
    std::vector<std::string> lines = Draw({80, 24});
    EXPECT_TRUE(lines[2].starts_with("Label") && lines[3].starts_with("Label: yyy"));
    EXPECT_TRUE(lines.back().starts_with("1-1 of 1 with \"lab\""));
    table.Press(Key::kEscape);
    EXPECT_TRUE(Draw({80, 24}).back().starts_with("1-3 of 3"));
    EXPECT_FALSE(table.Press('q'));
}

}  // namespace
}  // namespace vantry::cli
