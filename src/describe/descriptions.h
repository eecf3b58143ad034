#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include "client/property.h"
#include "describe/description.h"

namespace vantry::describe {

/// The descriptions of a set of files, whose format is that of docs/DESCRIPTIONS.md. An object
/// doesn't change after Load, so any thread may use it.
class Descriptions {
public:
    struct Loaded;

    /// Reads all files "*.json" of these folders: the folders in their order, the files of each by
    /// name. What a later file says about a property replaces what an earlier one says. A folder
    /// that doesn't exist holds no files. A file with a mistake is left out as a whole, and
    /// `problems` says why. Blocks for the reading.
    static Loaded Load(const std::vector<std::filesystem::path>& folders);
    /// Returns the folders that programs read: that of the installation to which the running
    /// program belongs, the user's own ($XDG_CONFIG_HOME/vantry/properties.d or
    /// ~/.config/vantry/properties.d), those of $VANTRY_DESCRIPTIONS, which are separated by
    /// colons, and `more` unless it is empty.
    static std::vector<std::filesystem::path> StandardFolders(const std::string& more = "");

    /// Returns what the files say about this property: first what they say about its name, then
    /// what they say about its GUIDs. It takes a time that grows with the number of rules for
    /// names.
    Description Of(const client::Property& property) const;

private:
    friend class DescriptionFile;

    /// The description of the properties with these GUIDs; an empty one fits every GUID.
    struct Entry {
        std::string component;
        std::string group;
        Description description;
    };
    /// The description of the properties whose name matches a glob.
    struct NameRule {
        std::string glob;
        Description description;
    };

    std::map<std::string, std::vector<Entry>> byGuid;
    std::vector<NameRule> byName;
};

/// What Load returns: the descriptions of the files that could be read, of which there may be none,
/// and what was wrong with the others. Loading never fails as a whole.
struct Descriptions::Loaded {
    Descriptions descriptions;
    /// One text for each file that was left out.
    std::vector<std::string> problems;
};

}  // namespace vantry::describe
