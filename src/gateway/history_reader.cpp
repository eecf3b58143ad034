// Questions about the past.
//
// The file is opened for each question: it is cheap beside the answer, and a file that the recorder
// has begun anew is seen. An answer is bounded by the number of changes or steps that may be asked
// for, and the number of questions that wait is bounded too.

#include "gateway/history_reader.h"

#include <cmath>
#include <nlohmann/json.hpp>
#include <utility>

#include "describe/description.h"
#include "gateway/error_response.h"
#include "gateway/property_json.h"

namespace vantry::gateway {
namespace {

using Json = nlohmann::ordered_json;
using client::Result;
using history::Moment;

constexpr std::size_t kMostWaiting = 8;
constexpr double kMostChanges = 10'000;
/// Times are from 1970 to the year 2500.
constexpr double kLastSecond = 16'725'225'600;

client::Error Refused(const std::string& text) { return {client::ErrorCode::Refused, text}; }

/// Returns the number in a parameter, `missing` if it isn't there, or Refused.
Result<double> NumberIn(const std::map<std::string, std::string>& query, const std::string& name,
                        double missing, double least, double greatest) {
    const auto found = query.find(name);
    if (found == query.end()) {
        return missing;
    }
    const auto number = describe::NumberIn(found->second);
    if (!number || *number < least || *number > greatest) {
        return Refused("\"" + name + "\" is no number that fits");
    }
    return *number;
}

Moment MomentOf(double seconds) {
    return static_cast<Moment>(std::llround(seconds * static_cast<double>(history::kSecond)));
}

Moment MomentIn(double seconds, Moment now) {
    return seconds > 0 ? MomentOf(seconds) : now + MomentOf(seconds);
}

Time TimeOf(Moment moment) { return Time(std::chrono::microseconds(moment)); }

std::string Text(const Json& json) {
    return json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

HistoryReader::Answer AnswerOf(const client::Error& error) {
    const unsigned status = error.code == client::ErrorCode::NotFound  ? 404
                            : error.code == client::ErrorCode::Refused ? 400
                                                                       : 503;
    return {status, ErrorResponse(status, error.text).body};
}

Json HeadOf(const HistoryQuestion& question) {
    return {{"component", question.id.component},
            {"group", question.id.group},
            {"guid", question.id.property},
            {"since", TimeText(TimeOf(question.span.begin))},
            {"until", TimeText(TimeOf(question.span.end))}};
}

HistoryReader::Answer Changes(history::History& past, const HistoryQuestion& question) {
    const auto samples = past.Changes(question.id, question.span, question.most);
    if (!samples) {
        return AnswerOf(samples.error());
    }
    Json json = HeadOf(question);
    json["changes"] = Json::array();
    for (const history::Sample& sample : *samples) {
        Json one{{"time", TimeText(TimeOf(sample.time))}, {"kind", history::NameOf(sample.kind)}};
        one["value"] = sample.value ? Json(*sample.value) : Json();
        json["changes"].push_back(std::move(one));
    }
    return {200, Text(json)};
}

HistoryReader::Answer Steps(history::History& past, const HistoryQuestion& question) {
    const auto steps = past.Steps(question.id, question.span, *question.step);
    if (!steps) {
        return AnswerOf(steps.error());
    }
    constexpr auto kSecond = static_cast<double>(history::kSecond);
    const auto orNull = [](const std::optional<double>& number) {
        return number ? Json(*number) : Json();
    };
    Json json = HeadOf(question);
    json["step"] = static_cast<double>(*question.step) / kSecond;
    json["steps"] = Json::array();
    for (const history::StepSums& sums : *steps) {
        json["steps"].push_back({{"time", TimeText(TimeOf(sums.begin))},
                                 {"minimum", orNull(sums.minimum)},
                                 {"maximum", orNull(sums.maximum)},
                                 {"mean", orNull(sums.mean)},
                                 {"changes", sums.changes},
                                 {"unknown", static_cast<double>(sums.unknown) / kSecond}});
    }
    return {200, Text(json)};
}

}  // namespace

Result<HistoryQuestion> HistoryQuestion::From(const std::map<std::string, std::string>& query) {
    HistoryQuestion question;
    const std::map<std::string, std::string*> guids{{"component", &question.id.component},
                                                    {"group", &question.id.group},
                                                    {"guid", &question.id.property}};
    for (const auto& [name, value] : query) {
        if (const auto guid = guids.find(name); guid != guids.end()) {
            *guid->second = value;
        } else if (name != "since" && name != "until" && name != "step" && name != "most") {
            return Refused(
                "there is no parameter \"" + name +
                "\" here; there are component, group, guid, since, until, step and most");
        }
    }
    if (query.count("component") + query.count("group") + query.count("guid") != 3) {
        return Refused("component, group and guid name the property");
    }
    const auto since = NumberIn(query, "since", -3600, -kLastSecond, kLastSecond);
    const auto until = NumberIn(query, "until", 0, -kLastSecond, kLastSecond);
    const auto step = NumberIn(query, "step", 0, 0.001, kLastSecond);
    const auto most = NumberIn(query, "most", 1'000, 1, kMostChanges);
    for (const auto* number : {&since, &until, &step, &most}) {
        if (!*number) {
            return number->error();
        }
    }
    const Moment now = history::Now();
    question.span = {MomentIn(*since, now), MomentIn(*until, now)};
    if (question.span.begin >= question.span.end || question.span.begin < 0) {
        return Refused("\"since\" must be before \"until\"");
    }
    if (*step > 0) {
        question.step = MomentOf(*step);
    }
    question.most = static_cast<std::size_t>(*most);
    return question;
}

client::Outcome HistoryReader::Start() {
    if (!worker.Start()) {
        return client::Error{client::ErrorCode::NoConnection, "the system has no thread to give"};
    }
    return client::Done{};
}

bool HistoryReader::IsThere() const {
    std::error_code ignored;
    return !file.empty() && std::filesystem::exists(file, ignored);
}

bool HistoryReader::Post(const HistoryQuestion& question, std::function<void(Answer)> done) {
    if (waiting >= kMostWaiting) {
        return false;
    }
    ++waiting;
    worker.Post([this, question, report = std::move(done)] {
        report(AnswerTo(question));
        --waiting;
    });
    return true;
}

HistoryReader::Answer HistoryReader::AnswerTo(const HistoryQuestion& question) const {
    if (!IsThere()) {
        return AnswerOf({client::ErrorCode::NotFound, "no history is recorded here"});
    }
    auto past = history::History::Open(file);
    if (!past) {
        const unsigned status = past.error().code == client::ErrorCode::NotFound ? 404 : 503;
        return {status, ErrorResponse(status, past.error().text).body};
    }
    return question.step ? Steps(*past, question) : Changes(*past, question);
}

}  // namespace vantry::gateway
