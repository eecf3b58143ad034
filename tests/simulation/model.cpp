#include "model.h"

#include <algorithm>

namespace vantry::simulation {
namespace {

constexpr char kErrorGroup[] = "2EBF9DEF-D51C-47FE-935E-5EDCC530B867";
constexpr char kPrivateGroup[] = "AAAAAAAA-0000-0000-0000-000000000001";
constexpr char kHub[] = "955CFDC2-8EA6-478E-A927-7C870022EA03";

std::string Member(const Entry& entry, std::string_view name) {
    const auto found = entry.find(name);
    return found == entry.end() ? "" : found->second;
}

constexpr std::uint64_t kSavedBase = 35'000;
constexpr std::uint64_t kLongerValue = 1'000'000'000;

}  // namespace

std::string SavedEntry(std::size_t place) {
    return std::string(R"("Component": ")") + kHub + R"(","GUID": ")" + kSavedNames[place].guids +
           "\"";
}

std::string SavedText(std::uint64_t count) {
    return std::to_string(kSavedBase + count + count % 2 * kLongerValue);
}

std::uint64_t CountIn(std::string_view value) {
    const std::uint64_t number = std::strtoull(std::string(value).c_str(), nullptr, 10);
    return number < kSavedBase ? 0 : number % kLongerValue - kSavedBase;
}

std::string Known::Request() const {
    return R"({"Component": ")" + component + R"(","GUID": ")" + group + ":" + guid + "\"}";
}

std::string Known::Record(std::uint64_t value, bool withdrawal) const {
    return R"({"Component": ")" + component + R"(","ComponentString": "Sim","GUID": ")" + group +
           ":" + guid + R"(","GroupString": "Group","NameString": "Name )" + guid +
           R"(","Status": ")" + (withdrawal ? "Property No Longer Available" : "Successful") +
           R"(","Value": "v)" + std::to_string(value) + "\"}";
}

Known& Model::Announce(const std::string& component, bool isPublic, const Peer* owner) {
    properties.push_back(std::make_unique<Known>());
    Known& made = *properties.back();
    made.component = component;
    made.group = isPublic ? kErrorGroup : kPrivateGroup;
    made.guid = "P" + std::to_string(properties.size());
    made.isPublic = isPublic;
    made.owner = owner;
    made.mayVanish = owner != nullptr && MayBeCut(*owner);
    return made;
}

ReceivedText Model::Read(const Peer& peer, const std::string& text) {
    const std::optional<ReceivedText> read = ReadText(text);
    if (!read) {
        world.scheduler.Fail(peer.Name() + " receives what the hub never writes: " + text);
    }
    return *read;
}

const Known* Model::Find(const Entry& record) const {
    const std::string component = Member(record, "Component");
    const std::string guid = Member(record, "GUID");
    for (const std::unique_ptr<Known>& property : properties) {
        if (property->component == component && property->group + ":" + property->guid == guid) {
            return property.get();
        }
    }
    return nullptr;
}

std::uint64_t Model::Value(const Peer& peer, const Entry& record, const Known& property) {
    const std::string text = Member(record, "Value");
    const std::uint64_t value = std::strtoull(text.c_str() + 1, nullptr, 10);
    if (!text.starts_with('v') || value == 0 || value > property.sent) {
        world.scheduler.Fail(peer.Name() + " sees '" + text + "' of " + property.guid +
                             ", which its component never reported");
    }
    if (!MaySee(peer, property)) {
        world.scheduler.Fail(peer.Name() + " sees " + property.guid +
                             ", which external clients may not read");
    }
    if (Member(record, "NameString") != "Name " + property.guid) {
        world.scheduler.Fail(peer.Name() + " sees a wrong name of " + property.guid);
    }
    return value;
}

