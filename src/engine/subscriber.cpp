#include "engine/subscriber.h"

#include <algorithm>
#include <utility>

// The list of a subscriber is kept by full key, so that a fan-out finds with one look-up whether a
// record is wanted. A first subscription that names a property several times is cancelled as many
// times, while a later one adds only what isn't listed. Equal entries are kept once with their
// number, so that removing one of thousands costs no more than removing the only one. Each entry
// weighs on the account of its stream until it is removed, a long one more than a short one; the
// destructor gives back what is left. A publication and a reply to the same peer are kept apart by
// the send lock of the stream, not by a lock of the subscriber.

namespace vantry {

Subscriber::Subscriber(std::shared_ptr<Stream> peer) : stream(std::move(peer)) {}

Subscriber::~Subscriber() { CountLess(counted); }

bool Subscriber::IsGone() const {
    const std::shared_ptr<ConnectionAccount>& account = stream->Account();
    return stream->IsAlive() == 0 || (account && account->WasCut());
}

std::optional<Bound> Subscriber::Add(PropertyRequest wanted, bool evenIfListed) {
    std::vector<Entry>& row = entries[FullKey(wanted.component, wanted.groupGuid, wanted.guid)];
    const auto listedEntry = std::find_if(
        row.begin(), row.end(), [&](const Entry& entry) { return entry.request == wanted; });
    if (!evenIfListed && listedEntry != row.end()) {
        return std::nullopt;
    }
    std::optional<Bound> exceeded;
    if (const std::shared_ptr<ConnectionAccount>& account = stream->Account()) {
        const std::uint64_t weight = WeightOf(wanted);
        counted += weight;
        exceeded = account->Add(Resource::Subscriptions, weight);
    }
    if (listedEntry != row.end()) {
        ++listedEntry->times;
    } else {
        row.push_back({.request = std::move(wanted), .times = 1});
    }
    ++listed;
    return exceeded;
}

std::uint64_t Subscriber::WeightOf(const PropertyRequest& request) {
    // The length counts too, so that entries with very long names are bounded.
    constexpr std::size_t kUsualBytes = 256;
    return 1 + (request.component.size() + request.groupGuid.size() + request.guid.size()) /
                   kUsualBytes;
}

void Subscriber::RemoveEntry(std::string_view fullKey) {
    const auto row = entries.find(fullKey);
    if (row == entries.end()) {
        return;
    }
    Entry& first = row->second.front();
    CountLess(WeightOf(first.request));
    if (--first.times == 0) {
        row->second.erase(row->second.begin());
    }
    if (row->second.empty()) {
        entries.erase(row);
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
