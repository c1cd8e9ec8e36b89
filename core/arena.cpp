#include "core/arena.h"

#include <cstdlib>

namespace kestrune {

void arena::free_deleter::operator()(std::uint8_t* p) const { std::free(p); }

void arena::create(std::uint32_t bytes) {
    release();
    auto* p = static_cast<std::uint8_t*>(std::aligned_alloc(64, (bytes + 63u) & ~63u));
    if (!p) return;
    std::memset(p, 0, bytes);
    storage_.reset(p);
    base_ = p;
    size_ = bytes;
    used_ = 16;
}

void arena::release() {
    storage_.reset();
    base_ = nullptr;
    size_ = 0;
    used_ = 0;
}

ref32 arena::reserve(std::uint32_t bytes, std::uint32_t align) {
    if (!base_ || align == 0) return null_ref;
    std::uint32_t start = (used_ + align - 1) / align * align;
    if (start > size_ || bytes > size_ - start) return null_ref;
    used_ = start + bytes;
    return start;
}

}  // namespace kestrune
