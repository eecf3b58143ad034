// One question at a time is sent, because answers have no reference to their question. The thread
// of the channel passes an answer to the thread that waits in Ask. A question without an answer by
// the deadline, or with an answer to something else, leaves the order of answers unknown, so the
// connection is replaced.

#include "client/requester.h"

#include <iterator>
#include <utility>

#include "client/travel.h"

namespace vantry::client {

Result<std::deque<PropertyResponse>> Requester::Ask(const Question& question,
                                                    const Deadline& deadline) {
    const ScopedTurn turn(asking, deadline);
    if (!turn) {
        return Error{ErrorCode::TimedOut, "the hub did not answer the questions before in time"};
    }
    {
        ScopedLock guard(lock);
        answer.reset();
        answered.Reset();
    }
    const Outcome sent = channel.Send(question.Message(), deadline);
    if (!sent) {
        return sent.error();
    }
    const auto received = WaitForAnswer(deadline);
    if (!received) {
        return received.error();
    }
    std::deque<PropertyResponse> records;
    (*received)->message.DecodeGetResponses(records);
    if (!question.IsAnsweredBy((*received)->message, records)) {
        channel.Restart();
        return Error{ErrorCode::NoConnection,
                     "the hub's answer didn't belong to the question; connecting anew"};
    }
    return records;
}

Result<std::unique_ptr<ReceivedMessage>> Requester::WaitForAnswer(const Deadline& deadline) {
    const bool came = answered.Wait(deadline.Left());
    {
        ScopedLock guard(lock);
        if (answer) {
            return std::move(answer);
        }
    }
    if (came) {
        return Error{ErrorCode::NoConnection, channel.WhyDown().text};
    }
    channel.Restart();
    return Error{ErrorCode::TimedOut, "the hub did not answer in time"};
}

Result<std::deque<PropertyResponse>> Requester::AskAll(std::deque<PropertyRequest> requests,
                                                       const Deadline& deadline) {
    std::deque<PropertyResponse> all;
    for (const std::deque<PropertyRequest>& part : InParts(std::move(requests))) {
        auto records = Ask(Question::List(part), deadline);
        if (!records) {
            return records.error();
        }
        all.insert(all.end(), std::make_move_iterator(records->begin()),
                   std::make_move_iterator(records->end()));
    }
    return all;
}

void Requester::TakeAnswer(std::unique_ptr<ReceivedMessage> message) {
    {
        ScopedLock guard(lock);
        answer = std::move(message);
    }
    answered.Set();
}

}  // namespace vantry::client
