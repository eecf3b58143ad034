#include "cli/base/table.h"

#include <algorithm>

#include "cli/base/text.h"

namespace vantry::cli {
namespace {

std::string CsvRow(const std::vector<std::string>& cells) {
    std::string row;
    for (const std::string& cell : cells) {
        row += &cell == &cells.front() ? "" : ",";
        row += CsvText(cell);
    }
    return row + "\n";
}

std::string TextRow(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths,
                    std::size_t total) {
    std::string row;
    for (std::size_t place = 0; place + 1 < cells.size(); ++place) {
        row += Fitted(Printable(cells[place]), widths[place]) + "  ";
    }
    row += Printable(cells.back());
    row.erase(row.find_last_not_of(' ') + 1);
    return ColumnsOf(row) > total ? Fitted(row, total) : row;
}

}  // namespace

std::string Table::Text(const Style& style, std::size_t widest, std::size_t total) const {
    std::vector<std::size_t> widths;
    for (std::size_t place = 0; place < titles.size(); ++place) {
        std::size_t width = ColumnsOf(titles[place]);
        for (const std::vector<std::string>& row : rows) {
            width = std::max(width, ColumnsOf(Printable(row[place])));
        }
        widths.push_back(std::min(width, widest));
    }
    std::string text = style.Heading(TextRow(titles, widths, total)) + "\n";
    for (const std::vector<std::string>& row : rows) {
        text += TextRow(row, widths, total) + "\n";
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
