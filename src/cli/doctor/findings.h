#pragma once

#include <string>
#include <utility>
#include <vector>

namespace vantry::cli {

/// Something that was looked at.
struct Finding {
    bool isWrong = false;
    /// What is wrong, or what is well, as a clause without a full stop.
    std::string what;
    /// How that was seen.
    std::string evidence = {};
    /// What the user does about it; empty if nothing is wrong.
    std::string advice = {};
};

/// What `vantry doctor` has found, in the order in which it looked.
class Findings {
public:
    void Well(std::string what, std::string evidence = "") {
        all.push_back({false, std::move(what), std::move(evidence)});
    }
    void Wrong(std::string what, std::string evidence, std::string advice) {
        all.push_back({true, std::move(what), std::move(evidence), std::move(advice)});
    }
    const std::vector<Finding>& All() const { return all; }

private:
    std::vector<Finding> all;
};

}  // namespace vantry::cli
