#pragma once

#include <boost/asio/buffer.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "gateway/any_connection.h"
#include "gateway/http_message.h"
#include "gateway/response_text.h"
#include "gateway/statistics.h"

// Writes the responses of one connection. A source of a body is asked for a part when the socket
// has taken the one before, so a slow client holds one part; each part that is taken gives the
// client more time. A source that has nothing at present is left alone until Wake.

namespace vantry::gateway {

/// What the head of a request decides about its response.
struct ResponseRules {
    bool keepAlive = false;
    /// Whether the client speaks HTTP/1.0, which has no chunks.
    bool isOld = false;
    /// Whether only the head is asked for.
    bool wantsNoBody = false;
};

/// Used by the thread of the server only. Stream is a Socket or a TlsStream.
template <typename Stream>
class ResponseWriter {
public:
    /// `whenWritten` is called with whether the connection can take another request. All references
    /// must outlive the writer; `owner` is closed if writing fails.
    ResponseWriter(Stream& opened, AnyConnection& itsOwner, Statistics& counted,
                   std::function<void(bool)> whenWritten)
        : stream(opened), owner(itsOwner), statistics(counted), written(std::move(whenWritten)) {}
    ~ResponseWriter() { EndResponse(); }
    ResponseWriter(const ResponseWriter&) = delete;
    ResponseWriter& operator=(const ResponseWriter&) = delete;

    /// Begins to write a response. The one before must have been written.
    void Send(Response response, const ResponseRules& rules) {
        ++statistics.responses[response.status];
        const bool hasSource = response.source != nullptr;
        source = rules.wantsNoBody ? nullptr : std::move(response.source);
        isChunked = source != nullptr && !rules.isOld;
        keepAlive = rules.keepAlive && !IsEndless() && (source == nullptr || isChunked);
        out = HeadText(response, {isChunked, keepAlive, hasSource});
        if (!rules.wantsNoBody) {
            out += response.body;
        }
        if (IsEndless()) {
            ++statistics.streams;
        }
        owner.Allow(kStallTime);
        Write(0);
    }

    /// Asks a source that had nothing again.
    void Wake() {
        if (isParked) {
            isParked = false;
            WriteMore();
        }
    }

    /// Returns whether the body that is being written has no end.
    bool IsEndless() const { return source != nullptr && source->IsEndless(); }

private:
    static constexpr std::chrono::seconds kStallTime{20};

    /// Writes what is in `out` from this place on.
    void Write(std::size_t from) {
        if (from == out.size()) {
            WriteMore();
            return;
        }
        stream.async_write_some(asio::buffer(out) + from,
                                owner.Then([this, from](auto error, std::size_t count) {
                                    if (error) {
                                        owner.Close();
                                        return;
                                    }
                                    statistics.bytesSent += count;
                                    owner.Allow(kStallTime);
                                    Write(from + count);
                                }));
    }

    void WriteMore() {
        if (source == nullptr) {
            written(keepAlive);
            return;
        }
        std::optional<std::string> part = source->Next();
        if (part && part->empty()) {
            isParked = true;
            owner.deadline = Clock::time_point::max();
            return;
        }
        owner.Allow(kStallTime);
        out = isChunked ? ChunkText(part.value_or("")) : part.value_or("");
        if (!part) {
            EndResponse();
        }
        Write(0);
    }

    void EndResponse() {
        if (IsEndless()) {
            --statistics.streams;
        }
        source.reset();
    }

    Stream& stream;
    AnyConnection& owner;
    Statistics& statistics;
    const std::function<void(bool)> written;
    bool keepAlive = false;
    bool isChunked = false;
    /// Whether the source had nothing to send.
    bool isParked = false;
    std::unique_ptr<BodySource> source;
    std::string out;
};

}  // namespace vantry::gateway
