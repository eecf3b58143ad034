// One command on several printers.
//
// Each printer has a child process, which runs the command as if it were alone, with its outputs in
// pipes. So a printer that doesn't answer delays nobody, and every command that prints JSON or
// lines works without knowing of this. The parent reads the pipes and puts the table together.

#include "cli/base/several.h"

#include <fmt/core.h>
#include <poll.h>

#include <algorithm>
#include <list>
#include <set>
#include <sstream>
#include <utility>

#include "cli/base/json.h"
#include "cli/base/named_printers.h"
#include "cli/base/printer_process.h"
#include "cli/base/table.h"
#include "cli/base/text.h"

namespace vantry::cli {
namespace {

using Processes = std::list<PrinterProcess>;

/// Returns the names that --on lists, each once.
client::Result<std::vector<std::string>> NamesOn(const std::string& several) {
    const auto printers = NamedPrinters::Read();
    if (!printers) {
        return printers.error();
    }
    std::vector<std::string> names;
    if (several == "all") {
        for (const NamedPrinter& printer : printers->All()) {
            names.push_back(printer.name);
        }
    }
    std::istringstream list(several == "all" ? "" : several);
    for (std::string name; std::getline(list, name, ',');) {
        if (const auto found = printers->Find(name); !found) {
            return found.error();
        }
        if (std::find(names.begin(), names.end(), name) == names.end()) {
            names.push_back(name);
        }
    }
    if (names.empty()) {
        return client::Error{client::ErrorCode::NotFound,
                             "--on names no printer; \"vantry context add NAME --tcp HOST\" adds "
                             "one"};
    }
    return names;
}

/// Reads all outputs until they end. Calls `onInput` after each that has brought something. Passes
/// an interrupt on to the processes.
void ReadAll(Processes& processes, const std::function<void(PrinterProcess&)>& onInput) {
    for (;;) {
        std::vector<pollfd> waiting;
        std::vector<std::pair<PrinterProcess*, PrinterProcess::Output*>> owners;
        for (PrinterProcess& process : processes) {
            for (PrinterProcess::Output* output : {&process.output, &process.errors}) {
                if (output->descriptor >= 0) {
                    waiting.push_back({output->descriptor, POLLIN, 0});
                    owners.emplace_back(&process, output);
                }
            }
        }
        if (waiting.empty()) {
            return;
        }
        if (poll(waiting.data(), waiting.size(), -1) <= 0) {
            if (Interrupted()) {
                std::for_each(processes.begin(), processes.end(),
                              std::mem_fn(&PrinterProcess::End));
            }
            continue;
        }
        for (std::size_t place = 0; place < waiting.size(); ++place) {
            if (waiting[place].revents != 0) {
                owners[place].second->Read();
                onInput(*owners[place].first);
            }
        }
    }
}

std::size_t WidestName(const Processes& processes) {
    std::size_t widest = 0;
    for (const PrinterProcess& process : processes) {
        widest = std::max(widest, ColumnsOf(process.Printer()));
    }
    return widest;
}

void PrintLines(Processes& processes, const Context& context) {
    const std::size_t width = WidestName(processes);
    ReadAll(processes, [&](PrinterProcess& process) {
        const std::string begin = Fitted(process.Printer(), width) + "  ";
        std::string line;
        while (process.output.TakeLine(line)) {
            Json object = context.json ? Json::parse(line, nullptr, false) : Json();
            if (object.is_object()) {
                Json whole = {{"printer", process.Printer()}};
                whole.update(object);
                line = OneLine(whole);
            } else {
                line.insert(0, begin);
            }
            fmt::print("{}\n", line);
            std::fflush(stdout);
        }
        while (process.errors.TakeLine(line)) {
            fmt::print(stderr, "{}{}\n", begin, line);
        }
    });
}

/// Returns the objects that the process printed; none if it printed no JSON.
std::vector<Json> ObjectsOf(const PrinterProcess& process) {
    const Json document = Json::parse(process.output.text, nullptr, false);
    if (document.is_object()) {
        return {document};
    }
    return document.is_array() ? std::vector<Json>(document.begin(), document.end())
                               : std::vector<Json>();
}

std::string CellOf(const Json& object, const std::string& member) {
    const Json::json_pointer pointer(member);
    if (!object.contains(pointer) || object[pointer].is_null()) {
        return "";
    }
    const Json& value = object[pointer];
    return value.is_string() ? value.get<std::string>() : OneLine(value);
}

/// Returns what the process wrote to standard error: a text for each message, on one line, without
/// those that one of the objects tells.
std::vector<std::string> ErrorsOf(PrinterProcess& process, const std::vector<Json>& objects) {
    std::set<std::string> told;
    for (const Json& object : objects) {
        told.insert(CellOf(object, "/text"));
    }
    constexpr std::string_view kBegin = "vantry: ";
    std::vector<std::string> errors;
    for (std::string line; process.errors.TakeLine(line);) {
        if (line.starts_with(kBegin) || errors.empty()) {
            errors.push_back(line.substr(line.starts_with(kBegin) ? kBegin.size() : 0));
        } else {
            errors.back() += " " + line.substr(std::min(line.find_first_not_of(' '), line.size()));
        }
    }
    std::erase_if(errors, [&](const std::string& error) { return told.contains(error); });
    return errors;
}

int PrintRows(Processes& processes, const Context& context, const SeveralOutput& output) {
    ReadAll(processes, [](PrinterProcess&) {});
    Json array = Json::array();
    bool hasErrors = false;
    int worst = Exit::kDone;
    for (PrinterProcess& process : processes) {
        const int status = process.Wait();
        worst = std::max(worst, status);
        const std::vector<Json> objects = ObjectsOf(process);
        for (const Json& object : objects) {
            array.push_back({{"printer", process.Printer()}});
            array.back().update(object);
        }
        for (const std::string& error : ErrorsOf(process, objects)) {
            array.push_back({{"printer", process.Printer()}, {"error", error}, {"status", status}});
            hasErrors = true;
        }
    }
    if (context.json) {
        fmt::print("{}\n", LineByLine(array));
        return worst;
    }
    std::vector<SeveralOutput::Column> columns = output.columns;
    columns.insert(columns.begin(), {"printer", "/printer"});
    if (hasErrors) {
        columns.push_back({"error", "/error"});
    }
    std::vector<std::string> titles;
    for (const SeveralOutput::Column& column : columns) {
        titles.push_back(column.title);
    }
    Table table(titles);
    for (const Json& object : array) {
        std::vector<std::string> cells;
        for (const SeveralOutput::Column& column : columns) {
            cells.push_back(CellOf(object, column.member));
        }
        table.Add(std::move(cells));
    }
    fmt::print("{}", output.csv ? table.Csv() : table.Text(Style(context.Fancy())));
    return worst;
}

}  // namespace

int RunOnSeveral(const Context& context, const SeveralOutput& output,
                 const std::function<int(const Context&)>& run) {
    const auto names = NamesOn(context.several);
    if (!names) {
        return Fail(names.error());
    }
    const bool areRows = !output.columns.empty();
    Processes processes;
    for (const std::string& name : *names) {
        Context forOne = context;
        forOne.printer = name;
        forOne.json = context.json || areRows;
        processes.emplace_back(forOne, run);
    }
    if (areRows) {
        return PrintRows(processes, context, output);
    }
    // After an interrupt the children end in order, and what they still print is printed.
    CatchInterrupts();
    PrintLines(processes, context);
    int worst = Exit::kDone;
    for (PrinterProcess& process : processes) {
        worst = std::max(worst, process.Wait());
    }
    return worst;
}

}  // namespace vantry::cli
