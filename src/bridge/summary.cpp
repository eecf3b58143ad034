#include "bridge/summary.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <utility>

#include "wire/vocabulary/groups.h"
#include "wire/vocabulary/hub_properties.h"

namespace vantry::bridge {
namespace {

constexpr std::size_t kMostErrors = 20;

bool IsProblem(const client::Property& property) {
    const bool isOfErrors = property.id.group == Groups::kError.guid ||
                            property.id.group == Groups::kUserError.guid ||
                            property.id.group == Groups::kPrinterError.guid;
    if (!isOfErrors || !property.available) {
        return false;
    }
    std::string value = property.value;
    std::transform(value.begin(), value.end(), value.begin(), [](char letter) {
        return static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    });
    constexpr std::array kFine = {"", "false", "0", "none", "ok", "no error", "no"};
    return std::find(kFine.begin(), kFine.end(), value) == kFine.end();
}

}  // namespace

bool Summary::Enter(const client::Property& property) {
    if (property.id.property == HubProperties::kFirmwareVersion.guid && property.available) {
        return std::exchange(firmware, property.value) != property.value;
    }
    if (!IsProblem(property)) {
        return errors.erase(property.id) != 0;
    }
    const std::string name =
        property.componentName + "/" + property.groupName + "/" + property.name;
    return errors.insert_or_assign(property.id, name).second;
}

std::vector<std::string> Summary::Errors() const {
    std::vector<std::string> names;
    for (auto error = errors.begin(); error != errors.end() && names.size() < kMostErrors;
         ++error) {
        names.push_back(error->second);
    }
    return names;
}

}  // namespace vantry::bridge
