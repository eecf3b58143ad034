// `vantry complete`: what the completions of the shells call.
//
// The one argument is the line up to the cursor, so that the words are split in one place for all
// shells, and what is offered is the same as in `vantry shell`.

#include <fmt/core.h>

#include <memory>
#include <optional>

#include "cli/base/command_line.h"
#include "cli/shell/candidates.h"
#include "cli/shell/typed_line.h"

namespace vantry::cli {
namespace {

struct CompleteOptions {
    std::string line;
    bool forBash = false;
};

/// The exit status that says that a file may stand here, which the shell completes itself.
constexpr int kFile = 5;

int RunComplete(const CommandLine& line, const CompleteOptions& options) {
    const TypedLine typed = TypedLine::Parse(options.line);
    if (typed.words.empty()) {
        return Exit::kDone;
    }
    const CompletionPlace place =
        line.PlaceBehind({typed.words.begin() + 1, typed.words.end()}, typed.last);
    if (place.kind == CompletionPlace::Kind::File) {
        return kFile;
    }
    const Context context = ContextOf(place);
    std::optional<Catalog> catalog;
    const auto source = [&]() -> const Catalog* {
        if (auto read = Catalog::Read(context)) {
            catalog.emplace(std::move(*read));
        }
        return catalog ? &*catalog : nullptr;
    };
    for (const std::string& candidate : CandidatesAt(place, typed.last, source)) {
        fmt::print("{}\n", options.forBash ? ReplacementForBash(typed, candidate) : candidate);
    }
    return Exit::kDone;
}

}  // namespace

void AddComplete(CommandLine& line) {
    const auto options = std::make_shared<CompleteOptions>();
    line.Add({.name = "complete", .summary = "what may be typed next, for shells", .group = ""},
             [options, &line](const Context&) { return RunComplete(line, *options); })
        .Text("line", options->line, "the line up to the cursor", CommandOptions::Need::kRequired)
        .Flag("--bash", options->forBash, "with the quotes of bash");
}

}  // namespace vantry::cli
