// Threads that their owner can wait for, and end by force.
//
// POSIX has no portable wait for a thread's end with a time-out, so each thread opens a latch when
// its body has ended, whether it returned or was cancelled. Threads run with cancellation disabled
// and enable it where they block (Interruptible); one that never blocks there can't be cancelled,
// so Terminate detaches it after a grace period. Everything that such a thread still uses of this
// class is in State, which the thread and its owner share; a stack of KeptStacks is never given
// back then, because nobody can tell when the thread has left it. The thread and its creator both
// store its handle, since either may be the first to go on, and the body may end before the creator
// does.

#include "runtime/native_thread.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <utility>

#include "runtime/clock.h"
#include "runtime/condition.h"
#include "runtime/lock.h"

namespace vantry {
namespace {

constexpr std::uint32_t kCancellationGraceMilliseconds = 200;
/// What the kernel keeps of the name of a thread.
constexpr std::size_t kLongestName = 15;

bool ApplyNice(pid_t thread, int niceOffset) {
    const int own = getpriority(PRIO_PROCESS, static_cast<id_t>(getpid()));
    return setpriority(PRIO_PROCESS, static_cast<id_t>(thread), own + niceOffset) == 0;
}

/// A gate that opens once. It isn't an EventFlags because LiveObjectCounters counts those.
class Latch {
public:
    void Open() {
        ScopedLock guard(lock);
        open = true;
        opened.WakeAll();
    }

    [[nodiscard]] bool Wait(std::uint32_t milliseconds) {
        const std::uint64_t deadline = NowNanoseconds() + milliseconds * kNanosecondsPerMillisecond;
        ScopedLock guard(lock);
        while (!open && NowNanoseconds() < deadline) {
            opened.WaitUntil(lock, deadline);
        }
        return open;
    }

private:
    Mutex lock;
    bool open GUARDED_BY(lock) = false;
    Condition opened;
};

}  // namespace

/// Shared by the thread and its owner: if the thread is abandoned, this state stays alive until it
/// ends.
struct NativeThread::State {
    std::function<void()> body;
    std::string name;
    /// Null if the stack is one of the C library's.
    std::shared_ptr<KeptStacks> stacks;
    void* stack = nullptr;
    std::atomic<pthread_t> handle{};
    Latch end;
    Mutex lock;
    pid_t thread GUARDED_BY(lock) = 0;
    int niceOffset GUARDED_BY(lock) = 0;

    /// Called when no thread uses the stack.
    void GiveStackBack() {
        if (stacks) {
            stacks->GiveBack(stack);
            stacks.reset();
        }
    }
};

NativeThread::~NativeThread() { Join(); }

bool NativeThread::Start(std::function<void()> body, const Traits& traits) {
    const std::shared_ptr<State> made = std::make_shared<State>();
    made->body = std::move(body);
    made->name = traits.name.substr(0, kLongestName);
    {
        ScopedLock guard(made->lock);
        made->niceOffset = traits.niceOffset;
    }
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    if (traits.stackBytes != 0) {
        pthread_attr_setstacksize(&attributes, traits.stackBytes);
    } else if (traits.stacks && (made->stack = traits.stacks->Take()) != nullptr) {
        made->stacks = traits.stacks;
        pthread_attr_setstack(&attributes, made->stack, made->stacks->Bytes());
    }
    auto argument = std::make_unique<std::shared_ptr<State>>(made);
    state = made;
    pthread_t created{};
    const int error = pthread_create(&created, &attributes, &NativeThread::Run, argument.get());
    pthread_attr_destroy(&attributes);
    if (error != 0) {
        made->GiveStackBack();
        state.reset();
        return false;
    }
    static_cast<void>(argument.release());  // Run now owns it.
    made->handle = created;
    return true;
}

void* NativeThread::Run(void* argument) {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    const std::unique_ptr<std::shared_ptr<State>> owned(
        static_cast<std::shared_ptr<State>*>(argument));
    const std::shared_ptr<State> mine = *owned;
    mine->handle = pthread_self();
    pthread_setname_np(pthread_self(), mine->name.c_str());
    {
        ScopedLock guard(mine->lock);
        mine->thread = static_cast<pid_t>(syscall(SYS_gettid));
        if (mine->niceOffset != 0) {
            ApplyNice(mine->thread, mine->niceOffset);
        }
    }
    // The latch is opened by a destructor because cancellation unwinds the stack through here.
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
        pthread_join(state->handle, nullptr);
        state->GiveStackBack();
        state.reset();
    }
}

void NativeThread::Terminate() {
    if (!state) {
        return;
    }
    if (!WaitForEnd(0)) {
        pthread_cancel(state->handle);
    }
    if (WaitForEnd(kCancellationGraceMilliseconds)) {
        Join();
        return;
    }
    pthread_detach(state->handle);
    state.reset();
}

}  // namespace vantry
