#include "support/test_platform.h"

#include <netinet/in.h>

namespace vantry::test {
namespace {

Platform* current = nullptr;

}  // namespace

TestPlatform::TestPlatform() : platform(directory.Path()) {
    std::filesystem::create_directories(Path("Store"));
    platform.tcp.Replace(INADDR_LOOPBACK, 0);
    current = &platform;
}

TestPlatform::~TestPlatform() { current = nullptr; }

}  // namespace vantry::test

vantry::Platform* VantryPlatform() { return vantry::test::current; }
