// The services beside the hub.
//
// What a service is started with stands in its unit, in files that the unit names, and for the
// bridge in a file of options. Only the packaged files are looked at; parts that an operator has
// replaced with `systemctl edit` aren't. The bridge counts as set up when its file names a broker,
// and the gateway when it is enabled.

#include "cli/doctor/service_findings.h"

#include <fmt/core.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <map>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/base/text.h"
#include "cli/doctor/certificate.h"
#include "cli/doctor/hub_process.h"
#include "cli/doctor/reach.h"

namespace vantry::cli {
namespace {

namespace fs = std::filesystem;

using Options = std::map<std::string, std::string>;

/// The options whose value is a file, and whether it is a certificate.
constexpr std::array<std::pair<std::string_view, bool>, 6> kFiles = {{{"ca", true},
                                                                      {"cert", true},
                                                                      {"key", false},
                                                                      {"tls-cert", true},
                                                                      {"tls-key", false},
                                                                      {"token-file", false}}};

/// A service and the options that it is started with.
struct Service {
    std::string name;
    std::string unit;
    /// The file in which the operator sets options.
    fs::path configuration;
    Options options = {};
};

std::string Trimmed(const std::string& text, const char* unwanted) {
    const std::size_t first = text.find_first_not_of(unwanted);
    return first == std::string::npos
               ? ""
               : text.substr(first, text.find_last_not_of(unwanted) - first + 1);
}

/// Returns the lines KEY=VALUE of a file, without quotes around the values.
std::multimap<std::string, std::string> LinesOf(const fs::path& name) {
    std::multimap<std::string, std::string> lines;
    std::ifstream file(name);
    for (std::string line; std::getline(file, line);) {
        const std::size_t sign = line.find('=');
        if (sign != std::string::npos && line.find_first_not_of(" \t") != line.find('#')) {
            lines.emplace(Trimmed(line.substr(0, sign), " \t"),
                          Trimmed(line.substr(sign + 1), " \t\""));
        }
    }
    return lines;
}

std::vector<std::string> WordsOf(const std::string& line) {
    std::istringstream stream(line);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) {
        words.push_back(word);
    }
    return words;
}

void AddOptions(const std::vector<std::string>& words, Options& into) {
    std::vector<std::string> names = {"device", "tcp", "broker"};
    for (const auto& [name, isCertificate] : kFiles) {
        names.emplace_back(name);
    }
    for (const std::string& name : names) {
        if (const auto value = OptionIn(words, "--" + name)) {
            into[name] = *value;
        }
    }
}

fs::path UnitFile(const fs::path& system, const std::string& unit) {
    std::error_code ignored;
    for (const char* const folder :
         {"etc/systemd/system", "usr/lib/systemd/system", "lib/systemd/system"}) {
        if (fs::exists(system / folder / unit, ignored)) {
            return system / folder / unit;
        }
    }
    return {};
}

std::string ValueIn(const std::multimap<std::string, std::string>& lines, const char* key) {
    const auto found = lines.find(key);
    return found == lines.end() ? "" : found->second;
}

/// Records a file that isn't there or that root can't read. One that only this user can't read
/// isn't wrong, because the service is another user.
void ExamineFile(const Service& service, const std::string& option, const fs::path& file,
                 Findings& into) {
    if (access(file.c_str(), R_OK) == 0 || (errno == EACCES && geteuid() != 0)) {
        return;
    }
    into.AddWrong(service.name + " can't read a file",
                  option + " is " + file.string() + ": " + std::strerror(errno),
                  "put it there, or name another one in " + service.configuration.string() +
                      "; then systemctl restart " + service.unit);
}

void ExamineCertificate(const Service& service, const fs::path& file, Findings& into) {
    constexpr int kSoonDays = 14;
    const std::optional<int> days = DaysLeft(file);
    if (days && *days < kSoonDays) {
        into.AddWrong(*days < 0 ? "a certificate has expired" : "a certificate expires soon",
                      fmt::format("{} of {} {}", file.string(), service.name,
                                  *days < 0 ? fmt::format("ended {} days ago", -*days)
                                            : fmt::format("ends in {} days", *days)),
                      "put a new one in its place; then systemctl restart " + service.unit);
    }
}

void ExamineAddress(const Service& service, const char* what, const std::string& address,
                    const client::Outcome& reached, Findings& into) {
    if (reached) {
        into.AddOk(fmt::format("{} reaches its {}", service.name, what), address);
        return;
    }
    into.AddWrong(fmt::format("the {} of {} can't be reached", what, service.name),
                  reached.error().text,
                  fmt::format("see whether it runs and whether {} names the right one",
                              service.configuration.string()));
}

void Examine(const Service& service, const fs::path& system, Findings& into) {
    for (const auto& [option, value] : service.options) {
        const auto* const named =
            std::find_if(kFiles.begin(), kFiles.end(),
                         [&name = option](const auto& one) { return one.first == name; });
        if (named != kFiles.end()) {
            const fs::path file = system / fs::path(value).relative_path();
            ExamineFile(service, option, file, into);
            if (named->second) {
                ExamineCertificate(service, file, into);
            }
        } else if (option == "broker") {
            ExamineAddress(service, "broker", value, ReachBroker(value), into);
        } else if (option == "tcp") {
            ExamineAddress(service, "hub", value, ReachTcpHub(value), into);
        } else if (option == "device" && service.options.count("tcp") == 0) {
            ExamineAddress(service, "hub", value,
                           ReachDevice(system / fs::path(value).relative_path()), into);
        }
    }
}

void ExamineBridge(const fs::path& system, Findings& into) {
    Service bridge{"the bridge", "vantry-bridge", system / "etc/vantry/bridge.conf"};
    const fs::path unit = UnitFile(system, "vantry-bridge.service");
    if (unit.empty()) {
        return;
    }
    if (access(bridge.configuration.c_str(), R_OK) != 0 && errno == EACCES) {
        into.AddOk("the bridge wasn't looked at",
                   "this user can't read " + bridge.configuration.string());
        return;
    }
    AddOptions(WordsOf(ValueIn(LinesOf(unit), "ExecStart")), bridge.options);
    for (const auto& [key, value] : LinesOf(bridge.configuration)) {
        bridge.options[key] = value;
    }
    if (bridge.options.count("broker") == 0) {
        into.AddOk("the bridge isn't set up", bridge.configuration.string() + " names no broker");
        return;
    }
    Examine(bridge, system, into);
}

void ExamineGateway(const fs::path& system, Findings& into) {
    Service gateway{"the gateway", "vantry-gateway", system / "etc/default/vantry-gateway"};
    const fs::path unit = UnitFile(system, "vantry-gateway.service");
    if (unit.empty()) {
        return;
    }
    std::error_code ignored;
    if (!fs::is_symlink(
            system / "etc/systemd/system/multi-user.target.wants/vantry-gateway.service",
            ignored)) {
        into.AddOk("the gateway isn't enabled");
        return;
    }
    std::vector<std::string> words = WordsOf(ValueIn(LinesOf(unit), "ExecStart"));
    const std::vector<std::string> more =
        WordsOf(ValueIn(LinesOf(gateway.configuration), "VANTRY_GATEWAY_OPTIONS"));
    words.insert(words.end(), more.begin(), more.end());
    AddOptions(words, gateway.options);
    Examine(gateway, system, into);
}

}  // namespace

void ExamineServices(const fs::path& system, Findings& into) {
    ExamineBridge(system, into);
    ExamineGateway(system, into);
}

}  // namespace vantry::cli
