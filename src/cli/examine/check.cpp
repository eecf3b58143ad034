// `vantry check`: whether the hub is in order, for a monitor that runs it now and then.
//
// The exit status is that of Nagios, also for wrong options, so that a mistake in the configuration
// of a monitor doesn't look like a broken printer. The age of a value is known only if the owner
// keeps a heartbeat; without one it isn't guessed, and the state is unknown.

#include <fmt/core.h>

#include <chrono>
#include <memory>

#include "cli/base/command_line.h"
#include "cli/base/times.h"
#include "cli/examine/check_report.h"
#include "cli/select/catalog.h"
#include "cli/select/condition.h"

namespace vantry::cli {
namespace {

using client::Property;
using std::chrono::milliseconds;

struct CheckOptions {
    std::vector<std::string> names;
    std::vector<std::string> expect;
    std::vector<std::string> warn;
    std::string maxAge;
    std::string slow;
    std::string format;
};

/// The options, parsed.
struct Plan {
    std::vector<std::pair<Condition, CheckState>> conditions = {};
    std::optional<milliseconds> maxAge = {};
    std::optional<milliseconds> slow = {};
};

client::Outcome ParseTime(const std::string& text, std::optional<milliseconds>& into) {
    if (!text.empty()) {
        const auto time = ParseDuration(text);
        if (!time) {
            return time.error();
        }
        into = *time;
    }
    return client::Done();
}

client::Result<Plan> ParsePlan(const CheckOptions& options) {
    Plan plan;
    for (const auto& [texts, state] : {std::pair(&options.expect, CheckState::Critical),
                                       std::pair(&options.warn, CheckState::Warning)}) {
        for (const std::string& text : *texts) {
            const auto condition = Condition::Parse(text);
            if (!condition) {
                return condition.error();
            }
            plan.conditions.emplace_back(*condition, state);
        }
    }
    if (const auto good = ParseTime(options.maxAge, plan.maxAge); !good) {
        return good.error();
    }
    if (const auto good = ParseTime(options.slow, plan.slow); !good) {
        return good.error();
    }
    if (plan.maxAge && options.names.empty() && plan.conditions.empty()) {
        return client::Error{client::ErrorCode::Refused,
                             "--max-age needs a property; write for example vantry check "
                             "\"Fan Speed\" --max-age 30s"};
    }
    return plan;
}

/// Checks one hub. Only its main thread uses it.
class Check {
public:
    Check(const Plan& itsPlan, Catalog& itsCatalog, bool isOverTcp, CheckReport& into)
        : plan(itsPlan), catalog(itsCatalog), overTcp(isOverTcp), report(into) {}

    /// Checks that the hub answers, and how fast.
    void CheckHub() {
        report.properties = catalog.All().size();
        if (catalog.All().empty()) {
            return;
        }
        const auto asked = std::chrono::steady_clock::now();
        const auto answer = catalog.Hub().Read(catalog.All().front().id);
        const std::chrono::duration<double> time = std::chrono::steady_clock::now() - asked;
        if (!answer && answer.error().code != client::ErrorCode::NotFound) {
            report.hubState = CheckState::Critical;
            report.error = answer.error().text;
            return;
        }
        report.roundTripSeconds = time.count();
        if (plan.slow && time > *plan.slow) {
            report.hubState = CheckState::Warning;
            report.error = fmt::format("the hub takes {:.1f} ms to answer, more than {}",
                                       time.count() * 1000, ShortDuration(*plan.slow));
        }
    }

    /// Checks that there is a property of this name, that its owner isn't gone, and its age.
    /// Returns the property, if there is one.
    std::optional<Property> CheckNamed(const std::string& name) {
        const auto found = catalog.Find(name);
        if (!found) {
            Add({CheckState::Critical, "exists", name, found.error().text});
            return std::nullopt;
        }
        const auto owner = catalog.OwnerOf(*found);
        if (owner.presence == client::Owners::Presence::Gone) {
            Add({CheckState::Critical, "owner", name,
                 "the owner of " + name + " is gone: " + owner.why});
        }
        if (plan.maxAge) {
            CheckAge(name, *found);
        }
        return *found;
    }

