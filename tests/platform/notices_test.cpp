#include "platform/notices.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <string>

namespace vantry {
namespace {

/// Standard error as a pipe that nobody reads until ReadUntil.
class PipedStandardError {
public:
    PipedStandardError() {
        EXPECT_EQ(pipe(ends.data()), 0);
        dup2(ends[1], STDERR_FILENO);
    }
    ~PipedStandardError() {
        dup2(before, STDERR_FILENO);
        for (const int descriptor : {before, ends[0], ends[1]}) {
            close(descriptor);
        }
    }
    PipedStandardError(const PipedStandardError&) = delete;
    PipedStandardError& operator=(const PipedStandardError&) = delete;

    std::string ReadUntil(const std::string& part) const {
        std::string all;
        std::array<char, 4096> buffer{};
        while (all.find(part) == std::string::npos) {
            const ssize_t count = read(ends[0], buffer.data(), buffer.size());
            all.append(buffer.data(), static_cast<std::size_t>(count));
        }
        return all;
    }

private:
    const int before = dup(STDERR_FILENO);
    std::array<int, 2> ends{};
};

TEST(Notices, AReaderThatHasStoppedHoldsNobodyUp) {
    const PipedStandardError reader;
    const std::string line(1'000, 'x');
    Notices notices;
    for (int count = 0; count < 1'000; ++count) {
        notices.Tell(line);
    }
    EXPECT_TRUE(reader.ReadUntil("lines were left out").starts_with("vantry: xxx"));
    notices.Tell("later");
    EXPECT_TRUE(reader.ReadUntil("vantry: later\n").ends_with("vantry: later\n"));
    // Peers can cause any number of these.
    for (int count = 0; count < 10'000; ++count) {
        notices.TellParserFailure("syntax error");
    }
    EXPECT_TRUE(reader.ReadUntil("lines were left out").starts_with("error: syntax error\n"));
}

}  // namespace
}  // namespace vantry
