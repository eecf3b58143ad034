#include "runtime/native_thread.h"

#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <utility>

#include "runtime/lock.h"

namespace vantry {
namespace {

constexpr std::uint32_t kCancellationGraceMilliseconds = 200;

bool ApplyNice(pid_t thread, int niceOffset) {
    const int own = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));
    return setpriority(PRIO_PROCESS, static_cast<id_t>(thread), own + niceOffset) == 0;
}

/// A latch that isn't counted among the hub's live event objects.
class Latch {
public:
    Latch() {
        pthread_condattr_t attributes;
        pthread_condattr_init(&attributes);
        pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
        pthread_cond_init(&condition, &attributes);
        pthread_condattr_destroy(&attributes);
    }
    ~Latch() { pthread_cond_destroy(&condition); }
    Latch(const Latch&) = delete;
    Latch& operator=(const Latch&) = delete;

    void Open() {
        ScopedLock guard(lock);
        open = true;
        pthread_cond_broadcast(&condition);
    }

    void Wait() {
        ScopedLock guard(lock);
        while (!open) {
            pthread_cond_wait(&condition, lock.Section());
        }
    }

    [[nodiscard]] bool Wait(std::uint32_t milliseconds) {
        timespec deadline{};
        clock_gettime(CLOCK_MONOTONIC, &deadline);
        deadline.tv_sec += static_cast<time_t>(milliseconds / 1000);
        deadline.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000;
        if (deadline.tv_nsec >= 1'000'000'000) {
            deadline.tv_nsec -= 1'000'000'000;
            ++deadline.tv_sec;
        }
        ScopedLock guard(lock);
        while (!open &&
               pthread_cond_timedwait(&condition, lock.Section(), &deadline) != ETIMEDOUT) {
        }
        return open;
    }

private:
    Lock lock;
    bool open GUARDED_BY(lock) = false;
    pthread_cond_t condition;
};

}  // namespace

/// Shared by the thread and its owner, so that an abandoned thread keeps what it stands on.
struct NativeThread::State {
    std::function<void()> body;
    Latch go;
    Latch end;
    Lock lock;
    pid_t thread GUARDED_BY(lock) = 0;
    int niceOffset GUARDED_BY(lock) = 0;
};

NativeThread::~NativeThread() { Join(); }

bool NativeThread::StartSuspended(std::function<void()> body, int niceOffset,
                                  std::size_t stackBytes) {
    state = std::make_shared<State>();
    state->body = std::move(body);
    {
        ScopedLock guard(state->lock);
        state->niceOffset = niceOffset;
    }
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    if (stackBytes != 0) {
        pthread_attr_setstacksize(&attributes, stackBytes);
    }
    auto argument = std::make_unique<std::shared_ptr<State>>(state);
    const int error = pthread_create(&handle, &attributes, &NativeThread::Run, argument.get());
    pthread_attr_destroy(&attributes);
    if (error != 0) {
        state.reset();
        return false;
    }
    static_cast<void>(argument.release());  // Run owns it from here on.
    return true;
}

void NativeThread::Resume() {
    const std::shared_ptr<State> mine = state;
    mine->go.Open();
}

bool NativeThread::Start(std::function<void()> body) {
    if (!StartSuspended(std::move(body))) {
        return false;
    }
    Resume();
    return true;
}

void* NativeThread::Run(void* argument) {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    const std::unique_ptr<std::shared_ptr<State>> owned(
        static_cast<std::shared_ptr<State>*>(argument));
    const std::shared_ptr<State> mine = *owned;
    mine->go.Wait();
    {
        ScopedLock guard(mine->lock);
        mine->thread = static_cast<pid_t>(syscall(SYS_gettid));
        if (mine->niceOffset != 0) {
            ApplyNice(mine->thread, mine->niceOffset);
        }
    }
    // A forced end unwinds through here, so the latch opens in a destructor.
    struct OpenAtEnd {
        Latch& latch;
        ~OpenAtEnd() { latch.Open(); }
    } openAtEnd{mine->end};
    mine->body();
    mine->body = nullptr;
    return nullptr;
}

bool NativeThread::SetNiceOffset(int niceOffset) {
    if (!state) {
        return true;
    }
    ScopedLock guard(state->lock);
    state->niceOffset = niceOffset;
    return state->thread == 0 || ApplyNice(state->thread, niceOffset);
}

bool NativeThread::WaitForEnd(std::uint32_t milliseconds) const {
    return !state || state->end.Wait(milliseconds);
}

void NativeThread::Join() {
    if (state) {
        pthread_join(handle, nullptr);
        state.reset();
    }
}

void NativeThread::Terminate() {
    if (!state) {
        return;
    }
    if (!WaitForEnd(0)) {
        pthread_cancel(handle);
    }
    if (WaitForEnd(kCancellationGraceMilliseconds)) {
        Join();
        return;
    }
    pthread_detach(handle);
    state.reset();
}

}  // namespace vantry
