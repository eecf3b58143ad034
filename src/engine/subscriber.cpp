// The list of a subscriber is kept by full key, so that a fan-out finds with one look-up whether a
// record is wanted. A first subscription that names a property several times is cancelled as many
// times, while a later one adds only what isn't listed. Equal entries are kept once with their
// number, so that removing one of thousands costs no more than removing the only one. The names of
// an entry are kept in its key alone, since peers may make the hub hold many entries. Each entry
// weighs on the account of its stream until it is removed, a long one more than a short one; the
// destructor gives back what is left. A publication and a reply to the same peer are kept apart by
// the send lock of the stream, not by a lock of the subscriber.

#include "engine/subscriber.h"

#include <algorithm>
#include <utility>

#include "wire/key/property_key.h"

namespace vantry {

Subscriber::Subscriber(std::shared_ptr<Stream> peer) : stream(std::move(peer)) {}

Subscriber::~Subscriber() { CountLess(counted); }

bool Subscriber::IsGone() const {
    const std::shared_ptr<ConnectionAccount>& account = stream->Account();
    return stream->IsAlive() == 0 || (account && account->WasCut());
}

std::optional<Bound> Subscriber::Add(std::string_view component, std::string_view groupGuid,
                                     std::string_view guid, bool evenIfListed) {
    std::string key = FullKey(component, groupGuid, guid);
    const Entry wanted{.componentBytes = static_cast<std::uint32_t>(component.size()),
                       .groupBytes = static_cast<std::uint32_t>(groupGuid.size()),
                       .times = 1};
    const auto [first, last] = entries.equal_range(key);
    const auto equal = std::find_if(first, last, [&](const auto& other) {
        return other.second.componentBytes == wanted.componentBytes &&
               other.second.groupBytes == wanted.groupBytes;
    });
    if (!evenIfListed && equal != last) {
        return std::nullopt;
    }
    std::optional<Bound> exceeded;
    if (const std::shared_ptr<ConnectionAccount>& account = stream->Account()) {
        const std::uint64_t weight = WeightOf(key);
        counted += weight;
        exceeded = account->Add(Resource::Subscriptions, weight);
    }
    if (equal != last) {
        ++equal->second.times;
    } else {
        entries.emplace(std::move(key), wanted);
    }
    ++listed;
    return exceeded;
}

std::uint64_t Subscriber::WeightOf(std::string_view fullKey) {
    // The length counts too, so that entries with very long names are bounded.
    constexpr std::size_t kUsualBytes = 256;
    return 1 + fullKey.size() / kUsualBytes;
}

void Subscriber::RemoveEntry(std::string_view fullKey) {
    const auto entry = entries.find(fullKey);
    if (entry == entries.end()) {
        return;
    }
    CountLess(WeightOf(fullKey));
    if (--entry->second.times == 0) {
        entries.erase(entry);
    }
    --listed;
}

void Subscriber::CountLess(std::uint64_t weight) {
    if (const std::shared_ptr<ConnectionAccount>& account = stream->Account()) {
        counted -= weight;
        account->Remove(Resource::Subscriptions, weight);
    }
}

bool Subscriber::Send(const SharedFrame& frame) const {
    ScopedLock guard(stream->SendLock());
    return ended || MessageFrame::WriteShared(*stream, frame);
}

void Subscriber::End() {
    ScopedLock guard(stream->SendLock());
    ended = true;
    stream->Close();
}

}  // namespace vantry
