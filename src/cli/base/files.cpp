// Whole files, read and written at once. A file is written beside its old content and renamed over
// it, so that an error, such as a full disk, leaves the old content as it was. Neither is possible
// with a device or a pipe, which is written as it is.

#include "cli/base/files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>

namespace vantry::cli {

using client::Error;
using client::ErrorCode;

namespace {

// Writes to a device or a pipe, in whose place no file may be renamed.
client::Outcome WriteStraight(const std::string& name, const std::string& content) {
    errno = 0;
    std::ofstream device(name, std::ios::binary);
    device << content << std::flush;
    if (!device) {
        return FileError(name);
    }
    return client::Done{};
}

}  // namespace

Error FileError(const std::string& name) {
    return {ErrorCode::Refused, name + ": " + std::strerror(errno)};
}

client::Result<std::string> ReadWholeFile(const std::string& name) {
    if (name == "-") {
        return std::string(std::istreambuf_iterator<char>(std::cin), {});
    }
    errno = 0;
    std::ifstream file(name, std::ios::binary);
    std::string content;
    if (file) {
        content.assign(std::istreambuf_iterator<char>(file), {});
    }
    if (!file || file.bad()) {
        return FileError(name);
    }
    return content;
}

client::Outcome WriteWholeFile(const std::string& name, const std::string& content, bool replace) {
    if (name == "-") {
        std::fwrite(content.data(), 1, content.size(), stdout);
        return client::Done{};
    }
    struct stat status {};
    if (stat(name.c_str(), &status) == 0) {
        if (!S_ISREG(status.st_mode)) {
            return WriteStraight(name, content);
        }
        if (!replace) {
            return Error{ErrorCode::Refused, name + " exists; --force replaces it"};
        }
    }
    const std::string beside = name + ".new";
    std::ofstream file(beside, std::ios::binary | std::ios::trunc);
    file << content << std::flush;
    if (!file || std::rename(beside.c_str(), name.c_str()) != 0) {
        const Error error = FileError(name);
        unlink(beside.c_str());
        return error;
    }
    return client::Done{};
}

}  // namespace vantry::cli
