// The main window by mouse: the press model (held buttons, double-click time, repeats), and what
// a click does beside the value fields: transport buttons, mute, the song list's own.
#include <algorithm>

#include "files/track_chunk.h"
#include "processing/quantize.h"
#include "core/command_ids.h"
#include "shell/screen/screen_state.h"
#include "song/value_step.h"
#include "song/event_store.h"
#include "song/locate.h"
#include "song/patterns.h"
#include "song/position.h"

namespace kestrune {

namespace {

constexpr int drag_hold_ms = 150;

}  // namespace

bool main_screen::impl::takes_double_click(int region) const {
    if (!allow_double_clicks) return false;
    if (is_list_column(region)) return editor_up() && region != erg::event;
    switch (region) {
        case rgn::position:
        case rgn::left_locator:
        case rgn::right_locator:
        case rgn::numerator:
        case rgn::denominator:
        case rgn::groove:
        case rgn::tempo:
            return true;
        case rgn::step_transpose:
        case rgn::step_pattern:
        case rgn::step_bar:
        case rgn::step_length:
        case rgn::step_pre_start:
        case rgn::pattern_number:
        case rgn::transpose:
        case rgn::channel:
        case rgn::loop:
        case rgn::delay:
        case rgn::compress:
        case rgn::port:
        case rgn::velocity:
            return main_view();
        default:
            return false;
    }
}

bool main_screen::impl::single_action(int region) const {
    switch (region) {
        case rgn::play:
        case rgn::stop:
        case rgn::pause:
        case rgn::record:
        case rgn::drop_in:
        case rgn::midi_thru:
        case rgn::mode_line:
        case rgn::master_mute:
        case rgn::track_numbers:
        case rgn::mute:
        case rgn::step_insert:
        case rgn::step_delete:
        case rgn::track_name:
        case rgn::step_name:
        case rgn::pattern_name:
        case rgn::track_number:
            return true;
        default:
            return false;
    }
}

void main_screen::impl::refuse(const char* text) {
    p.message(text);
    wait_release = mouse.any_held();
    mouse.clear();
}

bool main_screen::impl::refuse_while_recording() {
    if (!p.recording()) return false;
    refuse(msg_while_recording);
    return true;
}

int main_screen::impl::row_at(int region, int y) const {
    const rect r = tree.place(region);
    const int row = std::max(0, (y - r.top) / std::max(1, g.height));
    // Under the grid the list's one row stands in its last.
    return is_list_column(region) && editor_up() ? std::max(0, row - first_shown_row(p)) : row;
}

void main_screen::impl::begin_press(int x, int y, int button, key_mods mods, std::int64_t ms) {
    last_mods = mods;
    if (wait_release) return;
    if (mouse.any_held()) {
        // The second button joins the press under way.
        mouse.down(button, ms);
        return;
    }
    // A click still waiting out the double-click time gives way to a new press.
    mouse.clear();
    const screen_region* hit = tree.find_region_at_point(x, y);
    if (!hit) return;
    const int region = hit->number;
    const bool in_pane = tree.place(rgn::work_area).contains(x, y);
    if (in_pane && !main_view() && region < erg::frame) return;
    press = {region, row_at(region, y), x, y, mods, ms};
    if (region == rgn::quantize) {
        const int track = first_visible + press.row;
        const int now = p.slot(p.d.current_pattern, track).quantize;
        const auto at = std::find(quantize_values.begin(), quantize_values.end(), now);
        popup = quantize_popup_request{track, static_cast<int>(at - quantize_values.begin()), x, y};
        press.region = 0;
        return;
    }
    if (region == rgn::track_name && button == left_button) {
        select_track(p, first_visible + press.row);
        if (p.app.solo_on) t.solo_follows_track();
        drag_source = p.d.current_track;
        drag_y = y;
    }
    mouse.down(button, ms);
}

void main_screen::impl::end_press(int x, int y, int button) {
    mouse.up(button);
    if (dragging && button == left_button) {
        dirty.push_back(drag_line());
        dragging = false;
        drop_track(x, y, last_mods);
        mouse.clear();
    }
    if (!mouse.any_held()) wait_release = false;
}

void main_screen::impl::run_press(std::int64_t ms) {
    if (press.region == 0 || wait_release || mouse.idle()) return;
    if (press.region == rgn::track_name) {
        // The name column selects at once; held, it drags the track line.
        if (!dragging && mouse.held(left_button) && ms - press.down_ms >= drag_hold_ms) {
            dragging = true;
            dirty.push_back(drag_line());
        }
        if (!mouse.any_held()) mouse.clear();
        return;
    }
    const int code = mouse.tick(ms, takes_double_click(press.region), double_click_ms);
    if (code == 0) return;
    act(code);
    if (single_action(press.region)) {
        wait_release = wait_release || mouse.any_held();
        mouse.clear();
    }
}

void main_screen::impl::act(int code) {
    const int region = press.region;
    if (region >= erg::frame) {
        act_editor(region, press.row, code);
        return;
    }
    if (click_field(region, press.row, code, press.mods)) return;
    if (region >= rgn::position && tree.place(rgn::transport_panel).contains(press.x, press.y)) {
        act_transport(region, code);
    } else if (region >= rgn::pattern_name && region <= rgn::velocity) {
        act_track(region, first_visible + press.row);
    } else {
        act_song(region, press.row, code);
    }
}

void main_screen::impl::act_transport(int region, int code) {
    dll_data& d = p.d;
    switch (region) {
        case rgn::midi_thru:
            if (d.internal_record) {
                refuse(msg_internal_record_active);
                break;
            }
            d.midi_thru = d.midi_thru ? 0 : 1;
            if (!d.midi_thru) {
                shared_store(d.input_activity, activity_none);
                p.wait_request(d.thru_notes_off_request);
            }
            break;
        case rgn::play:
            if (code == left_button) t.play();
            break;
        case rgn::stop:
            if (code == left_button) t.stop();
            break;
        case rgn::pause:
            if (code == left_button) t.pause();
            break;
        case rgn::forward:
        case rgn::rewind:
            t.move_bar(region == rgn::forward, code == both_buttons);
            break;
        case rgn::record:
            // The button is the mode: left replaces, right overdubs.
            if (recording.record && (code == left_button || code == right_button))
                recording.record(code);
            break;
        case rgn::drop_in:
            if (recording.drop_in) recording.drop_in(press.mods.shift);
            break;
        default:
            break;
    }
}

void main_screen::impl::toggle_mute(int track) {
    track_slot& s = p.slot(p.d.current_pattern, track);
    s.mute = s.mute ? 0 : 1;
    edited();
    if (s.mute) reseat_playing_track(p, p.d.current_pattern, track);
}

void main_screen::impl::act_track(int region, int track) {
    if (region == rgn::mute && track < tracks_per_pattern) toggle_mute(track);
}

void main_screen::impl::move_step(int delta, bool with_locators) {
    if (refuse_while_recording()) return;
    dll_data& d = p.d;
    const int s = std::clamp(d.current_step + delta, 0, song_steps - 1);
    d.current_step = static_cast<std::int8_t>(s);
    if (d.song_mode) {
        t.dial_position(p.step_start(s));
        if (with_locators) {
            t.set_left_locator(p.step_start(s));
            t.set_right_locator(std::min(p.step(s).end, last_locator_position));
        }
    } else {
        select_pattern(p, p.step(s).pattern);
        t.dial_position(song_start);
    }
}

void main_screen::impl::act_song(int region, int row, int code) {
    const int cs = p.d.current_step;
    switch (region) {
        case rgn::step_down:
        case rgn::step_up:
            move_step(region == rgn::step_down ? 1 : -1, code == right_button);
            break;
        case rgn::mode_line:
            if (code == left_button) toggle_song_mode(p);
            break;
        case rgn::track_numbers: {
            const int track = first_visible + row;
            p.step(cs).track_mask ^= 1U << track;
            edited();
            if ((p.step(cs).track_mask >> track) & 1U)
                reseat_playing_track(p, p.step(cs).pattern, track);
            break;
        }
        case rgn::master_mute: {
            std::uint32_t& word = p.step(song_steps).track_mask;
            word = word ? 0 : ~0U;
            edited();
            break;
        }
        case rgn::step_insert:
            insert_step(p, cs);
            edited();
            break;
        case rgn::step_delete:
            delete_step(p, cs);
            edited();
            break;
        default:
            break;
    }
}

}  // namespace kestrune
