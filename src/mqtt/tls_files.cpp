#include "mqtt/tls_files.h"

#include <sys/stat.h>

namespace vantry::mqtt {

std::string TlsFiles::Stamp() const {
    std::string stamp;
    for (const std::string* file : {&ca, &certificate, &key}) {
        struct stat state {};
        if (!file->empty() && stat(file->c_str(), &state) == 0) {
            stamp += std::to_string(state.st_ino) + " " + std::to_string(state.st_size) + " " +
                     std::to_string(state.st_mtim.tv_sec) + "." +
                     std::to_string(state.st_mtim.tv_nsec);
        }
        stamp += ";";
    }
    return stamp;
}

}  // namespace vantry::mqtt
