// `vantry doctor`: what is wrong, how that was seen, and what to do about it.
//
// It connects to the hub first. If the hub answers, its values are looked at; otherwise the reason
// is looked for. The sockets and files of a hub of this machine, and the services beside it, are
// looked at in any case.

#include <fmt/core.h>

#include <memory>

#include "cli/base/command_line.h"
#include "cli/base/json.h"
#include "cli/base/terminal.h"
#include "cli/base/text.h"
#include "cli/doctor/device_findings.h"
#include "cli/doctor/hub_findings.h"
#include "cli/doctor/hub_process.h"
#include "cli/doctor/service_findings.h"
#include "cli/doctor/store_findings.h"
#include "cli/select/catalog.h"
#include "cli/sockets/connections.h"
#include "runtime/default_paths.h"

namespace vantry::cli {
namespace {

struct DoctorOptions {
    std::string root;
    std::string system = "/";
};

/// Looks at what is on this machine beside the connection itself: sockets and files.
void ExamineMachine(const std::filesystem::path& device, const DoctorOptions& options,
                    Findings& into) {
    const auto read = [&] { return ReadHubSockets(device); };
    const auto sockets = read();
    std::optional<HubProcess> process;
    if (sockets && sockets->process) {
        process = HubProcess::Read(sockets->process->id);
    }
    if (sockets) {
        ExaminePort(*sockets, process, into);
        ExamineClients(*sockets, read, into);
    } else if (sockets.error().code == client::ErrorCode::Refused) {
        into.AddOk("the connections weren't looked at", sockets.error().text);
    }
    std::filesystem::path root = options.root.empty() ? DefaultRoot().string() : options.root;
    if (const auto given =
            process && options.root.empty() ? process->Option("--root") : std::nullopt) {
        root = process->Path(*given);
    }
    ExamineStore(root, process ? std::optional(process->User()) : std::nullopt, into);
}

/// Reads what the hub has. Unlike those of Catalog::Read, errors of connecting have no advice,
/// which would be to run this command.
client::Result<Catalog> ReadHub(const Context& context, const client::Endpoint& endpoint) {
    client::Hub::Options options;
    options.deadlineMilliseconds = context.TimeoutMilliseconds();
    if (const auto reached = client::Hub::Connect(endpoint, options); !reached) {
        return reached.error();
    }
    return Catalog::Read(context);
}

void ExamineHub(const Context& context, const client::Endpoint& endpoint,
                const DoctorOptions& options, Findings& into) {
    const auto catalog = ReadHub(context, endpoint);
    if (catalog) {
        into.AddOk("the hub answers at " + endpoint.Name(),
                   Counted(catalog->All().size(), "property"));
        const std::string name = std::filesystem::path(endpoint.path).filename();
        if (name == "UMF1" || name == "BTD0") {
            into.AddWrong("this is a device for clients outside the printer",
                          endpoint.path + " shows a part of the properties and takes no writes",
                          "name the socket PRN1 beside it");
        }
        ExamineProperties(*catalog, into);
    } else if (endpoint.path.empty()) {
        into.AddWrong(
            "no hub is reached at " + endpoint.Name(), catalog.error().text,
            "see whether the address is right, whether vantryd runs there and listens for "
            "other machines (--bind), and whether a firewall is between");
    } else {
        ExamineDevice(endpoint.path, catalog.error(), into);
    }
    if (!endpoint.path.empty()) {
        ExamineMachine(endpoint.path, options, into);
    }
}

std::size_t CountWrong(const Findings& findings) {
    std::size_t count = 0;
    for (const Finding& finding : findings.All()) {
        count += finding.kind == Finding::Kind::Wrong ? 1 : 0;
    }
    return count;
}

void PrintText(const Findings& findings, std::size_t wrong, const Style& style) {
    for (const Finding& finding : findings.All()) {
        const std::string evidence = Printable(finding.evidence);
        if (finding.kind == Finding::Kind::InOrder) {
            fmt::print("{}  {}{}\n", style.Faint("ok   "), Printable(finding.what),
                       evidence.empty() ? "" : style.Faint(": " + evidence));
            continue;
        }
        const bool isWrong = finding.kind == Finding::Kind::Wrong;
        const std::string what = Printable(finding.what);
        fmt::print("{}  {}\n       seen:  {}\n       to do: {}\n",
                   isWrong ? style.Bad("wrong") : style.Changed("note "),
                   isWrong ? style.Bad(what) : style.Changed(what), evidence,
                   Printable(finding.advice));
    }
    fmt::print("{}\n", wrong == 0   ? "nothing is wrong"
                       : wrong == 1 ? "1 thing is wrong"
                                    : fmt::format("{} things are wrong", wrong));
}

void PrintJson(const Findings& findings, std::size_t wrong) {
    Json array = Json::array();
    for (const Finding& finding : findings.All()) {
        array.push_back({{"wrong", finding.kind == Finding::Kind::Wrong},
                         {"what", finding.what},
                         {"evidence", finding.evidence.empty() ? Json() : Json(finding.evidence)},
                         {"advice", finding.advice.empty() ? Json() : Json(finding.advice)}});
    }
    fmt::print("{}\n", OneLine({{"wrong", wrong}, {"findings", std::move(array)}}));
}

int RunDoctor(const Context& context, const DoctorOptions& options) {
    const auto endpoint = context.HubEndpoint();
    if (!endpoint) {
        return Fail(endpoint.error());
    }
    Findings findings;
    ExamineHub(context, *endpoint, options, findings);
    ExamineServices(options.system, findings);
    const std::size_t wrong = CountWrong(findings);
    if (context.json) {
        PrintJson(findings, wrong);
    } else {
        PrintText(findings, wrong, Style(context.Fancy()));
    }
    return wrong == 0 ? Exit::kDone : Exit::kRefused;
}

}  // namespace

void AddDoctor(CommandLine& line) {
    const auto options = std::make_shared<DoctorOptions>();
    line.Add({.name = "doctor",
              .summary = "find what is wrong, and say what to do",
              .group = CommandGroup::kFindingOut,
              .examples = "  vantry doctor\n"
                          "  sudo vantry doctor        sees the processes and files of all users\n"
                          "  vantry --json doctor | jq '.findings[] | select(.wrong)'\n",
              .topics = "faults"},
             [options](const Context& context) { return RunDoctor(context, *options); })
        .Text("--root", options->root, "root directory of the hub (default: that of its process)")
        .Text("--system", options->system, "folder that stands for / when services are looked for");
}

}  // namespace vantry::cli
