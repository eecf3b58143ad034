// The public interface of the client library: each operation calls the core, which holds the
// connection and its threads. A subscription refers to the list of subscriptions weakly, so it may
// outlive its hub.

#include "client/hub.h"

#include <utility>

#include "client/hub_core.h"
#include "client/travel.h"
#include "wire/vocabulary/components.h"

namespace vantry::client {

Subscription::~Subscription() {
    if (end) {
        end();
    }
}

Subscription::Subscription(Subscription&& other) noexcept : end(std::exchange(other.end, {})) {}

Subscription& Subscription::operator=(Subscription&& other) noexcept {
    if (this != &other) {
        if (end) {
            end();
        }
        end = std::exchange(other.end, {});
    }
    return *this;
}

Hub::Hub(std::unique_ptr<Core> implementation) : core(std::move(implementation)) {}

Hub::~Hub() = default;

Result<std::unique_ptr<Hub>> Hub::Connect(Endpoint endpoint, Options options) {
    const Deadline deadline = Deadline::In(options.deadlineMilliseconds);
    const auto socket = FrameSocket::Connect(endpoint, deadline, options.longestMessageBytes);
    if (!socket) {
        return socket.error();
    }
    auto core = std::make_unique<Core>(std::move(endpoint), std::move(options));
    if (Outcome started = core->Start(*socket, deadline); !started) {
        return started.error();
    }
    return std::unique_ptr<Hub>(new Hub(std::move(core)));
}

bool Hub::IsConnected() const { return core->IsConnected(); }

Result<Property> Hub::Read(const PropertyId& id) { return core->Read(id, core->In()); }

Result<std::vector<Property>> Hub::ReadGroup(const std::string& groupGuid) {
    if (Outcome good = CheckGroup(groupGuid); !good) {
        return good.error();
    }
    return core->ReadMany(Question::Group(groupGuid));
}

Result<std::vector<Property>> Hub::ReadAll() { return core->ReadMany(Question::Everything()); }

Outcome Hub::Write(const PropertyId& id, const std::string& value) {
    return core->Write({{id, value}}, core->In());
}

Outcome Hub::Write(const std::vector<PropertyWrite>& writes) {
    return core->Write(writes, core->In());
}

Result<Property> Hub::WriteAndWait(const PropertyId& id, const std::string& value) {
    return core->WriteAndWait(id, value);
}

Subscription Hub::Subscribe(Interest interest, ChangeCallback callback) {
    const std::uint64_t number = core->subscriptions->Add(std::move(interest), std::move(callback));
    return Subscription([list = std::weak_ptr(core->subscriptions), number] {
        if (const auto alive = list.lock()) {
            alive->Remove(number);
        }
    });
}

Outcome Hub::Announce(std::vector<Announcement> properties) {
    return core->owner.Announce(properties,
                                Deadline::In(core->options.deadlineMilliseconds +
                                             Announcements::kBetweenWithdrawalAndReturn));
}

Outcome Hub::Change(const PropertyId& id, const std::string& value) {
    return core->owner.Change(id, value, core->In());
}

Outcome Hub::Withdraw(const PropertyId& id) { return core->owner.Withdraw(id, core->In()); }

const std::string& Hub::OwnComponent() {
    static const std::string guid(Components::kVantry.guid);
    return guid;
}

}  // namespace vantry::client
