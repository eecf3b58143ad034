#include "runtime/lock.h"

namespace vantry {

Mutex::Mutex() {
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&native, &attributes);
    pthread_mutexattr_destroy(&attributes);
}

Mutex::~Mutex() { pthread_mutex_destroy(&native); }

void Mutex::Enter() const NO_THREAD_SAFETY_ANALYSIS { pthread_mutex_lock(&native); }

bool Mutex::TryEnter() const NO_THREAD_SAFETY_ANALYSIS {
    return pthread_mutex_trylock(&native) == 0;
}

void Mutex::Leave() const NO_THREAD_SAFETY_ANALYSIS { pthread_mutex_unlock(&native); }

}  // namespace vantry
