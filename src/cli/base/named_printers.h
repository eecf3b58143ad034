#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "client/endpoint.h"
#include "client/result.h"

namespace vantry::cli {

/// A hub to which a person has given a name. Exactly one of the two texts isn't empty.
struct NamedPrinter {
    std::string name;
    /// "HOST" or "HOST:PORT".
    std::string tcp;
    /// The absolute path of the socket of the local device.
    std::string device;

    /// Returns where the hub is. Returns Refused if `tcp` can't be read.
    client::Result<client::Endpoint> HubEndpoint() const;
};

/// The named printers of the user, which `vantry context` changes. They are kept in a file of the
/// user's configuration. Only one thread may use an object.
class NamedPrinters {
public:
    /// Returns $XDG_CONFIG_HOME/vantry/contexts.json or ~/.config/vantry/contexts.json.
    static std::filesystem::path File();
    /// Reads the file. A file that doesn't exist has no printers. Returns Refused if it can't be
    /// read or isn't one of these files.
    static client::Result<NamedPrinters> Read();
    /// Reads the file, lets `change` alter what was read, and replaces the file in one step, unless
    /// `change` returns an error, which is returned. Blocks while another program changes it.
    static client::Outcome Change(const std::function<client::Outcome(NamedPrinters&)>& change);

    const std::vector<NamedPrinter>& All() const { return printers; }
    /// Returns the name of the printer that commands use by default, or an empty text.
    const std::string& InUse() const { return inUse; }
    /// Returns NotFound, with the nearest names, if there is none of this name.
    client::Result<NamedPrinter> Find(const std::string& name) const;

    /// Adds a printer, or replaces the one of its name. Returns Refused for a name that can't be
    /// used with --on.
    client::Outcome Add(NamedPrinter printer);
    /// Selects the default; an empty name selects none. Returns NotFound as Find does.
    client::Outcome Use(const std::string& name);
    /// Removes a printer; if it was the default, there is none. Returns NotFound as Find does.
    client::Outcome Remove(const std::string& name);

private:
    static client::Result<NamedPrinters> Parse(const std::string& content);
    std::string Text() const;

    std::vector<NamedPrinter> printers;
    std::string inUse;
};

}  // namespace vantry::cli
