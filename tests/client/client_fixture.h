#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "client/event_queue.h"
#include "client/hub.h"
#include "support/eventually.h"
#include "support/temporary_directory.h"
#include "support/vantryd_process.h"

namespace vantry::client {

using namespace std::chrono_literals;
using test::Eventually;

inline const PropertyId kPeriod{Hub::OwnComponent(), "99A61D40-20CE-41EA-A579-EB92C6ED94C6",
                                "DA821DC5-948D-4659-9B52-177E4C102129"};

inline PropertyId Mine(const std::string& guid) { return {"MY COMPONENT", "MY GROUP", guid}; }

inline Announcement Announced(const std::string& guid, std::string value,
                              ValueType type = ValueType::Text) {
    return {.id = Mine(guid),
            .componentName = "Mine",
            .groupName = "My Group",
            .name = guid,
            .type = type,
            .value = std::move(value),
            .onWrite = [](const std::string& written) { return std::optional(written); }};
}

/// A running hub and its clients.
class ClientTest : public testing::Test {
protected:
    void SetUp() override { StartHub(); }
    void StartHub() { process = std::make_unique<test::VantrydProcess>(directory.Path()); }

    Endpoint Device() const { return Endpoint::Device((process->devices / "PRN1").string()); }
    std::unique_ptr<Hub> Connect(Hub::Options options = {}, std::uint32_t deadline = 20'000) {
        options.firstPauseMilliseconds = 20;
        options.longestPauseMilliseconds = 100;
        options.deadlineMilliseconds = deadline;
        auto hub = Hub::Connect(Device(), options);
        EXPECT_TRUE(hub) << hub.error().text;
        return std::move(*hub);
    }
    static std::string ValueOf(Hub& hub, const PropertyId& id) {
        const auto property = hub.Read(id);
        return property ? property->value : property.error().text;
    }
    /// Returns whether a change to this value arrives.
    static bool Hears(EventQueue& changes, const std::string& value) {
        for (auto change = changes.Take(20s); change; change = changes.Take(20s)) {
            if (change->value == value && change->available) {
                return true;
            }
        }
        return false;
    }
    /// Returns whether a withdrawal arrives.
    static bool HearsOfALoss(EventQueue& changes) {
        for (auto change = changes.Take(20s); change; change = changes.Take(20s)) {
            if (!change->available) {
                return true;
            }
        }
        return false;
    }

    test::TemporaryDirectory directory;
    std::unique_ptr<test::VantrydProcess> process;
};

}  // namespace vantry::client
