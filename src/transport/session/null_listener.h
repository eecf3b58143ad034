#pragma once

#include "runtime/event.h"
#include "transport/session/listener.h"

namespace vantry {

/// A listener that no peer can connect to: Accept blocks until Close.
class NullListener final : public Listener {
public:
    [[nodiscard]] std::shared_ptr<Stream> Accept() override {
        released.Wait();
        return nullptr;
    }
    void Open() override {}
    void Close() override { released.Set(); }

private:
    Event released{false};
};

}  // namespace vantry
