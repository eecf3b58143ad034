#include "cli/base/json.h"

namespace vantry::cli {

std::string OneLine(const Json& document) {
    return document.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string LineByLine(const Json& array) {
    std::string text = "[";
    for (std::size_t place = 0; place < array.size(); ++place) {
        text += (place == 0 ? "\n" : ",\n") + OneLine(array[place]);
    }
    return text + "\n]";
}

Json JsonOf(const client::Property& property) {
    return {{"component", property.componentName},
            {"group", property.groupName},
            {"name", property.name},
            {"value", property.value},
            {"available", property.available},
            {"componentGuid", property.id.component},
            {"groupGuid", property.id.group},
            {"guid", property.id.property}};
}

}  // namespace vantry::cli
