#include "cli/base/argument_checks.h"

#include <fmt/core.h>

#include <string>

namespace vantry::cli {

CLI::Validator Between(double least, double most) {
    return CLI::Validator(
        [least, most](const std::string& text) {
            double number = 0;
            return CLI::detail::lexical_cast(text, number) && number >= least && number <= most
                       ? std::string()
                       : fmt::format("'{}' is no number from {} to {}", text, least, most);
        },
        "");
}

CLI::Validator WithoutMark() {
    return CLI::Validator(
        [](std::string& word) {
            if (word.starts_with(kPlainMark)) {
                word.erase(0, 1);
            }
            return std::string();
        },
        "");
}

}  // namespace vantry::cli
