#include "client/announcements.h"

#include <chrono>
#include <deque>
#include <memory>
#include <thread>
#include <utility>

#include "client/records.h"

namespace vantry::client {
namespace {

/// Two ticks of the hub's publishing: a withdrawal and a return in one tick would reach subscribers
/// in the wrong order.
constexpr std::chrono::milliseconds kBetweenWithdrawalAndReturn(550);

Error Unknown(const PropertyId& id) {
    return {ErrorCode::NotFound, id.group + ":" + id.property + " was not announced"};
}

Error Misfit(const Announcement& property, const std::string& value) {
    return {ErrorCode::Refused, "'" + value + "' is no value of \"" + property.name + "\""};
}

}  // namespace

Outcome Announcements::Add(const std::vector<Announcement>& properties) {
    ScopedLock guard(lock);
    for (const Announcement& property : properties) {
        if (announced.contains(property.id)) {
            return Error{ErrorCode::Refused, "\"" + property.name + "\" is announced already"};
        }
        if (!Fits(property.type, property.value)) {
            return Misfit(property, property.value);
        }
    }
    for (const Announcement& property : properties) {
        announced.emplace(property.id, property);
    }
    return Done{};
}

void Announcements::Remove(const PropertyId& id) {
    ScopedLock guard(lock);
    announced.erase(id);
}

Result<Announcement> Announcements::SetValue(const PropertyId& id, const std::string& value) {
    ScopedLock guard(lock);
    const auto found = announced.find(id);
    if (found == announced.end()) {
        return Unknown(id);
    }
    if (!Fits(found->second.type, value)) {
        return Misfit(found->second, value);
    }
    found->second.value = value;
    return found->second;
}

Result<Announcement> Announcements::Find(const PropertyId& id) const {
    ScopedLock guard(lock);
    const auto found = announced.find(id);
    if (found == announced.end()) {
        return Unknown(id);
    }
    return found->second;
}

std::vector<Announcement> Announcements::All() const {
    std::vector<Announcement> all;
    ScopedLock guard(lock);
    for (const auto& [id, property] : announced) {
        all.push_back(property);
    }
    return all;
}

std::vector<Announcement> Announcements::TakeWrites(const PropertyMessage& message) {
    std::deque<PropertySetRequest> writes;
    message.DecodeSetRequests(writes);
    std::vector<Announcement> changed;
    for (const PropertySetRequest& write : writes) {
        if (std::optional<Announcement> property = TakeWrite(write)) {
            changed.push_back(std::move(*property));
        }
    }
    return changed;
}

std::optional<Announcement> Announcements::TakeWrite(const PropertySetRequest& write) {
    const PropertyId id{write.component, write.groupGuid, write.guid};
    const Result<Announcement> property = Find(id);
    const bool isCommand = property && property->type == ValueType::Command;
    if (!property || !property->onWrite || (!isCommand && !Fits(property->type, write.value)) ||
        (isCommand && MeanTheSame(write.value, "False"))) {
        return std::nullopt;
    }
    const std::optional<std::string> value = property->onWrite(write.value);
    if (!value) {
        return std::nullopt;
    }
    const Result<Announcement> changed = SetValue(id, *value);
    return changed ? std::optional(*changed) : std::nullopt;
}

Outcome Report(const std::vector<Announcement>& properties, std::string_view status,
               const SendFunction& send) {
    std::deque<PropertyResponse> records;
    for (const Announcement& property : properties) {
        records.push_back(ReportOf(property, status));
    }
    PropertyMessage message;
    message.EncodeGetResponses(std::move(records));
    return send(message);
}

Outcome TakePossession(const std::vector<Announcement>& properties, const AskFunction& ask,
                       const SendFunction& send) {
    std::deque<PropertyRequest> requests;
    for (const Announcement& property : properties) {
        requests.push_back(RequestFor(property.id));
    }
    PropertyMessage question;
    question.EncodeGetRequests(requests);
    const auto answer = ask(question);
    if (!answer) {
        return answer.error();
    }
    std::deque<PropertyResponse> left;
    (*answer)->DecodeGetResponses(left);
    std::erase_if(left, [](const auto& record) { return record.status == Status::kNotFound; });
    if (!left.empty()) {
        const Outcome withdrawn = Report(properties, Status::kNoLongerAvailable, send);
        if (!withdrawn) {
            return withdrawn;
        }
        std::this_thread::sleep_for(kBetweenWithdrawalAndReturn);
    }
    const Outcome reported = Report(properties, Status::kSuccessful, send);
    if (!reported) {
        return reported;
    }
    // A report has no answer; that of a question behind it says that the hub knows them now.
    const auto known = ask(question);
    return known ? Outcome(Done{}) : Outcome(known.error());
}

}  // namespace vantry::client
