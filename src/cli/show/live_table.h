#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "cli/base/terminal.h"
#include "cli/select/catalog.h"
#include "cli/show/live_columns.h"
#include "cli/show/live_rows.h"

namespace vantry::cli {

/// What the live table shows beside the properties.
struct LiveState {
    bool connected = true;
    /// The address of the hub.
    std::string hub;
    /// The time of day.
    std::string time;
    /// The time in the seconds of the samples.
    double seconds = 0;
};

/// The watched properties as a table that is drawn again and again, with a cursor, a filter and an
/// order that keys change. Below the rows stands what is known of the property under the cursor: a
/// plot of its last minute, or its whole text. Only one thread may use it.
class LiveTable {
public:
    /// The catalog names and describes the properties, and must outlive this object.
    explicit LiveTable(const Catalog& known) : catalog(known), rows(known) {}

    /// Records a change, which the next Draw shows.
    void Record(const client::Property& change, double seconds) { rows.Record(change, seconds); }
    /// Acts on a key, see Screen::KeyWithin. Returns false if it ends the table.
    bool Press(int key);
    /// Returns the whole screen as text, with control sequences, for a terminal of this size.
    std::string Draw(const TerminalSize& size, const LiveState& state, const Style& style);

private:
    /// Adds a key to the filter, or ends typing it.
    void Type(int key);
    /// Moves the cursor if the key is one that does so.
    void Move(int key);
    void MoveTo(std::ptrdiff_t row);
    /// Places the cursor where its property is now, and the first row so that the cursor is shown.
    void PlaceCursor(const std::vector<const LiveRow*>& shown, std::size_t visible);
    /// Returns how many of `body` lines the detail has, of which the rows need `shown`.
    std::size_t DetailRows(std::size_t shown, std::size_t body) const;
    LiveCells CellsOf(const LiveRow& row) const;
    std::vector<std::string> RowLines(const std::vector<const LiveRow*>& shown, std::size_t visible,
                                      const TerminalSize& size, const LiveState& state,
                                      const Style& style);
    std::vector<std::string> DetailLines(const LiveRow& row, std::size_t columns, std::size_t lines,
                                         const LiveState& state, const Style& style) const;
    std::string Title(const LiveState& state) const;
    std::string Footer(std::size_t visible) const;

    const Catalog& catalog;
    LiveRows rows;
    LiveOrder order = LiveOrder::Moved;
    std::string filter;
    bool isTyping = false;
    /// Makes room for the detail even if rows must be left out for it.
    bool wantsDetail = false;
    /// The row of the cursor, and the property that it follows once it was moved.
    std::size_t cursor = 0;
    std::optional<client::PropertyId> followed;
    bool hasMoved = false;
    /// The first row that is shown, and what the last drawing had room for.
    std::size_t top = 0;
    std::size_t shownRows = 0;
    std::size_t page = 1;
    /// The widest texts that were shown at this size and with this filter, so that columns don't
    /// jump with every value.
    LiveWidths widest;
    std::size_t drawnColumns = 0;
};

}  // namespace vantry::cli
