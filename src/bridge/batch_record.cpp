#include "bridge/batch_record.h"

#include <chrono>
#include <nlohmann/json.hpp>

namespace vantry::bridge {

std::int64_t NowSince1970() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

std::string ToRecord(const Batch& batch) {
    nlohmann::json changes = nlohmann::json::array();
    for (const Change& change : batch.changes) {
        changes.push_back({change.subject->key, change.time, change.available, change.value});
    }
    const nlohmann::json record = {batch.run, batch.number, std::move(changes)};
    return record.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<Batch> FromRecord(
    const std::string& record,
    const std::function<std::shared_ptr<const Subject>(const std::string& key)>& find) {
    try {
        const nlohmann::json read = nlohmann::json::parse(record);
        Batch batch{read.at(0).get<std::int64_t>(), read.at(1).get<std::uint64_t>(), {}};
        for (const nlohmann::json& entry : read.at(2)) {
            const auto key = entry.at(0).get<std::string>();
            std::shared_ptr<const Subject> subject = find(key);
            if (!subject) {
                Subject unknown;
                unknown.key = key;
                subject = std::make_shared<const Subject>(std::move(unknown));
            }
            batch.changes.push_back({std::move(subject), entry.at(3).get<std::string>(),
                                     entry.at(2).get<bool>(), entry.at(1).get<std::int64_t>()});
        }
        return batch;
    } catch (const nlohmann::json::exception&) {
        return std::nullopt;
    }
}

}  // namespace vantry::bridge
