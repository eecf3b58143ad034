#include "runtime/detached_thread.h"

#include <pthread.h>

#include <memory>
#include <utility>

#include "runtime/blocked_signals.h"

namespace vantry {
namespace {

void* Run(void* argument) {
    const std::unique_ptr<std::function<void()>> body(
        static_cast<std::function<void()>*>(argument));
    (*body)();
    return nullptr;
}

}  // namespace

bool StartDetached(std::function<void()> body) {
    auto argument = std::make_unique<std::function<void()>>(std::move(body));
    const ScopedBlockedSignals blocked;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread{};
    const bool started = pthread_create(&thread, &attributes, Run, argument.get()) == 0;
    pthread_attr_destroy(&attributes);
    if (started) {
        static_cast<void>(argument.release());  // Run now owns it.
    }
    return started;
}

}  // namespace vantry
