#include "cli/select/value_order.h"

#include "cli/base/suggestions.h"
#include "describe/description.h"

namespace vantry::cli {

bool IsLessValue(const std::string& one, const std::string& other) {
    const auto first = describe::NumberIn(one);
    const auto second = describe::NumberIn(other);
    if (first && second) {
        return *first < *second;
    }
    return first.has_value() != second.has_value() ? first.has_value() : Lower(one) < Lower(other);
}

}  // namespace vantry::cli
