// The track name's drag: held, the name column drags the track line; dropped on another row it
// copies, moves (Ctrl) or swaps (Shift) the track, dropped on the song list it deletes it.
#include <vector>

#include "files/track_chunk.h"
#include "shell/screen/screen_state.h"
#include "song/event_store.h"
#include "song/patterns.h"

namespace kestrune {

rect main_screen::impl::drag_line() const {
    const rect pane = tree.place(rgn::track_pane);
    return {pane.left, drag_y - 1, pane.right, drag_y + 2};
}

void main_screen::impl::drop_track(int x, int y, key_mods mods) {
    const int pat = p.d.current_pattern;
    const int source = drag_source;
    if (x < tree.place(rgn::step_pattern).right) {
        if (!p.slot(pat, source).in_use) return;
        if (refuse_while_recording()) return;
        delete_track_chain(p, pat, source);
        edited();
        return;
    }
    const rect rows{tree.place(rgn::track_number).left, tree.place(rgn::track_number).top,
                    tree.place(rgn::channel).right, tree.place(rgn::track_number).bottom};
    if (!rows.contains(x, y)) return;
    const int target = first_visible + row_at(rgn::track_number, y);
    if (target == source) return;
    if (refuse_while_recording()) return;
    if (mods.shift) {
        program::park parked(p);
        std::swap(p.slot(pat, source), p.slot(pat, target));
    } else if (!copy_track(pat, source, target)) {
        return;
    } else if (mods.ctrl) {
        delete_track_chain(p, pat, source);
    }
    edited();
    select_track(p, target);
    if (p.app.solo_on) t.solo_follows_track();
}

bool main_screen::impl::copy_track(int pat, int source, int target) {
    const track_slot from = p.slot(pat, source);
    if (!from.in_use) {
        delete_track_chain(p, pat, target);
        p.slot(pat, target) = from;
        return true;
    }
    if (p.d.free_blocks < from.blocks + 1) {
        refuse(msg_not_enough_memory);
        return false;
    }
    const event_store s = p.store();
    std::vector<midi_event> records;
    for (ref32 e = from.first; is_event_status(s.status(e)) || is_continuation_status(s.status(e));
         e = s.next_record(e))
        records.push_back(s.at(e));
    delete_track_chain(p, pat, target);
    std::uint16_t blocks = 0;
    const ref32 first = build_chain(p, records, &blocks);
    if (first == null_ref) {
        refuse(msg_not_enough_memory);
        return false;
    }
    program::park parked(p);
    track_slot& to = p.slot(pat, target);
    to = from;
    to.first = to.play = first;
    to.blocks = blocks;
    return true;
}

}  // namespace kestrune
