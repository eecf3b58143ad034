#include "transport/session/acceptor.h"

#include <utility>

namespace vantry {
namespace {

constexpr std::uint32_t kPriority = 249;
/// How long to leave peers waiting when the system has no thread for another session.
constexpr std::uint32_t kExhaustedMilliseconds = 50;

}  // namespace

Acceptor::Acceptor(std::shared_ptr<Listener> source, std::shared_ptr<DataHandlerManager> sessions,
                   ThreadReaper& reaper)
    : thread(reaper.MakeThread(
          [](void* self) -> std::uint32_t {
              static_cast<Acceptor*>(self)->Run();
              return 0;
          },
          kPriority, "acceptor")),
      listener(std::move(source)),
      manager(std::move(sessions)) {
    listener->Open();
    if (!thread->Start(this)) {
        stopped.Set();
    }
}

Acceptor::~Acceptor() {
    running = false;
    wake.Set();
    listener->Close();
    stopped.Wait();
    // The thread is gone for good before what it stands on goes.
    thread->Stop();
}

void Acceptor::OnStream(std::shared_ptr<Stream> stream) {
    if (!manager->AddSession(std::make_shared<PeekStream>(std::move(stream)))) {
        static_cast<void>(wake.Wait(kExhaustedMilliseconds));
    }
}

void Acceptor::Run() {
    while (running) {
        if (listening) {
            AcceptOne();
        } else {
            wake.Wait();
        }
    }
    stopped.Set();
}

void Acceptor::AcceptOne() {
    if (std::shared_ptr<Stream> stream = listener->Accept()) {
        OnStream(std::move(stream));
        return;
    }
    listening = false;
    listener->Close();
}

}  // namespace vantry
