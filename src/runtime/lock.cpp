#include "runtime/lock.h"

namespace vantry {
namespace {

std::shared_ptr<pthread_mutex_t> MakeMutex() {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    std::unique_ptr<pthread_mutex_t> made = std::make_unique<pthread_mutex_t>();
    pthread_mutex_init(made.get(), &attributes);
    pthread_mutexattr_destroy(&attributes);
    return {made.release(), [](pthread_mutex_t* last) {
                pthread_mutex_destroy(last);
                std::default_delete<pthread_mutex_t>{}(last);
            }};
}

}  // namespace

Lock::Lock() : mutex(MakeMutex()) {}

void Lock::Enter() const NO_THREAD_SAFETY_ANALYSIS { pthread_mutex_lock(mutex.get()); }

bool Lock::TryEnter() const NO_THREAD_SAFETY_ANALYSIS {
    return pthread_mutex_trylock(mutex.get()) == 0;
}

void Lock::Leave() const NO_THREAD_SAFETY_ANALYSIS { pthread_mutex_unlock(mutex.get()); }

}  // namespace vantry
