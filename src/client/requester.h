#pragma once

#include <deque>
#include <memory>

#include "client/channel.h"
#include "client/question.h"
#include "client/turn.h"
#include "runtime/event.h"
#include "runtime/lock.h"

namespace vantry::client {

/// Asks questions over a channel, one at a time. Any thread may ask but that of the channel.
class Requester {
public:
    explicit Requester(Channel& channelToAsk) : channel(channelToAsk) {}

    /// Waits for the answer, and returns its records. A question that isn't answered by the
    /// deadline, or wrongly, costs the connection: what comes later would be taken for the answer
    /// of another question.
    Result<std::deque<PropertyResponse>> Ask(const Question& question, const Deadline& deadline);
    /// Asks for these, with several questions if they are many.
    Result<std::deque<PropertyResponse>> AskAll(std::deque<PropertyRequest> requests,
                                                const Deadline& deadline);

    /// The channel has received this.
    void TakeAnswer(std::unique_ptr<ReceivedMessage> message);
    /// The channel has lost its connection, and what was asked isn't answered any more.
    void GiveUp() { answered.Set(); }

private:
    Result<std::unique_ptr<ReceivedMessage>> WaitForAnswer(const Deadline& deadline);

    Channel& channel;
    /// Held from a question to its answer.
    Turn asking;
    Lock lock;
    std::unique_ptr<ReceivedMessage> answer GUARDED_BY(lock);
    Event answered{true};
};

}  // namespace vantry::client
