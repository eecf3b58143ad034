// The command line of vantry.
//
// Each command is a subcommand of CLI11 whose options are read into one CommandLine and whose
// callback runs it. CLI11 calls the callback while it parses, so the status is kept in the
// CommandLine until main returns it. Wrong options end with the exit status for wrong usage
// whatever their error.

#include <signal.h>

#include <CLI/CLI.hpp>

#include "cli/commands.h"

namespace {

using namespace vantry::cli;

/// The options of all commands, and the exit status of the one that ran.
struct CommandLine {
    Context context;
    ListOptions list;
    std::vector<std::string> names;
    std::string name;
    std::string value;
    bool noWait = false;
    WatchOptions watch;
    std::string file;
    bool fast = false;
    BenchOptions bench;
    std::string root;
    int status = Exit::kDone;
};

void AddSharedOptions(CLI::App& app, CommandLine& line) {
    CLI::Option* const tcp = app.add_option("--tcp", line.context.tcp, "reach the hub over TCP")
                                 ->type_name("HOST[:PORT]");
    app.add_option(
           "--device", line.context.device,
           "socket of the local device (default: $VANTRY_DEVICE, else " + DefaultDevice() + ")")
        ->type_name("PATH")
        ->excludes(tcp);
    app.add_option("--timeout", line.context.timeoutSeconds, "how long to wait for the hub")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 86400.0))
        ->capture_default_str();
    app.add_flag("--json", line.context.json, "print JSON");
    app.add_flag("--no-color", line.context.noColor, "no colours, whatever the terminal");
    app.set_version_flag("--version", "vantry " VANTRY_VERSION);
    app.fallthrough();
    app.require_subcommand(1);
}

void AddReading(CLI::App& app, CommandLine& line) {
    CLI::App* const list = app.add_subcommand("list", "list the properties, by group");
    list->add_option("name", line.list.name, "only names that hold this, or match this glob");
    list->add_option("--component", line.list.component, "only of components named like this");
    list->add_option("--group", line.list.group, "only of groups named like this");
    list->add_flag("--names", line.list.namesOnly, "one name a line");
    list->callback([&] { line.status = RunList(line.context, line.list); });

    CLI::App* const get = app.add_subcommand("get", "print the value of properties");
    get->add_option("property", line.names, "a name, Group/Name, or GROUP-GUID:GUID")->required();
    get->callback([&] { line.status = RunGet(line.context, line.names); });

    CLI::App* const watch = app.add_subcommand("watch", "print every change");
    watch->add_option("property", line.watch.names, "what to watch (default: everything)");
    watch->add_flag("--live", line.watch.live, "a table that updates in place");
    watch->add_option("--count", line.watch.count, "end after so many changes")
        ->check(CLI::PositiveNumber);
    watch->callback([&] { line.status = RunWatch(line.context, line.watch); });

    CLI::App* const status = app.add_subcommand("status", "what the hub is and holds");
    status->add_option("--root", line.root, "root directory of the hub, for its log");
    status->callback([&] { line.status = RunStatus(line.context, line.root); });
}

void AddWriting(CLI::App& app, CommandLine& line) {
    CLI::App* const set = app.add_subcommand("set", "set a property");
    set->add_option("property", line.name, "a name, Group/Name, or GROUP-GUID:GUID")->required();
    set->add_option("value", line.value, "its new value")->required();
    set->add_flag("--no-wait", line.noWait, "don't wait until the value is seen");
    set->callback([&] { line.status = RunSet(line.context, line.name, line.value, line.noWait); });

    CLI::App* const announce = app.add_subcommand("announce", "play a component from a file");
    announce->add_option("file", line.file, "its properties, see vantry(1)")->required();
    announce->callback([&] { line.status = RunAnnounce(line.context, line.file); });
}

void AddDebugging(CLI::App& app, CommandLine& line) {
    CLI::App* const raw =
        app.add_subcommand("raw", "send each line of standard input as a frame, print answers");
    raw->callback([&] { line.status = RunRaw(line.context, ""); });

    CLI::App* const record = app.add_subcommand("record", "as raw, and keep the conversation");
    record->add_option("file", line.file, "where to keep it")->required();
    record->callback([&] { line.status = RunRaw(line.context, line.file); });

    CLI::App* const replay = app.add_subcommand("replay", "send a recorded conversation again");
    replay->add_option("file", line.file, "the recording")->required();
    replay->add_flag("--fast", line.fast, "without its pauses");
    replay->callback([&] { line.status = RunReplay(line.context, line.file, line.fast); });

    CLI::App* const bench = app.add_subcommand("bench", "put load on the hub and measure it");
    bench->add_option("--connections", line.bench.connections, "how many ask at once")
        ->check(CLI::Range(1, 1000))
        ->capture_default_str();
    bench->add_option("--seconds", line.bench.seconds, "for how long")
        ->check(CLI::Range(0.1, 86400.0))
        ->capture_default_str();
    bench->callback([&] { line.status = RunBench(line.context, line.bench); });
}

}  // namespace

int main(int argc, char** argv) {
    signal(SIGPIPE, SIG_IGN);
    CLI::App app{"Reads, sets and watches the properties of a label printer's hub."};
    CommandLine line;
    AddSharedOptions(app, line);
    AddReading(app, line);
    AddWriting(app, line);
    AddDebugging(app, line);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? Exit::kDone : Exit::kUsage;
    }
    return line.status;
}
