#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "bridge/backlog.h"

namespace vantry::bridge {

/// Keeps texts in files of a folder, so that they outlive the program. A text that was removed less
/// than ten seconds before the program was killed may be there again. Blocks for the file system.
class Spool final : public Backlog {
public:
    /// Opens what an earlier program has left in the folder, which is made if it is missing.
    Spool(std::filesystem::path folder, std::size_t mostBytes);
    ~Spool() override;
    Spool(const Spool&) = delete;
    Spool& operator=(const Spool&) = delete;

    void Append(const std::string& record) override;
    std::optional<std::string> Front() override;
    void Pop() override;
    std::uint64_t Count() const override { return count; }
    std::uint64_t Dropped() const override { return dropped; }
    void Sync() override;

private:
    struct Segment {
        std::uint64_t number;
        /// The bytes of whole records.
        std::uint64_t bytes;
        /// The records that haven't been removed.
        std::uint64_t records;
    };

    std::filesystem::path NameOf(std::uint64_t segment) const;
    void OpenSegments();
    void ReadPosition();
    bool BeginSegment();
    void DropOldest();
    /// Removes the files of which every record has been removed, but not the one that is written.
    void RemoveRead();

    const std::filesystem::path folder;
    const std::size_t most;
    std::deque<Segment> segments;
    /// The file that is written, or -1.
    int writing = -1;
    /// Where the oldest record stands in the first segment.
    std::uint64_t position = 0;
    std::uint64_t bytes = 0;
    std::uint64_t count = 0;
    std::uint64_t dropped = 0;
    bool isUnsynced = false;
};

}  // namespace vantry::bridge
