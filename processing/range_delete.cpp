#include "processing/range_delete.h"

#include <algorithm>

namespace kestrune {

namespace {
constexpr int spare_blocks = 3;
}

void end_notes_before(event_store& s, ref32 first, std::int32_t from) {
    for (ref32 e = first; is_event_status(s.status(e)) && s.position(e) < from; e = s.next_event(e)) {
        if (!s.at(e).is_note_on()) continue;
        const ref32 off = s.find_note_off(e);
        if (is_event_status(s.status(off)) && s.position(off) >= from)
            s.at(off).set_position(std::max(0, from - 1));
    }
    s.sort_chain(first);
}

bool delete_range(track_edit& g, std::int32_t from, std::int32_t to) {
    track_slot& sl = g.slot();
    if (sl.first == null_ref) return true;
    event_store s = g.store();
    if (s.data().free_blocks < sl.blocks + spare_blocks) return false;

    end_notes_before(s, sl.first, from);

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
    g.replace_chain(first, b.count_chain_blocks());
    return true;
}

}  // namespace kestrune
