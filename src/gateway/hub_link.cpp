// The connection to the hub.
//
// The client library connects again by itself once it has had a connection; until then this class
// tries every second. The library reports a lost connection at once, but a hub that has stopped
// answering keeps its connection, so a question is asked regularly. Its time is the round trip that
// the metrics show. Any answer counts, also that the property isn't visible here.

#include "gateway/hub_link.h"

#include <nlohmann/json.hpp>
#include <utility>

namespace vantry::gateway {
namespace {

using client::ErrorCode;
using client::Hub;
using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kLookMilliseconds = 1'000;
constexpr std::chrono::seconds kQuestionInterval{5};
constexpr std::uint32_t kDeadlineMilliseconds = 5'000;

}  // namespace

HubLink::HubLink(std::vector<client::Endpoint> endpoints, std::function<void()> wake)
    : candidates(std::move(endpoints)), wakeServer(std::move(wake)) {
    state.endpoint = candidates.front().Name();
    state.isExternal = candidates.front().path.empty();
}

client::Outcome HubLink::Start() {
    if (!thread.Start(kLookMilliseconds, [this] { Look(); })) {
        return client::Error{ErrorCode::NoConnection, "the system has no thread to give"};
    }
    thread.Post([this] { Look(); });
    return client::Done{};
}

void HubLink::Stop() {
    thread.Stop();
    subscription = {};
    std::shared_ptr<Hub> last;
    {
        const ScopedLock guard(lock);
        last.swap(hub);
    }
}

HubLink::State HubLink::Now() const {
    const ScopedLock guard(lock);
    return state;
}

client::Result<client::Property> HubLink::Write(const client::PropertyId& id,
                                                const std::string& value) {
    std::shared_ptr<Hub> present;
    {
        const ScopedLock guard(lock);
        present = hub;
    }
    if (!present) {
        return client::Error{ErrorCode::NoConnection, "there is no connection to the hub"};
    }
    return present->WriteAndWait(id, value);
}

void HubLink::Look() {
    bool isThere = false;
    {
        const ScopedLock guard(lock);
        isThere = hub != nullptr;
    }
    if (!isThere) {
        Connect();
    } else if (Clock::now() >= nextQuestion) {
        Measure();
    }
}

void HubLink::Connect() {
    const client::Endpoint& endpoint = candidates[attempts++ % candidates.size()];
    Hub::Options options;
    options.deadlineMilliseconds = kDeadlineMilliseconds;
    options.onConnection = [this](bool connected) { OnConnection(connected); };
    auto connected = Hub::Connect(endpoint, options);
    if (!connected) {
        return;
    }
    const std::shared_ptr<Hub> found = std::move(*connected);
    {
        const ScopedLock guard(lock);
        hub = found;
    }
    Change([&](State& now) {
        now.endpoint = endpoint.Name();
        now.isExternal = endpoint.path.empty();
    });
    Measure();
    subscription = found->Subscribe(client::Interest::Everything(), [this](const auto& change) {
        if (inbox.Add({change, std::chrono::system_clock::now()})) {
            wakeServer();
        }
    });
}

void HubLink::Measure() {
    std::shared_ptr<Hub> present;
    {
        const ScopedLock guard(lock);
        present = hub;
    }
    const Clock::time_point start = Clock::now();
    const auto answer = present->Read({Hub::OwnComponent(), "-", "-"});
    const Clock::time_point end = Clock::now();
    nextQuestion = end + kQuestionInterval;
    const bool hasAnswered = answer || answer.error().code == ErrorCode::NotFound;
    Change([&](State& now) {
        now.roundTrip.reset();
        if (hasAnswered) {
            now.roundTrip = end - start;
        }
        now.isConnected = hasAnswered && present->IsConnected();
    });
}

void HubLink::OnConnection(bool connected) {
    Change([connected](State& now) {
        now.connections += connected ? 1 : 0;
        now.isConnected = connected;
        if (!connected) {
            now.roundTrip.reset();
        }
    });
}

void HubLink::Change(const std::function<void(State&)>& change) {
    bool isNew = false;
    {
        const ScopedLock guard(lock);
        const State before = state;
        change(state);
        isNew = !(state == before);
    }
    if (isNew) {
        wakeServer();
    }
}

std::string HubJson(const HubLink::State& state) {
    return nlohmann::ordered_json{{"connected", state.isConnected},
                                  {"endpoint", state.endpoint},
                                  {"external", state.isExternal},
                                  {"connections", state.connections}}
        .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace vantry::gateway
