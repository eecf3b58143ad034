#include "engine/property_engine.h"

#include <algorithm>
#include <utility>

#include "wire/section_keys.h"

namespace vantry {
namespace {

constexpr std::size_t kUsualSubscribers = 20;

bool WantsEverything(const PropertyMessage& request) {
    return request.HasSection(Section::kGetAll) || request.HasSection(Section::kSubscribeAll);
}

bool Subscribes(const PropertyMessage& request) {
    return request.HasSection(Section::kSubscribeRequests) ||
           request.HasSection(Section::kSubscribeAll);
}

bool Reads(const PropertyMessage& request) {
    return WantsEverything(request) || Subscribes(request) ||
           request.HasSection(Section::kGetRequests);
}

}  // namespace

PropertyEngine::PropertyEngine(std::shared_ptr<PropertyStore> propertyStore, ThreadReaper& reaper,
                               std::uint32_t priority, std::shared_ptr<Property> component,
                               Platform& machine)
    : PropertyEngineBase(std::move(propertyStore), reaper, priority, std::move(component)),
      reportRights(machine.settings, OwnComponent().Guid()) {
    subscribers.reserve(kUsualSubscribers);
    StartPublishing();
}

PropertyEngine::~PropertyEngine() {
    stopping = true;
    stopEvent.Set();
    WaitForPublishLoop();
}

std::uint32_t PropertyEngine::ProcessMessage(std::shared_ptr<Stream> stream) {
    auto request = std::make_unique<PropertyMessage>();
    if (!request->ReadFrom(*stream)) {
        return 0;
    }
    return HandleMessage(std::move(stream), std::move(request),
                         std::make_unique<PropertyMessage>());
}

std::uint32_t PropertyEngine::HandleMessage(std::shared_ptr<Stream> stream,
                                            std::unique_ptr<PropertyMessage> request,
                                            std::unique_ptr<PropertyMessage> reply) {
    const bool external = IsExternalStream(*stream);
    // The order of the sections is fixed: each step acts on what those before it have left.
    if (!external && request->HasSection(Section::kSetRequests)) {
        std::deque<PropertySetRequest> writes;
        request->DecodeSetRequests(writes);
        ApplySetRequests(writes);
    }
    // Entered before its values are read: a change between the two would be told to nobody.
    if (Subscribes(*request)) {
        EnterSubscription(stream, *request);
    }
    const bool replyReady = Reads(*request);
    if (replyReady) {
        Answer(*request, external, *reply);
    }
    if (request->HasSection(Section::kGetResponses)) {
        TakeReports(stream, *request);
    }
    if (request->HasSection(Section::kDisconnect)) {
        DropSubscriber(*stream);
        return 0;
    }
    return !replyReady || Send(*stream, *reply) ? 1 : 0;
}

void PropertyEngine::Answer(const PropertyMessage& request, bool external, PropertyMessage& reply) {
    std::deque<PropertyResponse> responses;
    const bool everything = WantsEverything(request);
    if (everything) {
        reply.EncodeGetAllResponse();
        GetEveryProperty(responses);
    } else {
        std::deque<PropertyRequest> reads;
        request.DecodeGetRequests(reads);
        GetProperties(reads, responses);
    }
    if (external) {
        // Who asks for a property by name learns that it is refused; who asks for all sees less.
        rights.Filter(responses, !everything);
    }
    reply.EncodeGetResponses(std::move(responses));
}

void PropertyEngine::EnterSubscription(const std::shared_ptr<Stream>& stream,
                                       const PropertyMessage& request) {
    std::deque<PropertyRequest> wanted;
    request.DecodeSubscribeRequests(wanted);
    ScopedLock guard(subscribersLock);
    const auto subscriber = FindSubscriber(stream->Id());
    if (subscriber == subscribers.end()) {
        subscribers.emplace_back(stream, std::move(wanted));
    } else {
        subscriber->Add(std::move(wanted));
    }
}

void PropertyEngine::TakeReports(const std::shared_ptr<Stream>& stream,
                                 const PropertyMessage& request) {
    std::deque<PropertyResponse> reports;
    request.DecodeGetResponses(reports);
    for (const PropertyResponse& report : reports) {
        TakeReport(report, stream);
    }
}

void PropertyEngine::DropSubscriber(const Stream& stream) {
    ScopedLock guard(subscribersLock);
    const auto subscriber = FindSubscriber(stream.Id());
    if (subscriber == subscribers.end()) {
        return;
    }
    const Lock sendLock = subscriber->SendLock();
    ScopedLock sendGuard(sendLock);
    subscriber->Peer().Close();
    subscribers.erase(subscriber);
}

bool PropertyEngine::Send(Stream& stream, const PropertyMessage& message) {
    MessageFrame frame = message.ToFrame();
    ScopedLock guard(subscribersLock);
    const auto subscriber = FindSubscriber(stream.Id());
    if (subscriber == subscribers.end()) {
        return frame.WriteTo(stream);
    }
    ScopedLock sendGuard(subscriber->SendLock());
    return frame.WriteTo(stream);
}

std::vector<Subscriber>::iterator PropertyEngine::FindSubscriber(std::uint32_t streamId) {
    return std::find_if(subscribers.begin(), subscribers.end(),
                        [&](const Subscriber& subscriber) { return subscriber.Id() == streamId; });
}

}  // namespace vantry
