#include "cli/doctor/certificate.h"

#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cstdio>
#include <memory>

namespace vantry::cli {

std::optional<int> DaysLeft(const std::filesystem::path& file) {
    const std::unique_ptr<FILE, int (*)(FILE*)> stream(std::fopen(file.c_str(), "re"),
                                                       &std::fclose);
    if (!stream) {
        return std::nullopt;
    }
    const std::unique_ptr<X509, void (*)(X509*)> certificate(
        PEM_read_X509(stream.get(), nullptr, nullptr, nullptr), &X509_free);
    int days = 0;
    int seconds = 0;
    // Without a first moment the difference is counted from now.
    if (!certificate ||
        ASN1_TIME_diff(&days, &seconds, nullptr, X509_get0_notAfter(certificate.get())) != 1) {
        return std::nullopt;
    }
    return seconds < 0 ? days - 1 : days;
}

}  // namespace vantry::cli
