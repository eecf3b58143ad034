// Every section of whatever message is read can be taken apart, and the message written again. What
// is taken apart without a tree is what the tree has.

#include <cstdlib>
#include <deque>

#include "memory_stream.h"
#include "support/plain_messages.h"
#include "transport/frame/frame.h"
#include "transport/frame/frame_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vantry::fuzz::MemoryStream stream(data, size);
    std::string text;
    if (ReadFrame(stream, text, vantry::Frame::kMaximumText) != vantry::FrameEnd::Whole) {
        return 0;
    }
    if (!vantry::test::DifferenceToTheTree(text).empty()) {
        std::abort();
    }
    vantry::PropertyMessage message;
    std::string_view failure;
    if (!message.ReadText(text, failure)) {
        return 0;
    }
    std::deque<vantry::PropertyRequest> requests;
    message.DecodeGetRequests(requests);
    message.DecodeSubscribeRequests(requests);
    std::deque<vantry::PropertySetRequest> writes;
    message.DecodeSetRequests(writes);
    std::deque<vantry::PropertyResponse> responses;
    message.DecodeGetResponses(responses);
    message.EncodeSetRequests(std::move(writes));
    message.EncodeGetResponses(std::move(responses));
    static_cast<void>(message.WriteTo(stream));
    return 0;
}
