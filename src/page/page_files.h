#pragma once

#include <span>
#include <string_view>

namespace vantry::page {

/// One file of the page. All texts live as long as the program.
struct PageFile {
    /// The path below the address of the page, such as "/page.css". That of the page itself is "/".
    std::string_view path;
    /// The media type, for the header Content-Type.
    std::string_view type;
    /// A quoted text that differs for different contents, for the header ETag.
    std::string_view tag;
    /// The content, compressed with gzip.
    std::string_view content;
};

/// Returns the files of the page, sorted by path, or none if the program was built without it.
/// Thread-safe.
std::span<const PageFile> PageFiles();

}  // namespace vantry::page
