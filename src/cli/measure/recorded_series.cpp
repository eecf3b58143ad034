#include "cli/measure/recorded_series.h"

#include <algorithm>

#include "cli/select/property_names.h"
#include "history/step_sums.h"

namespace vantry::cli {
namespace {

using client::Property;

client::Result<Series> SeriesOf(history::History& history, const Property& property,
                                history::Span span) {
    // Bounds the memory; newer changes are left out then.
    constexpr std::size_t kMostChanges = 10'000'000;
    const auto changes = history.Changes(property.id, span, kMostChanges);
    if (!changes) {
        return changes.error();
    }
    Series series{property.name, ""};
    for (const history::Sample& sample : *changes) {
        series.points.push_back(
            {sample.time, sample.value ? history::NumberOf(*sample.value) : std::nullopt});
    }
    return series;
}

}  // namespace

client::Result<Recording> ReadSeries(const std::filesystem::path& file,
                                     const std::vector<std::string>& words, history::Span span) {
    auto history = history::History::Open(file);
    if (!history) {
        return history.error();
    }
    const auto known = history->Properties();
    const auto recorded = history->Recorded();
    if (!known || !recorded) {
        return known ? recorded.error() : known.error();
    }
    const auto selected = SelectByName(*known, words);
    if (!selected) {
        return selected.error();
    }
    span.begin = std::max(span.begin, recorded->begin);
    Recording recording{{}, span.begin, span.end};
    for (const Property& property : *selected) {
        const auto series = SeriesOf(*history, property, span);
        if (!series) {
            return series.error();
        }
        if (ExtentOf(SlicesOf(*series, span.begin, span.end, 1))) {
            recording.all.push_back(*series);
        }
    }
    return recording;
}

}  // namespace vantry::cli
