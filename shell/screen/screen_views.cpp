// What each cell of the main screen shows, and how a cell and the labels are painted.
#include <algorithm>
#include <cstdio>

#include "shell/screen/screen_state.h"
#include "song/event_store.h"
#include "song/patterns.h"
#include "song/position.h"

namespace kestrune {

namespace {

constexpr int note_off_marker = 128;

std::string number_text(int v) {
    char buf[16];
    std::snprintf(buf, sizeof buf, " %d", v);
    return buf;
}

std::string name_text(const char* name) {
    std::string s(name, name + name_length);
    if (auto z = s.find('\0'); z != std::string::npos) s.resize(z);
    s.resize(name_length, ' ');
    return s;
}

// A button's picture: `up`, or the one after it while the button is down.
cell_view icon_cell(int up, bool down) {
    cell_view v;
    v.icon = up + (down ? 1 : 0);
    return v;
}

cell_view text_cell(std::string s, text_align a = text_align::right) {
    cell_view v;
    v.text = std::move(s);
    v.align = a;
    return v;
}

// Width of an activity bar for velocity v in a field of `field_width`.
int bar_width(int v, int cell_width, bool track_bar, int field_width) {
    if (v == note_off_marker) v = 64;
    int w = (cell_width * ((((v + 1) * 3) / 8) * 8)) / 48;
    if (track_bar) w /= 2;
    return std::clamp(w, 1, std::max(1, field_width));
}

}  // namespace

std::int32_t main_screen::impl::shown_position() const {
    // A position dialled while running waits for the buttons; the field shows it meanwhile.
    return p.running() && t.pending_position_set ? t.pending_position : p.d.position;
}

static std::int32_t shown_tempo_of(const program& p, const transport& t, std::int32_t pos) {
    if (p.d.external_sync) return t.shown_tempo;
    if (!p.d.tempo_track_on) return p.app.song_tempo;
    std::int32_t tempo = default_tempo;
    const ref32 r = tempo_at(p, pos, &tempo);
    // A record at the position itself is in force there.
    const event_store s = p.store();
    if (r != 0 && s.at(r).status() == st::tempo && s.position(r) == pos)
        tempo = s.at(r).tempo_value();
    return tempo;
}

cell_view main_screen::impl::view(int region, int row) {
    const dll_data& d = p.d;
    const std::int32_t pos = shown_position();
    switch (region) {
        case rgn::position:
            if (row < 0) {
                // "\tBar\t 4\t16\tTck" with the denominator and the groove written in.
                char buf[32];
                const int den = signature_in_force(p, pos).denominator;
                if (p.app.simple_bardisplay)
                    std::snprintf(buf, sizeof buf, "Bar|%2d|  |Tck", den);
                else
                    std::snprintf(buf, sizeof buf, "Bar|%2d|%2d|Tck", den,
                                  ticks_per_whole / std::max<int>(1, p.app.edit_grid));
                cell_view v = text_cell(buf, text_align::left);
                v.font = font_kind::small;
                return v;
            }
            return text_cell(position_text(p, pos), text_align::left);
        case rgn::left_locator:
            return text_cell(position_text(p, d.left_locator), text_align::left);
        case rgn::right_locator:
            return text_cell(position_text(p, d.right_locator), text_align::left);
        case rgn::time:
            return text_cell(format_clock(position_to_ms(p, pos)));
        case rgn::numerator:
            return text_cell(signature_cell_text(signature_in_force(p, pos).numerator));
        case rgn::denominator:
            return text_cell(signature_cell_text(signature_in_force(p, pos).denominator));
        case rgn::groove:
            return text_cell(
                signature_cell_text(ticks_per_whole / std::max<int>(1, p.app.edit_grid)));
        case rgn::tempo:
            return text_cell(tempo_text(shown_tempo_of(p, t, pos)));
        case rgn::midi_thru: {
            if (!d.midi_thru) return text_cell("OFF", text_align::centre);
            cell_view v;
            v.bar = thru_level;
            return v;
        }
        case rgn::play:
            return icon_cell(icon_play, t.buttons.play);
        case rgn::stop:
            return icon_cell(icon_stop, t.buttons.stop);
        case rgn::record:
            return icon_cell(icon_record, d.recording);
        case rgn::pause:
            return icon_cell(icon_pause, t.buttons.pause);
        case rgn::forward:
            return icon_cell(icon_forward, t.buttons.forward);
        case rgn::rewind:
            return icon_cell(icon_rewind, t.buttons.rewind);
        case rgn::drop_in: {
            cell_view v = text_cell(d.recording ? "Drop Out" : "Drop In", text_align::centre);
            v.font = font_kind::normal;
            v.inverted = d.recording != 0;
            return v;
        }
        default:
            break;
    }
    return main_view() ? pane_view(region, row) : cell_view{};
}

cell_view main_screen::impl::pane_view(int region, int row) {
    const dll_data& d = p.d;
    const int cs = std::clamp<int>(d.current_step, 0, song_steps - 1);
    const song_step& step = p.step(cs);
    switch (region) {
        case rgn::mode_line: {
            cell_view v = text_cell(d.song_mode ? "SONG MODE" : "PATTERN MODE", text_align::centre);
            v.font = font_kind::normal;
            v.inverted = d.song_mode != 0;
            return v;
        }
        case rgn::master_mute: {
            cell_view v = text_cell("M", text_align::centre);
            v.inverted = p.step(song_steps).track_mask != 0;
            return v;
        }
        case rgn::track_numbers: {
            const int track = first_visible + row;
            cell_view v = text_cell(number_text(track + 1));
            v.inverted = (step.track_mask >> track) & 1U;
            return v;
        }
        case rgn::step_bar:
        case rgn::step_pattern:
        case rgn::step_name: {
            const int s = cs - 1 + row;
            cell_view v;
            v.inverted = row == 1;
            v.align = region == rgn::step_name ? text_align::left : text_align::right;
            if (s < 0 || s >= song_steps) return v;
            const song_step& st = p.step(s);
            if (region == rgn::step_bar)
                v.text = bar_text(p, p.step_start(s));
            else if (region == rgn::step_pattern)
                v.text = number_text(st.pattern + 1);
            else
                v.text = name_text(st.name);
            return v;
        }
        case rgn::step_length:
            return text_cell(length_text(p, step_length(p, cs), p.step_start(cs)),
                             text_align::left);
        case rgn::step_pre_start:
            return text_cell(length_text(p, step.pickup, p.step_start(cs)), text_align::left);
        case rgn::step_transpose:
            return text_cell(number_text(step.transpose));
        case rgn::pattern_number:
            return text_cell(number_text(d.current_pattern + 1));
        case rgn::pattern_name:
            return text_cell(name_text(p.pattern(d.current_pattern).name), text_align::left);
        case rgn::track_pane: {
            // The "Trk" header, inverted once for each track outside the visible rows that holds
            // data: an even number of them cancels out.
            cell_view v = text_cell("Trk", text_align::left);
            v.font = font_kind::small;
            for (int tr = 0; tr < tracks_per_pattern; ++tr)
                if ((tr < first_visible || tr >= first_visible + visible_tracks) &&
                    p.slot(d.current_pattern, tr).in_use)
                    v.inverted = !v.inverted;
            return v;
        }
        default:
            break;
    }
    return track_view(region, row);
}

cell_view main_screen::impl::track_view(int region, int row) {
    const dll_data& d = p.d;
    const int track = first_visible + row;
    const track_slot& ts = p.slot(d.current_pattern, track);
    cell_view v;
    switch (region) {
        case rgn::track_number:
            v.text = number_text(
                track + 1 +
                (d.current_pattern == parallel_pattern && d.song_mode ? tracks_per_pattern : 0));
            break;
        case rgn::mute:
            v.text = ts.mute ? "*  " : "   ";
            if (!ts.mute && track_level[track] > 0) {
                v.bar = track_level[track];
                v.bar_off = track_off_marker[track];
                v.bar_peak = track_peak[track];
            }
            break;
        case rgn::transpose:
            v.text = number_text(ts.transpose);
            break;
        case rgn::track_name:
            v.text = name_text(ts.name);
            v.align = text_align::left;
            break;
        case rgn::loop: {
            const int den = denominator_at_pattern_start(p);
            v.text = ts.loop_length == no_loop
                         ? std::string("0")
                         : number_text(beats_from_loop_length(ts.loop_length, den));
            if (loop_has_remainder(ts.loop_length, den)) {
                if (v.text.size() >= 3)
                    v.text[2] = '!';
                else
                    v.text += '!';
            }
            break;
        }
        case rgn::delay:
            v.text = number_text(ts.delay);
            break;
        case rgn::compress:
            v.text = number_text(ts.compress);
            break;
        case rgn::velocity:
            v.text = number_text(ts.velocity);
            break;
        case rgn::quantize:
            v.text = ts.quantize == 0 ? std::string("NO") : number_text(ts.quantize);
            break;
        case rgn::port:
            v.text = std::string(" ") + static_cast<char>('A' + std::min<int>(ts.port, 3));
            break;
        case rgn::channel:
            v.text = ts.channel >= 16 ? std::string("--") : number_text(ts.channel + 1);
            break;
        default:
            return v;
    }
    v.inverted = track == d.current_track;
    return v;
}

void main_screen::impl::paint_cell(canvas& c, const screen_cell& s) const {
    const cell_view& v = s.shown;
    const rect& r = s.place;
    if (v.icon) {
        // A square of the icon size, centred, no larger than the button.
        const int side = std::min({icon_size_of(g), r.width(), r.height()});
        const int left = r.left + (r.width() - side) / 2, top = r.top + (r.height() - side) / 2;
        c.icon({left, top, left + side, top + side}, v.icon);
        return;
    }
    if (s.region == rgn::drop_in) {
        c.bevel(r, v.inverted);
        c.text(r, v.text, v.font, colour_role::text, v.align);
        return;
    }
    if (s.row < 0 && s.region == rgn::position) {
        // Label pieces over the four parts of the position text: 0, 4, 7 and 10 characters in.
        c.fill_rect(r, colour_role::panel);
        static constexpr int starts[] = {0, 4, 7, 10, 13};
        const int ch = std::max(1, c.text_width("0", font_kind::list));
        std::size_t from = 0;
        for (int i = 0; i < 4; ++i) {
            const std::size_t bar = v.text.find('|', from);
            const std::string piece =
                v.text.substr(from, bar == std::string::npos ? std::string::npos : bar - from);
            c.text({r.left + starts[i] * ch, r.top, r.left + starts[i + 1] * ch, r.bottom}, piece,
                   font_kind::small, colour_role::dim_text, text_align::left);
            if (bar == std::string::npos) break;
            from = bar + 1;
        }
        return;
    }
    // The "Trk" header is a label on the window's face until it is inverted.
    const colour_role face = s.region == rgn::track_pane ? colour_role::window : colour_role::field;
    c.fill_rect(r, v.inverted ? colour_role::highlight : face);
    if (!v.text.empty()) {
        rect tr = r;
        tr.top += g.list_font_shortfall;
        // Texts keep clear of the cell's edges, so neighbouring columns never touch.
        const int padding = g.width / 4;
        if (v.align == text_align::left) tr.left += padding;
        if (v.align == text_align::right) tr.right -= padding;
        const colour_role ink = v.inverted                   ? colour_role::highlight_text
                                : v.font == font_kind::small ? colour_role::dim_text
                                                             : colour_role::field_text;
        c.text(tr, v.text, v.font, ink, v.align);
    }
    if (v.bar > 0) {
        const int h = std::max(1, r.height() / 3);
        const rect b{r.left + 1, r.top + (r.height() - h) / 2, r.left + 1 + v.bar,
                     r.top + (r.height() - h) / 2 + h};
        c.fill_rect(b, v.bar_peak  ? colour_role::peak
                       : v.bar_off ? colour_role::activity_off
                                   : colour_role::activity);
    }
}

void main_screen::impl::paint_labels(canvas& c, const rect& clip) const {
    const int small_h = g.height * 3 / 4;
    auto above = [&](int region, const char* text) {
        if (tree.is_hidden(region)) return;
        const rect f = tree.place(region);
        const rect r{f.left, f.top - small_h, f.right + g.width * 2, f.top};
        if (r.intersects(clip))
            c.text(r, text, font_kind::small, colour_role::dim_text, text_align::left);
    };
    above(rgn::left_locator, "Left Locator");
    above(rgn::right_locator, "Right Locator");
    above(rgn::time, "Time");
    above(rgn::signature, "Signature  Groove");
    above(rgn::tempo, "Tempo");
    above(rgn::midi_thru, "MIDI Thru");
    if (!main_view()) return;
    above(rgn::step_length, "Position Length");
    above(rgn::step_pre_start, "Pre Start");
    above(rgn::step_transpose, "Trsp");
    above(rgn::step_bar, "Bar");
    above(rgn::step_pattern, "Pat");
    above(rgn::step_name, "Name");
    // The track header stands in the pane's first row, over each column, with the padding of
    // the values below it; a header wider than its column reaches over the gap on its left, up
    // to the region there.
    const int header_top = tree.place(rgn::track_pane).top;
    auto header = [&](int region, int left_of_it, const char* text) {
        const rect f = tree.place(region);
        const rect r{tree.place(left_of_it).right, header_top, f.right - g.width / 4,
                     header_top + g.height};
        if (r.intersects(clip))
            c.text(r, text, font_kind::small, colour_role::dim_text, text_align::right);
    };
    header(rgn::mute, rgn::track_number, "Mute");
    header(rgn::transpose, rgn::mute, "Trsp");
    header(rgn::loop, rgn::pattern_number, "Loop");
    header(rgn::delay, rgn::loop, "Del");
    header(rgn::compress, rgn::delay, "Comp");
    header(rgn::velocity, rgn::compress, "Vel");
    header(rgn::quantize, rgn::velocity, "Qua");
    // "Cha" stands over the port and the channel.
    const rect cha{tree.place(rgn::port).left, header_top, tree.place(rgn::channel).right,
                   header_top + g.height};
    if (cha.intersects(clip))
        c.text(cha, "Cha", font_kind::small, colour_role::dim_text, text_align::centre);
    // The step buttons.
    for (auto [region, text] :
         {std::pair{rgn::step_insert, "Ins"}, std::pair{rgn::step_delete, "Del"}})
        if (tree.place(region).intersects(clip))
            c.text(tree.place(region), text, font_kind::small, colour_role::text,
                   text_align::centre);
    if (tree.place(rgn::step_down).intersects(clip))
        c.icon(tree.place(rgn::step_down).inset(2), icon_step_down);
    if (tree.place(rgn::step_up).intersects(clip)) c.icon(tree.place(rgn::step_up).inset(2), icon_step_up);
}

void main_screen::impl::update_activity() {
    dll_data& d = p.d;
    // With an editor up the transport's tick has already dropped the pending bars.
    if (!main_view()) std::fill(std::begin(track_level), std::end(track_level), 0);
    for (int tr = 0; tr < tracks_per_pattern; ++tr) {
        const int v = shared_load(d.track_activity[tr]);
        const int w =
            v == activity_none ? 0 : bar_width(v, g.width, true, tree.place(rgn::mute).width() - 2);
        if (v != activity_none && w > track_level[tr]) {
            track_level[tr] = w;
            track_off_marker[tr] = v == note_off_marker;
            track_peak[tr] = v > 126 && v != note_off_marker;
            shared_store(d.track_activity[tr], activity_none);
        } else if (track_level[tr] > 0) {
            --track_level[tr];
        }
    }
    if (d.midi_thru) {
        const int v = shared_load(d.input_activity);
        const int w = v == activity_none
                          ? 0
                          : bar_width(v, g.width, false, tree.place(rgn::midi_thru).width() - 2);
        if (v != activity_none && w > thru_level) {
            thru_level = w;
            shared_store(d.input_activity, activity_none);
        } else {
            thru_level = std::max(0, thru_level - 2);
        }
    }
}

}  // namespace kestrune
