#pragma once

#include <cstdint>
#include <memory>

#include "transport/session/data_handler.h"

namespace vantry {

/// Recognises frames by their magic, which must be at the start of the window. It has no state.
class FramedJsonHandler final : public DataHandler {
public:
    std::uint32_t Recognise(const std::shared_ptr<PeekStream>& stream) override;
    std::shared_ptr<DataObject> Open(const std::shared_ptr<PeekStream>& stream) override;
    std::uint32_t MinimumBytes() const override;
};

}  // namespace vantry
