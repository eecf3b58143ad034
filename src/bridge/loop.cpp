// The loop of the program: epoll for descriptors, an ordered set for timers, and an eventfd that
// wakes it for jobs of other threads.
//
// A reaction may watch and forget descriptors, its own included, so it is copied before it is
// called, and an event of a descriptor that has been forgotten meanwhile is skipped.

#include "bridge/loop.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <limits>

#include "runtime/clock.h"

namespace vantry::bridge {
namespace {

constexpr std::uint32_t EventsFor(bool forWriting) {
    return forWriting ? EPOLLIN | EPOLLOUT : EPOLLIN;
}

}  // namespace

void Loop::Timer::Set(std::uint64_t milliseconds) {
    Cancel();
    due = NowNanoseconds() + milliseconds * kNanosecondsPerMillisecond;
    loop.timers.emplace(due, this);
}

void Loop::Timer::SetEarlier(std::uint64_t milliseconds) {
    if (!IsSet() || NowNanoseconds() + milliseconds * kNanosecondsPerMillisecond < due) {
        Set(milliseconds);
    }
}

void Loop::Timer::Cancel() {
    if (IsSet()) {
        loop.timers.erase({due, this});
        due = 0;
    }
}

Loop::Loop() : poll(epoll_create1(EPOLL_CLOEXEC)), wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    epoll_event event{};
    event.events = EPOLLIN;
    event.data.fd = wake;
    epoll_ctl(poll, EPOLL_CTL_ADD, wake, &event);
}

Loop::~Loop() {
    close(wake);
    close(poll);
}

void Loop::Watch(int descriptor, bool forWriting, Reaction reaction) {
    epoll_event event{};
    event.events = EventsFor(forWriting);
    event.data.fd = descriptor;
    const bool isNew =
        watched.insert_or_assign(descriptor, Watched{forWriting, std::move(reaction)}).second;
    if (epoll_ctl(poll, isNew ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, descriptor, &event) != 0) {
        // The descriptor was closed and its number given to another one, or the other way round.
        epoll_ctl(poll, isNew ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, descriptor, &event);
    }
}

void Loop::WatchForWriting(int descriptor, bool forWriting) {
    const auto found = watched.find(descriptor);
    if (found == watched.end() || found->second.forWriting == forWriting) {
        return;
    }
    found->second.forWriting = forWriting;
    epoll_event event{};
    event.events = EventsFor(forWriting);
    event.data.fd = descriptor;
    epoll_ctl(poll, EPOLL_CTL_MOD, descriptor, &event);
}

void Loop::Forget(int descriptor) {
    if (watched.erase(descriptor) != 0) {
        epoll_ctl(poll, EPOLL_CTL_DEL, descriptor, nullptr);
    }
}

void Loop::Post(std::function<void()> job) {
    {
        ScopedLock guard(lock);
        posted.push_back(std::move(job));
    }
    const std::uint64_t one = 1;
    static_cast<void>(!write(wake, &one, sizeof one));
}

void Loop::Stop() {
    {
        ScopedLock guard(lock);
        isStopped = true;
    }
    Post([] {});
}

int Loop::MillisecondsToNextTimer() const {
    if (timers.empty()) {
        return -1;
    }
    const std::uint64_t now = NowNanoseconds();
    const std::uint64_t due = timers.begin()->first;
    const std::uint64_t left = due > now ? (due - now) / kNanosecondsPerMillisecond + 1 : 0;
    return static_cast<int>(std::min<std::uint64_t>(left, std::numeric_limits<int>::max()));
}

void Loop::Wait(int milliseconds) {
    std::array<epoll_event, 64> events{};
    const int count =
        epoll_wait(poll, events.data(), static_cast<int>(events.size()), milliseconds);
    for (int index = 0; index < count; ++index) {
        const epoll_event& event = events[static_cast<std::size_t>(index)];
        if (event.data.fd == wake) {
            std::uint64_t ignored = 0;
            static_cast<void>(!read(wake, &ignored, sizeof ignored));
        } else if (const auto found = watched.find(event.data.fd); found != watched.end()) {
            const Reaction react = found->second.react;
            react((event.events & ~static_cast<std::uint32_t>(EPOLLOUT)) != 0,
                  (event.events & EPOLLOUT) != 0);
        }
    }
}

void Loop::RunPosted() {
    std::vector<std::function<void()>> jobs;
    {
        ScopedLock guard(lock);
        jobs.swap(posted);
    }
    for (const std::function<void()>& job : jobs) {
        job();
    }
}

void Loop::RunTimers() {
    const std::uint64_t now = NowNanoseconds();
    while (!timers.empty() && timers.begin()->first <= now) {
        Timer* const timer = timers.begin()->second;
        timer->Cancel();
        timer->react();
    }
}

void Loop::Run() {
    for (;;) {
        RunPosted();
        {
            ScopedLock guard(lock);
            if (isStopped) {
                return;
            }
        }
        RunTimers();
        Wait(MillisecondsToNextTimer());
    }
}

}  // namespace vantry::bridge
