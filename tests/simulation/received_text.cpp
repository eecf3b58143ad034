#include "received_text.h"

namespace vantry::simulation {
namespace {

/// Takes the expected parts of a text one after the other.
class Scanner {
public:
    explicit Scanner(std::string_view text) : rest(text) {}

    bool Take(std::string_view part) {
        if (!rest.starts_with(part)) {
            return false;
        }
        rest.remove_prefix(part.size());
        return true;
    }

    /// Takes a string in quotes. The values of the simulation have no escapes.
    std::optional<std::string> String() {
        const std::size_t end = rest.find('"', 1);
        if (!rest.starts_with('"') || end == std::string_view::npos) {
            return std::nullopt;
        }
        std::string text(rest.substr(1, end - 1));
        rest.remove_prefix(end + 1);
        return text;
    }

    bool List(std::vector<Entry>& entries) {
        if (!Take("[")) {
            return false;
        }
        while (!Take("]")) {
            if ((!entries.empty() && !Take(",")) || !OneEntry(entries.emplace_back())) {
                return false;
            }
        }
        return true;
    }

    bool AtEnd() const { return rest.empty(); }

private:
    bool OneEntry(Entry& entry) {
        std::string before;
        for (bool first = true; !Take("}"); first = false) {
            if (!Take(first ? "{" : ",")) {
                return false;
            }
            const std::optional<std::string> key = String();
            if (!key || *key <= before || !Take(": ")) {
                return false;
            }
            const std::optional<std::string> value = String();
            if (!value) {
                return false;
            }
            before = *key;
            entry[*key] = *value;
        }
        return true;
    }

    std::string_view rest;
};

}  // namespace

std::optional<ReceivedText> ReadText(std::string_view text) {
    ReceivedText read;
    Scanner scanner(text);
    if (scanner.Take(R"({"PropertySetRequests": )")) {
        return scanner.List(read.writes) && scanner.Take("}") && scanner.AtEnd()
                   ? std::optional(read)
                   : std::nullopt;
    }
    if (!scanner.Take("{")) {
        return std::nullopt;
    }
    read.everything = scanner.Take(R"("GetAllPropertiesResponse": true,)");
    const bool good = scanner.Take(R"("PropertyGetResponses": )") && scanner.List(read.records) &&
                      scanner.Take("}") && scanner.AtEnd();
    return good ? std::optional(read) : std::nullopt;
}

}  // namespace vantry::simulation
