// The printers of the program, and what it looks at every two seconds: the list of printers and the
// files of the encryption. They are looked at by time and not by notification, because a file may
// be replaced by way of links, as certificates often are.

#include "bridge/bridge.h"

#include <cstdio>
#include <ctime>
#include <set>

#include "bridge/printer_list.h"

namespace vantry::bridge {
namespace {

constexpr std::uint64_t kLookMilliseconds = 2000;
constexpr std::uint64_t kSyncMilliseconds = 10'000;
/// So long after a boot all machines of a site may start at the same time.
constexpr std::time_t kBootSeconds = 300;
constexpr std::uint64_t kSpreadAfterBoot = 60'000;
/// The connections a second that one program with many printers makes at first.
constexpr std::uint64_t kConnectionsPerSecond = 100;

std::uint64_t SpreadFor(const Options& options, std::size_t printers) {
    if (options.spreadSeconds) {
        return static_cast<std::uint64_t>(*options.spreadSeconds * 1000);
    }
    timespec sinceBoot{};
    clock_gettime(CLOCK_BOOTTIME, &sinceBoot);
    return sinceBoot.tv_sec < kBootSeconds ? kSpreadAfterBoot
                                           : 1000 * (printers - 1) / kConnectionsPerSecond;
}

}  // namespace

Bridge::Bridge(Loop& itsLoop, const Options& configuration, const describe::Descriptions& known)
    : loop(itsLoop),
      options(configuration),
      descriptions(known),
      look(loop,
           [this] {
               LookAround();
               look.Set(kLookMilliseconds);
           }),
      sync(loop, [this] {
          for (const auto& [serial, printer] : printers) {
              printer->Sync();
          }
          sync.Set(kSyncMilliseconds);
      }) {}

Outcome Bridge::Start() {
    look.Set(kLookMilliseconds);
    sync.Set(kSyncMilliseconds);
    listStamp = mqtt::TlsFiles{options.printersFile, {}, {}}.Stamp();
    return ReadList();
}

Outcome Bridge::ReadList() {
    const auto list = PrintersOf(options);
    if (!list) {
        return list.error();
    }
    Serve(*list);
    return Done{};
}

void Bridge::Serve(const std::vector<PrinterEntry>& wanted) {
    std::set<std::string> kept;
    std::vector<const PrinterEntry*> added;
    for (const PrinterEntry& entry : wanted) {
        const auto found = printers.find(entry.serial);
        if (found != printers.end() && found->second->Hub().Name() == entry.hub.Name()) {
            kept.insert(entry.serial);
        } else {
            added.push_back(&entry);
        }
    }
    std::erase_if(printers, [&](const auto& present) { return !kept.contains(present.first); });
    for (const PrinterEntry* entry : added) {
        const std::uint64_t delay = random.Between(0, SpreadFor(options, added.size()));
        printers[entry->serial] =
            std::make_unique<Printer>(loop, options, descriptions, dialer, *entry, delay);
    }
}

void Bridge::LookAround() {
    for (const auto& [serial, printer] : printers) {
        printer->RenewEncryption();
    }
    const std::string stamp = mqtt::TlsFiles{options.printersFile, {}, {}}.Stamp();
    if (stamp == listStamp) {
        return;
    }
    listStamp = stamp;
    if (const Outcome read = ReadList(); !read) {
        std::fprintf(stderr, "vantry-bridge: %s; the printers stay as they are\n",
                     read.error().text.c_str());
    }
}

}  // namespace vantry::bridge
