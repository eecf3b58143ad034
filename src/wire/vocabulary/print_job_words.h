#pragma once

#include <array>
#include <string_view>

namespace vantry {

/// The words of the print-job format. The hub neither reads nor writes them; they are here so that
/// all fixed names of the printer are in one folder.
inline constexpr std::array<std::string_view, 28> kPrintJobWords = {"Pages",
                                                                    "Layers",
                                                                    "Rasters",
                                                                    "Bitmap",
                                                                    "Compression",
                                                                    "lz4",
                                                                    "Base64Uncompressed",
                                                                    "Base64Rle",
                                                                    "Repeat",
                                                                    "Color",
                                                                    "Overprint",
                                                                    "Red",
                                                                    "Green",
                                                                    "Blue",
                                                                    "PrePrintOperations",
                                                                    "PostPrintOperations",
                                                                    "Cut",
                                                                    "Wrap",
                                                                    "Eject",
                                                                    "Shear",
                                                                    "shear",
                                                                    "Separator",
                                                                    "DrawCutMarks",
                                                                    "PrintFileName",
                                                                    "LabelCatalog",
                                                                    "PageNumber",
                                                                    "EndOfJob",
                                                                    "PageWidth"};

}  // namespace vantry
