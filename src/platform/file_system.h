#pragma once

#include <filesystem>
#include <string_view>

namespace vantry {

/// The printer's file system, which stands in one directory of the machine.
///
/// Names are the printer's: absolute, with slashes or backslashes, case kept. No name leads out of
/// the directory, whatever it holds. Operations report failure by their result, never by an
/// exception, and may be called by any thread.
class FileSystem {
public:
    explicit FileSystem(std::filesystem::path rootDirectory) : root(std::move(rootDirectory)) {}

    const std::filesystem::path& Root() const { return root; }
    /// Where the file of that name stands on the machine.
    std::filesystem::path PathOf(std::u16string_view name) const;

    bool Exists(std::u16string_view name) const;
    /// Makes `to` a copy of `from`, overwriting it. `to` is the old file or the whole new one at
    /// any moment, also if the process dies meanwhile. False leaves it as it was.
    bool Copy(std::u16string_view from, std::u16string_view to) const;
    bool Delete(std::u16string_view name) const;

private:
    std::filesystem::path root;
};

}  // namespace vantry
