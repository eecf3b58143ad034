#pragma once

#include <deque>
#include <memory>

#include "client/channel.h"
#include "client/question.h"
#include "client/turn.h"
#include "runtime/event.h"
#include "runtime/lock.h"

namespace vantry::client {

/// Sends requests for values over a channel, one at a time, and waits for the answers. Any thread
/// except that of the channel may call Ask and AskAll.
class Requester {
public:
    explicit Requester(Channel& channelToAsk) : channel(channelToAsk) {}

    /// Blocks until the answer has arrived, and returns its records. Returns TimedOut if it doesn't
    /// arrive by the deadline, and NoConnection if the connection is lost or the answer doesn't
    /// belong to the question. Both restart the channel, because a late answer would be taken for
    /// that of the next question.
    Result<std::deque<PropertyResponse>> Ask(const Question& question, const Deadline& deadline);
    /// Does the same for a list of any length, with several questions if necessary.
    Result<std::deque<PropertyResponse>> AskAll(std::deque<PropertyRequest> requests,
                                                const Deadline& deadline);

    /// Passes on an answer that the channel has received. Called by the thread of the channel.
    void TakeAnswer(std::unique_ptr<ReceivedMessage> message);
    /// Makes a waiting Ask fail, because the channel has lost its connection.
    void GiveUp() { answered.Set(); }

private:
    Result<std::unique_ptr<ReceivedMessage>> WaitForAnswer(const Deadline& deadline);

    Channel& channel;
    /// Guards an activity: it is held from sending a question to receiving its answer, so that
    /// there is at most one unanswered question.
    Turn asking;
    Mutex lock;
    std::unique_ptr<ReceivedMessage> answer GUARDED_BY(lock);
    Event answered{true};
};

}  // namespace vantry::client
