// A disk in memory.
//
// A file is a content that names lead to. What was written is seen at once and survives the end of
// the process; what was synced survives a power cut, the content by Sync of the file and its name
// by SyncDirectory. A power cut leaves each content that wasn't synced as it was, as it is, or as
// the beginning of the new with the rest of the old, and each name on the old or the new content.
// A write happens in two halves, so that another thread, a kill or a power cut meets the first.

#include "simulation/simulated_disk.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

#include "platform/wide_text.h"
#include "runtime/clock.h"
#include "simulation/races.h"
#include "simulation/scheduler.h"

namespace vantry::simulation {
namespace {

/// How long a write that somebody waits for stays half done.
constexpr std::uint64_t kPartOfWrite = 30 * kNanosecondsPerMillisecond;

/// Returns the name with slashes.
std::u16string Slashed(std::u16string_view name) {
    std::u16string slashed(name);
    std::replace(slashed.begin(), slashed.end(), u'\\', u'/');
    return slashed;
}

std::string Torn(const std::string& before, const std::string& after, Random& random) {
    const std::size_t cut = random.Below(std::min(before.size(), after.size()) + 1);
    return after.substr(0, cut) + before.substr(cut);
}

}  // namespace

class SimulatedDisk::OpenFile final : public File {
public:
    OpenFile(SimulatedDisk& owner, std::u16string_view shownName, std::shared_ptr<Content> shared,
             bool appends)
        : disk(owner), name(shownName), content(std::move(shared)), appending(appends) {}

    FileResult Read(std::uint64_t offset, std::span<char> buffer, std::size_t& count) override {
        const OutsideHub here;
        count = 0;
        if (const FileResult result = disk.Begin("reads", name); !result) {
            return result;
        }
        if (content->refusesReads) {
            return disk.Refuse(EIO);
        }
        if (offset < content->now.size()) {
            count = content->now.copy(buffer.data(), buffer.size(), offset);
        }
        return {};
    }

    FileResult Write(std::uint64_t offset, std::string_view bytes) override {
        const OutsideHub here;
        if (const FileResult result = disk.Begin("begins to write", name); !result) {
            return result;
        }
        const std::uint64_t place = appending ? content->now.size() : offset;
        const std::size_t half = disk.random.Below(bytes.size() + 1);
        if (const FileResult result = Put(place, bytes.substr(0, half)); !result) {
            return result;
        }
        disk.NoteHalfWrite(name);
        if (const FileResult result = disk.Begin("writes", name); !result) {
            return result;
        }
        if (disk.random.OneIn(disk.tornOneIn)) {
            return disk.Refuse(EIO);
        }
        return Put(place + half, bytes.substr(half));
    }

    FileResult Size(std::uint64_t& bytes) override {
        const OutsideHub here;
        bytes = content->now.size();
        return disk.Begin("asks for the size of", name);
    }

    FileResult Cut(std::uint64_t bytes) override {
        const OutsideHub here;
        if (const FileResult result = disk.Begin("cuts", name); !result) {
            return result;
        }
        content->now.resize(bytes);
        return {};
    }

    FileResult Sync() override {
        const OutsideHub here;
        if (const FileResult result = disk.Begin("syncs", name); !result) {
            return result;
        }
        content->synced = content->now;
        return {};
    }

private:
    FileResult Put(std::uint64_t offset, std::string_view bytes) {
        std::string& now = content->now;
        const std::uint64_t others = disk.Used() - now.size();
        const std::uint64_t most = disk.room > others ? disk.room - others : 0;
        const std::uint64_t end = std::min(offset + bytes.size(), std::max(most, now.size()));
        const std::size_t fits = end > offset ? end - offset : 0;
        now.resize(std::max<std::size_t>(now.size(), offset + fits));
        now.replace(offset, fits, bytes.substr(0, fits));
        return fits == bytes.size() ? FileResult() : disk.Refuse(ENOSPC);
    }

