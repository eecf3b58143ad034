#include "cli/select/names.h"

#include "cli/base/text.h"

namespace vantry::cli {

std::vector<std::string> NamesOf(const client::Property& property) {
    const std::string inGroup = property.groupName + "/" + property.name;
    const std::string guids = property.id.group + ":" + property.id.property;
    return {property.name, inGroup, property.componentName + "/" + inGroup, guids,
            property.id.component + ":" + guids};
}

Names::Names(const std::vector<client::Property>& all) {
    for (const client::Property& property : all) {
        Add(property);
    }
}

void Names::Add(const client::Property& property) {
    if (known.insert(property.id).second) {
        for (const std::string& name : NamesOf(property)) {
            ++uses[name];
        }
    }
}

std::string Names::Of(const client::Property& property) const {
    const std::vector<std::string> names = NamesOf(property);
    for (const std::string& name : names) {
        const auto found = uses.find(name);
        const int others = found == uses.end() ? 0 : found->second - 1;
        if (!name.empty() && others <= 0 && Printable(name) == name) {
            return name;
        }
    }
    return Printable(names.back());
}

}  // namespace vantry::cli
