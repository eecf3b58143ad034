#include "describe/glob.h"

#include <fnmatch.h>

namespace vantry::describe {

bool MatchesGlob(const client::Property& property, const std::string& glob) {
    const auto matches = [&](const std::string& name) {
        return fnmatch(glob.c_str(), name.c_str(), FNM_CASEFOLD) == 0;
    };
    const std::string inGroup = property.groupName + "/" + property.name;
    return matches(property.name) || matches(inGroup) ||
           matches(property.componentName + "/" + inGroup);
}

}  // namespace vantry::describe
