#include "gateway/writers.h"

#include <functional>
#include <utility>

namespace vantry::gateway {
namespace {

constexpr std::size_t kMostWaiting = 8;

}  // namespace

client::Outcome Writers::Start() {
    for (Lane& lane : lanes) {
        if (!lane.worker.Start()) {
            return client::Error{client::ErrorCode::NoConnection,
                                 "the system has no thread to give"};
        }
    }
    return client::Done{};
}

bool Writers::Post(const client::PropertyId& id, const std::string& value, Written done) {
    const std::size_t hash = std::hash<std::string>()(id.component + id.group + id.property);
    Lane& lane = lanes[hash % lanes.size()];
    if (lane.waiting >= kMostWaiting) {
        return false;
    }
    ++lane.waiting;
    lane.worker.Post([this, &lane, id, value, report = std::move(done)] {
        report(link.Write(id, value));
        --lane.waiting;
    });
    return true;
}

void Writers::Stop() {
    for (Lane& lane : lanes) {
        lane.worker.Stop();
    }
}

}  // namespace vantry::gateway