    SimulatedDisk& disk;
    const std::u16string name;
    const std::shared_ptr<Content> content;
    const bool appending;
};

SimulatedDisk::SimulatedDisk(std::uint64_t seed, const Image& image)
    : random(seed * 2 + 5), slowOneIn(random.OneIn(2) ? 4 : 0) {
    for (const auto& [name, content] : image) {
        names[name] = std::make_shared<Content>(Content{content, content, false});
    }
    syncedNames = names;
}

FileResult SimulatedDisk::Begin(std::string_view what, std::u16string_view name) {
    if (Scheduler::Current().IsTracing()) {
        Scheduler::Current().Trace(std::string(what) + " " + NarrowText(name));
    }
    Scheduler::Current().QuietPoint();
    if (random.OneIn(slowOneIn)) {
        Scheduler::Current().Sleep(random.Below(30) * kNanosecondsPerMillisecond);
    }
    if (random.OneIn(refusedOneIn)) {
        constexpr std::array<int, 4> kErrors = {ENOSPC, EIO, EMFILE, EACCES};
        return Refuse(kErrors[random.Below(kErrors.size())]);
    }
    return {};
}

FileResult SimulatedDisk::Refuse(int error) {
    ++refusals;
    Scheduler::Current().Trace("is refused by the disk");
    return FileResult::Refused(error);
}

void SimulatedDisk::SetUnreadable(std::u16string_view name) {
    if (const auto found = names.find(name); found != names.end()) {
        found->second->refusesReads = true;
    }
}

void SimulatedDisk::AwaitHalfWrite(std::u16string_view name, std::uint64_t nanoseconds) {
    Scheduler& scheduler = Scheduler::Current();
    const std::uint64_t end = scheduler.Now() + nanoseconds;
    awaited = name;
    while (!awaited.empty() && scheduler.Now() < end) {
        scheduler.Wait("a write", &awaited, end);
    }
}

void SimulatedDisk::NoteHalfWrite(std::u16string_view name) {
    if (!awaited.empty() && name.starts_with(awaited)) {
        awaited.clear();
        Scheduler::Current().Wake(&awaited);
        Scheduler::Current().Sleep(kPartOfWrite);
    }
}

std::uint64_t SimulatedDisk::Used() const {
    std::uint64_t bytes = 0;
    for (const auto& [name, content] : names) {
        bytes += content->now.size();
    }
    return bytes;
}

SimulatedDisk::Image SimulatedDisk::Now() const {
    Image image;
    for (const auto& [name, content] : names) {
        image[name] = content->now;
    }
    return image;
}

SimulatedDisk::Image SimulatedDisk::AfterPowerCut() {
    Image image;
    const auto survive = [&](const std::u16string& name, const Content& content) {
        switch (random.Below(3)) {
            case 0:
                image[name] = content.synced;
                break;
            case 1:
                image[name] = content.now;
                break;
            default:
                image[name] = Torn(content.synced, content.now, random);
        }
    };
    for (const auto& [name, content] : syncedNames) {
        if (const auto newer = names.find(name); newer != names.end() && random.OneIn(2)) {
            survive(name, *newer->second);
        } else {
            survive(name, *content);
        }
    }
    return image;
}

FileResult SimulatedDisk::Open(std::u16string_view name, std::uint32_t use,
                               std::unique_ptr<File>& opened) {
    const OutsideHub here;
    if (const FileResult result = Begin("opens", name); !result) {
        return result;
    }
    auto found = names.find(Slashed(name));
    if (found == names.end()) {
        if ((use & FileUse::kMake) == 0) {
            return FileResult::Refused(ENOENT);
        }
        found = names.emplace(Slashed(name), std::make_shared<Content>()).first;
    }
    opened = std::make_unique<OpenFile>(*this, name, found->second, (use & FileUse::kAppend) != 0);
    return {};
}

FileResult SimulatedDisk::Exists(std::u16string_view name) {
    const OutsideHub here;
    if (const FileResult result = Begin("looks for", name); !result) {
        return result;
    }
    return names.contains(Slashed(name)) ? FileResult() : FileResult::Refused(ENOENT);
}

FileResult SimulatedDisk::Delete(std::u16string_view name) {
    const OutsideHub here;
    if (const FileResult result = Begin("deletes", name); !result) {
        return result;
    }
    return names.erase(Slashed(name)) == 1 ? FileResult() : FileResult::Refused(ENOENT);
}

FileResult SimulatedDisk::Rename(std::u16string_view from, std::u16string_view to) {
    const OutsideHub here;
    if (const FileResult result = Begin("renames", from); !result) {
        return result;
    }
    const auto found = names.find(Slashed(from));
    if (found == names.end()) {
        return FileResult::Refused(ENOENT);
    }
    names[Slashed(to)] = found->second;
    names.erase(Slashed(from));
    return {};
}

FileResult SimulatedDisk::SyncDirectory(std::u16string_view name) {
    const OutsideHub here;
    if (const FileResult result = Begin("syncs the directory of", name); !result) {
        return result;
    }
    syncedNames = names;
    return {};
}

FileResult SimulatedDisk::CanWrite(std::u16string_view name) {
    const OutsideHub here;
    return Begin("asks to write", name);
}

std::string SimulatedDisk::ShownDirectory(std::u16string_view) const { return "/Store"; }

}  // namespace vantry::simulation
