#include "host/directory_claim.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace vantry {

DirectoryClaim::~DirectoryClaim() {
    if (descriptor >= 0) {
        close(descriptor);
    }
}

bool DirectoryClaim::Acquire(const std::filesystem::path& directory, std::string& error) {
    std::error_code made;
    std::filesystem::create_directories(directory, made);
    if (made) {
        error = "can't be made: " + made.message();
        return false;
    }
    descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0 || access(directory.c_str(), W_OK | X_OK) != 0) {
        error = std::string("can't be written: ") + std::strerror(errno);
        return false;
    }
    if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
        error = errno == EWOULDBLOCK ? "another vantryd has it"
                                     : std::string("can't be locked: ") + std::strerror(errno);
        return false;
    }
    return true;
}

bool DirectoryClaim::Covers(const std::filesystem::path& directory) const {
    struct stat own {};
    struct stat other {};
    return fstat(descriptor, &own) == 0 && stat(directory.c_str(), &other) == 0 &&
           own.st_dev == other.st_dev && own.st_ino == other.st_ino;
}

}  // namespace vantry
