#include "bridge/backlog.h"

namespace vantry::bridge {

void MemoryBacklog::Append(const std::string& record) {
    bytes += record.size();
    records.push_back(record);
    while (bytes > most) {
        Pop();
        ++dropped;
    }
}

std::optional<std::string> MemoryBacklog::Front() {
    return records.empty() ? std::nullopt : std::optional(records.front());
}

void MemoryBacklog::Pop() {
    bytes -= records.front().size();
    records.pop_front();
}

}  // namespace vantry::bridge
