#pragma once

#include <atomic>
#include <string>

#include "gateway/access.h"
#include "gateway/api.h"
#include "gateway/changed_files.h"
#include "gateway/history_reader.h"
#include "gateway/hub_link.h"
#include "gateway/options.h"
#include "gateway/property_table.h"
#include "gateway/server.h"
#include "gateway/statistics.h"
#include "gateway/writers.h"

namespace vantry::gateway {

/// The gateway: the connection to the hub, the table of properties, and the server. The thread that
/// calls Run serves; see HubLink and Writers for the others.
class Gateway : private RequestHandler {
public:
    /// Reads the descriptions. Blocks for that.
    explicit Gateway(const Options& options);
    ~Gateway() override;
    Gateway(const Gateway&) = delete;
    Gateway& operator=(const Gateway&) = delete;

    /// Opens the port and starts the threads. See Server::Listen for the errors.
    client::Outcome Start();
    /// Returns the address for a browser. Valid after Start.
    std::string Url() const { return server.Url(); }
    /// Serves until a signal ends the program.
    void Run();

private:
    std::optional<Response> Refusal(const Request& request) override;
    void Handle(Request request, Reply reply) override;
    void Tick() override;

    void WakeServer();
    void TakeNews();
    void ReportHub();
    void ReportToServiceManager();
    void RenewTokens();

    Statistics statistics;
    const std::string tokenFile;
    ChangedFiles tokenFiles;
    Access access;
    PropertyTable table;
    Server server;
    HubLink hub;
    Writers writers;
    HistoryReader history;
    Api api;
    /// The state of the hub in the last event.
    std::string toldOfHub;
    std::string toldServiceManager;
};

}  // namespace vantry::gateway
