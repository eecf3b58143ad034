// How the bounds on reported properties are kept.
//
// The reports of external connections are counted in their accounts. A connection that exceeds its
// own bound is closed, and its properties are withdrawn at once. If all connections together exceed
// a bound, the properties of connections that have ended are withdrawn first, beginning with the
// one that ended first, and then the connection that holds most is closed. A property counts until
// its withdrawal has been published, so that a peer which reports and withdraws in turns is bounded
// too. If all are twice the bound, including the properties whose withdrawal waits, reports of
// external connections wait until these withdrawals have been published: nobody is closed because
// of what others announce and withdraw.

#include "engine/property_engine.h"
#include "engine/publish_tick.h"
#include "runtime/clock.h"

namespace vantry {
namespace {

/// How long a report waits for the publication of withdrawals before its connection is closed.
constexpr std::uint64_t kLongestWaitForRoom = 10'000 * kNanosecondsPerMillisecond;
constexpr std::uint64_t kPublishTickNanoseconds =
    kPublishTickMilliseconds * kNanosecondsPerMillisecond;

/// Doesn't double the bound, which may be any number.
bool IsOverTwice(std::uint64_t total, std::uint64_t bound) {
    return total > bound && total - bound > bound;
}

}  // namespace

void PropertyEngine::WithdrawListed(const ConnectionAccount& account,
                                    PropertiesByAccount& (ExternalOwners::*list)()) {
    // One connection may own thousands, and the reports of others wait for the lock.
    constexpr std::size_t kAtOnce = 256;
    for (bool isMore = true; isMore;) {
        ScopedLock guard(reportsLock);
        const auto some = (externalOwners.*list)().SomeOf(account, kAtOnce);
        for (const std::shared_ptr<RemoteProperty>& property : some) {
            Withdraw(property);
        }
        isMore = some.size() == kAtOnce;
    }
}

void PropertyEngine::WithdrawAllOf(const ConnectionAccount& account) {
    WithdrawListed(account, &ExternalOwners::Owners);
}

std::optional<Bound> PropertyEngine::ExceededTwice() const {
    const Limits& limits = accounting->Bounds();
    if (IsOverTwice(accounting->Total(Resource::Properties), limits[Bound::AllProperties])) {
        return Bound::AllProperties;
    }
    if (IsOverTwice(accounting->Total(Resource::PropertyText), limits[Bound::AllPropertyText])) {
        return Bound::AllPropertyText;
    }
    return std::nullopt;
}

bool PropertyEngine::Apply(const Excess& excess,
                           const std::shared_ptr<ConnectionAccount>& reporter) {
    switch (excess.remedy) {
        case Remedy::CloseReporter:
            CloseReporter(*reporter, excess.bound);
            return false;
        case Remedy::Relieve:
            Relieve(excess.bound);
            return false;
        case Remedy::Wait:
            return AwaitRoom(*reporter);
        case Remedy::RelieveForeign:
            break;
    }
    return RelieveForeign(reporter);
}

void PropertyEngine::CloseReporter(ConnectionAccount& reporter, Bound exceeded) {
    reporter.Cut(exceeded);
    WithdrawAllOf(reporter);
}

bool PropertyEngine::RelieveForeign(const std::shared_ptr<ConnectionAccount>& reporter) {
    std::shared_ptr<ConnectionAccount> next;
    {
        ScopedLock guard(reportsLock);
        next = externalOwners.ForeignReporters().NextToGo(
            [](const ConnectionAccount&, const PropertiesByAccount::Listed& properties) {
                std::uint64_t foreign = 0;
                for (const std::shared_ptr<RemoteProperty>& property : properties) {
                    foreign += property->ForeignText();
                }
                return foreign;
            });
    }
    if (!next || next == reporter) {
        CloseReporter(*reporter, Bound::AllPropertyText);
        return false;
    }
    if (next->LeftAt() == 0) {
        next->Cut(Bound::AllPropertyText);
    }
    WithdrawListed(*next, &ExternalOwners::ForeignReporters);
    return true;
}

bool PropertyEngine::AwaitRoom(ConnectionAccount& reporter) {
    const std::uint64_t deadline = NowNanoseconds() + kLongestWaitForRoom;
    std::optional<Bound> exceeded;
    {
        ScopedLock guard(roomLock);
        while ((exceeded = ExceededTwice()) && NowNanoseconds() < deadline &&
               !reporter.IsEnding()) {
            roomMade.WaitUntil(roomLock, NowNanoseconds() + kPublishTickNanoseconds);
        }
    }
    if (exceeded && !reporter.IsDismissed()) {
        reporter.Cut(*exceeded);
    }
    return !exceeded;
}

void PropertyEngine::Relieve(Bound exceeded) {
    const Resource resource =
        exceeded == Bound::AllProperties ? Resource::Properties : Resource::PropertyText;
    for (;;) {
        std::shared_ptr<ConnectionAccount> next;
        {
            ScopedLock guard(reportsLock);
            if (!externalOwners.IsOver(exceeded, accounting->Bounds())) {
                return;
            }
            next = externalOwners.Owners().NextToGo(
                [&](const ConnectionAccount& one, const PropertiesByAccount::Listed&) {
                    return one.Held(resource);
                });
        }
        if (!next) {
            // Only values of properties of others are left, which have half of the bound.
            return;
        }
        if (next->LeftAt() == 0) {
            next->Cut(exceeded);
        }
        WithdrawAllOf(*next);
    }
}

void PropertyEngine::WithdrawOfCutOwners() {
    std::vector<ExternalOwners::Account> cut;
    {
        ScopedLock guard(reportsLock);
        cut = externalOwners.Owners().CutAccounts();
    }
    for (const ExternalOwners::Account& account : cut) {
        WithdrawAllOf(*account);
    }
}

}  // namespace vantry
