#pragma once

#include <chrono>
#include <string>

#include "gateway/api.h"

namespace vantry::fuzz {

/// A gateway without a hub, a network and threads: some properties, and the interface that answers
/// for them. Writes and questions about the past are queued and never answered.
class GatewaySample {
public:
    explicit GatewaySample(gateway::Statistics& counted) : statistics(counted) {
        for (const char* name : {"Print Speed", "Note"}) {
            client::Property property;
            property.id = {"COMPONENT", "GROUP", name};
            property.componentName = "Component";
            property.groupName = "Group / \"quoted\"";
            property.name = name;
            property.value = "7";
            table.Take({property, std::chrono::system_clock::now()});
        }
    }

    gateway::Access access{gateway::Tokens(), {}};
    gateway::PropertyTable table{describe::Descriptions(), gateway::WriteRules({"*"}), "1"};
    gateway::HubLink hub{{client::Endpoint::Device("/none")}, [] {}};
    gateway::Statistics& statistics;

private:
    gateway::Writers writers{hub};
    gateway::HistoryReader history{"/none"};

public:
    gateway::Api api{{.access = access,
                      .table = table,
                      .hub = hub,
                      .writers = writers,
                      .history = history,
                      .statistics = statistics,
                      .post = [](std::function<void()>) {},
                      .allowsWrites = true}};
};

}  // namespace vantry::fuzz
