// The table of `vantry watch --live`.
//
// Each drawing is the whole screen as one text, so a change of the window's size needs no special
// case. The cursor is a row of the screen until it is moved; from then on it follows a property,
// wherever the order of the rows takes it. The detail of that property has the lines that the rows
// leave unused, and with the key p half of the screen.

#include "cli/show/live_table.h"

#include <fmt/core.h>

#include <algorithm>
#include <utility>

#include "cli/base/text.h"

namespace vantry::cli {
namespace {

/// The rows that are needed for a plot or a long text.
constexpr std::size_t kLeastDetail = 6;
/// How long a value that has changed is shown so, in seconds.
constexpr double kFresh = 1;

}  // namespace

bool LiveTable::Press(int key) {
    if (isTyping) {
        Type(key);
        return true;
    }
    switch (key) {
        case 'q':
            return false;
        case '/':
            isTyping = true;
            break;
        case Key::kEscape:
            filter.clear();
            break;
        case 's':
            order = static_cast<LiveOrder>((static_cast<int>(order) + 1) % 4);
            break;
        case 'p':
            wantsDetail = !wantsDetail;
            break;
        default:
            Move(key);
            break;
    }
    rows.FilterBy(filter);
    rows.SortBy(order);
    return true;
}

void LiveTable::Move(int key) {
    const auto at = static_cast<std::ptrdiff_t>(cursor);
    const auto step = static_cast<std::ptrdiff_t>(page);
    switch (key) {
        case 'j':
        case Key::kDown:
            MoveTo(at + 1);
            break;
        case 'k':
        case Key::kUp:
            MoveTo(at - 1);
            break;
        case ' ':
        case Key::kPageDown:
            MoveTo(at + step);
            break;
        case 'b':
        case Key::kPageUp:
            MoveTo(at - step);
            break;
        case 'g':
        case Key::kHome:
            MoveTo(0);
            break;
        case 'G':
        case Key::kEnd:
            MoveTo(static_cast<std::ptrdiff_t>(shownRows) - 1);
            break;
        default:
            break;
    }
}

void LiveTable::Type(int key) {
    if (key == '\n' || key == '\r' || key == Key::kEscape) {
        isTyping = false;
    } else if (key == Key::kBackspace) {
        RemoveLastCharacter(filter);
    } else if (key >= ' ' && key < Key::kFirstSpecial) {
        filter += static_cast<char>(key);
    }
    if (key == Key::kEscape) {
        filter.clear();
    }
    rows.FilterBy(filter);
    widest = LiveWidths();
}

void LiveTable::MoveTo(std::ptrdiff_t row) {
    const auto last = static_cast<std::ptrdiff_t>(shownRows) - 1;
    cursor = static_cast<std::size_t>(
        std::clamp<std::ptrdiff_t>(row, 0, std::max<std::ptrdiff_t>(last, 0)));
    followed.reset();
    hasMoved = true;
}

void LiveTable::PlaceCursor(const std::vector<const LiveRow*>& shown, std::size_t visible) {
    if (followed) {
        const auto same = std::find_if(shown.begin(), shown.end(), [this](const LiveRow* row) {
            return row->property.id == *followed;
        });
        cursor = same != shown.end() ? static_cast<std::size_t>(same - shown.begin()) : cursor;
    }
    shownRows = shown.size();
    page = std::max<std::size_t>(visible, 1);
    cursor = std::min(cursor, shown.empty() ? 0 : shown.size() - 1);
    if (hasMoved && !shown.empty()) {
        followed = shown[cursor]->property.id;
    }
    // The cursor is on the screen, and the screen is full if there is enough to fill it.
    top = std::min(top, shown.size() - std::min(shown.size(), visible));
    top = std::clamp(top, cursor + 1 - std::min(cursor + 1, page), cursor);
}

std::size_t LiveTable::DetailRows(std::size_t shown, std::size_t body) const {
    const std::size_t unused = body - std::min(shown, body);
    if (unused >= kLeastDetail) {
        return unused;
    }
    return wantsDetail && body > 2 * kLeastDetail ? body / 2 : 0;
}

LiveCells LiveTable::CellsOf(const LiveRow& row) const {
    std::string value =
        row.property.available ? Printable(row.property.value) : std::string("(withdrawn)");
    const auto owner = catalog.OwnerOf(row.property).presence;
    if (row.property.available && owner == client::Owners::Presence::Gone) {
        value += " (owner gone)";
    }
    return {catalog.NameOf(row.property), value, Printable(row.unit), catalog.AgeOf(row.property),
            ""};
}

std::vector<std::string> LiveTable::RowLines(const std::vector<const LiveRow*>& shown,
                                             std::size_t visible, const TerminalSize& size,
                                             const LiveState& state, const Style& style) {
    std::vector<LiveCells> cells;
    for (std::size_t row = top; row < std::min(top + visible, shown.size()); ++row) {
        cells.push_back(CellsOf(*shown[row]));
        widest.Cover(cells.back());
    }
    const LiveWidths widths = widest.FittedTo(size.columns - 1);
    std::vector<std::string> lines = {style.Faint(
        LineOf({"name", "value", "unit", "age", Fitted("last minute", widths.plot)}, widths))};
    const TimeSpan span{state.seconds - kPlottedSeconds, state.seconds};
    for (std::size_t place = 0; place < cells.size(); ++place) {
        const LiveRow& row = *shown[top + place];
        const bool hasPlot = row.samples.size() > 1;
        cells[place].plot =
            hasPlot ? Sparkline(row.samples, span, widths.plot) : std::string(widths.plot, ' ');
        const std::string line = LineOf(cells[place], widths);
        const bool isFresh = row.changedAt >= 0 && state.seconds - row.changedAt < kFresh;
        lines.push_back(top + place == cursor ? Style::Selected(line)
                        : !state.connected    ? style.Faint(line)
                        : isFresh             ? style.Changed(line)
                                              : line);
    }
    return lines;
}

std::vector<std::string> LiveTable::DetailLines(const LiveRow& row, std::size_t columns,
                                                std::size_t lines, const LiveState& state,
                                                const Style& style) const {
    const LiveCells cells = CellsOf(row);
    const std::string unit = cells.unit.empty() ? "" : " " + cells.unit;
    const client::Owners::State owner = catalog.OwnerOf(row.property);
    std::vector<std::string> detail = {style.Heading(
        Fitted(fmt::format("{}: {}{}  of {}, {}", cells.name, cells.value, unit,
                           Printable(row.property.componentName),
                           owner.presence == client::Owners::Presence::Gone
                               ? owner.why
                               : std::string("owner ") + client::NameOf(owner.presence)),
               columns))};
    const TimeSpan span{state.seconds - kPlottedSeconds, state.seconds};
    std::vector<std::string> more = TimePlot(row.samples, span, columns, lines - 1);
    if (more.empty()) {
        more = Wrapped(cells.value, columns, lines - 1);
    }
    detail.insert(detail.end(), more.begin(), more.end());
    return detail;
}

std::string LiveTable::Title(const LiveState& state) const {
    return fmt::format("{}  {}  {}  {}", state.time, state.hub, Counted(rows.Count(), "property"),
                       state.connected ? "connected" : "NO CONNECTION, trying again; old values");
}

std::string LiveTable::Footer(std::size_t visible) const {
    if (isTyping) {
        return "/" + Printable(filter) + "_   Enter keeps the filter, Esc removes it";
    }
    const std::size_t first = shownRows == 0 ? 0 : top + 1;
    return fmt::format(
        "{}-{} of {}{}  by {}   arrows PgUp PgDn g G  / filter  s sort  p plot  q quit", first,
        std::min(top + visible, shownRows), shownRows,
        filter.empty() ? "" : " with \"" + Printable(filter) + "\"", NameOf(order));
}

std::string LiveTable::Draw(const TerminalSize& size, const LiveState& state, const Style& style) {
    if (std::exchange(drawnColumns, size.columns) != size.columns) {
        widest = LiveWidths();
    }
    const std::string title = Title(state);
    const std::size_t width = std::max<std::size_t>(size.columns, 2) - 1;
    constexpr std::size_t kOtherLines = 3;
    if (size.rows <= kOtherLines || size.columns < 20) {
        return WholeScreen({}, Fitted(title, width), size);
    }
    const std::vector<const LiveRow*> shown = rows.Shown();
    const std::size_t body = size.rows - kOtherLines;
    const std::size_t detail = shown.empty() ? 0 : DetailRows(shown.size(), body);
    const std::size_t visible = body - detail;
    PlaceCursor(shown, visible);
    std::vector<std::string> lines = {state.connected ? style.Heading(Fitted(title, width))
                                                      : style.Bad(Fitted(title, width))};
    for (std::string& line : RowLines(shown, visible, size, state, style)) {
        lines.push_back(std::move(line));
    }
    if (detail > 0) {
        lines.resize(std::max(lines.size(), size.rows - 1 - detail));
        for (std::string& line : DetailLines(*shown[cursor], width, detail, state, style)) {
            lines.push_back(std::move(line));
        }
    }
    return WholeScreen(lines, style.Faint(Fitted(Footer(visible), width)), size);
}

}  // namespace vantry::cli
