#pragma once

#include <map>
#include <set>
#include <vector>

namespace vantry::simulation {

/// The orders in which threads have taken locks while they held others. Two locks that were taken
/// in both orders can deadlock, also if they didn't in this run.
class LockOrder {
public:
    /// Notes that a thread is about to take a lock that it doesn't hold. Returns false if a lock
    /// that it holds has been taken after this one before.
    [[nodiscard]] bool NoteTaking(const void* thread, const void* lock);
    void NoteTaken(const void* thread, const void* lock) { held[thread].push_back(lock); }
    void NoteGivenBack(const void* thread, const void* lock);
    /// Forgets a lock that is destroyed.
    void Forget(const void* lock);

private:
    bool Leads(const void* from, const void* to) const;

    std::map<const void*, std::vector<const void*>> held;
    /// For each lock, those that were taken while it was held.
    std::map<const void*, std::set<const void*>> followers;
};

}  // namespace vantry::simulation
