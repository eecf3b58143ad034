// A session over any bytes ends, and every message that it finds was asked for by a magic.

#include <memory>
#include <string_view>

#include "memory_stream.h"
#include "runtime/thread_reaper.h"
#include "transport/session/data_handler_manager.h"
#include "transport/session/framed_json_handler.h"
#include "wire/json_message.h"

namespace {

class Silent final : public vantry::SessionLog {
public:
    void Write(std::string_view) override {}
};

class Reading final : public vantry::MessageVisitor {
public:
    std::uint32_t ProcessMessage(std::shared_ptr<vantry::Stream> stream) override {
        vantry::JsonMessage message;
        return message.ReadFrom(*stream) ? 1 : 0;
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static vantry::DataHandlerManager& manager = *[] {
        static vantry::HubStatus status;
        static vantry::DataHandlerManager made(std::make_shared<Reading>(), nullptr,
                                               std::make_shared<Silent>(), 249, status);
        made.AddHandler(std::make_unique<vantry::FramedJsonHandler>());
        return &made;
    }();
    const auto stream = std::make_shared<vantry::PeekStream>(
        std::make_shared<vantry::fuzz::MemoryStream>(data, size));
    while (manager.ProcessNext(stream) != 0) {
    }
    return 0;
}
