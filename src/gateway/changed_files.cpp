#include "gateway/changed_files.h"

#include <sys/stat.h>

#include <utility>

namespace vantry::gateway {

ChangedFiles::ChangedFiles(std::vector<std::string> watched)
    : names(std::move(watched)), told(Look()), seen(told) {}

bool ChangedFiles::HaveChanged() {
    std::vector<Stamp> now = Look();
    const bool rests = now == seen;
    seen = std::move(now);
    if (!rests || seen == told) {
        return false;
    }
    told = seen;
    return true;
}

bool ChangedFiles::Stamp::operator==(const Stamp& other) const {
    return device == other.device && number == other.number && size == other.size &&
           written.tv_sec == other.written.tv_sec && written.tv_nsec == other.written.tv_nsec;
}

std::vector<ChangedFiles::Stamp> ChangedFiles::Look() const {
    std::vector<Stamp> stamps;
    for (const std::string& name : names) {
        struct stat state {};
        const bool isThere = !name.empty() && stat(name.c_str(), &state) == 0;
        stamps.push_back(isThere ? Stamp{state.st_dev, state.st_ino, state.st_size, state.st_mtim}
                                 : Stamp{});
    }
    return stamps;
}

}  // namespace vantry::gateway
