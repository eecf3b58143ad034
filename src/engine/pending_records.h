#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "property/kept_text.h"
#include "property/property.h"

namespace vantry {

/// A record that waits for the end of the period.
struct PendingRecord {
    KeptText::Shared text;
    /// The full key of the property.
    std::string key;
    /// Whether external subscribers may get it.
    bool passesOutside;
    bool isWithdrawal;
    /// Keeps a property that is gone until this has been published, and counted as long.
    std::shared_ptr<const Property> property;
};

/// The records that wait, in the order in which they are told. Belongs to the publishing thread.
class PendingRecords {
public:
    void Add(PendingRecord record) {
        bytes += record.text->size();
        records.push_back(std::move(record));
    }
    bool Empty() const { return records.empty(); }
    std::uint64_t Count() const { return records.size(); }
    /// Bytes of all texts; one that several records share counts for each.
    std::uint64_t TextBytes() const { return bytes; }
    std::deque<PendingRecord> TakeAll() {
        bytes = 0;
        return std::exchange(records, {});
    }

private:
    std::deque<PendingRecord> records;
    std::uint64_t bytes = 0;
};

}  // namespace vantry
