// Counters of the resources that external connections use.
//
// The counters of a connection and the totals are atomics, so that counting costs little for each
// message. A counter is increased first and compared afterwards: if two threads exceed a bound
// together, both get that result. The list of accounts is only searched when a total is exceeded,
// to find the connection that must be closed. A closed connection still counts until its threads
// have released what it used; FindWorst leaves it out, so a connection that ends slowly doesn't
// cause others to be closed. Only output is dropped at once, by the thread that closes.

#include "platform/accounting.h"

#include <algorithm>
#include <utility>

#include "runtime/clock.h"

namespace vantry {
namespace {

struct Bounds {
    std::optional<Bound> own;
    Bound all;
};

constexpr std::array<Bounds, kResourceCount> kBoundsOf = {{
    // The length of a single text is bounded by that of a frame.
    {std::nullopt, Bound::TextReceived},
    {Bound::Answer, Bound::Answers},
    // An output may hold a single frame of any size, so SocketOutput enforces the bound of one
    // connection.
    {std::nullopt, Bound::Outputs},
    {Bound::Properties, Bound::AllProperties},
    {Bound::PropertyText, Bound::AllPropertyText},
    {Bound::Subscriptions, Bound::AllSubscriptions},
}};

const Bounds& BoundsOf(Resource resource) { return kBoundsOf[static_cast<std::size_t>(resource)]; }

const char* NameOf(Link link) {
    switch (link) {
        case Link::Tcp:
            return "TCP";
        case Link::Usb:
            return "USB";
        case Link::Bluetooth:
            break;
    }
    return "Bluetooth";
}

std::string PeerName(Link link, const std::string& address) {
    const std::string name = NameOf(link);
    return address.empty() ? name : name + " " + address;
}

}  // namespace

ConnectionAccount::ConnectionAccount(std::shared_ptr<Accounting> books, Link transport,
                                     std::string peerName)
    : accounting(std::move(books)),
      link(transport),
      peer(std::move(peerName)),
      lastArrival(NowNanoseconds()) {}

ConnectionAccount::~ConnectionAccount() {
    Leave();
    accounting->Forget(*this);
}

void ConnectionAccount::OnCut(std::function<void()> closeNow) {
    ScopedLock guard(closeLock);
    closers.push_back(std::move(closeNow));
}

std::optional<Bound> ConnectionAccount::Add(Resource resource, std::uint64_t amount) {
    const Bounds& bounds = BoundsOf(resource);
    const std::uint64_t own = held[Place(resource)].fetch_add(amount) + amount;
    const std::uint64_t all = accounting->totals[Place(resource)].fetch_add(amount) + amount;
    if (bounds.own && own > accounting->bounds[*bounds.own]) {
        return bounds.own;
    }
    if (all > accounting->bounds[bounds.all]) {
        return bounds.all;
    }
    return std::nullopt;
}

void ConnectionAccount::Remove(Resource resource, std::uint64_t amount) {
    held[Place(resource)] -= amount;
    accounting->totals[Place(resource)] -= amount;
}

std::optional<Bound> ConnectionAccount::AddShared(const void* text, std::uint64_t size) {
    std::atomic<std::uint64_t>& total = accounting->totals[Place(Resource::Output)];
    ScopedLock guard(accounting->sharedLock);
    Accounting::SharedText& entry = accounting->sharedTexts[text];
    if (entry.holders.empty()) {
        entry.size = size;
        total += size;
    }
    ++entry.holders[this];
    return total > accounting->bounds[Bound::Outputs] ? std::optional(Bound::Outputs)
                                                      : std::nullopt;
}

void ConnectionAccount::RemoveShared(const void* text) {
    ScopedLock guard(accounting->sharedLock);
    const auto entry = accounting->sharedTexts.find(text);
    auto& holders = entry->second.holders;
    const auto own = holders.find(this);
    if (--own->second != 0) {
        return;
    }
    holders.erase(own);
    if (holders.empty()) {
        accounting->totals[Place(Resource::Output)] -= entry->second.size;
        accounting->sharedTexts.erase(entry);
    }
}

void ConnectionAccount::Cut(Bound bound) {
    if (cut.exchange(true)) {
        return;
    }
    accounting->notices.TellClosed(bound, peer);
    std::vector<std::function<void()>> closing;
    {
        ScopedLock guard(closeLock);
        closing.swap(closers);
    }
    for (const std::function<void()>& closeNow : closing) {
        closeNow();
    }
}

void ConnectionAccount::Leave() {
    if (hasLeft.exchange(true)) {
        return;
    }
    leftAt = NowNanoseconds();
    --accounting->connections;
    if (link == Link::Tcp) {
        --accounting->tcpConnections;
    }
}

void ConnectionAccount::NoteArrival() { lastArrival = NowNanoseconds(); }

Accounting::Accounting(const Limits& limits, Notices& hubNotices)
    : bounds(limits),
      notices(hubNotices),
      largeTexts(limits[Bound::LargeTexts]),
      demandingTexts(limits[Bound::DemandingMessages]),
      longAnswers(limits[Bound::DemandingMessages]) {}

std::shared_ptr<ConnectionAccount> Accounting::Admit(Link link, const std::string& address) {
    std::string peer = PeerName(link, address);
    const bool isTcp = link == Link::Tcp;
    const bool tcpIsFull = isTcp && tcpConnections.fetch_add(1) >= bounds[Bound::TcpConnections];
    const bool isFull = connections.fetch_add(1) >= bounds[Bound::Connections];
    if (tcpIsFull || isFull) {
        --connections;
        if (isTcp) {
            --tcpConnections;
        }
        notices.TellClosed(tcpIsFull ? Bound::TcpConnections : Bound::Connections, peer);
        return nullptr;
    }
    std::shared_ptr<ConnectionAccount> account(
        new ConnectionAccount(shared_from_this(), link, std::move(peer)));
    ScopedLock guard(lock);
    accounts.push_back(account.get());
    return account;
}

void Accounting::Forget(const ConnectionAccount& account) {
    ScopedLock guard(lock);
    const auto place = std::find(accounts.begin(), accounts.end(), &account);
    *place = accounts.back();
    accounts.pop_back();
}

Accounting::Holding Accounting::FindWorst(Resource resource) const {
    Holding holding;
    const std::uint64_t now = NowNanoseconds();
    // A large text that is about to be whole costs little, and so does a short one of a slow peer.
    const auto bytesTimesTime = [&](const ConnectionAccount& one) {
        constexpr unsigned kNanosecondsBits = 20;
        const std::uint64_t since = now - std::min<std::uint64_t>(one.LastArrival(), now);
        return one.Held(resource) * (1 + (since >> kNanosecondsBits));
    };
    const auto isWorse = [&](const ConnectionAccount& one, const ConnectionAccount& other) {
        if (resource == Resource::ReceivedText) {
            return bytesTimesTime(one) > bytesTimesTime(other);
        }
        if (one.LeftAt() != other.LeftAt()) {
            return one.LeftAt() - 1 < other.LeftAt() - 1;
        }
        return one.Held(resource) > other.Held(resource);
    };
    std::vector<std::shared_ptr<ConnectionAccount>> referenced;
    ScopedLock guard(lock);
    for (ConnectionAccount* const account : accounts) {
        if (account->WasCut() || account->Held(resource) == 0) {
            continue;
        }
        holding.kept += account->Held(resource);
        if (!holding.worst || isWorse(*account, *holding.worst)) {
            // The reference is empty if the account is being destroyed.
            if (std::shared_ptr<ConnectionAccount> alive = account->weak_from_this().lock()) {
                // The reference is kept until the lock is released, because the destructor of an
                // account acquires that lock.
                referenced.push_back(std::exchange(holding.worst, std::move(alive)));
            }
        }
    }
    return holding;
}

std::vector<std::shared_ptr<ConnectionAccount>> Accounting::OutputHolders() const {
    std::unordered_map<const ConnectionAccount*, std::uint64_t> parts;
    {
        ScopedLock guard(sharedLock);
        for (const auto& [address, text] : sharedTexts) {
            for (const auto& [holder, times] : text.holders) {
                parts[holder] += text.size / text.holders.size();
            }
        }
    }
    std::vector<std::shared_ptr<ConnectionAccount>> found;
    {
        ScopedLock guard(lock);
        for (ConnectionAccount* const account : accounts) {
            const std::uint64_t own = account->Held(Resource::Output);
            // The reference is empty if the account is being destroyed.
            if (own != 0 && !account->WasCut()) {
                if (auto alive = account->weak_from_this().lock()) {
                    parts[account] += own;
                    found.push_back(std::move(alive));
                }
            }
        }
    }
    std::sort(found.begin(), found.end(), [&](const auto& one, const auto& other) {
        return parts[one.get()] > parts[other.get()];
    });
    return found;
}

void Accounting::RelieveOutput() {
    const std::uint64_t bound = bounds[Bound::Outputs];
    ScopedLock guard(relievingOutput);
    if (Total(Resource::Output) <= bound) {
        return;
    }
    // To choose takes long if much waits, so that more than the excess is freed.
    for (const std::shared_ptr<ConnectionAccount>& holder : OutputHolders()) {
        holder->Cut(Bound::Outputs);
        if (Total(Resource::Output) <= bound - bound / 8) {
            return;
        }
    }
}

void Accounting::Relieve(Resource resource) {
    if (resource == Resource::Output) {
        RelieveOutput();
        return;
    }
    const Bound all = BoundsOf(resource).all;
    for (;;) {
        const Holding holding = FindWorst(resource);
        if (!holding.worst || holding.kept <= bounds[all]) {
            return;
        }
        holding.worst->Cut(all);
    }
}

}  // namespace vantry
