#pragma once

#include <atomic>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "client/property.h"
#include "client/result.h"
#include "client/worker.h"
#include "history/history.h"

namespace vantry::gateway {

/// A question about the past of a property.
struct HistoryQuestion {
    client::PropertyId id;
    history::Span span;
    /// The length of the steps to sum up; nothing for the changes themselves.
    std::optional<history::Moment> step;
    std::size_t most = 1'000;

    /// Reads the parameters `component`, `group` and `guid`; `since` and `until` in seconds since
    /// 1970, or before now if they aren't above 0 (an hour ago and now if they are missing); `step`
    /// in seconds, or `most`. Returns Refused for anything else.
    static client::Result<HistoryQuestion> From(const std::map<std::string, std::string>& query);
};

/// Answers questions about the past on a thread of its own, because they wait for the disk. Post,
/// Start and IsThere are for the thread of the server.
class HistoryReader {
public:
    /// A status of HTTP and a JSON text.
    struct Answer {
        unsigned status;
        std::string body;
    };

    /// The file is that of the recorder; it need not exist.
    explicit HistoryReader(std::filesystem::path recorded) : file(std::move(recorded)) {}
    ~HistoryReader() { Stop(); }
    HistoryReader(const HistoryReader&) = delete;
    HistoryReader& operator=(const HistoryReader&) = delete;

    /// Starts the thread. Returns NoConnection if the system has none.
    client::Outcome Start();
    /// Returns whether there is a file at present.
    bool IsThere() const;
    /// Queues a question. `done` is called on another thread. Returns false if too many questions
    /// wait already, and calls nothing then.
    [[nodiscard]] bool Post(const HistoryQuestion& question, std::function<void(Answer)> done);
    /// Blocks until a question that is being answered is, and drops those that wait.
    void Stop() { worker.Stop(); }

private:
    Answer AnswerTo(const HistoryQuestion& question) const;

    const std::filesystem::path file;
    std::atomic<std::size_t> waiting{0};
    client::Worker worker;
};

}  // namespace vantry::gateway
