#include "support/faulty_file_system.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace vantry::test {

class FaultyFileSystem::MemoryFile final : public File {
public:
    MemoryFile(FaultyFileSystem& disk, std::shared_ptr<Contents> opened, bool appends)
        : owner(disk), content(std::move(opened)), appending(appends) {}

    FileResult Read(std::uint64_t offset, std::span<char> buffer, std::size_t& count) override {
        ScopedLock guard(owner.lock);
        const FileResult result = owner.Next();
        if (result) {
            const std::size_t start = std::min<std::size_t>(offset, content->now.size());
            count = content->now.copy(buffer.data(), buffer.size(), start);
        }
        return result;
    }
    FileResult Write(std::uint64_t offset, std::string_view bytes) override {
        ScopedLock guard(owner.lock);
        const FileResult result = owner.Next();
        const bool cutShort =
            owner.calls == owner.failingCall && owner.kind != Fault::Refuse && !owner.refusesAll;
        if (result || cutShort) {
            const std::string_view taken =
                bytes.substr(0, cutShort ? bytes.size() / 2 : bytes.npos);
            const std::size_t start = appending ? content->now.size() : offset;
            content->now.resize(std::max(content->now.size(), start + taken.size()));
            content->now.replace(start, taken.size(), taken);
            if (content->now.size() > owner.room) {
                content->now.resize(owner.room);
                return FileResult::Refused(ENOSPC);
            }
        }
        return result;
    }
    FileResult Size(std::uint64_t& bytes) override {
        ScopedLock guard(owner.lock);
        bytes = content->now.size();
        return owner.Next();
    }
    FileResult Cut(std::uint64_t bytes) override {
        ScopedLock guard(owner.lock);
        const FileResult result = owner.Next();
        if (result) {
            content->now.resize(bytes);
        }
        return result;
    }
    FileResult Sync() override {
        ScopedLock guard(owner.lock);
        const FileResult result = owner.Next();
        if (result) {
            content->synced = content->now;
        }
        return result;
    }

private:
    FaultyFileSystem& owner;
    const std::shared_ptr<Contents> content;
    const bool appending;
};

void FaultyFileSystem::Put(const std::u16string& name, const std::string& content) {
    ScopedLock guard(lock);
    entries[name] = std::make_shared<Contents>(Contents{content, content});
}

std::string FaultyFileSystem::Content(const std::u16string& name) const {
    ScopedLock guard(lock);
    const auto entry = entries.find(name);
    return entry == entries.end() ? "" : entry->second->now;
}

void FaultyFileSystem::FailFrom(Fault fault, int call) {
    kind = fault;
    calls = 0;
    failingCall = call;
}

void FaultyFileSystem::RefuseAll() { refusesAll = true; }

void FaultyFileSystem::LeaveRoomFor(std::size_t bytes) { room = bytes; }

void FaultyFileSystem::HangAll() { hangsAll = true; }

void FaultyFileSystem::Recover() {
    hangsAll = false;
    hangsAll.notify_all();
    ScopedLock guard(lock);
    if (HasFailed() && kind == Fault::PowerCut) {
        for (const auto& [name, content] : entries) {
            content->now = content->synced;
        }
    }
    failingCall = 1 << 30;
    refusesAll = false;
    room = kNoEnd;
}

FileResult FaultyFileSystem::Next() {
    hangsAll.wait(true);
    const int call = ++calls;
    const bool stays = kind == Fault::Kill || kind == Fault::PowerCut;
    const bool fails = refusesAll || call == failingCall || (stays && call > failingCall);
    return fails ? FileResult::Refused(ENOSPC) : FileResult();
}

FileResult FaultyFileSystem::Open(std::u16string_view name, std::uint32_t use,
                                  std::unique_ptr<File>& opened) {
    ScopedLock guard(lock);
    if (const FileResult refused = Next(); !refused) {
        return refused;
    }
    auto entry = entries.find(name);
    if (entry == entries.end()) {
        if ((use & FileUse::kMake) == 0) {
            return FileResult::Refused(ENOENT);
        }
        entry = entries.emplace(name, std::make_shared<Contents>()).first;
    }
    opened = std::make_unique<MemoryFile>(*this, entry->second, (use & FileUse::kAppend) != 0);
    return {};
}

FileResult FaultyFileSystem::Exists(std::u16string_view name) {
    ScopedLock guard(lock);
    const FileResult result = Next();
    return !result || entries.contains(name) ? result : FileResult::Refused(ENOENT);
}

FileResult FaultyFileSystem::Delete(std::u16string_view name) {
    ScopedLock guard(lock);
    const FileResult result = Next();
    if (result) {
        const auto entry = entries.find(name);
        if (entry == entries.end()) {
            return FileResult::Refused(ENOENT);
        }
        entries.erase(entry);
    }
    return result;
}

FileResult FaultyFileSystem::Rename(std::u16string_view from, std::u16string_view to) {
    ScopedLock guard(lock);
    const FileResult result = Next();
    if (result) {
        auto node = entries.extract(entries.find(from));
        entries.erase(std::u16string(to));
        node.key() = to;
        entries.insert(std::move(node));
    }
    return result;
}

FileResult FaultyFileSystem::SyncDirectory(std::u16string_view) { return Next(); }

FileResult FaultyFileSystem::CanWrite(std::u16string_view) { return Next(); }

}  // namespace vantry::test
