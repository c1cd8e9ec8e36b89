// The editor in the work area: while it is open its regions take the place of the song and track
// panes, its buttons show, and its list follows the model on each tick.
#include "editors/list/step_input.h"
#include "editors/sysex/sysex_edit.h"
#include "shell/screen/screen_state.h"
#include "song/event_store.h"

#include <algorithm>

namespace kestrune {

void main_screen::impl::place_editor() {
    for (const editor_region& e : editor_regions()) {
        screen_region r;
        r.number = e.number;
        r.rectangle = eg.place(e.q);
        r.hidden = true;
        tree.append(e.parent ? e.parent : rgn::work_area, std::move(r));
    }
    list.reset();
    show_editor(editor_up());
}

void main_screen::impl::show_editor(bool up) {
    tree.hide(rgn::song_pane, up);
    tree.hide(rgn::track_pane, up);
    for (const editor_region& e : editor_regions()) tree.hide(e.number, !up);
    const auto& all = editor_buttons();
    for (std::size_t i = 0; i < all.size(); ++i) {
        child_button& b = buttons[editor_first + i];
        const bool visible = up && button_shown(all[i], p.editor.kind);
        if (b.visible != visible) buttons_changed = true;
        b.visible = visible;
    }
    list.reset();
    grid.redraw_all();
    mark_all_dirty();
}

void main_screen::impl::refresh_editor(std::int64_t ms) {
    if (!editor_up()) return;
    end_heard_note_when_due(p, ms, mouse.any_held() || grid.busy());
    step_input_tick(p);
    if (p.changes.tracks != p.editor.tracks_seen) relocate_cursor(p);
    // Play and Pause put the list back on the song position; stopped, it stays where the
    // musician puts it, and Unlock jumps once.
    const bool running = p.running();
    if (running && !list_was_running) p.editor.position_follow = true;
    list_was_running = running;
    if (follow_due(p)) follow_position(p);
    if (!running && !mouse.any_held()) p.editor.position_follow = false;
    const auto& all = editor_buttons();
    for (std::size_t i = 0; i < all.size(); ++i) {
        child_button& b = buttons[editor_first + i];
        const bool pressed = button_pressed(p, b.command);
        if (b.pressed != pressed) buttons_changed = true;
        b.pressed = pressed;
    }
    for (const rect& r : list.refresh(p, eg)) dirty.push_back(r);
    for (const rect& r : grid.refresh()) dirty.push_back(r);
}

void main_screen::impl::act_editor(int region, int row, int code) {
    editor_state& ed = p.editor;
    if (region == erg::row_up || region == erg::row_down) {
        ed.position_follow = false;
        if (move_cursor(p, region == erg::row_down ? 1 : -1)) hear_row(p, ed.cursor);
        return;
    }
    if (!is_list_column(region)) return;
    ed.position_follow = false;
    if (region == erg::event && code == right_button) {
        // The sysex or text dialog of the row, highlighted or not.
        if (cursor_to_row(p, row)) edit_long_event(p, p.app.edit_pattern, p.d.current_track, ed.cursor);
        wait_release = mouse.any_held();
        mouse.clear();
        return;
    }
    if (row != ed.cursor_row) {
        // The first click on a row only moves the highlight there.
        if (cursor_to_row(p, row)) hear_row(p, ed.cursor);
        wait_release = mouse.any_held();
        mouse.clear();
        return;
    }
    click_field(region, row, code, press.mods);
}

bool main_screen::impl::editor_key(const key_event& k) {
    if (!editor_up() || k.mods.ctrl || k.mods.alt) return false;
    editor_state& ed = p.editor;
    if (k.code == key_code::up || k.code == key_code::down) {
        ed.position_follow = false;
        if (move_cursor(p, k.code == key_code::down ? 1 : -1)) hear_row(p, ed.cursor);
        return true;
    }
    if (k.code == key_code::tab && p.d.step_input_on) {
        step_rest(p);
        return true;
    }
    if (k.auto_repeat || k.code != key_code::character) return false;
    // L and R put the locators at the highlighted event (R one tick after it).
    if ((k.character == 'L' || k.character == 'R') && !k.mods.shift) {
        if (ed.cursor == null_ref || is_end(p, ed.cursor)) return true;
        const std::int32_t at = p.store().position(ed.cursor) + ed.step_offset;
        if (k.character == 'L')
            t.set_left_locator(at);
        else
            t.set_right_locator(std::min(at + 1, last_locator_position));
        return true;
    }
    static constexpr std::int16_t grids[] = {192, 128, 96, 64, 48, 32, 24, 16};
    if (k.character >= '1' && k.character <= '8') {
        p.app.edit_grid = grids[k.character - '1'];
        return true;
    }
    return false;
}

void main_screen::impl::editor_wheel(int steps) {
    p.editor.position_follow = false;
    if (move_cursor(p, steps > 0 ? -1 : 1)) hear_row(p, p.editor.cursor);
}

}  // namespace kestrune
