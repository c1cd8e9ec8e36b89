// The part of a rectangle that a paint's clip reaches.
#pragma once

#include <algorithm>

#include "core/canvas.h"

namespace kestrune {

inline rect clipped(const rect& r, const rect& clip) {
    return {std::max(r.left, clip.left), std::max(r.top, clip.top), std::min(r.right, clip.right),
            std::min(r.bottom, clip.bottom)};
}

}  // namespace kestrune
