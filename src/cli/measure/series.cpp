// Series in equal parts of the time, and the scales beside them.
//
// A number holds until the next point, so a part without a point has the number before it. All
// parts are made in one pass over the points. A scale has the smallest step that is round and
// divides it into few enough parts. The steps of time are those of clocks and calendars, and are
// counted in local time, so that labels stand at full minutes, hours and days.

#include "cli/measure/series.h"

#include <fmt/chrono.h>
#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>

namespace vantry::cli {
namespace {

std::tm LocalTm(Moment moment) {
    const std::time_t seconds = moment / history::kSecond;
    std::tm local{};
    localtime_r(&seconds, &local);
    return local;
}

}  // namespace

std::optional<double> Series::Last() const {
    return points.empty() ? std::nullopt : points.back().number;
}

void Extent::Add(double number) {
    low = std::min(low, number);
    high = std::max(high, number);
}

Extent Extent::Widened() const {
    if (high > low) {
        return *this;
    }
    const double half = low == 0 ? 1 : std::abs(low) / 10;
    return {low - half, high + half};
}

std::vector<Slice> SlicesOf(const Series& series, Moment begin, Moment end, std::size_t count) {
    std::vector<Slice> slices;
    std::optional<double> held;
    auto point = series.points.begin();
    for (; point != series.points.end() && point->time <= begin; ++point) {
        held = point->number;
    }
    const Moment length = std::max<Moment>(end - begin, 1);
    for (std::size_t place = 0; place < count; ++place) {
        const Moment until = begin + static_cast<Moment>(static_cast<double>(length) *
                                                         static_cast<double>(place + 1) /
                                                         static_cast<double>(count));
        Slice slice;
        const auto add = [&slice](const std::optional<double>& number) {
            if (number && slice.extent) {
                slice.extent->Add(*number);
            } else if (number) {
                slice.extent = Extent{*number, *number};
            }
        };
        add(held);
        for (; point != series.points.end() && point->time < until; ++point) {
            held = point->number;
            add(held);
        }
        slice.last = held;
        slices.push_back(slice);
    }
    return slices;
}

std::optional<Extent> ExtentOf(const std::vector<Slice>& slices) {
    std::optional<Extent> all;
    for (const Slice& slice : slices) {
        if (slice.extent) {
            all = all ? all : slice.extent;
            all->Add(slice.extent->low);
            all->Add(slice.extent->high);
        }
    }
    return all;
}

std::vector<double> RoundNumbers(const Extent& extent, std::size_t most) {
    const double least = (extent.high - extent.low) / static_cast<double>(most);
    const double power = std::pow(10, std::floor(std::log10(least)));
    double step = 10 * power;
    for (const double factor : {5, 2, 1}) {
        step = factor * power >= least ? factor * power : step;
    }
    std::vector<double> numbers;
    for (double at = std::ceil(extent.low / step - 1e-9); at * step <= extent.high + step * 1e-9;
         ++at) {
        numbers.push_back(at * step);
    }
    return numbers;
}

std::vector<Moment> RoundMoments(Moment begin, Moment end, std::size_t most) {
    using namespace history;
    constexpr std::array<Moment, 26> kSteps = {
        kSecond / 10, kSecond / 5,  kSecond / 2,  kSecond,  2 * kSecond, 5 * kSecond,
        10 * kSecond, 15 * kSecond, 30 * kSecond, kMinute,  2 * kMinute, 5 * kMinute,
        10 * kMinute, 15 * kMinute, 30 * kMinute, kHour,    2 * kHour,   3 * kHour,
        6 * kHour,    12 * kHour,   kDay,         2 * kDay, 7 * kDay,    14 * kDay,
        30 * kDay,    90 * kDay};
    const Moment least = (end - begin) / static_cast<Moment>(std::max<std::size_t>(most, 1));
    const auto found = std::find_if(kSteps.begin(), kSteps.end(),
                                    [least](Moment candidate) { return candidate >= least; });
    const Moment step = found == kSteps.end() ? std::max<Moment>(least, 1) : *found;
    const Moment offset = LocalTm(begin).tm_gmtoff * kSecond;
    std::vector<Moment> moments;
    for (Moment at = BeginOfStep(begin + offset + step - 1, step) - offset; at <= end; at += step) {
        moments.push_back(at);
    }
    return moments;
}

std::string MomentLabel(Moment moment, Moment length) {
    const std::tm local = LocalTm(moment);
    if (length < 10 * history::kSecond) {
        return fmt::format("{:%H:%M:%S}.{}", local,
                           moment % history::kSecond * 10 / history::kSecond);
    }
    return length <= history::kHour  ? fmt::format("{:%H:%M:%S}", local)
           : length <= history::kDay ? fmt::format("{:%H:%M}", local)
                                     : fmt::format("{:%m-%d %H:%M}", local);
}

}  // namespace vantry::cli
