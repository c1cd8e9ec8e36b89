#include "realtime/song_extent.h"

#include <algorithm>

#include "song/event_store.h"
#include "song/locate.h"
#include "song/position.h"

namespace kestrune {

std::int32_t bar_position(const program& p, int bar) {
    std::int32_t pos = song_start;
    for (int i = 1; i < bar && pos < last_position; ++i)
        pos += signature_in_force(p, pos).bar_ticks();
    return std::min(pos, last_position);
}

std::int32_t song_end(const program& p) {
    const event_store& s = p.store();
    auto pattern_end = [&](int pattern) {
        std::int32_t end = -1;
        for (int t = 0; t < tracks_per_pattern; ++t) {
            const track_slot& sl = p.slot(pattern, t);
            if (!sl.in_use) continue;
            const ref32 last = s.last_event(sl.first);
            if (is_event_status(s.status(last)))
                end = std::max(end, s.position(last) + sl.delay + 1);
        }
        return end;
    };
    if (!p.d.song_mode)
        return std::clamp(pattern_end(p.d.current_pattern), song_start, last_position);
    std::int32_t end = std::clamp(pattern_end(parallel_pattern), song_start, last_position);
    for (int i = 0; i < song_steps - 1; ++i)
        if (pattern_end(p.step(i).pattern) >= 0) end = std::max(end, p.step(i).end);
    return std::min(end, last_position);
}

}  // namespace kestrune
