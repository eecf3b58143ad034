#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <string_view>
#include <vector>

#include "client/announcements.h"
#include "client/channel.h"
#include "client/requester.h"
#include "client/turn.h"
#include "runtime/event.h"

namespace vantry::client {

/// The owner's side of a Hub: announces properties, tells their changes and takes writes. Any
/// thread may call the operations.
class Owner {
public:
    using ErrorCallback = std::function<void(const Error&)>;

    Owner(Channel& channel, Requester& requester, ErrorCallback onError);

    /// Waits until the hub knows the properties. Without a connection they are announced when there
    /// is one again. On any other failure none of them is announced.
    Outcome Announce(const std::vector<Announcement>& properties, const Deadline& deadline);
    /// Tells the new value, now or when there is a connection again. An error if the hub has ended
    /// the last few connections while the properties were announced on them.
    Outcome Change(const PropertyId& id, const std::string& value, const Deadline& deadline);
    Outcome Withdraw(const PropertyId& id, const Deadline& deadline);
    /// Runs the handlers of these writes, and tells what they have changed, which waits for so long
    /// at most.
    void TakeWrites(const std::deque<PropertySetRequest>& writes, std::uint32_t milliseconds);

    /// Makes all properties those of this connection, before anybody else uses it. What arrives
    /// meanwhile without being an answer is given to `other`.
    Outcome Restore(FrameSocket& socket, std::uint32_t milliseconds,
                    const std::function<void(std::unique_ptr<ReceivedMessage>)>& other);
    /// Tells what hasn't been told yet; called when the connection has come up.
    Outcome TellNews(const Deadline& deadline);
    /// Announces what couldn't be announced before; called when the connection has come up, but not
    /// on the thread that receives.
    void AnnounceLeftOvers(const Deadline& deadline);
    /// Ends the pauses: the program is about to end.
    void Stop() { ending.Set(); }

private:
    using AskFunction = std::function<Result<std::deque<PropertyResponse>>(const Question&)>;
    using SendFunction = std::function<Outcome(const PropertyMessage&)>;
    struct Way {
        AskFunction ask;
        SendFunction send;
    };

    static Outcome Report(const std::vector<Announcement>& properties, std::string_view status,
                          const SendFunction& send);
    Way OverChannel(const Deadline& deadline);
    Outcome TakePossession(const std::vector<Announcement>& properties, const Way& way);
    void RunHandler(const PropertySetRequest& write);

    Channel& channel;
    Requester& requester;
    const ErrorCallback onError;
    Announcements announcements;
    /// Held from entering a change to telling it, so that the latest value is told last.
    Turn telling;
    /// Held while properties are announced, so that none is announced twice at a time.
    Turn announcing;
    std::atomic<int> failedRestorations{0};
    Event ending{false};
};

}  // namespace vantry::client