void Model::CheckAnswer(const Peer& peer, const ReceivedText& text,
                        const std::vector<const Known*>& asked, bool everything,
                        const std::map<const Known*, std::uint64_t>& atLeast, Seen& seen) {
    if (text.everything != everything || (!everything && text.records.size() != asked.size())) {
        world.scheduler.Fail(peer.Name() + " receives an answer to another request");
    }
    std::map<const Known*, int> found;
    for (const Entry& record : text.records) {
        const Known* const property = Find(record);
        if (property == nullptr) {
            const std::string component = Member(record, "Component");
            if (component != kHub && !component.starts_with(kHostile)) {
                world.scheduler.Fail(peer.Name() + " sees a property that nobody announced");
            }
            continue;
        }
        ++found[property];
        const auto asOfRequest = atLeast.find(property);
        const std::uint64_t least = asOfRequest == atLeast.end() ? 0 : asOfRequest->second;
        if (Member(record, "Status") == "Property Not Found") {
            if (MaySee(peer, *property) && !property->mayBeMissing && !property->mayVanish &&
                least != 0) {
                world.scheduler.Fail(peer.Name() + " doesn't find " + property->guid);
            }
            continue;
        }
        const std::uint64_t value = Value(peer, record, *property);
        if (value < least || value < seen.replied[property]) {
            world.scheduler.Fail(peer.Name() + " reads an old value of " + property->guid);
        }
        seen.replied[property] = value;
        // A publication that was written before the answer may be newer. All changes after it are
        // published too.
        seen.last.try_emplace(property, value);
    }
    for (const auto& [property, certain] : atLeast) {
        const bool isDue = everything
                               ? MaySee(peer, *property) && !property->mayBeMissing &&
                                     !property->mayVanish && certain != 0
                               : std::find(asked.begin(), asked.end(), property) != asked.end();
        if (isDue && found[property] != 1) {
            world.scheduler.Fail(peer.Name() + " misses " + property->guid + " in an answer");
        }
    }
}

void Model::CheckPublication(const Peer& peer, const ReceivedText& text, Seen& seen) {
    for (const Entry& record : text.records) {
        const Known* const property = Find(record);
        if (property == nullptr) {
            continue;
        }
        if (Member(record, "Status") != "Successful") {
            if (!property->mayBeWithdrawn && !property->mayVanish) {
                world.scheduler.Fail(peer.Name() + " hears that " + property->guid +
                                     " is gone, which it isn't");
            }
            seen.last[property] = 0;
            continue;
        }
        const std::uint64_t value = Value(peer, record, *property);
        if (value < seen.published[property]) {
            world.scheduler.Fail(peer.Name() + " hears an old value of " + property->guid);
        }
        seen.published[property] = value;
        seen.last[property] = value;
    }
}

void Model::CheckForwarded(const Peer& peer, const ReceivedText& text) {
    for (const Entry& write : text.writes) {
        const Known* const found = Find(write);
        if (found == nullptr || found->owner != &peer) {
            world.scheduler.Fail(peer.Name() + " gets a write that isn't for it");
        }
        Known& property = const_cast<Known&>(*found);
        // The text is w, the writer, an x and the count.
        char* end = nullptr;
        const std::string text = Member(write, "Value");
        const std::uint64_t writer = std::strtoull(text.c_str() + 1, &end, 10);
        const std::uint64_t count = std::strtoull(end + 1, nullptr, 10);
        if (count > property.written[writer] || count <= property.forwarded[writer]) {
            world.scheduler.Fail(peer.Name() + " gets the write '" + text +
                                 "' that wasn't sent now");
        }
        property.forwarded[writer] = count;
    }
}

void Model::CheckLast(const Peer& peer, const std::vector<const Known*>& subscribed,
                      const Seen& seen, std::uint64_t since) {
    for (const Known* const property : subscribed) {
        if (!MaySee(peer, *property) || property->certain == 0 || property->mayVanish ||
            property->changedAt > since) {
            continue;
        }
        const auto last = seen.last.find(property);
        const std::uint64_t value = last == seen.last.end() ? 0 : last->second;
        const std::uint64_t right = property->mayBeMissing ? 0 : property->certain;
        if (value != right && property->sent == property->certain) {
            world.scheduler.Fail(peer.Name() + " has v" + std::to_string(value) + " of " +
                                 property->guid + " when all is quiet, which is v" +
                                 std::to_string(right));
        }
    }
}

std::map<const Known*, std::uint64_t> Model::Certain() const {
    std::map<const Known*, std::uint64_t> certain;
    for (const std::unique_ptr<Known>& property : properties) {
        certain[property.get()] = property->mayBeMissing ? 0 : property->certain;
    }
    return certain;
}

}  // namespace vantry::simulation
