#!/usr/bin/env python3
"""Writes a C++ source that holds the files of the page, for src/page/page_files.h.

    embed.py OUTPUT [FILE...]

The same files always give the same source. "index.html" is the page itself.
"""
import gzip
import hashlib
import pathlib
import sys

TYPES = {".html": "text/html; charset=utf-8", ".js": "text/javascript; charset=utf-8",
         ".css": "text/css; charset=utf-8", ".svg": "image/svg+xml"}


def main():
    output, *names = map(pathlib.Path, sys.argv[1:])
    lines = ['#include "page/page_files.h"', "", "#include <array>", "", "namespace vantry::page {", "namespace {", ""]
    entries = []
    for number, name in enumerate(sorted(names, key=lambda file: "" if file.name == "index.html" else file.name)):
        content = gzip.compress(name.read_bytes(), 9, mtime=0)
        tag = hashlib.sha256(content).hexdigest()[:16]
        path = "/" if name.name == "index.html" else "/" + name.name
        # A list of numbers: a compiler takes it at any length, which isn't so for a text.
        data = ",".join(map(str, content))
        lines.append(f"constexpr unsigned char kFile{number}[] = {{{data}}};")
        entries.append(f'    PageFile{{"{path}", "{TYPES[name.suffix]}", "\\"{tag}\\"", '
                       f"{{reinterpret_cast<const char*>(kFile{number}), sizeof kFile{number}}}}},")
    lines += ["", f"const std::array<PageFile, {len(entries)}> kFiles = {{", *entries, "};", "", "}  // namespace", "",
              "std::span<const PageFile> PageFiles() { return kFiles; }", "", "}  // namespace vantry::page", ""]
    output.write_text("\n".join(lines))


if __name__ == "__main__":
    main()
