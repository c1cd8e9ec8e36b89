// The engine's arena: one allocation that holds everything the shared records point into.
// A 4-byte pointer field in a shared record is a ref32, a byte offset into this arena.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace kestrune {

// Byte offset into the arena; 0 is null.
using ref32 = std::uint32_t;
inline constexpr ref32 null_ref = 0;

class arena {
public:
    arena() = default;
    ~arena() { release(); }
    arena(const arena&) = delete;
    arena& operator=(const arena&) = delete;

    // Makes a zeroed arena of `bytes`; the first 16 bytes are never handed out so that 0 stays null.
    void create(std::uint32_t bytes);
    void release();

    bool valid() const { return base_ != nullptr; }
    std::uint32_t size() const { return size_; }
    std::uint8_t* base() const { return base_; }

    // Reserves `bytes` at `align` from the unused part; returns null_ref when full.
    ref32 reserve(std::uint32_t bytes, std::uint32_t align = 4);
    std::uint32_t used() const { return used_; }

    template <class T>
    T* at(ref32 r) const {
        return reinterpret_cast<T*>(base_ + r);
    }
    std::uint8_t* bytes(ref32 r) const { return base_ + r; }
    template <class T>
    ref32 ref_of(const T* p) const {
        return p ? static_cast<ref32>(reinterpret_cast<const std::uint8_t*>(p) - base_) : null_ref;
    }
    bool contains(ref32 r, std::uint32_t len = 1) const {
        return r != null_ref && r < size_ && len <= size_ - r;
    }

private:
    std::uint8_t* base_ = nullptr;  // mapped, page-aligned
    std::uint32_t size_ = 0;
    std::uint32_t used_ = 0;
};

// Reads and writes of a 4-byte little-endian reference stored at any byte address.
inline ref32 load_ref(const std::uint8_t* p) {
    ref32 r;
    std::memcpy(&r, p, 4);
    return r;
}
inline void store_ref(std::uint8_t* p, ref32 r) { std::memcpy(p, &r, 4); }

}  // namespace kestrune
