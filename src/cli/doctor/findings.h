#pragma once

#include <string>
#include <utility>
#include <vector>

namespace vantry::cli {

/// What was found where something was looked at.
struct Finding {
    enum class Kind {
        InOrder,
        /// It may be as it should, as in a new installation; only the user knows.
        Notable,
        Wrong
    };

    Kind kind = Kind::InOrder;
    /// What is wrong, notable or in order, as a clause without a full stop.
    std::string what;
    /// How that was seen.
    std::string evidence = {};
    /// What the user should do about it; empty if it is in order.
    std::string advice = {};
};

/// What `vantry doctor` has found, in the order in which it looked. Only one thread may use it.
class Findings {
public:
    void AddOk(std::string what, std::string evidence = "") {
        all.push_back({Finding::Kind::InOrder, std::move(what), std::move(evidence)});
    }
    void AddNotable(std::string what, std::string evidence, std::string advice) {
        all.push_back(
            {Finding::Kind::Notable, std::move(what), std::move(evidence), std::move(advice)});
    }
    void AddWrong(std::string what, std::string evidence, std::string advice) {
        all.push_back(
            {Finding::Kind::Wrong, std::move(what), std::move(evidence), std::move(advice)});
    }
    const std::vector<Finding>& All() const { return all; }

private:
    std::vector<Finding> all;
};

}  // namespace vantry::cli
