// Finding the description of a property.
//
// Entries are applied one after the other, each replacing what it states, so that a user's file can
// correct one field of an installed description. Rules for names come first, because an entry for a
// GUID knows better.

#include "describe/descriptions.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <system_error>

#include "describe/description_file.h"
#include "describe/glob.h"
#include "runtime/default_paths.h"

namespace vantry::describe {
namespace {

constexpr const char* kInstalledFolder = "share/vantry/properties.d";

void Apply(const Description& from, Description& to) {
    const auto replace = [](const auto& value, auto& place) {
        if (value) {
            place = value;
        }
    };
    const auto replaceFilled = [](const auto& value, auto& place) {
        if (!value.empty()) {
            place = value;
        }
    };
    replace(from.type, to.type);
    replace(from.minimum, to.minimum);
    replace(from.maximum, to.maximum);
    replace(from.step, to.step);
    replace(from.writable, to.writable);
    replaceFilled(from.unit, to.unit);
    replaceFilled(from.words, to.words);
    replaceFilled(from.text, to.text);
}

std::vector<std::filesystem::path> FilesIn(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
        if (entry->path().extension() == ".json") {
            files.push_back(entry->path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

/// Returns the folder of the installation to which the running program belongs.
std::filesystem::path InstalledFolder() {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    const std::filesystem::path beside = program.parent_path().parent_path() / kInstalledFolder;
    if (!error && std::filesystem::is_directory(beside, error)) {
        return beside;
    }
    return std::filesystem::path("/usr") / kInstalledFolder;
}

}  // namespace

Descriptions::Loaded Descriptions::Load(const std::vector<std::filesystem::path>& folders) {
    Loaded loaded;
    for (const std::filesystem::path& folder : folders) {
        for (const std::filesystem::path& name : FilesIn(folder)) {
            std::ifstream file(name);
            const std::string content{std::istreambuf_iterator<char>(file), {}};
            const client::Outcome added =
                file ? DescriptionFile::AddTo(loaded.descriptions, content)
                     : client::Outcome(client::Error{client::ErrorCode::Refused, "can't be read"});
            if (!added) {
                loaded.problems.push_back(name.string() + ": " + added.error().text);
            }
        }
    }
    return loaded;
}

std::vector<std::filesystem::path> Descriptions::StandardFolders(const std::string& more) {
    std::vector<std::filesystem::path> folders = {InstalledFolder()};
    const std::filesystem::path home = Environment("HOME");
    const std::filesystem::path config = Environment("XDG_CONFIG_HOME");
    if (!config.empty() || !home.empty()) {
        folders.push_back((config.empty() ? home / ".config" : config) / "vantry/properties.d");
    }
    std::istringstream list(Environment("VANTRY_DESCRIPTIONS"));
    for (std::string folder; std::getline(list, folder, ':');) {
        if (!folder.empty()) {
            folders.emplace_back(folder);
        }
    }
    if (!more.empty()) {
        folders.emplace_back(more);
    }
    return folders;
}

Description Descriptions::Of(const client::Property& property) const {
    Description description;
    for (const NameRule& rule : byName) {
        if (GlobMatches(rule.glob, property.name, LetterCase::Ignored)) {
            Apply(rule.description, description);
        }
    }
    const auto entries = byGuid.find(property.id.property);
    if (entries == byGuid.end()) {
        return description;
    }
    for (const Entry& entry : entries->second) {
        if ((entry.component.empty() || entry.component == property.id.component) &&
            (entry.group.empty() || entry.group == property.id.group)) {
            Apply(entry.description, description);
        }
    }
    return description;
}

}  // namespace vantry::describe
