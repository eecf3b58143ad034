#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "property/kept_text.h"
#include "property/property.h"

namespace vantry {

/// A record that waits for the end of the publishing period.
struct PendingRecord {
    KeptText::Shared text;
    /// The component that owns the property. The text lives as long as the property, or as the hub
    /// for one of its own.
    std::string_view component;
    /// Whether external subscribers may get it.
    bool passesOutside;
    bool isWithdrawal;
    /// Keeps a withdrawn property alive until its withdrawal has been published. The account of its
    /// owner counts it until then.
    std::shared_ptr<const Property> property;
};

/// The records that wait for the end of the period, in the order in which they are published. Used
/// by the publishing thread only.
class PendingRecords {
public:
    /// Adds a record at the end.
    void Add(PendingRecord record) {
        bytes += record.text->size();
        records.push_back(std::move(record));
    }
    bool Empty() const { return records.empty(); }
    std::uint64_t Count() const { return records.size(); }
    /// Returns the number of bytes of all texts. A text that several records share counts once for
    /// each of them.
    std::uint64_t TextBytes() const { return bytes; }
    /// Returns all records and leaves none.
    [[nodiscard]] std::vector<PendingRecord> TakeAll() {
        bytes = 0;
        return std::exchange(records, {});
    }

private:
    std::vector<PendingRecord> records;
    std::uint64_t bytes = 0;
};

}  // namespace vantry
