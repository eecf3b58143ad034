#include "cli/measure/live_series.h"

#include <algorithm>

#include "cli/base/terminal.h"
#include "history/step_sums.h"

namespace vantry::cli {

using client::Property;
using std::chrono::milliseconds;

client::Result<LiveSeries> LiveSeries::Begin(WatchSession& session,
                                             const std::vector<std::string>& words) {
    LiveSeries series(session);
    const auto selected = session.Known().Select(words);
    for (const Property& property : selected ? *selected : std::vector<Property>()) {
        if (history::NumberOf(property.value)) {
            series.Record(property);
        } else if (selected->size() == 1 || session.Find(words.front())) {
            return client::Error{client::ErrorCode::Refused,
                                 session.Known().NameOf(property) + " is no number but \"" +
                                     property.value + "\", so it can't be plotted"};
        }
    }
    return series;
}

void LiveSeries::TakeFor(milliseconds time) {
    const auto end = std::chrono::steady_clock::now() + time;
    do {
        const auto left = std::chrono::ceil<milliseconds>(end - std::chrono::steady_clock::now());
        const auto change = session->Take(std::clamp(left, milliseconds(0), milliseconds(100)));
        if (change && (places.count(change->id) > 0 || history::NumberOf(change->value))) {
            Record(*change);
        }
    } while (!Interrupted() && std::chrono::steady_clock::now() < end);
}

Recording LiveSeries::Since(Moment begin) const {
    return {all, std::max(begin, start), history::Now()};
}

void LiveSeries::Record(const Property& property) {
    const auto [place, isNew] = places.emplace(property.id, all.size());
    if (isNew) {
        all.push_back(
            {session->Known().NameOf(property), session->Known().DescriptionOf(property).unit});
    }
    all[place->second].points.push_back(
        {history::Now(), property.available ? history::NumberOf(property.value) : std::nullopt});
}

}  // namespace vantry::cli
