// A hostile peer: it sends bytes that are no frame and texts that are no request, reports and
// subscribes without end, sends large messages or a part of one, and stops reading. Some of these
// reach the bounds of a connection, so that the hub cuts it.

#include "program.h"

namespace vantry::simulation {
namespace {

/// Returns entries of a list, the numbers of which begin anywhere.
std::string Entries(Random& random, std::uint64_t count, const std::string& rest) {
    std::string text;
    const std::uint64_t first = random.Below(100);
    for (std::uint64_t place = 0; place < count; ++place) {
        text += (place == 0 ? "" : ",") + std::string(R"({"Component": ")") + kHostile +
                R"(","GUID": "AAAAAAAA-0000-0000-0000-000000000002:)" +
                std::to_string(first + place) + "\"" + rest + "}";
    }
    return text;
}

std::string HostileText(Random& random) {
    static const std::vector<std::string> kTexts = {
        "[]",
        "{",
        "",
        R"({"PropertyGetRequests": "x"})",
        R"({"PropertySubscribeRequests": [{"GUID": 7},[],null]})",
        R"({"PropertyGetResponses": [{"Status": "Successful"}]})",
        R"({"Disconnect": true})",
        R"({"SubscribeAllCurrentAndNewProperties": true})",
        R"({"GetAllProperties": true})"};
    const std::uint64_t kind = random.Below(kTexts.size() + 4);
    switch (kind) {
        case 0:
            return R"({"PropertyGetResponses": [)" +
                   Entries(random, 1 + random.Below(60),
                           R"(,"Status": "Successful","Value": "v1")") +
                   "]}";
        case 1:
            return R"({"PropertySubscribeRequests": [)" +
                   Entries(random, 1 + random.Below(60), "") + "]}";
        case 2:
            return R"({"PropertyGetRequests": [)" + Entries(random, 1 + random.Below(200), "") +
                   "]}";
        case 3:
            // More than what is parsed beside other such texts.
            return R"({"Padding": ")" + std::string(66'000 + random.Below(60'000), 'p') +
                   R"(","GetAllProperties": true})";
        default:
            return kTexts[kind - 4];
    }
}

}  // namespace

void RunHostile(Program& program) {
    Random& random = program.random;
    const std::uint64_t messages = 1 + random.Below(program.world.settings.messages);
    for (std::uint64_t message = 0; message < messages; ++message) {
        bool good = true;
        switch (random.Below(6)) {
            case 0:
                good = program.peer->SendBytes(std::string(1 + random.Below(100), 'x'));
                break;
            case 1:
                program.peer->SetReading(random.OneIn(2));
                break;
            case 2:
                program.peer->EndSending();
                return;
            case 3: {
                const std::string whole = Peer::FrameOf(HostileText(random));
                good = program.peer->SendBytes(
                    std::string_view(whole).substr(0, random.Below(whole.size())));
                break;
            }
            default:
                good = program.peer->Send(HostileText(random));
        }
        if (!good) {
            return;
        }
        program.Pause();
    }
}

}  // namespace vantry::simulation
