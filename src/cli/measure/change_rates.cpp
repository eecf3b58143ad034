// How often properties change.
//
// Changes are counted in buckets of a second, and those older than the window are dropped, so the
// memory depends on how many properties change in the window and not on how often. Without a window
// one bucket has everything. Each sum is made anew from the buckets. Until a window has passed, a
// rate is that of the time since the start.

#include "cli/measure/change_rates.h"

#include <algorithm>
#include <tuple>

namespace vantry::cli {
namespace {

double Column(const ChangeRates::Rate& rate, RateOrder order) {
    return order == RateOrder::Changes ? rate.changesPerSecond
           : order == RateOrder::Bytes ? rate.bytesPerSecond
                                       : static_cast<double>(rate.size);
}

void AddTo(ChangeRates::Rate& sum, const ChangeRates::Rate& rate) {
    sum.changesPerSecond += rate.changesPerSecond;
    sum.bytesPerSecond += rate.bytesPerSecond;
    sum.size += rate.size;
    ++sum.properties;
}

}  // namespace

const ChangeRates::Rate* ChangeRates::Summary::Flood() const {
    constexpr double kLeast = 100;
    for (const Rate& rate : components) {
        if (rate.changesPerSecond >= kLeast && rate.changesPerSecond > changesPerSecond / 2) {
            return &rate;
        }
    }
    return nullptr;
}

void ChangeRates::Count(const client::Property& change, Clock::time_point now) {
    known[change.id] = change;
    if (change.origin == client::Origin::Present) {
        return;
    }
    missed += change.origin == client::Origin::Reconciled ? 1 : 0;
    if (buckets.empty() || (window && now - buckets.back().begin >= std::chrono::seconds(1))) {
        buckets.push_back({now, {}});
    }
    Counts& counts = buckets.back().counts[change.id];
    ++counts.changes;
    counts.bytes += change.value.size();
}

ChangeRates::Summary ChangeRates::SumUp(Clock::time_point now) {
    Clock::time_point from = start;
    if (window) {
        from = std::max(start, now - std::chrono::seconds(*window));
        while (!buckets.empty() && buckets.front().begin < from) {
            buckets.pop_front();
        }
    }
    std::map<client::PropertyId, Counts> sums;
    for (const Bucket& bucket : buckets) {
        for (const auto& [id, counts] : bucket.counts) {
            sums[id].changes += counts.changes;
            sums[id].bytes += counts.bytes;
        }
    }
    Summary summary;
    summary.missed = missed;
    summary.seconds = std::max(std::chrono::duration<double>(now - from).count(), 0.001);
    std::map<std::string, Rate> components;
    for (const auto& [id, property] : known) {
        const Rate rate{.property = property,
                        .changesPerSecond = static_cast<double>(sums[id].changes) / summary.seconds,
                        .bytesPerSecond = static_cast<double>(sums[id].bytes) / summary.seconds,
                        .size = property.available ? property.value.size() : 0};
        summary.changesPerSecond += rate.changesPerSecond;
        summary.bytesPerSecond += rate.bytesPerSecond;
        summary.properties.push_back(rate);
        if (const auto [sum, isNew] = components.emplace(id.component, rate); !isNew) {
            AddTo(sum->second, rate);
        }
    }
    for (auto& [guid, rate] : components) {
        summary.components.push_back(std::move(rate));
    }
    return summary;
}

void SortRates(std::vector<ChangeRates::Rate>& rates, RateOrder order) {
    std::sort(rates.begin(), rates.end(),
              [order](const ChangeRates::Rate& one, const ChangeRates::Rate& other) {
                  return std::make_tuple(-Column(one, order), one.property.name, one.property.id) <
                         std::make_tuple(-Column(other, order), other.property.name,
                                         other.property.id);
              });
}

}  // namespace vantry::cli
