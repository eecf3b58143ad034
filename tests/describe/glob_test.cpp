#include "describe/glob.h"

#include <gtest/gtest.h>

namespace vantry::describe {
namespace {

TEST(Glob, MatchesWholeTextsByStarsAndCharacters) {
    const struct {
        const char* glob;
        const char* text;
        bool exact;
        bool ignoringCase;
    } cases[] = {
        {"", "", true, true},
        {"", "a", false, false},
        {"*", "", true, true},
        {"Sensors/*", "sensors/Heat", false, true},
        {"*/Heat", "Unit/Sensors/Heat", true, true},
        {"*a*b*c", "xaxbxbxc", true, true},
        {"*a*b*c", "xaxbxbxcd", false, false},
        {"a?c", "a/c", true, true},
        {"a?c", "aéc", true, true},
        {"a??c", "aéc", false, false},
        {"*?é", "éé", true, true},
        {"Level [mm]", "level [MM]", false, true},
        {"Level [mm]", "Level m", false, false},
        {"a\\*", "a\\b", true, true},
        {"É", "é", false, false},
    };
    for (const auto& [glob, text, exact, ignoringCase] : cases) {
        EXPECT_EQ(GlobMatches(glob, text, LetterCase::Exact), exact) << glob << " " << text;
        EXPECT_EQ(GlobMatches(glob, text, LetterCase::Ignored), ignoringCase)
            << glob << " " << text;
    }
}

TEST(Glob, OfAStrangerTakesNoEndlessTime) {
    std::string glob;
    for (int star = 0; star < 1'000; ++star) {
        glob += "*a";
    }
    EXPECT_FALSE(GlobMatches(glob + "b", std::string(10'000, 'a'), LetterCase::Exact));
}

}  // namespace
}  // namespace vantry::describe
