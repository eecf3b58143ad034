#pragma once

#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

namespace vantry {

/// The text of a string or a key: a sequence of any bytes, without an encoding.
///
/// A text either owns its bytes, or refers to bytes in the block of the array or object that has it
/// as an element; the reader stores the texts of a whole container there. Users can't see the
/// difference: a copy owns its bytes, and so does a text that was moved out of its container. Such
/// a move allocates memory.
class JsonText {
public:
    JsonText() = default;
    /// Copies the text.
    JsonText(std::string_view text) {
        if (!text.empty()) {
            char* const own = static_cast<char*>(::operator new(text.size()));
            std::memcpy(own, text.data(), text.size());
            bytes = own;
            state = text.size() << 1U | kOwned;
        }
    }
    JsonText(const JsonText& other) : JsonText(std::string_view(other)) {}
    /// Leaves `other` empty.
    JsonText(JsonText&& other) noexcept {
        if (!other.Owns() && !other.empty()) {
            JsonText(std::string_view(other)).Exchange(*this);
            other.state = 0;
        } else {
            Exchange(other);
        }
    }
    JsonText& operator=(const JsonText& other) {
        JsonText(other).Exchange(*this);
        return *this;
    }
    JsonText& operator=(JsonText&& other) noexcept {
        JsonText(std::move(other)).Exchange(*this);
        return *this;
    }
    /// Copies the text, which may be part of this one.
    JsonText& operator=(std::string_view text) {
        JsonText(text).Exchange(*this);
        return *this;
    }
    ~JsonText() {
        if (Owns()) {
            ::operator delete(const_cast<char*>(bytes));
        }
    }

    std::size_t size() const { return state >> 1U; }
    bool empty() const { return size() == 0; }
    const char* begin() const { return bytes; }
    const char* end() const { return bytes + size(); }
    void clear() { *this = std::string_view(); }

    /// Returns a view that is valid until the text is changed, moved or destroyed, or its container
    /// grows.
    operator std::string_view() const { return {bytes, size()}; }
    /// Returns a copy.
    operator std::string() const { return std::string(bytes, size()); }

    friend bool operator==(const JsonText& one, const JsonText& other) {
        return std::string_view(one) == std::string_view(other);
    }
    friend bool operator==(const JsonText& one, std::string_view other) {
        return std::string_view(one) == other;
    }

private:
    friend class JsonTreeBuilder;

    static constexpr std::size_t kOwned = 1;

    /// Makes the text refer to bytes of the block in which it is stored.
    void Borrow(const char* from, std::size_t length) {
        bytes = from;
        state = length << 1U;
    }
    bool Owns() const { return (state & kOwned) != 0; }
    void Exchange(JsonText& other) {
        std::swap(bytes, other.bytes);
        std::swap(state, other.state);
    }

    const char* bytes = nullptr;
    /// The length times two, plus one if the bytes belong to this text.
    std::size_t state = 0;
};

}  // namespace vantry
