#include "history/recording_claim.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

namespace vantry::history {

client::Result<RecordingClaim> RecordingClaim::Take(const std::filesystem::path& history) {
    const std::string name = history.string() + ".lock";
    constexpr mode_t kMode = 0640;
    const int opened = open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, kMode);
    if (opened < 0) {
        return client::Error{client::ErrorCode::Refused,
                             "can't create " + name + ": " + std::strerror(errno)};
    }
    RecordingClaim claim(opened);
    if (flock(opened, LOCK_EX | LOCK_NB) != 0) {
        return client::Error{client::ErrorCode::Refused,
                             "another recorder writes to " + history.string()};
    }
    return claim;
}

RecordingClaim::~RecordingClaim() {
    if (descriptor >= 0) {
        close(descriptor);
    }
}

RecordingClaim::RecordingClaim(RecordingClaim&& other) noexcept
    : descriptor(std::exchange(other.descriptor, -1)) {}

}  // namespace vantry::history
