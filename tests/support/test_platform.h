#pragma once

#include <filesystem>
#include <string>

#include "platform/platform.h"
#include "support/temporary_directory.h"

namespace vantry::test {

/// A platform in a temporary directory. It is the platform of this process while it exists, so only
/// one may exist at a time. TCP listens on a free port of 127.0.0.1.
class TestPlatform {
public:
    TestPlatform();
    ~TestPlatform();
    TestPlatform(const TestPlatform&) = delete;
    TestPlatform& operator=(const TestPlatform&) = delete;

    std::filesystem::path Path(const std::string& name) const { return directory.Path() / name; }

private:
    TemporaryDirectory directory;

public:
    Platform platform;
};

}  // namespace vantry::test
