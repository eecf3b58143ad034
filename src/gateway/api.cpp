// The addresses of the gateway.
//
// A table names them, and docs of the interface (openapi.json) are held against it by a test. A
// request is refused in two steps: what its head contains (host, origin, token, address, method) is
// checked before its body is read, so that a stranger can't make the gateway read one.

#include "gateway/api.h"

#include <algorithm>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "gateway/error_response.h"
#include "gateway/event_stream.h"
#include "gateway/metrics.h"
#include "gateway/openapi.h"
#include "gateway/page_response.h"
#include "gateway/property_list.h"

namespace vantry::gateway {
namespace {

using nlohmann::json;

/// Fewer than there may be connections, so that streams leave some to other requests.
constexpr std::size_t kMostStreams = 400;

client::PropertyId IdIn(const Target& target) {
    return {target.segments[2], target.segments[3], target.segments[4]};
}

/// Returns the value in the body of a write, or nothing if the body isn't {"value": "..."}.
std::optional<std::string> ValueIn(const std::string& body) {
    const json document = json::parse(body, nullptr, false);
    if (!document.is_object() || document.size() != 1 || !document.contains("value") ||
        !document["value"].is_string()) {
        return std::nullopt;
    }
    return document["value"].get<std::string>();
}

bool IsJson(const std::string& contentType) {
    return contentType.substr(0, contentType.find_first_of("; ")) == "application/json";
}

unsigned StatusOf(const client::Error& error) {
    switch (error.code) {
        case client::ErrorCode::NoConnection:
            return 503;
        case client::ErrorCode::TimedOut:
        case client::ErrorCode::OwnerGone:
            return 504;
        case client::ErrorCode::NotFound:
            return 404;
        default:
            return 409;
    }
}

}  // namespace

Api::Api(Parts given)
    : parts(std::move(given)),
      routes{{"GET", {"api", "properties"}, false, &Api::ListProperties},
             {"GET", {"api", "properties", "*", "*", "*"}, false, &Api::GetProperty},
             {"PUT", {"api", "properties", "*", "*", "*"}, false, &Api::PutProperty},
             {"GET", {"api", "changes"}, false, &Api::GetChanges},
             {"GET", {"api", "history"}, false, &Api::GetHistory},
             {"GET", {"api", "openapi.json"}, true, &Api::GetDocument},
             {"GET", {"healthz"}, true, &Api::GetHealth},
             {"GET", {"metrics"}, false, &Api::GetMetrics}} {}

const Api::Route* Api::RouteTo(const std::string& method, const Target& target) const {
    for (const Route& route : routes) {
        const auto fits = [](const std::string& wanted, const std::string& segment) {
            return wanted == "*" || wanted == segment;
        };
        if ((method.empty() || route.method == method) &&
            std::equal(route.path.begin(), route.path.end(), target.segments.begin(),
                       target.segments.end(), fits)) {
            return &route;
        }
    }
    return nullptr;
}

std::string Api::MethodsOf(const Target& target) const {
    std::string methods;
    for (const char* method : {"GET", "PUT"}) {
        if (RouteTo(method, target) != nullptr) {
            methods += (methods.empty() ? "" : ", ") + std::string(method);
        }
    }
    return methods;
}

std::optional<Response> Api::Refusal(const Request& request) const {
    if (auto refused = parts.access.RefuseOrigin(request)) {
        return refused;
    }
    const auto target = ParseTarget(request.target);
    if (!target) {
        return ErrorResponse(400, "the address is wrong");
    }
    if (request.method == "GET" && PageFileAt(*target) != nullptr) {
        return std::nullopt;
    }
    const Route* const any = RouteTo("", *target);
    if (any == nullptr || !any->isOpen) {
        if (auto refused = parts.access.RefuseStranger(request)) {
            return refused;
        }
    }
    if (any == nullptr) {
        return ErrorResponse(404, target->segments.empty()
                                      ? "this gateway was built without its page; /api/properties "
                                        "lists the properties"
                                      : "there is nothing at this address");
    }
    if (RouteTo(request.method, *target) == nullptr) {
        Response response = ErrorResponse(405, "this address takes " + MethodsOf(*target));
        response.headers.emplace_back("Allow", MethodsOf(*target));
        return response;
    }
    const PropertyTable::Entry* entry = nullptr;
    return request.method == "PUT" ? RefuseWrite({request, *target}, entry) : std::nullopt;
}

void Api::Handle(const Request& request, Reply reply) {
    // Refusal has let the request pass, so both are there.
    const Target target = ParseTarget(request.target).value_or(Target{});
    if (const page::PageFile* const file = PageFileAt(target); file != nullptr) {
        reply(ResponseWith(request, *file));
    } else if (const Route* const route = RouteTo(request.method, target); route != nullptr) {
        (this->*route->handle)({request, target}, reply);
    }
}

std::string Api::About() const {
    const HubLink::State hub = parts.hub.Now();
    return json{{"version", VANTRY_VERSION},
                {"time", TimeText(std::chrono::system_clock::now())},
                {"writes", parts.allowsWrites},
                {"history", parts.history.IsThere()},
                {"hub", json::parse(HubJson(hub))}}
        .dump();
}

void Api::ListProperties(const Call& call, const Reply& reply) {
    auto filter = Filter::ForList(call.target.query);
    if (!filter) {
        reply(ErrorResponse(400, filter.error().text));
        return;
    }
    Response response;
    response.source = std::make_unique<PropertyList>(parts.table, std::move(*filter), About());
    reply(std::move(response));
}

void Api::GetProperty(const Call& call, const Reply& reply) {
    const PropertyTable::Entry* const entry = parts.table.Find(IdIn(call.target));
    if (entry == nullptr) {
        reply(ErrorResponse(404, "there is no such property"));
        return;
    }
    Response response;
    response.body = entry->Json() + "\n";
    reply(std::move(response));
}

std::optional<Response> Api::RefuseWrite(const Call& call,
                                         const PropertyTable::Entry*& entry) const {
    if (!parts.allowsWrites || !parts.access.MayWrite(call.request)) {
        return ErrorResponse(
            403, parts.allowsWrites ? "this token only reads" : "this gateway only reads");
    }
    if (!IsJson(call.request.contentType)) {
        return ErrorResponse(415, "the body must be application/json");
    }
    entry = parts.table.Find(IdIn(call.target));
    if (entry == nullptr || !entry->known.property.available) {
        return ErrorResponse(404, "there is no such property");
    }
    if (!entry->known.isSettable) {
        return ErrorResponse(403,
                             "this gateway may not write \"" + entry->known.property.name + "\"");
    }
    return std::nullopt;
}

void Api::PutProperty(const Call& call, const Reply& reply) {
    const PropertyTable::Entry* entry = nullptr;
    if (auto refused = RefuseWrite(call, entry)) {
        reply(std::move(*refused));
        return;
    }
    const auto typed = ValueIn(call.request.body);
    if (!typed) {
        reply(ErrorResponse(400, "the body must be {\"value\": \"...\"}"));
        return;
    }
    const KnownProperty& known = entry->known;
    const auto value = describe::Fit(known.description, known.property.name, *typed);
    if (!value) {
        reply(ErrorResponse(422, value.error().text));
        return;
    }
    const bool isQueued = parts.writers.Post(
        known.property.id, *value, [this, reply](client::Result<client::Property> written) {
            parts.post([this, reply, result = std::move(written)] { FinishWrite(result, reply); });
        });
    if (!isQueued) {
        reply(BusyResponse("too many writes wait"));
    }
}

void Api::FinishWrite(const client::Result<client::Property>& written, const Reply& reply) {
    if (!written) {
        const unsigned status = StatusOf(written.error());
        ++parts.statistics.writes[status == 504 ? "unseen" : status == 409 ? "refused" : "failed"];
        reply(ErrorResponse(status, written.error().text));
        return;
    }
    ++parts.statistics.writes["seen"];
    const PropertyTable::Entry* const entry = parts.table.Find(written->id);
    KnownProperty seen = entry == nullptr ? KnownProperty{} : entry->known;
    seen.property = *written;
    seen.time = std::chrono::system_clock::now();
    Response response;
    response.body = ToJson(seen) + "\n";
    reply(std::move(response));
}

void Api::GetChanges(const Call& call, const Reply& reply) {
    auto filter = Filter::ForStream(call.target.query);
    if (!filter) {
        reply(ErrorResponse(400, filter.error().text));
        return;
    }
    if (parts.statistics.streams >= kMostStreams) {
        reply(BusyResponse("there are too many readers of events"));
        return;
    }
    Response response;
    response.contentType = "text/event-stream";
    response.headers.emplace_back("X-Accel-Buffering", "no");
    response.source = std::make_unique<EventStream>(parts.table, std::move(*filter),
                                                    call.request.lastEventId, About());
    reply(std::move(response));
}

void Api::GetHealth(const Call&, const Reply& reply) {
    const bool isUp = parts.hub.Now().isConnected;
    Response response;
    response.status = isUp ? 200 : 503;
    response.body = json{{"gateway", "ok"}, {"hub", isUp ? "ok" : "absent"}}.dump() + "\n";
    reply(std::move(response));
}

void Api::GetMetrics(const Call& call, const Reply& reply) {
    const MetricsFormat format = FormatFor(call.request.accept);
    Response response;
    response.contentType = ContentTypeOf(format);
    response.source =
        std::make_unique<Metrics>(parts.table, parts.hub.Now(), parts.statistics, format);
    reply(std::move(response));
}

void Api::GetDocument(const Call&, const Reply& reply) {
    Response response;
    response.body = OpenApiDocument();
    reply(std::move(response));
}

void Api::GetHistory(const Call& call, const Reply& reply) {
    const auto question = HistoryQuestion::From(call.target.query);
    if (!question) {
        reply(ErrorResponse(400, question.error().text));
        return;
    }
    const bool isQueued = parts.history.Post(*question, [this, reply](HistoryReader::Answer text) {
        parts.post([reply, answer = std::move(text)] {
            Response response;
            response.status = answer.status;
            response.body = answer.body;
            reply(std::move(response));
        });
    });
    if (!isQueued) {
        reply(BusyResponse("too many questions about the past wait"));
    }
}

}  // namespace vantry::gateway
