#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include "runtime/result.h"

namespace vantry::bridge {

/// Texts that wait for the broker, oldest first, within a bound of bytes. When a new one doesn't
/// fit, the oldest ones are dropped. Used by one thread.
class Backlog {
public:
    virtual ~Backlog() = default;

    /// Adds a text as the newest one.
    virtual void Append(const std::string& record) = 0;
    /// Returns the oldest one, or nothing if there is none.
    virtual std::optional<std::string> Front() = 0;
    /// Removes the oldest one.
    virtual void Pop() = 0;
    /// Returns how many texts wait.
    virtual std::uint64_t Count() const = 0;
    /// Returns how many were dropped.
    virtual std::uint64_t Dropped() const = 0;
    /// Makes sure that what was appended outlives a loss of power.
    virtual void Sync() {}
};

/// Keeps the texts in memory.
class MemoryBacklog final : public Backlog {
public:
    explicit MemoryBacklog(std::size_t mostBytes) : most(mostBytes) {}

    void Append(const std::string& record) override;
    std::optional<std::string> Front() override;
    void Pop() override;
    std::uint64_t Count() const override { return records.size(); }
    std::uint64_t Dropped() const override { return dropped; }

private:
    const std::size_t most;
    std::size_t bytes = 0;
    std::uint64_t dropped = 0;
    std::deque<std::string> records;
};

}  // namespace vantry::bridge
