// The look-ahead window.
//
// A session looks for the start of a message in a window of some bytes. The window never reads more
// than it must from the wrapped stream, because Read would have to return it later in other
// portions than the peer's. Each Peek makes a new window, by one of three cases. In the drawing,
// `.` is a consumed byte, `#` one that isn't consumed, and `+` a new one:
//
//   1. nothing is buffered         [........]  ->  [++++++++]  one Read
//   2. Read has consumed a part    [...#####]  ->  [#####   ]  the rest, no Read
//   3. nothing was consumed
//      from a window with space    [#####   ]  ->  [#####+++]  filled up by one Read
//      from a full window          [########]  ->  [####++++]  the older half is dropped
//
// In the third case the session has found nothing in what it saw, so it needs to see more. A full
// window moves by a half, so a pattern of at most half its size is never missed. A window counts as
// full if it had, when it was made, as many bytes as are wanted now.

#include "transport/stream/peek_stream.h"

#include <utility>

namespace vantry {

PeekStream::PeekStream(std::shared_ptr<Stream> wrapped)
    : Stream(wrapped->Id(), wrapped->IsExternal(), wrapped->SendLock()),
      inner(std::move(wrapped)) {}

std::int32_t PeekStream::Read(std::uint8_t* buffer, std::int32_t length) {
    std::int32_t got = 0;
    if (buffered && length > 0) {
        got = static_cast<std::int32_t>(window->Take(buffer, static_cast<std::uint32_t>(length)));
        buffered = window->Untaken() != 0;
    }
    if (got >= length) {
        return got;
    }
    const std::int32_t more = inner->Read(buffer + got, length - got);
    if (got == 0) {
        return more;
    }
    return more < 0 ? got : got + more;
}

std::int32_t PeekStream::Write(const std::uint8_t* buffer, std::int32_t length) {
    return inner->Write(buffer, length);
}

bool PeekStream::Peek(std::int32_t size) {
    Bytes bytes = TakeMemory(size);
    const std::int32_t count = Refill(bytes.get(), size);
    if (count <= 0) {
        return false;
    }
    Adopt(std::move(bytes), size, count);
    return true;
}

std::int32_t PeekStream::Refill(std::uint8_t* bytes, std::int32_t size) {
    if (!buffered) {
        return inner->Read(bytes, size);
    }
    if (window->IsTouched()) {
        return static_cast<std::int32_t>(window->Take(bytes, static_cast<std::uint32_t>(size)));
    }
    return SlideOrTopUp(bytes, size);
}

std::int32_t PeekStream::SlideOrTopUp(std::uint8_t* bytes, std::int32_t size) {
    std::int32_t want = size;
    if (lastPeek == size) {
        want = size / 2;
        window->Take(bytes, static_cast<std::uint32_t>(want));
    }
    const auto kept =
        static_cast<std::int32_t>(window->Take(bytes, static_cast<std::uint32_t>(want)));
    if (kept == size) {
        return kept;
    }
    const std::int32_t more = inner->Read(bytes + kept, size - kept);
    // A Read that returns nothing counts as the end; otherwise the session would examine the same
    // window again and again.
    return more <= 0 ? more : kept + more;
}

std::int32_t PeekStream::PeekCopy(std::uint8_t* buffer, std::int32_t length) {
    if (!window) {
        Fill(lastPeek);
    }
    if (!window) {
        return StreamCode::kEndOfData;
    }
    return static_cast<std::int32_t>(window->Look(buffer, static_cast<std::uint32_t>(length)));
}

std::int32_t PeekStream::Fill(std::int32_t length) {
    Bytes bytes = TakeMemory(length);
    const std::int32_t count = inner->Read(bytes.get(), length);
    if (count > 0) {
        Adopt(std::move(bytes), length, count);
    }
    return count;
}

PeekStream::Bytes PeekStream::TakeMemory(std::int32_t size) {
    return spare && spareSize == size
               ? std::move(spare)
               : std::make_unique_for_overwrite<std::uint8_t[]>(static_cast<std::size_t>(size));
}

void PeekStream::Adopt(Bytes bytes, std::int32_t size, std::int32_t count) {
    if (window) {
        spare = window->Release();
        spareSize = windowSize;
    }
    windowSize = size;
    window.emplace(std::move(bytes), static_cast<std::uint32_t>(count));
    buffered = true;
    lastPeek = count;
}

}  // namespace vantry
