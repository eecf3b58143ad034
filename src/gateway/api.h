#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "gateway/access.h"
#include "gateway/history_reader.h"
#include "gateway/http_message.h"
#include "gateway/hub_link.h"
#include "gateway/property_table.h"
#include "gateway/statistics.h"
#include "gateway/target.h"
#include "gateway/writers.h"

namespace vantry::gateway {

/// The addresses of the gateway and what they answer. Used by the thread of the server only.
class Api {
public:
    /// What the answers are made of. All of it must outlive the Api.
    struct Parts {
        const Access& access;
        const PropertyTable& table;
        const HubLink& hub;
        Writers& writers;
        HistoryReader& history;
        Statistics& statistics;
        /// Runs a function on the thread of the server. Thread-safe.
        std::function<void(std::function<void()>)> post;
        /// Whether --allow-write allows anything.
        bool allowsWrites;
    };

    explicit Api(Parts given);

    /// Returns the response that refuses a request before its body is read, or nothing.
    std::optional<Response> Refusal(const Request& request) const;
    /// Answers a request that wasn't refused.
    void Handle(const Request& request, Reply reply);

private:
    /// A request and its decoded target.
    struct Call {
        const Request& request;
        const Target& target;
    };
    struct Route {
        std::string method;
        /// The segments of the path; "*" stands for any one.
        std::vector<std::string> path;
        /// Whether it is answered without a token.
        bool isOpen;
        void (Api::*handle)(const Call&, const Reply&);
    };

    const Route* RouteTo(const std::string& method, const Target& target) const;
    std::string MethodsOf(const Target& target) const;
    std::string About() const;
    std::optional<Response> RefuseWrite(const Call& call, const PropertyTable::Entry*& entry) const;
    void FinishWrite(const client::Result<client::Property>& written, const Reply& reply);

    void ListProperties(const Call& call, const Reply& reply);
    void GetProperty(const Call& call, const Reply& reply);
    void PutProperty(const Call& call, const Reply& reply);
    void GetChanges(const Call& call, const Reply& reply);
    void GetHistory(const Call& call, const Reply& reply);
    void GetDocument(const Call& call, const Reply& reply);
    void GetMetrics(const Call& call, const Reply& reply);
    void GetHealth(const Call& call, const Reply& reply);

    const Parts parts;
    const std::vector<Route> routes;
};

}  // namespace vantry::gateway
