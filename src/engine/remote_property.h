#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/accounting.h"
#include "property/string_property.h"
#include "transport/stream/stream.h"
#include "wire/key/property_key.h"
#include "wire/record_text.h"

namespace vantry {

/// A property of a component at the far end of a stream: what the component last reported of it.
/// Writes go to `owner`, the stream of the first report, also when that has ended.
///
/// As long as the object exists, it is counted in the account of its owner, and its value in the
/// account of whoever reported that.
class RemoteProperty final : public StringProperty {
public:
    /// Nothing is counted before Charge.
    RemoteProperty(const RecordView& report, std::shared_ptr<Stream> reporter);

    /// Counts the property. Called once. Returns the bound that is exceeded then, if one is.
    [[nodiscard]] std::optional<Bound> Charge();

    struct Taken {
        bool isChange = false;
        std::optional<Bound> exceeded;
    };
    /// Stores what `reporter` has reported. One thread at a time may call it.
    Taken TakeReported(std::string_view text, const Stream& reporter);

    /// Bytes that external connections have in it.
    std::uint64_t ExternalText() const { return names.Amount() + (value ? value->Amount() : 0); }
    std::string Key() const { return FullKey(component, GroupGuid(), Guid()); }

    const std::string component;
    const std::string componentName;
    const std::shared_ptr<Stream> owner;

private:
    [[nodiscard]] std::optional<Bound> ChargeValue(std::size_t bytes, const Stream& reporter);

    ScopedCharge place;
    ScopedCharge names;
    std::optional<ScopedCharge> value;
};

}  // namespace vantry
