#pragma once

#include <array>
#include <cstddef>
#include <memory_resource>
#include <utility>

namespace vantry {

/// Memory for one container that is usually small: its first block of at most `Bytes` bytes is part
/// of this object, all others come from the heap. Used by one thread; must outlive the container.
template <std::size_t Bytes>
class FirstBlock final : public std::pmr::memory_resource {
private:
    void* do_allocate(std::size_t size, std::size_t alignment) override {
        if (size <= Bytes && !std::exchange(isTaken, true)) {
            return block.data();
        }
        return std::pmr::new_delete_resource()->allocate(size, alignment);
    }
    void do_deallocate(void* memory, std::size_t size, std::size_t alignment) override {
        if (memory == block.data()) {
            isTaken = false;
        } else {
            std::pmr::new_delete_resource()->deallocate(memory, size, alignment);
        }
    }
    bool do_is_equal(const std::pmr::memory_resource& other) const noexcept override {
        return this == &other;
    }

    alignas(std::max_align_t) std::array<std::byte, Bytes> block;
    bool isTaken = false;
};

}  // namespace vantry