    /// Checks that there is the property of the condition, and that the condition holds. The state
    /// is `otherwise` if it doesn't.
    void Expect(const Condition& condition, CheckState otherwise) {
        const auto property = CheckNamed(condition.Name());
        if (!property) {
            return;
        }
        const bool holds = condition.Holds(property->value);
        CheckItem item{holds ? CheckState::Ok : otherwise, "expect", condition.Name(),
                       condition.Name() + " is " + property->value +
                           (holds ? "" : " (expected: " + condition.Text() + ")")};
        item.condition = condition.Text();
        item.value = property->value;
        Add(std::move(item));
    }

private:
    void Add(CheckItem item) { report.items.push_back(std::move(item)); }

    void CheckAge(const std::string& name, const Property& property) {
        const auto age = catalog.Owners().AgeOf(property.id);
        CheckItem item{CheckState::Unknown, "age", name, ""};
        item.condition = ShortDuration(*plan.maxAge);
        if (!age || age->isAtLeast) {
            item.text =
                "the age of " + name + " isn't known: " +
                (overTcp ? "heartbeats can't be read over TCP" : "its owner keeps no heartbeat");
        } else {
            const bool isOld = age->milliseconds > static_cast<std::uint64_t>(plan.maxAge->count());
            item.state = isOld ? CheckState::Critical : CheckState::Ok;
            item.text = name + " was set " + age->Text() + " ago" +
                        (isOld ? ", more than " + item.condition : "");
            item.ageSeconds = static_cast<double>(age->milliseconds) / 1000;
        }
        Add(std::move(item));
    }

    const Plan& plan;
    Catalog& catalog;
    const bool overTcp;
    CheckReport& report;
};

CheckReport Checked(const Context& context, const CheckOptions& options) {
    CheckReport report;
    const auto plan = ParsePlan(options);
    const auto endpoint = context.HubEndpoint();
    report.hub = endpoint ? endpoint->Name() : "";
    if (!plan || !endpoint) {
        report.hubState = CheckState::Unknown;
        report.error = plan ? endpoint.error().text : plan.error().text;
        return report;
    }
    auto catalog = Catalog::Read(context);
    if (!catalog) {
        report.hubState = CheckState::Critical;
        report.error = catalog.error().text;
        return report;
    }
    Check check(*plan, *catalog, endpoint->path.empty(), report);
    check.CheckHub();
    for (const std::string& name : options.names) {
        if (const auto found = check.CheckNamed(name)) {
            report.items.push_back(
                {CheckState::Ok, "exists", name, name + " is " + found->value, "", found->value});
        }
    }
    for (const auto& [condition, otherwise] : plan->conditions) {
        check.Expect(condition, otherwise);
    }
    return report;
}

int RunCheck(const Context& context, const CheckOptions& options) {
    const CheckReport report = Checked(context, options);
    const std::string format = !options.format.empty() ? options.format
                               : context.json          ? "json"
                                                       : "nagios";
    fmt::print("{}", format == "json"     ? CheckJson(report)
                     : format == "nagios" ? NagiosText(report)
                                          : OpenMetricsText(report));
    return static_cast<int>(report.Worst());
}

}  // namespace

void AddCheck(CommandLine& line) {
    const auto options = std::make_shared<CheckOptions>();
    line.Add({.name = "check",
              .summary = "is the hub well, for a monitor",
              .group = CommandGroup::kFindingOut,
              .examples =
                  "  vantry check\n"
                  "  vantry check --expect 'Fan Speed > 0' --warn 'Fan Speed > 500'\n"
                  "  vantry check \"Printhead Temperature\" --max-age 30s --slow 100ms\n"
                  "  vantry check --format openmetrics >/var/lib/node_exporter/vantry.prom\n",
              .topics = "monitors conditions",
              .unableStatus = static_cast<int>(CheckState::Unknown)},
             [options](const Context& context) { return RunCheck(context, *options); })
        .Texts("property", options->names, "properties that must be there, with a living owner")
        .Each("--expect", options->expect, "critical unless this condition holds; repeatable")
        .Each("--warn", options->warn, "a warning unless this condition holds; repeatable")
        .Text("--max-age", options->maxAge,
              "critical if a value of the properties named is older, such as 30s")
        .Text("--slow", options->slow, "a warning if the hub takes longer to answer, such as 100ms")
        .OneOf("--format", options->format, {"nagios", "json", "openmetrics"},
               "what is printed (default: nagios, or json with --json)");
}

}  // namespace vantry::cli
