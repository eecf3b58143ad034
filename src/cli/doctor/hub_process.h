#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "cli/sockets/processes.h"

namespace vantry::cli {

/// A vantryd that runs on this machine, as far as this user may look into it.
class HubProcess {
public:
    /// Reads the command line of the process. Returns nothing if it can't be read.
    static std::optional<HubProcess> Read(int process);

    /// Returns the value of an option, such as "--root", with which the process was started; the
    /// last one if it was given several times.
    std::optional<std::string> Option(const std::string& name) const;
    /// Returns the path that the process means by `name`, which may be relative to its working
    /// directory.
    std::filesystem::path Path(const std::string& name) const { return workingDirectory / name; }
    /// Returns the user as which the process runs.
    unsigned User() const { return user; }

private:
    std::vector<std::string> arguments;
    std::filesystem::path workingDirectory;
    unsigned user = 0;
};

/// Returns the value of an option among the words of a command line, as HubProcess::Option does.
std::optional<std::string> OptionIn(const std::vector<std::string>& words, const std::string& name);

}  // namespace vantry::cli
