#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/accounting.h"
#include "transport/stream/stream.h"
#include "wire/message_frame.h"
#include "wire/property_records.h"

namespace vantry {

/// One stream that has subscribed, and what it wants to hear of: a list of properties, or
/// everything while the list is empty. The list is guarded by the engine's subscribersLock, and
/// counted in the stream's account.
class Subscriber {
public:
    explicit Subscriber(std::shared_ptr<Stream> peer);

    std::uint32_t Id() const { return stream->Id(); }
    Stream& Peer() const { return *stream; }
    /// Whether the stream is dead or was closed because of a bound.
    bool IsGone() const;

    bool WantsEverything() const { return listed == 0; }
    /// Whether the list has an entry with this full key.
    bool Lists(const std::string& fullKey) const { return entries.contains(fullKey); }
    /// Adds an entry, unless an equal one is there and `evenIfListed` is false. Returns the bound
    /// that is exceeded then, if one is.
    [[nodiscard]] std::optional<Bound> Add(PropertyRequest wanted, bool evenIfListed);
    /// Takes the first entry with this full key off the list.
    void Forget(const std::string& fullKey);

    /// Writes a publication, unless the subscription has been ended. Returns false if the stream
    /// can't take it whole.
    [[nodiscard]] bool Send(const std::shared_ptr<const std::string>& frame) const;
    /// Closes the stream; nothing is sent to it afterwards.
    void End();

private:
    static std::uint64_t WeightOf(const PropertyRequest& request);

    const std::shared_ptr<Stream> stream;
    ScopedCharge charge;
    bool ended = false;
    /// The list by full key; different entries may share one, so each has a row.
    std::unordered_map<std::string, std::vector<PropertyRequest>> entries;
    std::size_t listed = 0;
};

}  // namespace vantry
