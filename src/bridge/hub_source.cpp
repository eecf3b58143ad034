// One thread connects to the hub and then carries out writes; the threads of the client library
// deliver changes. Updates are queued under a lock. The queue is emptied by the loop of the
// program, which never waits for anything, so it stays short. If it grows nevertheless, all but the
// newest change of each property are left out: its length is then bounded by the number of
// properties, which the hub bounds.
//
// All properties are read before the subscription begins, so that a birth can contain all of them.

#include "bridge/hub_source.h"

#include <algorithm>
#include <set>
#include <utility>

namespace vantry::bridge {
namespace {

constexpr std::size_t kMostUpdates = 20'000;
constexpr std::size_t kMostWrites = 64;
constexpr std::uint32_t kPauseMilliseconds = 1000;
constexpr std::uint32_t kLongestPauseMilliseconds = 30'000;

}  // namespace

HubSource::HubSource(client::Endpoint where, std::function<void()> onUpdate)
    : endpoint(std::move(where)), notify(std::move(onUpdate)), compactAt(kMostUpdates) {
    if (!thread.Start([this] { Run(); })) {
        Add({Update::Kind::Problem, {}, 0, "the system can't create a thread for the hub", {}});
    }
}

HubSource::~HubSource() {
    stopping = true;
    work.Set();
    thread.Join();
    subscription = {};
    hub.reset();
}

void HubSource::Run() {
    std::uint32_t pause = kPauseMilliseconds;
    while (!stopping && !ConnectAndRead()) {
        if (!work.Wait(pause)) {
            pause = std::min(pause * 2, kLongestPauseMilliseconds);
        }
    }
    while (!stopping) {
        ServeWrites();
        work.Wait();
    }
}

bool HubSource::ConnectAndRead() {
    client::Hub::Options options;
    options.longestPauseMilliseconds = kLongestPauseMilliseconds;
    options.onConnection = [this](bool isUp) {
        if (isRead) {
            Add({isUp ? Update::Kind::Up : Update::Kind::Down});
        }
    };
    options.onError = [this](const Error& error) {
        Add({Update::Kind::Problem, {}, 0, error.text, {}});
    };
    auto connected = client::Hub::Connect(endpoint, options);
    auto all = connected ? (*connected)->ReadAll()
                         : Result<std::vector<client::Property>>(connected.error());
    if (!all) {
        Add({Update::Kind::Problem, {}, 0, all.error().text, {}});
        return false;
    }
    for (client::Property& property : *all) {
        Add({Update::Kind::Value, std::move(property), NowSince1970(), {}, {}});
    }
    isRead = true;
    Add({Update::Kind::Up});
    hub = std::move(*connected);
    subscription =
        hub->Subscribe(client::Interest::Everything(), [this](const client::Property& change) {
            Add({Update::Kind::Value, change, NowSince1970(), {}, {}});
        });
    return true;
}

void HubSource::Add(Update update) {
    bool isFirst = false;
    {
        ScopedLock guard(lock);
        isFirst = waiting.empty();
        waiting.push_back(std::move(update));
        if (waiting.size() >= compactAt) {
            Compact();
        }
    }
    if (isFirst && !stopping) {
        notify();
    }
}

void HubSource::Compact() {
    std::set<client::PropertyId> seen;
    std::vector<Update> kept;
    for (auto update = waiting.rbegin(); update != waiting.rend(); ++update) {
        if (update->kind != Update::Kind::Value || seen.insert(update->property.id).second) {
            kept.push_back(std::move(*update));
        }
    }
    std::reverse(kept.begin(), kept.end());
    leftOut += waiting.size() - kept.size();
    waiting = std::move(kept);
    compactAt = std::max(kMostUpdates, 2 * waiting.size());
}

std::vector<HubSource::Update> HubSource::Take() {
    std::vector<Update> taken;
    ScopedLock guard(lock);
    taken.swap(waiting);
    compactAt = kMostUpdates;
    return taken;
}

void HubSource::Write(Request request) {
    std::shared_ptr<Answer> refused;
    {
        ScopedLock guard(lock);
        if (writes.size() < kMostWrites) {
            writes.push_back(std::move(request));
        } else {
            refused = std::make_shared<Answer>(
                Answer{std::move(request), Error{ErrorCode::Refused, "too many writes wait"}});
        }
    }
    if (refused) {
        Add({Update::Kind::Answered, {}, 0, {}, std::move(refused)});
    }
    work.Set();
}

void HubSource::ServeWrites() {
    while (!stopping) {
        Request request;
        {
            ScopedLock guard(lock);
            if (writes.empty()) {
                return;
            }
            request = std::move(writes.front());
            writes.erase(writes.begin());
        }
        Add({Update::Kind::Answered,
             {},
             0,
             {},
             std::make_shared<Answer>(CarryOut(std::move(request)))});
    }
}

HubSource::Answer HubSource::CarryOut(Request request) {
    if (NowSince1970() >= request.expires) {
        return {std::move(request), Error{ErrorCode::TimedOut, "the write came too late"}};
    }
    auto state = hub->WriteAndWait(request.subject->id, request.value);
    if (!state) {
        return {std::move(request), state.error()};
    }
    return {std::move(request), std::move(state->value)};
}

}  // namespace vantry::bridge
