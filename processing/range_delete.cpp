#include "processing/range_delete.h"

#include "processing/quantize.h"
#include "song/event_store.h"

namespace kestrune {

namespace {
constexpr int spare_blocks = 3;
}

bool delete_range(program& p, int pattern, int track, std::int32_t from, std::int32_t to) {
    track_slot& sl = p.slot(pattern, track);
    if (!sl.in_use || sl.first == null_ref) return true;
    if (p.d.free_blocks < sl.blocks + spare_blocks) return false;
    event_store s = p.store();

    // Notes that sound into the range end just before it.
    for (ref32 e = sl.first; is_event_status(s.status(e)) && s.position(e) < from;
         e = s.next_event(e)) {
        if (!s.at(e).is_note_on()) continue;
        const ref32 off = s.find_note_off(e);
        if (is_event_status(s.status(off)) && s.position(off) >= from)
            s.at(off).set_position(std::max(0, from - 1));
    }
    s.sort_chain(sl.first);

    // Note-offs travel with their note-on; what lies in the range is left out.
    chain_builder b(s);
    for (ref32 e = sl.first; is_event_status(s.status(e)); e = s.next_event(e)) {
        const midi_event& ev = s.at(e);
        if (ev.is_note_off()) continue;
        const std::int32_t pos = ev.position();
        if (pos >= from && pos < to) continue;
        b.copy_event(e);
        if (!ev.is_note_on()) continue;
        const ref32 off = s.find_note_off(e);
        if (is_event_status(s.status(off))) b.put(s.at(off));
    }
    b.terminate();
    const ref32 first = b.cut();
    if (first == null_ref) return false;
    s.sort_chain(first);
    // The old chain is hidden from the engine before its blocks go back.
    shared_store(sl.in_use, 0);
    p.silence_track(pattern == parallel_pattern ? 1 : pattern == take_pattern ? 2 : 0, track);
    s.free_chain(sl.first);
    sl.blocks = static_cast<std::uint16_t>(b.count_chain_blocks());
    sl.first = sl.play = first;
    give_track_back(p, pattern, track, false);
    return true;
}

}  // namespace kestrune
