// The conversations of docs/vectors, from which clients in other languages are written.

#include <gtest/gtest.h>

#include <fstream>
#include <optional>

#include "support/messages.h"
#include "support/temporary_directory.h"
#include "support/vantryd_process.h"

namespace vantry {
namespace {

using namespace test;

/// Returns whether the text matches that of a vector, in which "..." matches any text.
bool Fits(const std::string& text, const std::string& wanted) {
    const std::size_t anything = wanted.find("...");
    if (anything == std::string::npos) {
        return text == wanted;
    }
    return text.starts_with(wanted.substr(0, anything)) &&
           text.ends_with(wanted.substr(anything + 3));
}

class Vectors : public testing::TestWithParam<std::string> {};

TEST_P(Vectors, HoldOverARealLink) {
    const TemporaryDirectory directory;
    VantrydProcess hub(directory.Path());
    std::ifstream file(VECTORS_PATH + ("/" + GetParam()));
    std::optional<FrameClient> client;
    int exchanges = 0;
    for (std::string line; std::getline(file, line);) {
        if (line == "link: external") {
            client.emplace(hub.Tcp());
            continue;
        }
        if (!client) {
            client.emplace(hub.Device("PRN1"));
        }
        const std::string text = line.substr(2);
        if (line.starts_with("> ")) {
            client->Send(text);
        } else {
            const std::string answer = client->Receive().value_or("the end of the stream");
            EXPECT_TRUE(Fits(answer, text)) << answer << "\nbut not\n" << text;
            ++exchanges;
        }
    }
    EXPECT_GT(exchanges, 0);
}

INSTANTIATE_TEST_SUITE_P(Docs, Vectors,
                         testing::Values("read.txt", "write.txt", "external.txt", "own.txt",
                                         "reader.txt"),
                         [](const auto& info) {
                             return info.param.substr(0, info.param.find('.'));
                         });

}  // namespace
}  // namespace vantry
