#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <string_view>
#include <vector>

#include "client/announcements.h"
#include "client/channel.h"
#include "client/heartbeats.h"
#include "client/requester.h"
#include "client/turn.h"
#include "client/worker.h"
#include "runtime/event.h"

namespace vantry::client {

/// The part of a Hub for the program's own properties: announces them, sends their changes, and
/// runs the handlers of writes. All operations are thread-safe.
class Owner {
public:
    using ErrorCallback = std::function<void(const Error&)>;

    /// The time that an operation may take, and the interval of heartbeats, 0 for none.
    struct Timing {
        std::uint32_t deadlineMilliseconds;
        std::uint32_t heartbeatMilliseconds;
    };

    /// The channel and the requester must outlive the object.
    Owner(Channel& channel, Requester& requester, Timing timing, ErrorCallback onError);

    /// Blocks until the hub knows the properties. Without a connection they are announced when
    /// there is one again, and the result is success. After any other failure none of them is
    /// announced.
    Outcome Announce(const std::vector<Announcement>& properties, const Deadline& deadline);
    /// Sends the new value, now or when there is a connection again. Returns NoConnection if the
    /// hub has ended the last few connections while the properties were announced on them.
    Outcome Change(const PropertyId& id, const std::string& value, const Deadline& deadline);
    /// Sends the withdrawal, now or when there is a connection again.
    Outcome Withdraw(const PropertyId& id, const Deadline& deadline);
    /// Runs the handlers of these writes, and sends what they have changed.
    void TakeWrites(const std::deque<PropertySetRequest>& writes);

    /// Announces all properties on a new connection, before it is used for anything else. Messages
    /// that arrive meanwhile and aren't answers are passed to `other`. After a failure the
    /// properties are announced on the next connection. Each step has the time of an operation.
    Outcome Restore(FrameSocket& socket,
                    const std::function<void(std::unique_ptr<ReceivedMessage>)>& other);
    /// Sends the changes and withdrawals that haven't been sent yet. After a failure they stay to
    /// be sent. Blocks until the deadline at most.
    Outcome SendUnsent(const Deadline& deadline);
    /// Announces the properties that couldn't be announced earlier. Called when a connection is
    /// restored, but not on the thread that receives, because it waits for answers.
    void AnnounceLeftOvers(const Deadline& deadline);
    /// Ends the pauses of the other operations, which then fail, and sends last heartbeats, which
    /// say that the program ends its connection. Blocks until the deadline at most.
    void Stop(const Deadline& deadline);

private:
    using AskFunction = std::function<Result<std::deque<PropertyResponse>>(const Question&)>;
    using SendFunction = std::function<Outcome(const PropertyMessage&)>;
    /// The functions by which properties are announced, over the channel or over a new connection.
    struct Way {
        AskFunction ask;
        SendFunction send;
    };

    static Outcome Report(const std::vector<Announcement>& properties, std::string_view status,
                          const SendFunction& send);
    Way OverChannel(const Deadline& deadline);
    /// Announces the properties so that this connection is their owner. If the hub has one of them
    /// already, withdraws all of them first and waits for two ticks of the hub. Blocks for up to
    /// 0.55 s, two questions and what sending takes. A failure may leave the properties withdrawn.
    Outcome ReplaceEarlierAnnouncement(const std::vector<Announcement>& properties, const Way& way);
    void RunHandler(const PropertySetRequest& write);
    /// Changes the value, and notes the time for the heartbeat.
    Outcome SetValue(const PropertyId& id, const std::string& value);
    /// Returns the properties with those heartbeats that they need, and notes all of them as
    /// announced.
    std::vector<Announcement> WithHeartbeats(const std::vector<Announcement>& properties);
    /// Sends the heartbeats. `ends` means that there are no further ones.
    void Beat(bool ends, const Deadline& deadline);

    Channel& channel;
    Requester& requester;
    const Timing timing;
    const ErrorCallback onError;
    Announcements announcements;
    Heartbeats heartbeats;
    /// Sends the heartbeats, apart from the handlers, which may take long. Its thread is started
    /// with the first announcement.
    Worker beating;
    std::atomic<bool> isBeating{false};
    /// Guards an activity: it is held from taking the unsent changes until they are sent, so that
    /// the latest value is sent last.
    Turn telling;
    /// Guards an activity: it is held while properties are announced, so that none is announced by
    /// two threads at the same time.
    Turn announcing;
    std::atomic<int> failedRestorations{0};
    Event ending{false};
};

}  // namespace vantry::client
