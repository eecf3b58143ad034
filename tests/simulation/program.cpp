#include "program.h"

#include <algorithm>

#include "runtime/clock.h"

namespace vantry::simulation {
namespace {

constexpr std::uint64_t kAnswerMilliseconds = 30'000;

}  // namespace

Program::Program(Round& shared, std::shared_ptr<Peer> connected, std::uint32_t place)
    : round(shared),
      world(shared.world),
      model(shared.model),
      peer(std::move(connected)),
      number(place),
      random(shared.world.settings.seed * 1'000 + place + shared.world.legacy.life * 77) {}

void Program::Pause() {
    if (random.OneIn(3)) {
        world.scheduler.Sleep(random.Below(700) * kNanosecondsPerMillisecond);
    }
}

std::vector<const Known*> Program::SomeProperties() {
    std::vector<const Known*> some;
    for (const std::unique_ptr<Known>& property : model.Properties()) {
        if (random.OneIn(2) && some.size() < 4) {
            some.push_back(property.get());
        }
    }
    return some;
}

std::string Program::Requests(const char* section, const std::vector<const Known*>& asked) {
    std::string text = std::string("{\"") + section + "\": [";
    for (const Known* property : asked) {
        text += (property == asked.front() ? "" : ",") + property->Request();
    }
    return text + "]}";
}

std::optional<ReceivedText> Program::Answer() {
    for (;;) {
        const std::optional<std::string> text = peer->Receive(kAnswerMilliseconds);
        if (!text) {
            if (!peer->HasEnded() && !(peer->IsExternal() && MayEnd() && !peer->IsServed())) {
                world.scheduler.Fail(peer->Name() + " gets no answer");
            }
            if (!MayEnd()) {
                world.scheduler.Fail(peer->Name() + " is disconnected without a reason");
            }
            return std::nullopt;
        }
        ReceivedText read = model.Read(*peer, *text);
        if (read.writes.empty()) {
            return read;
        }
        model.CheckForwarded(*peer, read);
    }
}

bool Program::Ask(const std::vector<const Known*>& asked, bool everything) {
    const auto atLeast = model.Certain();
    std::map<const Known*, std::uint64_t> due;
    for (const auto& [property, least] : atLeast) {
        if (everything || std::find(asked.begin(), asked.end(), property) != asked.end()) {
            due[property] = least;
        }
    }
    if (!peer->Send(everything ? R"({"GetAllProperties": true})"
                               : Requests("PropertyGetRequests", asked))) {
        return false;
    }
    const std::optional<ReceivedText> answer = Answer();
    if (answer) {
        model.CheckAnswer(*peer, *answer, asked, everything, due, seen);
    }
    return answer.has_value();
}

}  // namespace vantry::simulation
