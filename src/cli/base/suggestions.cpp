#include "cli/base/suggestions.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <utility>

namespace vantry::cli {
namespace {

/// Returns how many bytes must be replaced, inserted or deleted to make one text of the other.
std::size_t EditDistance(const std::string& one, const std::string& other) {
    std::vector<std::size_t> row(other.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t i = 1; i <= one.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= other.size(); ++j) {
            const std::size_t replaced = diagonal + (one[i - 1] == other[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

}  // namespace

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

std::string DidYouMean(const std::string& typed, const std::vector<std::string>& names,
                       std::size_t most) {
    const std::string lower = Lower(typed);
    if (lower.empty()) {
        return "";
    }
    const std::size_t farthest = std::max<std::size_t>(2, lower.size() / 2);
    std::vector<std::pair<std::size_t, std::string>> near;
    for (const std::string& name : names) {
        const std::string candidate = Lower(name);
        const std::string last = candidate.substr(candidate.rfind('/') + 1);
        const std::size_t distance =
            candidate.find(lower) != std::string::npos
                ? 0
                : std::min(EditDistance(candidate, lower), EditDistance(last, lower));
        if (distance <= farthest) {
            near.emplace_back(distance, name);
        }
    }
    std::sort(near.begin(), near.end());
    near.erase(std::unique(near.begin(), near.end()), near.end());
    std::string text;
    for (std::size_t place = 0; place < std::min(near.size(), most); ++place) {
        text += (place == 0 ? "; did you mean \"" : ", \"") + near[place].second + "\"";
    }
    return text.empty() ? text : text + "?";
}

std::string ThenNext(const std::string& didYouMean, const std::string& next) {
    return (didYouMean.empty() ? "; " : didYouMean + " ") + next;
}

}  // namespace vantry::cli
