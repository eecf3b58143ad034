#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "client/property.h"

namespace vantry::cli {

/// Counts changes of properties, and computes how many there are a second. Only one thread may use
/// it.
class ChangeRates {
public:
    using Clock = std::chrono::steady_clock;

    /// The changes of one property, or of all properties of a component.
    struct Rate {
        /// The property, or one of those of the component.
        client::Property property;
        double changesPerSecond = 0;
        /// How many bytes of values the hub sends to each subscriber.
        double bytesPerSecond = 0;
        /// The length of the present value, or of those of the component together, in bytes.
        std::uint64_t size = 0;
        /// The number of properties.
        std::size_t properties = 1;
    };
    struct Summary {
        /// The time that is summed up, in seconds.
        double seconds = 0;
        double changesPerSecond = 0;
        double bytesPerSecond = 0;
        /// How many changes were noticed by reading again only, because the hub had dropped them.
        std::uint64_t missed = 0;
        /// What is known of every property and component, in no order.
        std::vector<Rate> properties;
        std::vector<Rate> components;

        /// Returns the component that floods the hub, or null: one that makes most of all changes,
        /// and at least 100 a second.
        const Rate* Flood() const;
    };

    /// Makes an object that sums up the last `lastSeconds` seconds, or everything since `begin`.
    ChangeRates(Clock::time_point begin, std::optional<int> lastSeconds)
        : start(begin), window(lastSeconds) {}

    /// Counts a change. A present value is no change; only its size counts.
    void Count(const client::Property& change, Clock::time_point now);
    /// Returns the rates of the window that ends now.
    Summary SumUp(Clock::time_point now);

private:
    struct Counts {
        std::uint64_t changes = 0;
        std::uint64_t bytes = 0;
    };
    /// The changes of about a second.
    struct Bucket {
        Clock::time_point begin;
        std::map<client::PropertyId, Counts> counts;
    };

    const Clock::time_point start;
    const std::optional<int> window;
    std::deque<Bucket> buckets;
    std::map<client::PropertyId, client::Property> known;
    std::uint64_t missed = 0;
};

/// The columns by which rates can be sorted.
enum class RateOrder { Changes, Bytes, Size };

/// Sorts the largest first; equal ones by name.
void SortRates(std::vector<ChangeRates::Rate>& rates, RateOrder order);

}  // namespace vantry::cli
