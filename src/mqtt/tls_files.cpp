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

Outcome CheckEncryption(const BrokerAddress& broker, const TlsFiles& files, bool allowsPlainText) {
    if (!broker.isEncrypted && !broker.IsLoopback() && !allowsPlainText) {
        return Error{ErrorCode::Refused,
                     "--broker " + broker.Name() +
                         " isn't encrypted; use mqtts://, or --plain-text if that is wanted"};
    }
    if (files.certificate.empty() != files.key.empty()) {
        return Error{ErrorCode::Refused, "--cert and --key go together"};
    }
    if (!broker.isEncrypted && !(files.ca + files.key).empty()) {
        return Error{ErrorCode::Refused, "--ca, --cert and --key need a broker mqtts://"};
    }
    return Done{};
}

}  // namespace vantry::mqtt
