#include "transport/session/acceptor.h"

#include <utility>

#include "platform/exhaustion.h"

namespace vantry {
namespace {

constexpr std::uint32_t kPriority = 249;

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
    // Join the thread before the members it uses are destroyed.
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
