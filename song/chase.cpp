#include "song/chase.h"

#include <algorithm>

#include "song/event_store.h"

namespace kestrune {

namespace {

// One pattern, from local position `from_local` back to `lower`: a value at key base + position
// wins over what an earlier (lower) key set. Muted tracks and those in `mask` are left out.
void scan_pattern(program& p, int pattern, std::int32_t from_local, std::int32_t lower,
                  std::int32_t base, std::uint32_t mask) {
    static constexpr int controllers[] = {0, 32, 7, 91, 93, 10, 11};
    static constexpr int kinds[] = {chase_bank_msb, chase_bank_lsb, chase_volume, chase_reverb,
                                    chase_chorus,   chase_pan,      chase_expression};
    dll_data& d = p.d;
    const event_store& s = p.store();
    for (int t = 0; t < tracks_per_pattern; ++t) {
        const track_slot& sl = p.slot(pattern, t);
        if (!sl.in_use || sl.mute || (mask & (1u << t))) continue;
        const ref32 here = seat_track(s, sl, from_local).event;
        for (ref32 e = s.prev_event(here); is_event_status(s.status(e)); e = s.prev_event(e)) {
            const std::int32_t pos = s.position(e);
            if (pos < lower) break;
            const std::uint8_t st_ = s.status(e);
            if (st_ < 0xB0 || st_ > 0xEF) continue;
            const int ch = sl.channel < 16 ? sl.channel : (st_ & 0x0F);
            const std::uint8_t out = static_cast<std::uint8_t>((st_ & 0xF0) | ch);
            chase_entry& c = d.chase(sl.port & 3, ch);
            const std::int32_t key = base + pos;
            const midi_event& ev = s.at(e);
            auto store = [&](chase_slot& slot, std::uint8_t value) {
                if (key > slot.key) slot = {key, out, value};
            };
            switch (st_ & 0xF0) {
                case 0xC0:
                    store(c.slot[chase_program], ev.data1());
                    break;
                case 0xE0:
                    if (key > c.wheel_key) {
                        c.wheel_key = key;
                        c.wheel_status = out;
                        c.wheel_data1 = ev.data1();
                        c.wheel_data2 = ev.data2();
                    }
                    break;
                case 0xB0:
                    for (int k = 0; k < 7; ++k)
                        if (ev.data1() == controllers[k]) store(c.slot[kinds[k]], ev.data2());
                    break;
                default:
                    break;  // channel pressure and the rest are not chased
            }
        }
    }
}

}  // namespace

void chase_events(program& p, std::int32_t pos, int step, int pattern) {
    dll_data& d = p.d;
    for (chase_entry& c : d.chase_table) {
        for (chase_slot& s : c.slot) s.key = -1;
        c.wheel_key = -1;
    }
    if (!d.song_mode) {
        scan_pattern(p, pattern, pos, song_start, p.step_start(step), p.step(step).track_mask);
    } else {
        for (int s = std::clamp(step, 0, song_steps - 1); s >= 0; --s) {
            const std::int32_t start = p.step_start(s);
            const std::int32_t from =
                (s == step ? pos : p.step(s).end) - start + song_start;
            const int pat = std::clamp<int>(p.step(s).pattern, 0, 15);
            scan_pattern(p, pat, from, song_start - p.step(s).pickup, start, p.step(s).track_mask);
        }
        // The parallel pattern's values win.
        scan_pattern(p, parallel_pattern, pos, song_start - p.step(0).pickup, past_last_step, 0);
    }
    p.raise_request(d.chase_ready);
}

}  // namespace kestrune
