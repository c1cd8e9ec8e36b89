// The main window's value fields: each region's field descriptor, its value in a row and the one
// way to set it. A click steps the value and a double click types it, both through these.
#include <algorithm>

#include "shell/screen/screen_state.h"
#include "song/event_store.h"
#include "song/field_text.h"
#include "song/locate.h"
#include "song/patterns.h"
#include "song/position.h"
#include "song/track_fields.h"

namespace kestrune {

namespace {

constexpr int position_entry = 20;
constexpr int signature_limit = 32;

const field_spec position_spec{.label = "Position", .kind = field_kind::position, .low = 0,
                               .high = last_position, .entry_length = position_entry};
const field_spec locator_spec{.label = "Locator", .kind = field_kind::position, .low = 0,
                              .high = last_locator_position, .entry_length = position_entry};
const field_spec numerator_spec{.label = "Numerator", .low = 1, .high = signature_limit};
const field_spec denominator_spec{.label = "Denominator", .kind = field_kind::power_of_two,
                                  .low = 1, .high = signature_limit};
// Notes to the whole, 4..48; the program keeps their ticks.
const field_spec groove_spec{.label = "Groove", .kind = field_kind::series, .low = 4, .high = 48,
                             .entry_length = 3};
const field_spec tempo_spec{.label = "Tempo", .kind = field_kind::tempo, .low = min_tempo,
                            .high = max_tempo, .entry_length = 8};
const field_spec pattern_spec{.label = "Pattern", .kind = field_kind::one_based, .low = 0,
                              .high = parallel_pattern, .entry_length = 2};
const field_spec step_pattern_spec{.label = "Pat", .kind = field_kind::one_based, .low = 0,
                                   .high = 15, .entry_length = 2};
const field_spec step_bar_spec{.label = "Bar", .kind = field_kind::position, .low = 0,
                               .high = last_locator_position, .entry_length = position_entry};
const field_spec step_length_spec{.label = "Position Length", .kind = field_kind::time_span,
                                  .low = 1, .high = last_position, .entry_length = position_entry};
const field_spec pre_start_spec{.label = "Pre Start", .kind = field_kind::time_span, .low = 0,
                                .high = song_start, .neutral = 0, .entry_length = position_entry};
const field_spec step_transpose_spec{.label = "Trsp", .low = -36, .high = 36, .neutral = 0,
                                     .entry_length = 4};

bool is_track_column(int region, track_column& c) {
    switch (region) {
        case rgn::transpose: c = track_column::transpose; return true;
        case rgn::loop: c = track_column::loop; return true;
        case rgn::delay: c = track_column::delay; return true;
        case rgn::compress: c = track_column::compress; return true;
        case rgn::velocity: c = track_column::velocity; return true;
        case rgn::channel: c = track_column::channel; return true;
        case rgn::port: c = track_column::port; return true;
        default: return false;
    }
}

}  // namespace

midi_event* main_screen::impl::signature_shown() {
    const event_store s = p.store();
    midi_event& e = s.at(signature_at(s, p.d.active_signature.first, shown_position()));
    return e.status() == st::signature ? &e : nullptr;
}

bool main_screen::impl::signature_refused() {
    if (p.d.signature_track_on) refuse(msg_signature_track_active);
    return p.d.signature_track_on != 0;
}

screen_field main_screen::impl::signature_field(bool numerator) {
    return {numerator ? numerator_spec : denominator_spec,
            [this, numerator](int) {
                const midi_event* e = signature_shown();
                return e ? (numerator ? e->data1() : e->data2()) : 4;
            },
            [this, numerator](int, std::int32_t v) {
                midi_event* e = signature_shown();
                if (!e) return;
                const auto b = static_cast<std::uint8_t>(v);
                numerator ? e->set_data1(b) : e->set_data2(b);
                if (p.running()) locate(p, p.d.position);
            },
            [this](int) { return signature_refused(); }};
}

screen_field main_screen::impl::transport_field(int region) {
    dll_data& d = p.d;
    switch (region) {
        case rgn::position:
            return {position_spec, [this](int) { return shown_position(); },
                    [this](int, std::int32_t v) { t.dial_position(v); }};
        case rgn::left_locator:
            return {locator_spec, [&d](int) { return d.left_locator; },
                    [this](int, std::int32_t v) { t.set_left_locator(v); }};
        case rgn::right_locator:
            return {locator_spec, [&d](int) { return d.right_locator; },
                    [this](int, std::int32_t v) { t.set_right_locator(v); }};
        case rgn::numerator:
        case rgn::denominator:
            return signature_field(region == rgn::numerator);
        case rgn::groove:
            return {groove_spec, [this](int) { return ticks_per_whole / std::max<int>(1, p.app.edit_grid); },
                    [this](int, std::int32_t v) {
                        p.app.edit_grid = static_cast<std::int16_t>(ticks_per_whole / v);
                    }};
        case rgn::tempo:
            return {tempo_spec, [this](int) { return p.app.song_tempo; },
                    [this](int, std::int32_t v) { t.set_manual_tempo(v); },
                    [this](int) {
                        if (p.d.tempo_track_on) refuse(msg_tempo_track_active);
                        return p.d.tempo_track_on || p.d.external_sync;
                    }};
        default:
            return {};
    }
}

screen_field main_screen::impl::song_field(int region) {
    const int cs = p.d.current_step;
    // The rows of the song list show the step before the current one, then the current one on.
    const auto step_of = [cs](int row) { return cs - 1 + row; };
    switch (region) {
        case rgn::pattern_number:
            return {pattern_spec, [this](int) { return p.d.current_pattern; },
                    [this](int, std::int32_t v) { select_pattern(p, v); },
                    [this](int) { return refuse_while_recording(); }};
        case rgn::step_pattern:
            return {step_pattern_spec, [this, step_of](int row) { return p.step(step_of(row)).pattern; },
                    [this, step_of](int row, std::int32_t v) { set_row_pattern(step_of(row), v); },
                    [this, step_of, cs](int row) {
                        const int step = step_of(row);
                        if (step < 0 || step >= song_steps) return true;
                        return step == cs && refuse_while_recording();
                    }};
        case rgn::step_bar:
            return {step_bar_spec, [this, step_of](int row) { return p.step_start(step_of(row)); },
                    [this, step_of](int row, std::int32_t v) { move_step_start(step_of(row), v); },
                    [step_of](int row) { return step_of(row) < 1 || step_of(row) >= song_steps; },
                    song_start, true};
        case rgn::step_length:
            return {step_length_spec, [this, cs](int) { return step_length(p, cs); },
                    [this, cs](int, std::int32_t v) { set_step_length(p, cs, v); }, {},
                    p.step_start(cs)};
        case rgn::step_pre_start:
            return {pre_start_spec, [this, cs](int) { return p.step(cs).pickup; },
                    [this, cs](int, std::int32_t v) { set_step_pickup(p, cs, v); }, {},
                    p.step_start(cs)};
        case rgn::step_transpose:
            return {step_transpose_spec, [this, cs](int) { return p.step(cs).transpose; },
                    [this, cs](int, std::int32_t v) {
                        p.step(cs).transpose = static_cast<std::int8_t>(v);
                        if (p.running()) p.wait_request(p.d.all_notes_off_request);
                    }};
        default:
            return {};
    }
}

screen_field main_screen::impl::field_of(int region) {
    if (is_list_column(region)) return editor_up() ? list_field_of(region) : screen_field{};
    track_column c{};
    if (is_track_column(region, c)) {
        if (!main_view()) return {};
        return {track_field(c),
                [this, c](int row) { return track_value(p, p.d.current_pattern, first_visible + row, c); },
                [this, c](int row, std::int32_t v) {
                    set_track_value(p, p.d.current_pattern, first_visible + row, c, v);
                },
                [this](int row) { return first_visible + row >= tracks_per_pattern; }};
    }
    if (screen_field f = transport_field(region); f.get) return f;
    return main_view() ? song_field(region) : screen_field{};
}

void main_screen::impl::set_row_pattern(int step, int pattern) {
    set_step_pattern(p, step, pattern);
    // While stopped the track list shows the pattern just set, unless the parallel one is up.
    if (!p.running() && !p.d.parallel_selected) select_pattern(p, pattern, true);
}

void main_screen::impl::move_step_start(int step, std::int32_t to) {
    // The boundary with the step before moves by whole bars, walked to its limits: after the
    // start of the step before, before this step's end less the next step's pre-start.
    const std::int32_t next_pickup = step + 1 < song_steps ? p.step(step + 1).pickup : 0;
    std::int32_t at = p.step_start(step);
    while (at < to) {
        const std::int32_t n = at + signature_in_force(p, at).bar_ticks();
        if (n >= p.step(step).end - next_pickup || n > to) break;
        at = n;
    }
    while (at > to) {
        const std::int32_t n = at - signature_in_force(p, at, false).bar_ticks();
        if (n <= p.step_start(step - 1) || n < to) break;
        at = n;
    }
    p.step(step - 1).end = at;
}

bool main_screen::impl::click_field(int region, int row, int code, key_mods mods) {
    screen_field f = field_of(region);
    if (!f.get) return false;
    if (f.refused && f.refused(row)) return true;
    const rect field = tree.place(region);
    // The list's position text ends at its column's edge; the main window's keeps a cell after it.
    const int tick_chars = is_list_column(region) ? dialog_tick_chars : main_window_tick_chars;
    // The Bar column steps whole bars wherever the click lands.
    const position_pointer at = f.bars_only ? position_pointer{0, g.width * 100, g.width, tick_chars}
                                            : position_pointer{press.x, field.right, g.width, tick_chars};
    const std::int32_t before = f.get(row);
    std::int32_t v = step_field(p, f.shape, before, code, mods, at, {.span_from = f.span_from});
    // From a length of one tick a bar step gives whole bars.
    if (region == rgn::step_length && before == 1 && v > 1 &&
        (v - 1) % signature_in_force(p, f.span_from).bar_ticks() == 0)
        v -= 1;
    if (v == before) return true;
    f.set(row, v);
    if (!views_only(region)) edited();
    return true;
}

bool main_screen::impl::type_into_field(int region, int row) {
    screen_field f = field_of(region);
    if (!f.get) return false;
    if (f.refused && f.refused(row)) return true;
    const field_place place{.span_from = f.span_from};
    const std::int32_t now = f.get(row);
    // A column's row, or the whole field.
    const rect whole = tree.place(region);
    const rect r = whole.height() > 2 * g.height ? row_of(whole, row, g.height) : whole;
    const auto typed = p.screen.edit_in_place(r.left, r.top, r.width(), r.height(),
                                              field_text(p, f.shape, now, place), f.shape.entry_length);
    if (!typed) return true;
    if (const auto v = parse_field(p, f.shape, *typed, now, place)) {
        f.set(row, *v);
        if (!views_only(region)) edited();
    }
    return true;
}

screen_field main_screen::impl::list_field_of(int region) {
    auto at_row = [this, region](int row) {
        const list_row_events rows = list_rows_of(p);
        return list_column_field(p, region, rows[static_cast<std::size_t>(std::clamp(row, 0, list_rows - 1))]);
    };
    const list_field now = at_row(p.editor.cursor_row);
    if (!now.get) return {};
    return {now.shape, [at_row](int row) { return at_row(row).get(); },
            [at_row](int row, std::int32_t v) { at_row(row).set(v); },
            [at_row](int row) { return !at_row(row).get; }, now.span_from};
}

}  // namespace kestrune
