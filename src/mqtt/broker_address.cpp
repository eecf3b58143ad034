// The address of a broker as a URL without path and user. Whether an address is of this machine is
// judged by its text alone, because a name that is looked up could have another answer when it is
// connected to.

#include "mqtt/broker_address.h"

#include <arpa/inet.h>

#include <charconv>
#include <string_view>

namespace vantry::mqtt {
namespace {

constexpr std::uint16_t kPlainPort = 1883;
constexpr std::uint16_t kEncryptedPort = 8883;

Error Wrong(const std::string& text) {
    return {ErrorCode::Refused, "'" + text + "' is no broker; mqtts://HOST[:PORT] is one"};
}

}  // namespace

Result<BrokerAddress> BrokerAddress::Parse(const std::string& text) {
    constexpr std::string_view kPlain = "mqtt://";
    constexpr std::string_view kEncrypted = "mqtts://";
    BrokerAddress address;
    address.isEncrypted = text.starts_with(kEncrypted);
    if (!address.isEncrypted && !text.starts_with(kPlain)) {
        return Wrong(text);
    }
    const std::string rest = text.substr((address.isEncrypted ? kEncrypted : kPlain).size());
    std::string port;
    if (rest.starts_with('[')) {
        const std::size_t end = rest.find(']');
        if (end == std::string::npos) {
            return Wrong(text);
        }
        address.host = rest.substr(1, end - 1);
        port = rest.substr(end + 1);
    } else {
        const std::size_t colon = std::min(rest.find(':'), rest.size());
        address.host = rest.substr(0, colon);
        port = rest.substr(colon);
    }
    address.port = address.isEncrypted ? kEncryptedPort : kPlainPort;
    if (!port.empty()) {
        const char* const end = port.data() + port.size();
        const auto read = std::from_chars(port.data() + 1, end, address.port);
        if (port.front() != ':' || read.ec != std::errc{} || read.ptr != end || address.port == 0) {
            return Wrong(text);
        }
    }
    if (address.host.empty() || address.host.find_first_of("/@ ") != std::string::npos) {
        return Wrong(text);
    }
    return address;
}

bool BrokerAddress::IsLoopback() const {
    in_addr four{};
    in6_addr six{};
    if (inet_pton(AF_INET, host.c_str(), &four) == 1) {
        return (ntohl(four.s_addr) >> 24U) == 127;
    }
    if (inet_pton(AF_INET6, host.c_str(), &six) == 1) {
        return IN6_IS_ADDR_LOOPBACK(&six);
    }
    return host == "localhost";
}

std::string BrokerAddress::Name() const {
    const std::string where = host.find(':') == std::string::npos ? host : "[" + host + "]";
    return (isEncrypted ? "mqtts://" : "mqtt://") + where + ":" + std::to_string(port);
}

}  // namespace vantry::mqtt
