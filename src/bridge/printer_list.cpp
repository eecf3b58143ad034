// A file of printers has one line for each: the serial number, and where its hub is. One wrong line
// refuses the whole file and is named by its number, because a printer that is left out silently
// would be missed only later.

#include "bridge/printer_list.h"

#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

namespace vantry::bridge {
namespace {

Result<PrinterEntry> EntryIn(const std::string& line) {
    std::istringstream words(line);
    std::string serial;
    words >> serial;
    std::string hub;
    std::getline(words >> std::ws, hub);
    constexpr std::string_view kDevice = "device=";
    constexpr std::string_view kTcp = "tcp=";
    if (!IsName(serial)) {
        return Error{ErrorCode::Refused, "'" + serial + "' can't be a serial number"};
    }
    if (hub.starts_with(kDevice) && hub.size() > kDevice.size()) {
        return PrinterEntry{serial, client::Endpoint::Device(hub.substr(kDevice.size()))};
    }
    if (hub.starts_with(kTcp)) {
        auto endpoint = client::Endpoint::ParseTcp(hub.substr(kTcp.size()));
        return endpoint ? Result<PrinterEntry>(PrinterEntry{serial, *endpoint})
                        : Result<PrinterEntry>(endpoint.error());
    }
    return Error{ErrorCode::Refused, "device=PATH or tcp=HOST[:PORT] is missing"};
}

}  // namespace

Result<std::vector<PrinterEntry>> PrintersOf(const Options& options) {
    if (options.printer) {
        return std::vector{*options.printer};
    }
    std::ifstream file(options.printersFile);
    if (!file) {
        return Error{ErrorCode::Refused, "can't read " + options.printersFile};
    }
    auto list = ParsePrinters({std::istreambuf_iterator<char>(file), {}});
    return list ? list : Error{ErrorCode::Refused, options.printersFile + ": " + list.error().text};
}

Result<std::vector<PrinterEntry>> ParsePrinters(const std::string& text) {
    std::vector<PrinterEntry> entries;
    std::set<std::string> serials;
    std::istringstream lines(text);
    int number = 0;
    for (std::string line; std::getline(lines, line);) {
        ++number;
        const std::size_t begin = line.find_first_not_of(" \t\r");
        if (begin == std::string::npos || line[begin] == '#') {
            continue;
        }
        const std::string at = "line " + std::to_string(number) + ": ";
        auto entry = EntryIn(line.substr(0, line.find_last_not_of(" \t\r") + 1));
        if (!entry) {
            return Error{ErrorCode::Refused, at + entry.error().text};
        }
        if (!serials.insert(entry->serial).second) {
            return Error{ErrorCode::Refused, at + entry->serial + " stands twice"};
        }
        entries.push_back(std::move(*entry));
    }
    return entries;
}

}  // namespace vantry::bridge
