#include "editors/tempo/tempo_process.h"

#include <algorithm>

#include "core/command_ids.h"
#include "processing/track_span.h"
#include "services/help_pages.h"
#include "song/event_store.h"
#include "song/locate.h"

namespace kestrune {

namespace {

constexpr std::int32_t lowest_beats = 1, highest_beats = 999;

// `f` on each tempo record of the list.
template <typename F>
void each_tempo(const program& p, F f) {
    const event_store s = p.store();
    for (ref32 e = p.d.tempo_chain.first; e != null_ref && s.at(e).is_event(); e = s.next_event(e))
        if (s.status(e) == st::tempo) f(s.at(e));
}

// Each tempo record rewritten by `f` in place with the engine parked, which then goes on with
// the tempo now in force.
template <typename F>
void rewrite_tempos(program& p, F f) {
    {
        program::park parked(p);
        each_tempo(p, f);
    }
    locate_lists(p);
    ++p.changes.tracks;
}

}  // namespace

percent_limits tempo_percent_limits(const program& p) {
    std::int32_t highest = lowest_beats, lowest = highest_beats;
    each_tempo(p, [&](const midi_event& e) {
        highest = std::max(highest, e.tempo_value() / 100);
        lowest = std::min(lowest, e.tempo_value() / 100);
    });
    // A damaged record may read as 0 beats.
    highest = std::max(highest, lowest_beats);
    lowest = std::max(lowest, lowest_beats);
    return {std::clamp((100 - 100 * lowest) / lowest, -99, 0),
            std::clamp((highest_beats - highest) * 100 / highest, 0, 999)};
}

void scale_tempo_list(program& p, std::int32_t percent) {
    rewrite_tempos(p, [percent](midi_event& e) {
        const std::int32_t v = e.tempo_value();
        e.set_tempo_value(std::clamp(v + percent * v / 100, min_tempo, max_tempo));
    });
}

void ramp_tempo_list(program& p, const tempo_ramp& r) {
    if (r.from >= r.to) return;
    const std::int64_t span = r.to - r.from;
    const auto rise = static_cast<std::int16_t>(r.end_tempo - r.start_tempo);
    // Ticks per thousandth of a beat of rise; a ramp without rise holds the start tempo.
    const std::int64_t step = rise != 0 ? span * 1000 / rise : 0;
    rewrite_tempos(p, [&r, step](midi_event& e) {
        const std::int32_t at = e.position();
        if (at < r.from || at >= r.to) return;
        const auto gained = static_cast<std::int16_t>(step != 0 ? (at - r.from) * std::int64_t{1000} / step : 0);
        e.set_tempo_value(std::clamp((r.start_tempo + gained) * 100, min_tempo, max_tempo));
    });
}

namespace {

enum field { apply, percent, start_tempo, start_position, end_tempo, end_position };
enum group { by_percent, by_ramp };

field_spec beats_field(std::string label) {
    return {.label = std::move(label), .low = lowest_beats, .high = highest_beats, .entry_length = 3};
}
field_spec position_field(std::string label) {
    return {.label = std::move(label), .kind = field_kind::position, .low = 0, .high = last_position,
            .entry_length = 13};
}

std::vector<field_spec> fields() {
    return {choice_field("Apply", {"Percentage", "Tempo Ramp"}),
            {.label = "Percentage", .low = -99, .high = 999, .neutral = 0, .entry_length = 4},
            beats_field("Start Tempo"), position_field("Start Position"),
            beats_field("End Tempo"), position_field("End Position")};
}

// An OK button that applies its own group.
dialog_item ok_for(group g, rect cells) {
    return {.kind = control_kind::ok_button, .text = "OK", .cells = cells, .field = apply, .choice = g};
}

dialog_layout layout() {
    constexpr int width = 44, height = 16;
    dialog_layout d{.title = "Process Tempo Track", .width = width, .height = height};
    d.items = {
        group_box("Percentage", {1, 1, 43, 4}),
        value_box(percent, {2, 2, 12, 3}),
        ok_for(by_percent, {32, 2, 42, 3}),
        group_box("Start Tempo", {1, 5, 21, 10}),
        value_box(start_tempo, {2, 6, 8, 7}),
        value_box(start_position, {2, 8, 20, 9}),
        group_box("End Tempo", {22, 5, 43, 10}),
        value_box(end_tempo, {23, 6, 29, 7}),
        value_box(end_position, {23, 8, 42, 9}),
        ok_for(by_ramp, {32, 11, 42, 12}),
        help_button(width, height),
        {.kind = control_kind::cancel_button, .text = "Cancel", .cells = {width - 11, height - 3, width - 1, height - 1}},
    };
    return d;
}

outcome run(program& p, const field_values& v) {
    keep_values(p, cmd::process_tempo, v);
    if (v[apply].number == by_percent) {
        const percent_limits l = tempo_percent_limits(p);
        scale_tempo_list(p, std::clamp(v[percent].number, l.lower, l.upper));
    } else {
        ramp_tempo_list(p, {v[start_tempo].number, v[start_position].number, v[end_tempo].number,
                            v[end_position].number});
    }
    return outcome::done;
}

}  // namespace

command_record process_tempo_command() {
    return {
        .id = cmd::process_tempo,
        .text = "Process...",
        .views = {.main_screen = false, .editor = true},
        .changes_song = true,
        .help = std::string(help_page::tempo_processing),
        .fields = fields(),
        .dialog = layout(),
        .initial =
            [](const program& p) {
                field_values v = kept_values(p, cmd::process_tempo,
                                             {{by_percent}, {0}, {100}, {song_start}, {120}, {2 * song_start}});
                // The percentage starts at 0 at each opening.
                v[percent].number = 0;
                return v;
            },
        .enabled = [](const program& p) { return p.editor.kind == editor_kind::tempo_list; },
        // The percentage keeps every tempo of the list within 1 to 999 beats.
        .ranges =
            [](const program& p, std::vector<field_spec>& f) {
                const percent_limits l = tempo_percent_limits(p);
                f[percent].low = l.lower;
                f[percent].high = l.upper;
            },
        .run = run,
    };
}

}  // namespace kestrune
