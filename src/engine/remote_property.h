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

/// The last reported state of a property that belongs to another component.
///
/// The hub forwards writes to `owner`, the stream of the first report, even after that stream has
/// ended. As long as the object exists, it is counted in the account of its owner, and its value in
/// the account of the connection that reported the value. The identity is constant, so any thread
/// may read it; the value is thread-safe as that of every Property.
class RemoteProperty final : public StringProperty {
public:
    /// `mayBeSeenOutside` says whether external peers may see the group of the property. The object
    /// isn't counted in any account before Charge.
    RemoteProperty(const RecordView& report, std::shared_ptr<Stream> reporter,
                   bool mayBeSeenOutside);

    /// Returns what a value counts in the account of its reporter: its length in records, where a
    /// control character takes six bytes. It is 0 for an internal reporter, who has no account.
    static std::uint64_t WeightOf(std::string_view value, const Stream& reporter);

    /// Counts the property, whose value has this weight. Must be called once. Returns the bound
    /// that is now exceeded, if any.
    [[nodiscard]] std::optional<Bound> Charge(std::uint64_t valueWeight);

    /// Stores another value, of this weight, that `reporter` has reported. Returns the bound that
    /// is now exceeded, if any. One thread at a time may call it.
    [[nodiscard]] std::optional<Bound> StoreReported(std::string_view text, std::uint64_t weight,
                                                     const Stream& reporter);

    /// Returns the number of bytes of this property that are counted in accounts of external
    /// connections.
    std::uint64_t ExternalText() const { return names.Amount() + (value ? value->Amount() : 0); }
    /// Returns how much of ExternalText is a value that another connection than the owner reported.
    std::uint64_t ForeignText() const {
        return value && reporterOfValue != owner->Account() ? value->Amount() : 0;
    }
    /// Returns the account of the connection that reported the value; empty for an internal one.
    const std::shared_ptr<ConnectionAccount>& ReporterOfValue() const { return reporterOfValue; }
    /// Returns how much of ExternalText is a value that is counted in `account`.
    std::uint64_t ValueCountedIn(const ConnectionAccount& account) const {
        return value && reporterOfValue.get() == &account ? value->Amount() : 0;
    }
    /// Returns the full key, which is made anew by each call.
    std::string Key() const { return FullKey(component, GroupGuid(), Guid()); }

    const std::string component;
    const std::string componentName;
    const std::shared_ptr<Stream> owner;
    /// Whether external peers may see the property.
    const bool passesOutside;

private:
    [[nodiscard]] std::optional<Bound> ChargeValue(std::uint64_t weight, const Stream& reporter);

    ScopedCharge place;
    ScopedCharge names;
    std::optional<ScopedCharge> value;
    std::shared_ptr<ConnectionAccount> reporterOfValue;
};

}  // namespace vantry
