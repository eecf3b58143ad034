// A frame is its head and its text (see transport/frame/frame.h). The hub drops bytes that don't
// begin with the magic 16 at a time; here such 16 bytes are passed on as a piece of their own.

#include "cli/frames/frame_cutter.h"

#include <algorithm>
#include <cstring>

#include "transport/frame/frame.h"

namespace vantry::cli {

void FrameCutter::Take(std::string_view bytes) {
    while (!bytes.empty()) {
        if (missing == 0) {
            TakeHead(bytes);
        } else {
            TakeText(bytes);
        }
    }
}

void FrameCutter::TakeHead(std::string_view& bytes) {
    const std::size_t wanted = std::min(Frame::kHeadBytes - kept.size(), bytes.size());
    kept += bytes.substr(0, wanted);
    bytes.remove_prefix(wanted);
    const auto* const magic = reinterpret_cast<const char*>(MessageFrameMagic.data());
    if (kept.size() >= Frame::kMagicBytes &&
        std::memcmp(kept.data(), magic, Frame::kMagicBytes) != 0) {
        sink(std::string_view(kept).substr(0, Frame::kMagicBytes), Frame::kMagicBytes);
        kept.erase(0, Frame::kMagicBytes);
        return;
    }
    if (kept.size() < Frame::kHeadBytes) {
        return;
    }
    for (std::size_t byte = 0; byte < Frame::kLengthBytes; ++byte) {
        missing |= std::uint64_t{static_cast<unsigned char>(kept[Frame::kMagicBytes + byte])}
                   << (8 * byte);
    }
    length = Frame::kHeadBytes + missing;
    if (missing == 0) {
        PassOn();
    }
}

void FrameCutter::TakeText(std::string_view& bytes) {
    const auto come = static_cast<std::size_t>(std::min<std::uint64_t>(missing, bytes.size()));
    kept += bytes.substr(0, std::min(come, mostBytes - std::min(mostBytes, kept.size())));
    bytes.remove_prefix(come);
    missing -= come;
    if (missing == 0) {
        PassOn();
    }
}

void FrameCutter::PassOn() {
    sink(kept, length);
    kept.clear();
    kept.shrink_to_fit();
    length = 0;
}

void FrameCutter::End() {
    if (!kept.empty()) {
        length = std::max<std::uint64_t>(length, kept.size());
        missing = 0;
        PassOn();
    }
}

}  // namespace vantry::cli
