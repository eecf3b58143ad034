#include "cli/doctor/hub_process.h"

#include <sys/stat.h>

#include <fstream>
#include <system_error>

namespace vantry::cli {

std::optional<std::string> OptionIn(const std::vector<std::string>& words,
                                    const std::string& name) {
    std::optional<std::string> value;
    for (std::size_t place = 0; place < words.size(); ++place) {
        if (words[place] == name && place + 1 < words.size()) {
            value = words[place + 1];
        } else if (words[place].starts_with(name + "=")) {
            value = words[place].substr(name.size() + 1);
        }
    }
    return value;
}

std::optional<HubProcess> HubProcess::Read(int process) {
    const std::filesystem::path about = "/proc/" + std::to_string(process);
    struct stat found {};
    std::error_code failed;
    HubProcess hub;
    hub.workingDirectory = std::filesystem::read_symlink(about / "cwd", failed);
    if (failed || stat(about.c_str(), &found) != 0) {
        return std::nullopt;
    }
    hub.user = found.st_uid;
    std::ifstream file(about / "cmdline");
    for (std::string word; std::getline(file, word, '\0');) {
        hub.arguments.push_back(word);
    }
    return hub.arguments.empty() ? std::nullopt : std::optional(hub);
}

std::optional<std::string> HubProcess::Option(const std::string& name) const {
    return OptionIn(arguments, name);
}

}  // namespace vantry::cli
