#pragma once

#include <optional>
#include <string>
#include <utility>

#include "gateway/filter.h"
#include "gateway/http_message.h"
#include "gateway/property_table.h"

namespace vantry::gateway {

/// The body of a response with many properties, produced in parts of about 64 KiB. A property is
/// as it is when its part is produced. Used by the thread of the server only.
class PropertyList : public BodySource {
public:
    /// `about` is a JSON object that comes first. The table must outlive the list.
    PropertyList(const PropertyTable& properties, Filter wanted, const std::string& about)
        : table(properties),
          filter(std::move(wanted)),
          text("{\"about\":" + about + ",\"properties\":[") {}

    std::optional<std::string> Next() override;

private:
    const PropertyTable& table;
    const Filter filter;
    std::string text;
    std::optional<client::PropertyId> last;
    bool isFirst = true;
    bool hasEnded = false;
};

}  // namespace vantry::gateway
