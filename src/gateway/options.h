#pragma once

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "client/endpoint.h"
#include "gateway/server.h"
#include "gateway/tokens.h"

namespace vantry::gateway {

/// What the command line says.
struct Options {
    /// The hub's addresses, which are tried in turn.
    std::vector<client::Endpoint> hub;
    Server::Settings server;
    /// The file of the tokens, empty for none, and what it holds.
    std::string tokenFile;
    Tokens tokens;
    /// Further names of this machine.
    std::set<std::string> names;
    /// The file of the history.
    std::string history;
    /// Globs of the properties that may be written.
    std::vector<std::string> allowWrite;
};

/// Parses the command line. If it is wrong, or only asks for help or the version, returns nothing
/// and sets the exit status; the text has been written by then. Blocks for the reading of the token
/// file.
std::optional<Options> ParseOptions(int argc, char** argv, int& exitStatus);

}  // namespace vantry::gateway
