#include "processing/undo.h"

#include "song/event_store.h"
#include "song/locate.h"

namespace kestrune {

void undo_free(program& p) {
    undo_copy& u = p.undo;
    u.available = false;
    if (!u.slot.in_use) return;
    if (u.slot.first != null_ref) p.store().free_chain(u.slot.first);
    u.slot.first = u.slot.play = null_ref;
    u.slot.blocks = 0;
    u.slot.in_use = 0;
}

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

void undo_apply(program& p) {
    undo_copy& u = p.undo;
    if (!u.available) return;
    if (p.refuse_while_recording()) return;
    dll_data& d = p.d;
    const bool was_running = p.running();
    {
        program::park parked(p);
        track_slot& live = p.slot(u.pattern, u.track);
        const track_slot held = live;
        live = u.slot;
        u.slot = held;
        p.wait_request(d.thru_notes_off_request);
        if (was_running && (u.pattern == d.display_pattern || u.pattern == parallel_pattern)) {
            const bool parallel = u.pattern == parallel_pattern;
            p.silence_track(parallel ? 1 : 0, u.track);
            if (u.pattern == d.current_pattern || parallel) locate_track(p, u.track, parallel);
        }
    }
    // The track list shows the swapped track with its mark.
    if (d.main_screen) call(p.hooks.track_list_changed);
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
