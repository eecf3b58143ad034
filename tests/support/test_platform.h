#pragma once

#include <filesystem>
#include <string>

#include "platform/platform.h"
#include "support/temporary_directory.h"

namespace vantry::test {

/// A platform in a fresh directory, which is the platform of this process while it lives. TCP
/// takes a free port of 127.0.0.1. One at a time.
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
