#pragma once

#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace vantry {

/// Sixteen bytes, which are compared with one instruction where the processor has one for that.
class ByteBlock {
public:
    static constexpr std::ptrdiff_t kBytes = 16;

    /// Copies the bytes; all of them must be readable.
    explicit ByteBlock(const char* from) { std::memcpy(&bytes, from, sizeof bytes); }

    void CopyTo(char* to) const { std::memcpy(to, &bytes, sizeof bytes); }
    /// Returns a mask whose bit n says whether byte n is `wanted`.
    std::uint32_t Find(char wanted) const {
#ifdef __SSE2__
        const __m128i equal = _mm_cmpeq_epi8(bytes, _mm_set1_epi8(wanted));
        return static_cast<std::uint32_t>(_mm_movemask_epi8(equal));
#else
        std::uint32_t mask = 0;
        for (std::uint32_t place = 0; place < kBytes; ++place) {
            mask |= static_cast<std::uint32_t>(bytes[place] == wanted) << place;
        }
        return mask;
#endif
    }
    /// Returns the same of the bytes below 32.
    std::uint32_t FindControls() const {
#ifdef __SSE2__
        const __m128i below = _mm_cmpeq_epi8(_mm_min_epu8(bytes, _mm_set1_epi8(0x1F)), bytes);
        return static_cast<std::uint32_t>(_mm_movemask_epi8(below));
#else
        std::uint32_t mask = 0;
        for (std::uint32_t place = 0; place < kBytes; ++place) {
            const bool isBelow = static_cast<unsigned char>(bytes[place]) < 0x20;
            mask |= static_cast<std::uint32_t>(isBelow) << place;
        }
        return mask;
#endif
    }

private:
#ifdef __SSE2__
    __m128i bytes;
#else
    char bytes[kBytes];
#endif
};

}  // namespace vantry
