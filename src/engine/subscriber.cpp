#include "engine/subscriber.h"

#include <algorithm>
#include <utility>

namespace vantry {
namespace {

std::string KeyOf(const PropertyRequest& request) {
    return FullKey(request.component, request.groupGuid, request.guid);
}

}  // namespace

Subscriber::Subscriber(std::shared_ptr<Stream> peer, std::deque<PropertyRequest> wanted)
    : stream(std::move(peer)), id(stream->Id()) {
    for (PropertyRequest& request : wanted) {
        Append(std::move(request));
    }
}

void Subscriber::Add(std::deque<PropertyRequest> wanted) {
    for (PropertyRequest& request : wanted) {
        const auto row = entries.find(KeyOf(request));
        const bool isThere =
            row != entries.end() &&
            std::find(row->second.begin(), row->second.end(), request) != row->second.end();
        if (!isThere) {
            Append(std::move(request));
        }
    }
}

void Subscriber::Append(PropertyRequest request) {
    entries[KeyOf(request)].push_back(std::move(request));
    ++listed;
}

void Subscriber::Forget(const std::string& fullKey) {
    const auto row = entries.find(fullKey);
    if (row == entries.end()) {
        return;
    }
    row->second.erase(row->second.begin());
    if (row->second.empty()) {
        entries.erase(row);
    }
    --listed;
}

}  // namespace vantry
