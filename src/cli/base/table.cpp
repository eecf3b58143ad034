#include "cli/base/table.h"

#include <algorithm>
#include <numeric>

#include "cli/base/text.h"

namespace vantry::cli {
namespace {

constexpr std::size_t kGap = 2;

std::string CsvRow(const std::vector<std::string>& cells) {
    std::string row;
    for (const std::string& cell : cells) {
        row += &cell == &cells.front() ? "" : ",";
        row += CsvText(cell);
    }
    return row + "\n";
}

/// Makes the widest columns narrower until a line has at most `total` columns, as far as each keeps
/// enough to be of use.
void Narrow(std::vector<std::size_t>& widths, std::size_t total) {
    constexpr std::size_t kLeast = 6;
    const std::size_t gaps = kGap * (widths.size() - 1);
    for (std::size_t& width : widths) {
        width = std::min(width, total);
    }
    while (std::accumulate(widths.begin(), widths.end(), gaps) > total) {
        const auto widest = std::max_element(widths.begin(), widths.end());
        if (*widest <= kLeast) {
            break;
        }
        --*widest;
    }
}

std::string TextRow(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths,
                    std::size_t total, const Style& style) {
    std::string row;
    std::size_t used = 0;
    for (std::size_t place = 0; place < cells.size() && used < total; ++place) {
        const bool isLast = place + 1 == cells.size();
        const std::string cell = Printable(cells[place]);
        const std::size_t width = isLast ? ColumnsOf(cell) : widths[place];
        row += Fitted(cell, std::min(width, total - used));
        used += width;
        if (!isLast && used + kGap < total) {
            row += std::string(kGap, ' ') + style.ToColumn(used + kGap, cell);
        }
        used += kGap;
    }
    row.erase(row.find_last_not_of(' ') + 1);
    return row;
}

}  // namespace

std::string Table::Text(const Style& style, std::size_t widest, std::size_t total) const {
    std::vector<std::size_t> widths;
    for (std::size_t place = 0; place < titles.size(); ++place) {
        std::size_t width = ColumnsOf(titles[place]);
        for (const std::vector<std::string>& row : rows) {
            width = std::max(width, ColumnsOf(Printable(row[place])));
        }
        const bool isLast = place + 1 == titles.size();
        widths.push_back(isLast ? width : std::min(width, widest));
    }
    Narrow(widths, std::min(total, TerminalSize::ColumnsOfOutput()));
    std::string text = style.Heading(TextRow(titles, widths, total, style)) + "\n";
    for (const std::vector<std::string>& row : rows) {
        text += TextRow(row, widths, total, style) + "\n";
    }
    return text;
}

std::string Table::Csv() const {
    std::string text = CsvRow(titles);
    for (const std::vector<std::string>& row : rows) {
        text += CsvRow(row);
    }
    return text;
}

}  // namespace vantry::cli
