#include "editors/list/step_input.h"

#include <algorithm>

#include "editors/list/event_list.h"
#include "processing/track_edit.h"
#include "song/event_store.h"

namespace kestrune {

outcome toggle_step_input(program& p) {
    dll_data& d = p.d;
    if (d.step_input_on) {
        shared_store(d.step_input_on, std::uint8_t{0});
        return outcome::done;
    }
    std::fill(std::begin(d.step_chord), std::end(d.step_chord), midi_event{});
    d.step_chord_count = 0;
    d.step_notes_held = 0;
    shared_store(d.step_chord_ready, std::int16_t{0});
    shared_store(d.step_rest_ready, std::int16_t{0});
    p.editor.step_tie_units = 1;
    // From the highlighted event, where the musician is looking.
    const ref32 c = p.editor.cursor;
    if (c != null_ref && p.store().at(c).is_event())
        d.step_position = std::min(p.store().position(c), last_step_input_position);
    else if (d.step_position <= 0)
        d.step_position = song_start;
    shared_store(d.step_input_on, std::uint8_t{1});
    return outcome::done;
}

void step_rest(program& p) {
    dll_data& d = p.d;
    d.step_position = std::min(d.step_position + p.app.edit_grid, last_step_input_position);
    editor_state& ed = p.editor;
    ed.step_tie_units = d.step_notes_held > 0 ? static_cast<std::int16_t>(ed.step_tie_units + 1) : 1;
    ++ed.moves;
}

namespace {

// The chord's notes into the track, each with its note-off a step (or the tied steps) later.
void put_chord(program& p) {
    dll_data& d = p.d;
    track_edit g(p, p.app.edit_pattern, p.d.current_track, {.empty_ok = true});
    if (!g || !g.begin()) return;
    event_store s = p.store();
    const std::int32_t on_at = d.step_chord_position;
    const std::int32_t off_at =
        std::min(on_at - 1 + p.app.edit_grid * p.editor.step_tie_units, last_step_note_off);
    const int count = std::clamp<int>(d.step_chord_count, 0, 50);
    for (int i = 0; i < count; ++i) {
        if (d.free_blocks < 3) {
            p.message(msg_not_enough_memory, msg_icon::stop);
            break;
        }
        const midi_event& n = d.step_chord[i];
        const midi_event put[] = {
            midi_event::make(n.status(), n.data1(), n.data2(), on_at),
            midi_event::make(static_cast<std::uint8_t>(n.status() - 0x10), n.data1(), 64, off_at)};
        for (const midi_event& e : put) {
            const ref32 at = s.find_after_position(g.slot().first, e.position());
            const int taken = s.insert_record(at);
            if (taken < 0) break;
            g.slot().blocks = static_cast<std::uint16_t>(g.slot().blocks + taken);
            d.free_blocks -= taken;
            s.at(at) = e;
        }
    }
}

}  // namespace

void step_input_tick(program& p) {
    dll_data& d = p.d;
    if (!d.step_input_on) return;
    if (shared_load(d.step_chord_ready)) {
        put_chord(p);
        d.step_position = std::min(d.step_position + p.app.edit_grid, last_step_input_position);
        p.editor.step_tie_units = 1;
        shared_store(d.step_chord_ready, std::int16_t{0});
        relocate_cursor(p);
    }
    if (shared_load(d.step_rest_ready)) {
        step_rest(p);
        shared_store(d.step_rest_ready, std::int16_t{0});
    }
}

}  // namespace kestrune
