#include "host/options.h"

#include <gtest/gtest.h>

#include <vector>

namespace vantry {
namespace {

std::optional<Options> Parsed(std::vector<std::string> arguments, std::string& error) {
    std::vector<char*> pointers;
    arguments.insert(arguments.begin(), "vantryd");
    for (std::string& argument : arguments) {
        pointers.push_back(argument.data());
    }
    pointers.push_back(nullptr);
    return ParseOptions(static_cast<int>(arguments.size()), pointers.data(), error);
}

TEST(Options, GoodOnesAreTaken) {
    std::string error;
    const auto options = Parsed(
        {"--root", "/r", "--devices=/d", "--port", "0", "--bind", "127.0.0.1", "--bluetooth"},
        error);
    ASSERT_TRUE(options) << error;
    EXPECT_EQ(options->root, "/r");
    EXPECT_EQ(options->devices, "/d");
    EXPECT_EQ(options->port, 0);
    EXPECT_EQ(options->address, 0x7F000001U);
    EXPECT_TRUE(options->bluetooth);
    EXPECT_FALSE(Parsed({}, error)->port);
    EXPECT_EQ(Parsed({"--version"}, error)->action, Options::Action::ShowVersion);
    EXPECT_EQ(Parsed({"--help"}, error)->action, Options::Action::ShowHelp);
}

TEST(Options, WrongOnesAreNamed) {
    const std::vector<std::vector<std::string>> cases = {
        {"--prot", "1"}, {"--port"},        {"--port", "65536"}, {"--port", "-1"},
        {"--port", ""},  {"--port", "9x"},  {"--bind", "host"},  {"--bind", "1.2.3"},
        {"--root", ""},  {"--devices", ""}, {"extra"},           {"-x"},
    };
    for (const auto& arguments : cases) {
        std::string error;
        EXPECT_FALSE(Parsed(arguments, error)) << arguments[0];
        EXPECT_NE(error, "");
    }
}

}  // namespace
}  // namespace vantry
