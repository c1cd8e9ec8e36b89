#include "processing/undo.h"

#include "processing/track_edit.h"
#include "song/event_store.h"
#include "song/patterns.h"

namespace kestrune {

void undo_save(program& p, int pattern, int track) {
    undo_free(p);
    const track_slot& live = p.slot(pattern, track);
    if (live.blocks + 3 > p.d.free_blocks) {
        p.message(msg_undo_no_memory, msg_icon::warning);
        return;
    }
    p.screen.wait_cursor();
    undo_copy& u = p.undo;
    u.pattern = pattern;
    u.track = track;
    u.slot = live;
    u.slot.first = u.slot.play = null_ref;
    u.slot.blocks = 0;
    if (live.in_use && live.first != null_ref) {
        event_store s = p.store();
        chain_builder b(s);
        for (ref32 r = live.first;
             is_event_status(s.status(r)) || is_continuation_status(s.status(r));
             r = s.next_record(r))
            b.put(s.at(r));
        b.terminate();
        const ref32 first = b.cut();
        if (first == null_ref) {
            u.slot.in_use = 0;
            p.screen.arrow_cursor();
            p.message(msg_undo_no_memory, msg_icon::warning);
            return;
        }
        u.slot.blocks = static_cast<std::uint16_t>(b.count_chain_blocks());
        u.slot.first = u.slot.play = first;
    } else {
        u.slot.in_use = 0;
    }
    u.slot.name[undo_mark_index] = '!';
    u.available = true;
    p.screen.arrow_cursor();
}

void editor_session_save(program& p) {
    if (!p.app.editor_dirty) undo_save(p, p.app.edit_pattern, p.d.current_track);
    p.app.editor_dirty = true;
}

void keep_undo(program& p, int pattern, int track) {
    const bool editor_open = p.d.main_screen == 0 && p.app.mixer_port < 0;
    if (editor_open)
        editor_session_save(p);
    else
        undo_save(p, pattern, track);
}

void undo_apply(program& p) {
    undo_copy& u = p.undo;
    if (!u.available) return;
    track_edit g(p, u.pattern, u.track, {.undo = undo_kind::none, .empty_ok = true});
    if (!g) return;
    g.begin();
    // The swap costs no memory and cannot fail; a second Undo swaps back.
    track_slot& live = g.slot();
    track_slot held = live;
    held.in_use = g.had_data() ? 1 : 0;
    live = u.slot;
    u.slot = held;
    p.wait_request(p.d.thru_notes_off_request);
}

bool undo_command(program& p, undo_context where) {
    switch (where) {
        case undo_context::main_screen:
            undo_apply(p);
            return true;
        case undo_context::editor:
            if (p.app.editor_dirty) undo_apply(p);
            return true;
        case undo_context::mixer:
            if (p.d.current_pattern != p.undo.pattern || p.d.current_track != p.undo.track) {
                p.message(msg_mixer_cant_undo, msg_icon::warning);
                return false;
            }
            undo_apply(p);
            return true;
    }
    return true;
}

}  // namespace kestrune
