#pragma once

#include <functional>
#include <optional>

#include "cli/doctor/findings.h"
#include "cli/doctor/hub_process.h"
#include "cli/select/catalog.h"
#include "cli/sockets/connections.h"

namespace vantry::cli {

/// Looks at the values of a hub that answers: versions that couldn't be read, settings that
/// couldn't be loaded, and components whose program has ended.
void ExamineProperties(const Catalog& catalog, Findings& into);

/// Looks at the TCP port. `process` is that of the hub, if it is known.
void ExaminePort(const HubSockets& hub, const std::optional<HubProcess>& process, Findings& into);

/// Looks for clients that don't read. If there are some, it blocks for a second and has `read` read
/// the sockets of the hub again, because a client may just be receiving.
void ExamineClients(const HubSockets& hub, const std::function<client::Result<HubSockets>()>& read,
                    Findings& into);

}  // namespace vantry::cli
