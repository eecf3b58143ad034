#pragma once

#include <sys/types.h>

#include <ctime>
#include <string>
#include <vector>

namespace vantry::gateway {

/// Notices that files were replaced or written to. Files that belong together, such as a
/// certificate and its key, are replaced one after the other, so a change is reported once all of
/// them have rested from one look to the next. Used by one thread.
class ChangedFiles {
public:
    /// What the files are now is what a first reading of them sees.
    explicit ChangedFiles(std::vector<std::string> watched);

    /// Returns whether the files differ from what they were when this was last true, or at the
    /// construction. Blocks for the system's look at each file.
    bool HaveChanged();

private:
    /// What distinguishes one content of a file from another; all zero without a file.
    struct Stamp {
        dev_t device = 0;
        ino_t number = 0;
        off_t size = 0;
        timespec written{};
        bool operator==(const Stamp& other) const;
    };
    std::vector<Stamp> Look() const;

    const std::vector<std::string> names;
    std::vector<Stamp> told;
    std::vector<Stamp> seen;
};

}  // namespace vantry::gateway
