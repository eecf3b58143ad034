// Words and exit statuses for what became of writes. The protocol answers no write, so the outcome
// is what was seen of the property afterwards; where nothing was seen, the text names the reasons
// that are possible and not one of them.

#include "cli/values/assign_report.h"

#include <fmt/core.h>

#include <algorithm>

#include "cli/base/json.h"
#include "cli/base/text.h"

namespace vantry::cli {
namespace {

const char* WordFor(Assigned::How how) {
    switch (how) {
        case Assigned::How::Done:
            return "done";
        case Assigned::How::Refused:
            return "refused";
        case Assigned::How::Failed:
            return "failed";
        case Assigned::How::Gone:
            return "gone";
        case Assigned::How::Silent:
            break;
    }
    return "silent";
}

/// Returns what became of the assignment and, if it wasn't done, what may be the reason.
std::string Explain(const std::string& name, const Assignment& wanted, const Assigned& result,
                    const client::Owners::State& owner, double seconds) {
    const std::string now = Printable(result.now.value);
    const std::string value = Printable(wanted.value);
    const bool isOwn = wanted.before.id.component == client::Hub::OwnComponent();
    switch (result.how) {
        case Assigned::How::Done:
            return fmt::format("{} is now {}", name, now);
        case Assigned::How::Refused:
            return isOwn ? fmt::format("\"{}\" did not take \"{}\"; it is \"{}\"", name, value, now)
                         : fmt::format(
                               "\"{}\" did not take \"{}\": its owner ({}) reported "
                               "\"{}\"; it {} the value, or the property is read-only",
                               name, value, Printable(wanted.before.componentName), now,
                               result.now.value == wanted.before.value ? "refuses"
                                                                       : "changes or refuses");
        case Assigned::How::Failed:
            return fmt::format("\"{}\" was run and failed", name);
        case Assigned::How::Gone:
            return fmt::format("\"{}\" was withdrawn by its owner ({})", name,
                               Printable(wanted.before.componentName));
        case Assigned::How::Silent:
            break;
    }
    const char* const reasons = owner.presence == client::Owners::Presence::Alive
                                    ? "is alive, but reported nothing. It refuses the value, takes "
                                      "no writes, or it is a command that failed"
                                    : "reported nothing. It refuses the value, takes no writes, "
                                      "has gone, or it is a command that failed";
    return fmt::format(
        "\"{}\" is still \"{}\" after {:g} s: its owner ({}) {}; \"vantry describe {}\" shows what "
        "is "
        "known of it",
        name, now, seconds, Printable(wanted.before.componentName), reasons, ShellQuoted(name));
}

}  // namespace

int AssignAndReport(const Context& context, Catalog& catalog,
                    const std::vector<Assignment>& assignments) {
    const auto results = Assign(catalog.Hub(), assignments,
                                std::chrono::milliseconds(context.TimeoutMilliseconds()));
    if (!results) {
        return Fail(results.error());
    }
    int status = Exit::kDone;
    Json array = Json::array();
    for (std::size_t place = 0; place < results->size(); ++place) {
        const Assigned& result = (*results)[place];
        const std::string text = Explain(catalog.NameOf(result.now), assignments[place], result,
                                         catalog.OwnerOf(result.now), context.timeoutSeconds);
        const bool isDone = result.how == Assigned::How::Done;
        if (!isDone) {
            status = std::max(
                status, result.how == Assigned::How::Silent ? Exit::kTimedOut : Exit::kRefused);
        }
        Json object = JsonOf(result.now);
        object["wanted"] = assignments[place].value;
        object["outcome"] = WordFor(result.how);
        object["text"] = text;
        array.push_back(object);
        if (!isDone) {
            fmt::print(stderr, "vantry: {}\n", text);
        } else if (!context.json) {
            fmt::print("{}\n", text);
        }
    }
    if (context.json) {
        fmt::print("{}\n", LineByLine(array));
    }
    return status;
}

}  // namespace vantry::cli
