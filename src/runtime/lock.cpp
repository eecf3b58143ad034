#include "runtime/lock.h"

namespace vantry {
namespace {

std::shared_ptr<pthread_mutex_t> MakeSection() {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    std::unique_ptr<pthread_mutex_t> section = std::make_unique<pthread_mutex_t>();
    pthread_mutex_init(section.get(), &attributes);
    pthread_mutexattr_destroy(&attributes);
    return {section.release(), [](pthread_mutex_t* mutex) {
                pthread_mutex_destroy(mutex);
                std::default_delete<pthread_mutex_t>{}(mutex);
            }};
}

}  // namespace

Lock::Lock() : section(MakeSection()) {}

void Lock::Enter() const NO_THREAD_SAFETY_ANALYSIS { pthread_mutex_lock(section.get()); }

bool Lock::TryEnter() const NO_THREAD_SAFETY_ANALYSIS {
    return pthread_mutex_trylock(section.get()) == 0;
}

void Lock::Leave() const NO_THREAD_SAFETY_ANALYSIS { pthread_mutex_unlock(section.get()); }

}  // namespace vantry
