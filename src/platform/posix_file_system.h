#pragma once

#include <filesystem>

#include "platform/file_system.h"

namespace vantry {

/// The printer's file system in one directory of the machine. Whatever a name contains, it means a
/// path below that directory. All operations are thread-safe.
class PosixFileSystem final : public FileSystem {
public:
    explicit PosixFileSystem(std::filesystem::path rootDirectory)
        : root(std::move(rootDirectory)) {}

    /// Returns the path of the file on the machine.
    std::filesystem::path PathOf(std::u16string_view name) const;

    FileResult Open(std::u16string_view name, std::uint32_t use,
                    std::unique_ptr<File>& opened) override;
    FileResult Exists(std::u16string_view name) override;
    FileResult Delete(std::u16string_view name) override;
    FileResult Rename(std::u16string_view from, std::u16string_view to) override;
    FileResult SyncDirectory(std::u16string_view name) override;
    FileResult CanWrite(std::u16string_view name) override;
    std::string ShownDirectory(std::u16string_view name) const override;

protected:
    FileResult OpenBeside(std::u16string_view name, std::unique_ptr<File>& opened) override;
    FileResult RenameBeside(std::u16string_view name) override;

private:
    /// Returns the path of the file, or of the file that it leads to if it is a symbolic link.
    std::filesystem::path TargetOf(std::u16string_view name) const;

    const std::filesystem::path root;
};

}  // namespace vantry
