// Names typed in place (track, pattern, song step), the signature typed as one, and where a
// double click goes.
#include <algorithm>

#include "core/field.h"
#include "shell/screen/screen_state.h"
#include "song/entry_parsers.h"
#include "song/event_store.h"
#include "song/patterns.h"
#include "song/position.h"

namespace kestrune {

namespace {

constexpr const char* editable_name = " editable ";
constexpr const char* no_name = " No name  ";
constexpr int signature_entry_length = 8;

std::string stored_name(const char* field) {
    std::string s(field, field + name_length);
    if (auto z = s.find('\0'); z != std::string::npos) s.resize(z);
    return s;
}

std::string without_right_padding(std::string s) {
    s.erase(s.find_last_not_of(' ') + 1);
    return s;
}

}  // namespace


void main_screen::impl::edit_track_name(int track) {
    track_slot& s = p.slot(p.d.current_pattern, track);
    if (!s.in_use) {
        // An empty track gets an empty chain, so that its name can be kept.
        if (p.d.free_blocks < 1) {
            p.message(msg_not_enough_memory);
            return;
        }
        const ref32 first = p.store().new_empty_chain();
        if (first == null_ref) return;
        p.d.free_blocks -= 1;
        s.first = s.play = first;
        s.blocks = 1;
        put_name(s.name, editable_name);
        shared_store(s.in_use, 1);
    }
    const rect r = row_of(tree.place(rgn::track_name), track - first_visible, g.height);
    auto typed = p.screen.edit_in_place(r.left, r.top, r.width(), r.height(),
                                        without_right_padding(stored_name(s.name)), name_length);
    if (!typed) return;
    put_name(s.name, typed->empty() ? std::string(no_name) : *typed);
    edited();
}

void main_screen::impl::edit_pattern_name() {
    pattern_entry& pat = p.pattern(p.d.current_pattern);
    const rect r = tree.place(rgn::pattern_name);
    auto typed = p.screen.edit_in_place(r.left, r.top, r.width(), r.height(), stored_name(pat.name),
                                        name_length);
    if (!typed) return;
    // The default name goes in first; a blank entry then leaves the name all blank.
    put_name(pat.name, p.d.current_pattern == parallel_pattern ? parallel_pattern_name
                                                               : default_pattern_name);
    put_name(pat.name, *typed);
    edited();
}

void main_screen::impl::edit_step_name(int step) {
    if (step < 0 || step >= song_steps) return;
    const rect r = row_of(tree.place(rgn::step_name), step - p.d.current_step + 1, g.height);
    auto typed = p.screen.edit_in_place(r.left, r.top, r.width(), r.height(),
                                        stored_name(p.step(step).name), name_length);
    if (!typed) return;
    set_step_name(p, step, *typed);
    edited();
}

void main_screen::impl::edit_signature(int region) {
    // Numerator and denominator are typed together: "3 4".
    if (signature_refused()) return;
    midi_event* e = signature_shown();
    if (!e) return;
    const rect r = tree.place(region);
    const auto typed = p.screen.edit_in_place(r.left, r.top, r.width(), r.height(),
                                              std::to_string(e->data1()) + " " + std::to_string(e->data2()),
                                              signature_entry_length);
    if (!typed) return;
    if (const auto sig = parse_signature(*typed)) {
        e->set_data1(static_cast<std::uint8_t>(sig->numerator));
        e->set_data2(static_cast<std::uint8_t>(sig->denominator));
        edited();
    }
}

void main_screen::impl::double_click_at(int region, int row) {
    mouse.clear();
    if (is_list_column(region)) {
        // Only the highlighted row, and not where a double click has nothing to type.
        const list_row_events rows = list_rows_of(p);
        if (editor_up() && row == p.editor.cursor_row &&
            list_column_field(p, region, rows[static_cast<std::size_t>(row)]).typed)
            type_into_field(region, row);
        return;
    }
    if (!main_view() && region >= rgn::work_area && region != rgn::position) return;
    if (region == rgn::track_name)
        edit_track_name(first_visible + row);
    else if (region == rgn::pattern_name)
        edit_pattern_name();
    else if (region == rgn::step_name)
        edit_step_name(p.d.current_step - 1 + row);
    else if (region == rgn::numerator || region == rgn::denominator)
        edit_signature(region);
    else if (takes_double_click(region))
        type_into_field(region, row);
}

}  // namespace kestrune
