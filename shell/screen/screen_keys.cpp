// The key table's keys that no command's shortcut claims: those that repeat while held, the
// named keys, letters and digits.
#include <algorithm>

#include "core/field.h"
#include "shell/screen/screen_state.h"
#include "song/patterns.h"

namespace kestrune {

namespace {

constexpr int tempo_key_step = 100;

}  // namespace

void main_screen::impl::make_visible(int track) {
    if (track < first_visible) first_visible = track;
    if (track >= first_visible + visible_tracks) first_visible = track - visible_tracks + 1;
    first_visible = std::clamp(first_visible, 0, max_first_visible_track);
}

void main_screen::impl::move_track(int delta) {
    const int track = std::clamp(p.d.current_track + delta, 0, tracks_per_pattern - 1);
    select_track(p, track);
    if (p.app.solo_on) t.solo_follows_track();
    make_visible(track);
}

bool main_screen::impl::key(const key_event& k) {
    if (repeating_key(k)) return true;
    if (k.auto_repeat) return false;
    return k.code == key_code::character ? letter_key(k) : named_key(k);
}

bool main_screen::impl::repeating_key(const key_event& k) {
    switch (k.code) {
        case key_code::left:
        case key_code::right:
            if (k.mods.shift) return false;
            (k.code == key_code::left ? rewind_key : forward_key) = true;
            t.move_bar(k.code == key_code::right, false);
            return true;
        case key_code::up:
        case key_code::down:
            if (!main_view()) return false;
            if (!k.mods.shift)
                move_track(k.code == key_code::down ? 1 : -1);
            else if (!k.auto_repeat)
                move_step(k.code == key_code::down ? 1 : -1, false);
            return true;
        case key_code::pad_plus:
        case key_code::pad_minus:
            tempo_key(k.code == key_code::pad_plus ? tempo_key_step : -tempo_key_step, k.auto_repeat);
            return true;
        case key_code::character:
            if (k.character != 'Z' || k.mods.shift || k.mods.ctrl) return false;
            toggle_mute(p.d.current_track);
            return true;
        default:
            return false;
    }
}

void main_screen::impl::tempo_key(int step, bool repeat) {
    if (p.d.tempo_track_on) {
        if (!repeat) p.message(msg_tempo_track_active);
    } else if (!p.d.external_sync) {
        t.set_manual_tempo(std::clamp(p.app.song_tempo + step, min_tempo, max_tempo));
        edited();
    }
}

bool main_screen::impl::named_key(const key_event& k) {
    dll_data& d = p.d;
    const bool main = main_view();
    switch (k.code) {
        case key_code::pad_star:
        case key_code::pad_slash:
            // With the mixer open the recorder asks before a replace.
            if (!recording.record) return false;
            recording.record(k.code == key_code::pad_star ? 1 : 2);
            return true;
        case key_code::space:
            if (recording.drop_in) recording.drop_in(k.mods.shift);
            return recording.drop_in != nullptr;
        case key_code::backspace:
            if (!main) return false;
            if (!p.slot(d.current_pattern, d.current_track).in_use) return true;
            if (!p.refuse_while_recording()) {
                delete_track_chain(p, d.current_pattern, d.current_track);
                edited();
            }
            return true;
        case key_code::escape:
            if (main) edit_track_name(d.current_track);
            return main;
        case key_code::insert:
        case key_code::del:
            if (!main) return false;
            if (k.code == key_code::insert)
                insert_step(p, d.current_step);
            else
                delete_step(p, d.current_step);
            edited();
            return true;
        default:
            return false;
    }
}

bool main_screen::impl::letter_key(const key_event& k) {
    dll_data& d = p.d;
    const char c = k.character;
    if (k.mods.ctrl || k.mods.alt || !main_view()) return false;
    if (c >= '0' && c <= '9') {
        // 1..9, 0 are patterns 1..10; with Shift 11..17.
        const int n = (c == '0' ? 10 : c - '0') + (k.mods.shift ? 10 : 0);
        if (n <= parallel_pattern + 1) select_pattern(p, n - 1);
        return true;
    }
    if (k.mods.shift) return false;
    switch (c) {
        case 'L':
            if (d.song_mode && !d.cycle_on) {
                t.set_left_locator(p.step_start(d.current_step));
                t.set_right_locator(std::min(p.step(d.current_step).end, last_locator_position));
                t.toggle_cycle();
            }
            return true;
        case 'N':
            edit_pattern_name();
            return true;
        case 'A':
            toggle_song_mode(p);
            return true;
        case 'B':
            if (p.recording() && recording.mute_last_pass)
                recording.mute_last_pass();
            return true;
        default:
            return false;
    }
}

}  // namespace kestrune
