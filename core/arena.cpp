#include "core/arena.h"

#include <sys/mman.h>

namespace kestrune {

void arena::create(std::uint32_t bytes) {
    release();
    // Fresh pages come zeroed; faulting them in at once costs far less than one fault a page.
    void* p = ::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE,
                     -1, 0);
    if (p == MAP_FAILED) return;
    base_ = static_cast<std::uint8_t*>(p);
    size_ = bytes;
    used_ = 16;
}

void arena::release() {
    if (base_) ::munmap(base_, size_);
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
