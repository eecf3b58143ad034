// The conversations of docs/vectors, from which clients in other languages are written.

#include <gtest/gtest.h>

#include <fstream>
#include <map>

#include "support/temporary_directory.h"
#include "support/vantryd_process.h"

namespace vantry {
namespace {

using namespace test;

/// Longer than two publishing periods.
constexpr int kSilenceMilliseconds = 1200;

/// Returns whether the text matches that of a vector, in which "..." matches any text.
bool Fits(std::string_view text, std::string_view wanted) {
    const std::size_t anything = wanted.find("...");
    if (anything == std::string_view::npos) {
        return text == wanted;
    }
    if (!text.starts_with(wanted.substr(0, anything))) {
        return false;
    }
    text.remove_prefix(anything);
    wanted.remove_prefix(anything + 3);
    while (!Fits(text, wanted) && !text.empty()) {
        text.remove_prefix(1);
    }
    return Fits(text, wanted);
}

/// Holds the conversation, the external peers on this link. Returns whether there are any.
bool Play(const VantrydProcess& hub, std::istream& file, const std::string& externalLink) {
    bool hasExternal = false;
    std::map<std::string, FrameClient> peers;
    for (std::string line; std::getline(file, line);) {
        SCOPED_TRACE(line);
        const std::size_t split = line.find_first_of(" <>~");
        const std::string name = line.substr(0, split);
        const std::string rest = line.substr(split);
        const std::string text = rest.substr(std::min<std::size_t>(2, rest.size()));
        if (name == "#") {
            continue;
        }
        if (rest == " is external" || name == "link:") {
            hasExternal = true;
            peers.emplace(name == "link:" ? "" : name, hub.Connect(externalLink));
            continue;
        }
        auto peer = peers.find(name);
        if (peer == peers.end()) {
            peer = peers.emplace(name, hub.Device("PRN1")).first;
        }
        if (rest.starts_with("> ")) {
            peer->second.Send(text);
        } else if (rest == " hears nothing") {
            EXPECT_FALSE(peer->second.HearsWithin(kSilenceMilliseconds));
        } else if (rest == " closes") {
            peers.erase(peer);
        } else if (rest == " ends") {
            EXPECT_FALSE(peer->second.Receive());
        } else {
            std::optional<std::string> heard = peer->second.Receive();
            while (rest.starts_with("~ ") && heard && !Fits(*heard, text)) {
                heard = peer->second.Receive();
            }
            EXPECT_TRUE(heard && Fits(*heard, text)) << heard.value_or("the end of the stream");
            if (testing::Test::HasFailure()) {
                break;
            }
        }
    }
    return hasExternal;
}

class Vectors : public testing::TestWithParam<std::string> {};

TEST_P(Vectors, HoldOverEveryLink) {
    for (const char* link : {"TCP", "UMF1", "BTD0"}) {
        SCOPED_TRACE(link);
        const TemporaryDirectory directory;
        const VantrydProcess hub(directory.Path());
        std::ifstream file(VECTORS_PATH + ("/" + GetParam() + ".txt"));
        ASSERT_TRUE(file);
        if (!Play(hub, file, link)) {
            break;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Docs, Vectors,
                         testing::Values("read", "write", "external", "own", "reader",
                                         "peers/disconnect", "peers/everything", "peers/external",
                                         "peers/fields", "peers/period", "peers/reads",
                                         "peers/subscriptions", "peers/withdrawals",
                                         "peers/writes"),
                         [](const auto& info) {
                             std::string name = info.param;
                             std::replace(name.begin(), name.end(), '/', '_');
                             return name;
                         });

}  // namespace
}  // namespace vantry
