#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <new>
#include <utility>

namespace vantry {

struct JsonMember;

/// The head of the memory of a container. The elements follow it; the bytes that their texts refer
/// to may follow the elements.
struct JsonBlock {
    std::uint32_t size = 0;
    /// Whether the elements are members of an object; otherwise they are values.
    bool holdsMembers = false;
    union {
        std::size_t capacity;
        /// While the tree is being destroyed: the block that refers to this one.
        JsonBlock* parent;
    };

    /// Returns a new block with space for `capacity` elements and `textBytes` bytes after them. The
    /// caller owns it, constructs the elements and sets `size`.
    template <typename Element>
    static JsonBlock* Make(std::size_t capacity, std::size_t textBytes = 0) {
        void* const memory =
            ::operator new(sizeof(JsonBlock) + capacity * sizeof(Element) + textBytes);
        auto* const block = new (memory) JsonBlock;
        block->holdsMembers = std::is_same_v<Element, JsonMember>;
        block->capacity = capacity;
        return block;
    }
    /// Destroys the block, its elements and all their descendants, without recursion.
    static void Destroy(JsonBlock* block) noexcept;

    template <typename Element>
    Element* Elements() {
        return reinterpret_cast<Element*>(this + 1);
    }
};

/// A growing sequence of values or members. It has the size of one pointer, since a tree has very
/// many sequences and most are empty. Growing it moves the elements; an empty one allocates
/// nothing.
template <typename Element>
class JsonList {
public:
    JsonList() = default;
    JsonList(std::initializer_list<Element> elements) {
        reserve(elements.size());
        for (const Element& element : elements) {
            emplace_back(element);
        }
    }
    JsonList(const JsonList& other) {
        reserve(other.size());
        for (const Element& element : other) {
            emplace_back(element);
        }
    }
    JsonList(JsonList&& other) noexcept : block(std::exchange(other.block, nullptr)) {}
    JsonList& operator=(JsonList other) noexcept {
        swap(other);
        return *this;
    }
    ~JsonList() {
        if (block != nullptr) {
            JsonBlock::Destroy(block);
        }
    }

    std::size_t size() const { return block != nullptr ? block->size : 0; }
    bool empty() const { return size() == 0; }
    Element* begin() { return block != nullptr ? block->Elements<Element>() : nullptr; }
    Element* end() { return begin() + size(); }
    const Element* begin() const { return const_cast<JsonList*>(this)->begin(); }
    const Element* end() const { return const_cast<JsonList*>(this)->end(); }
    Element& operator[](std::size_t place) { return begin()[place]; }
    const Element& operator[](std::size_t place) const { return begin()[place]; }
    Element& back() { return end()[-1]; }

    void clear() { JsonList().swap(*this); }
    void swap(JsonList& other) noexcept { std::swap(block, other.block); }
    void reserve(std::size_t count) {
        if (count > Capacity()) {
            JsonBlock* const larger = JsonBlock::Make<Element>(count);
            MoveTo(larger);
        }
    }
    void push_back(const Element& element) { emplace_back(element); }
    /// The arguments may refer to an element of this list.
    template <typename... Arguments>
    Element& emplace_back(Arguments&&... arguments) {
        const std::size_t count = size();
        if (count < Capacity()) {
            new (block->Elements<Element>() + count) Element(std::forward<Arguments>(arguments)...);
        } else {
            constexpr std::size_t kFewest = 4;
            JsonBlock* const larger = JsonBlock::Make<Element>(std::max(kFewest, 2 * count));
            new (larger->Elements<Element>() + count)
                Element(std::forward<Arguments>(arguments)...);
            MoveTo(larger);
        }
        ++block->size;
        return back();
    }

private:
    friend struct JsonBlock;
    friend class JsonTreeBuilder;

    std::size_t Capacity() const { return block != nullptr ? block->capacity : 0; }
    /// Moves the elements to the block, of which the list becomes the owner.
    void MoveTo(JsonBlock* larger) {
        std::uninitialized_move(begin(), end(), larger->Elements<Element>());
        larger->size = static_cast<std::uint32_t>(size());
        JsonList old;
        old.block = std::exchange(block, larger);
    }

    JsonBlock* block = nullptr;
};

}  // namespace vantry
