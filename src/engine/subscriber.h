#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/accounting.h"
#include "transport/stream/stream.h"
#include "wire/message_frame.h"

namespace vantry {

/// A stream that has subscribed, with the list of properties that it gets; while the list is empty,
/// it gets everything.
///
/// The engine's subscribersLock guards the list, which is counted in the stream's account. Id,
/// Peer, IsGone, Send and End are thread-safe.
class Subscriber {
public:
    explicit Subscriber(std::shared_ptr<Stream> peer);
    ~Subscriber();
    Subscriber(const Subscriber&) = delete;
    Subscriber& operator=(const Subscriber&) = delete;

    /// Returns the number of the stream, which no other stream of the process has.
    std::uint32_t Id() const { return stream->Id(); }
    Stream& Peer() const { return *stream; }
    /// Returns whether the stream has ended or was closed because of a bound.
    bool IsGone() const;

    /// Returns whether the list is empty.
    bool WantsEverything() const { return listed == 0; }
    /// Returns whether the list has an entry with this full key.
    bool HasEntry(std::string_view fullKey) const { return entries.contains(fullKey); }
    /// Returns how many entries the list has, of which equal ones count once.
    std::size_t DifferentEntries() const { return entries.size(); }
    /// Calls `use` once with each full key that entries have.
    template <typename Use>
    void ForEachKey(const Use& use) const {
        std::string_view last;
        for (const auto& [key, entry] : entries) {
            if (key != last) {
                use(std::string_view(key));
            }
            last = key;
        }
    }
    /// Adds an entry, unless there is an equal one and `evenIfListed` is false. Returns the bound
    /// that is now exceeded, if any.
    [[nodiscard]] std::optional<Bound> Add(std::string_view component, std::string_view groupGuid,
                                           std::string_view guid, bool evenIfListed);
    /// Removes the first entry with this full key. Does nothing if there is none.
    void RemoveEntry(std::string_view fullKey);

    /// Writes a publication, unless End was called, with the send lock of the stream held. Returns
    /// false if the stream doesn't accept the whole frame. Doesn't wait for the peer.
    [[nodiscard]] bool Send(const SharedFrame& frame) const;
    /// Closes the stream. Nothing is sent to it afterwards.
    void End();

private:
    /// Removes `weight` from what is counted in the account.
    void CountLess(std::uint64_t weight);
    /// Returns what an entry with this full key counts in the account: 1, and more for very long
    /// names.
    static std::uint64_t WeightOf(std::string_view fullKey);

    const std::shared_ptr<Stream> stream;
    /// What of the list is counted in the account.
    std::uint64_t counted = 0;
    bool ended = false;
    /// Equal entries: where the names in their full key end, and how many entries there are.
    struct Entry {
        std::uint32_t componentBytes;
        std::uint32_t groupBytes;
        std::uint32_t times;
    };
    /// The entries by full key. Two different ones can have the same full key. They are ordered,
    /// because a peer can choose keys that have equal hashes.
    std::multimap<std::string, Entry, std::less<>> entries;
    std::size_t listed = 0;
};

}  // namespace vantry
