#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "support/eventually.h"
#include "support/messages.h"
#include "support/temporary_directory.h"
#include "support/vantryd_process.h"

namespace vantry::test {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kIsSanitized = true;
#else
inline constexpr bool kIsSanitized = false;
#endif

/// A property that nobody has.
inline const Address kNobodys{"NO", "SUCH", "ONE"};

/// Has a hub that a test attacks while an honest client is connected.
class Hostile : public testing::Test {
protected:
    /// Starts the hub, in place of the one before, with lines of the file of limits, and with so
    /// many descriptors unless that is 0.
    VantrydProcess& Start(const std::vector<std::string>& options = {},
                          const std::string& limits = "", std::size_t descriptors = 0) {
        std::vector<std::string> all = options;
        if (!limits.empty()) {
            WriteFile(directory.Path() / "limits", limits);
            all.insert(all.end(), {"--limits", (directory.Path() / "limits").string()});
        }
        hub.reset();
        hub = std::make_unique<VantrydProcess>(directory.Path(), all, descriptors);
        EXPECT_TRUE(hub->ReadyLine().starts_with("ready ")) << hub->Errors();
        return *hub;
    }
    /// Verifies that a client of the local device is answered.
    bool Serves() const { return hub->Device("PRN1").Ask(Get(PublishingPeriod())).has_value(); }
    /// Returns whether the hub writes the text to its standard error.
    bool Told(const std::string& text) const {
        return Eventually([&] { return hub->Errors().find(text) != std::string::npos; });
    }
    std::string ValueOf(const Address& what) const {
        return ValueIn(hub->Device("PRN1").Ask(Get(what)).value_or(""));
    }
    void StopInOrder() const {
        hub->Signal(SIGTERM);
        EXPECT_EQ(hub->Wait(), 0);
    }

    TemporaryDirectory directory;
    std::unique_ptr<VantrydProcess> hub;
};

}  // namespace vantry::test
