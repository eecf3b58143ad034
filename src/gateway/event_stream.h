#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "client/property.h"
#include "gateway/filter.h"
#include "gateway/http_message.h"
#include "gateway/property_table.h"

namespace vantry::gateway {

/// The server-sent events of one reader. It holds a place in the table and the ring, and no events,
/// so a reader that takes nothing costs no memory. Used by the thread of the server only.
class EventStream : public BodySource {
public:
    /// The first event contains `about`, a JSON object that describes the gateway. `lastEventId` is
    /// the last event that the reader has seen, or an empty text. The table must outlive the
    /// stream.
    EventStream(const PropertyTable& properties, Filter wanted, const std::string& lastEventId,
                std::string about);

    /// Returns the next events, about 64 KiB at most, and a comment if nothing was sent for 15 s.
    std::optional<std::string> Next() override;
    bool IsEndless() const override { return true; }

private:
    enum class Phase { Begin, Present, CatchUp, Follow };

    void AppendBegin(std::string& text);
    void AppendPresent(std::string& text);
    void AppendEvents(std::string& text);
    void Append(std::string& text, const ChangeRing::Event& event, std::uint64_t number) const;
    void StartPresent();

    const PropertyTable& table;
    const Filter filter;
    const std::string aboutGateway;
    Phase phase = Phase::Begin;
    const char* reason = "start";
    /// The number of the last event that was dealt with.
    std::uint64_t seen = 0;
    /// While present values are sent: those whose last event has a number above this one are sent,
    /// and the last property that was sent, and the newest event when it began.
    std::uint64_t known = 0;
    std::optional<client::PropertyId> last;
    std::uint64_t newestAtStart = 0;
    std::chrono::steady_clock::time_point sent;
};

}  // namespace vantry::gateway
