// Named printers.
//
// The file is a JSON document, so that people and scripts can read and write it. It is replaced in
// one step, and a lock on its folder keeps two programs that change it at the same time apart, so
// that neither loses what the other has added.

#include "cli/base/named_printers.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "cli/base/files.h"
#include "cli/base/json.h"
#include "cli/base/suggestions.h"
#include "runtime/default_paths.h"

namespace vantry::cli {
namespace {

using client::Error;
using client::ErrorCode;

/// Holds an exclusive lock on a folder until it is destroyed.
class FolderLock {
public:
    explicit FolderLock(const std::filesystem::path& folder)
        : descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        isHeld = descriptor >= 0 && flock(descriptor, LOCK_EX) == 0;
    }
    ~FolderLock() {
        if (descriptor >= 0) {
            close(descriptor);
        }
    }
    FolderLock(const FolderLock&) = delete;
    FolderLock& operator=(const FolderLock&) = delete;

    bool IsHeld() const { return isHeld; }

private:
    const int descriptor;
    bool isHeld;
};

std::string MemberOf(const Json& object, const char* name) {
    const auto found = object.find(name);
    return found != object.end() && found->is_string() ? found->get<std::string>() : std::string();
}

/// Returns whether --on can name the printer.
bool IsGoodName(const std::string& name) {
    return !name.empty() && name.front() != '-' && name != "all" &&
           std::all_of(name.begin(), name.end(), [](unsigned char byte) {
               return byte > ' ' && byte != 0x7F && byte != ',' && byte != '/';
           });
}

}  // namespace

client::Result<client::Endpoint> NamedPrinter::HubEndpoint() const {
    if (!tcp.empty()) {
        return client::Endpoint::ParseTcp(tcp);
    }
    return client::Endpoint::Device(device);
}

std::filesystem::path NamedPrinters::File() {
    const std::filesystem::path configuration = Environment("XDG_CONFIG_HOME");
    return (configuration.empty() ? Environment("HOME") / std::filesystem::path(".config")
                                  : configuration) /
           "vantry/contexts.json";
}

client::Result<NamedPrinters> NamedPrinters::Read() {
    const std::filesystem::path file = File();
    std::error_code error;
    if (!std::filesystem::exists(file, error)) {
        return NamedPrinters();
    }
    const auto content = ReadWholeFile(file.string());
    if (!content) {
        return content.error();
    }
    auto parsed = Parse(*content);
    if (!parsed) {
        return Error{ErrorCode::Refused, file.string() + ": " + parsed.error().text};
    }
    return parsed;
}

client::Result<NamedPrinters> NamedPrinters::Parse(const std::string& content) {
    const Json document = Json::parse(content, nullptr, false);
    const auto list = document.is_object() ? document.find("printers") : document.end();
    if (list == document.end() || !list->is_object()) {
        return Error{ErrorCode::Refused, "this isn't a file of \"vantry context\""};
    }
    NamedPrinters parsed;
    for (const auto& [name, entry] : list->items()) {
        NamedPrinter printer{name, MemberOf(entry, "tcp"), MemberOf(entry, "device")};
        if (printer.tcp.empty() == printer.device.empty()) {
            return Error{ErrorCode::Refused, "\"" + name + "\" needs either \"tcp\" or \"device\""};
        }
        if (const client::Outcome added = parsed.Add(std::move(printer)); !added) {
            return added.error();
        }
    }
    parsed.inUse = MemberOf(document, "use");
    return parsed;
}

std::string NamedPrinters::Text() const {
    Json list = Json::object();
    for (const NamedPrinter& printer : printers) {
        list[printer.name] =
            printer.tcp.empty() ? Json{{"device", printer.device}} : Json{{"tcp", printer.tcp}};
    }
    return Json{{"use", inUse}, {"printers", list}}.dump(4, ' ', false,
                                                         Json::error_handler_t::replace) +
           "\n";
}

client::Outcome NamedPrinters::Change(
    const std::function<client::Outcome(NamedPrinters&)>& change) {
    const std::filesystem::path file = File();
    std::error_code error;
    std::filesystem::create_directories(file.parent_path(), error);
    const FolderLock lock(file.parent_path());
    if (!lock.IsHeld()) {
        return FileError(file.parent_path().string());
    }
    auto printers = Read();
    if (!printers) {
        return printers.error();
    }
    if (client::Outcome changed = change(*printers); !changed) {
        return changed;
    }
    return WriteWholeFile(file.string(), printers->Text(), true);
}

client::Result<NamedPrinter> NamedPrinters::Find(const std::string& name) const {
    std::vector<std::string> names;
    for (const NamedPrinter& printer : printers) {
        if (printer.name == name) {
            return printer;
        }
        names.push_back(printer.name);
    }
    return Error{ErrorCode::NotFound,
                 "there is no context \"" + name + "\"" +
                     ThenNext(DidYouMean(name, names), "\"vantry context list\" shows all")};
}

client::Outcome NamedPrinters::Add(NamedPrinter printer) {
    if (!IsGoodName(printer.name)) {
        return Error{ErrorCode::Refused,
                     "\"" + printer.name +
                         "\" can't be the name of a context: it has a blank, a comma or a slash, "
                         "begins with -, or is the word \"all\""};
    }
    if (const auto endpoint = printer.HubEndpoint(); !endpoint) {
        return endpoint.error();
    }
    const auto same = std::find_if(printers.begin(), printers.end(),
                                   [&](const auto& other) { return other.name == printer.name; });
    if (same == printers.end()) {
        printers.push_back(std::move(printer));
    } else {
        *same = std::move(printer);
    }
    return client::Done{};
}

client::Outcome NamedPrinters::Use(const std::string& name) {
    if (!name.empty()) {
        if (const auto found = Find(name); !found) {
            return found.error();
        }
    }
    inUse = name;
    return client::Done{};
}

client::Outcome NamedPrinters::Remove(const std::string& name) {
    if (const auto found = Find(name); !found) {
        return found.error();
    }
    std::erase_if(printers, [&](const NamedPrinter& printer) { return printer.name == name; });
    if (inUse == name) {
        inUse.clear();
    }
    return client::Done{};
}

}  // namespace vantry::cli
