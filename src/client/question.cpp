#include "client/question.h"

#include <algorithm>

#include "wire/section_keys.h"

namespace vantry::client {

Question Question::Everything() {
    Question question;
    question.everything = true;
    question.message->EncodeGetAll();
    return question;
}

Question Question::Group(const std::string& guid) {
    Question question;
    question.group = guid;
    question.message->EncodeGetRequests({{"", guid, ""}});
    return question;
}

Question Question::List(const std::deque<PropertyRequest>& requests) {
    Question question;
    for (const PropertyRequest& request : requests) {
        question.ids.insert({request.component, request.groupGuid, request.guid});
    }
    question.message->EncodeGetRequests(requests);
    return question;
}

bool Question::IsAnsweredBy(const PropertyMessage& answer,
                            const std::deque<PropertyResponse>& records) const {
    if (everything || answer.HasSection(Section::kGetAllResponse)) {
        return everything && answer.HasSection(Section::kGetAllResponse);
    }
    return !records.empty() &&
           std::all_of(records.begin(), records.end(), [&](const PropertyResponse& record) {
               return group.empty()
                          ? ids.contains({record.component, record.groupGuid, record.guid})
                          : record.groupGuid == group;
           });
}

}  // namespace vantry::client
