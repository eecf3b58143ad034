#pragma once

#include <optional>
#include <string>

#include "client/property.h"
#include "gateway/http_message.h"
#include "gateway/hub_link.h"
#include "gateway/property_table.h"
#include "gateway/statistics.h"

namespace vantry::gateway {

enum class MetricsFormat { OpenMetrics, Prometheus };

/// Returns the format that the header Accept asks for.
MetricsFormat FormatFor(const std::string& accept);
/// Returns the media type of a format.
const char* ContentTypeOf(MetricsFormat format);

/// What a monitoring system reads: the figures of the gateway, what can be seen of the hub, and the
/// properties that are numbers, True or False. Produced in parts of about 64 KiB. Used by the
/// thread of the server only.
class Metrics : public BodySource {
public:
    /// The table must outlive the metrics. The rest is read at once.
    Metrics(const PropertyTable& properties, const HubLink::State& hub,
            const Statistics& statistics, MetricsFormat wanted);

    std::optional<std::string> Next() override;

private:
    void AppendComponents();

    const PropertyTable& table;
    const MetricsFormat format;
    std::string text;
    std::optional<client::PropertyId> last;
    bool hasEnded = false;
};

}  // namespace vantry::gateway
