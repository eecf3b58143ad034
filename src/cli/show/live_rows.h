#pragma once

#include <cstddef>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "cli/select/catalog.h"
#include "cli/show/time_plot.h"
#include "client/property.h"

namespace vantry::cli {

/// The time that the plots of the live table show, in seconds.
inline constexpr double kPlottedSeconds = 60;

/// One property of the live table.
struct LiveRow {
    client::Property property;
    std::string unit;
    /// The numbers of the last minute, and the one before them.
    std::deque<TimedNumber> samples;
    /// When the value changed last, in the seconds of the samples; negative for never.
    double changedAt = -1;
};

/// The orders of the live table. Debug zones are last in each.
enum class LiveOrder {
    /// First what has changed since the table began, then by group and name.
    Moved,
    Name,
    Value,
    /// The latest change first.
    Change
};
/// Returns the word under which the table shows the order.
const char* NameOf(LiveOrder order);

/// The properties of the live table, of which a filter and an order choose what is shown. Only one
/// thread may use it.
class LiveRows {
public:
    /// The catalog names and describes the properties, and must outlive this object.
    explicit LiveRows(const Catalog& known) : catalog(known) {}

    /// Records a change at this time.
    void Record(const client::Property& change, double seconds);
    /// Returns the rows that are shown, in their order. Pointers to rows stay valid.
    std::vector<const LiveRow*> Shown() const;
    std::size_t Count() const { return rows.size(); }

    /// Selects the rows whose name, group or component contains the text, or matches it as a glob;
    /// an empty text selects all.
    void FilterBy(const std::string& text) { filter = text; }
    void SortBy(LiveOrder wanted) { order = wanted; }

private:
    bool IsBefore(const LiveRow& one, const LiveRow& other) const;

    const Catalog& catalog;
    /// By group and name; the GUIDs make the key unique.
    std::map<std::string, LiveRow> rows;
    std::string filter;
    LiveOrder order = LiveOrder::Moved;
};

}  // namespace vantry::cli
