#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "history/history.h"
#include "history/history_writer.h"
#include "support/temporary_directory.h"

namespace vantry::history {

/// A quarter of an hour at which the histories of the tests begin.
constexpr Moment kBegin = 1'900'000 * kQuarter;

inline client::Property Told(const std::string& name, std::string value,
                             client::Origin origin = client::Origin::Change) {
    return {.id = {"COMPONENT", "GROUP", name},
            .componentName = "Component",
            .groupName = "Group",
            .name = name,
            .value = std::move(value),
            .origin = origin};
}

/// A history file and what is in it.
class HistoryTest : public testing::Test {
protected:
    std::filesystem::path File() const { return directory.Path() / "history.db"; }
    HistoryWriter Writer(HistoryBounds bounds = {.age = 100'000 * kDay}) const {
        auto writer = HistoryWriter::Open(File(), bounds);
        EXPECT_TRUE(writer) << writer.error().text;
        return std::move(*writer);
    }
    History Reader() const {
        auto history = History::Open(File());
        EXPECT_TRUE(history) << history.error().text;
        return std::move(*history);
    }
    /// Returns the values of a property, "-" for none, with one blank between them.
    std::string ValuesOf(const std::string& name) const {
        const auto samples = Reader().Changes(Told(name, "").id, {0, Now() + kDay}, 1'000'000);
        EXPECT_TRUE(samples);
        std::string values;
        for (const Sample& sample : *samples) {
            values += (values.empty() ? "" : " ") + sample.value.value_or("-");
        }
        return values;
    }

    test::TemporaryDirectory directory;
};

}  // namespace vantry::history
