// Every section of whatever message is read can be taken apart, and the message written again.

#include <deque>

#include "memory_stream.h"
#include "transport/frame/frame.h"
#include "wire/property_message.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    vantry::fuzz::MemoryStream stream(data, size);
    vantry::PropertyMessage message;
    if (!message.ReadFrom(stream)) {
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
