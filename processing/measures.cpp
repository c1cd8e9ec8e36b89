#include "processing/measures.h"

#include <algorithm>
#include <vector>

#include "core/command_ids.h"
#include "processing/commands.h"
#include "processing/range_delete.h"
#include "processing/track_edit.h"
#include "processing/track_span.h"
#include "services/help_pages.h"
#include "song/locate.h"
#include "song/position.h"

namespace kestrune {

namespace {

constexpr const char* msg_too_many = "Too many measures!";
constexpr const char* msg_time_shift = "Time Shift of Signature Events has occurred!";
constexpr int spare_blocks = 3;

bool too_many(program& p, std::int32_t last, std::int32_t n) {
    if (last + n <= last_position) return false;
    p.message(msg_too_many, msg_icon::stop);
    return true;
}

// A tempo or signature list as plain records: each of its events is one record.
std::vector<midi_event> read_list(const event_store& s, ref32 first) {
    std::vector<midi_event> out;
    for (ref32 e = first; first != null_ref && is_event_status(s.status(e)); e = s.next_event(e))
        out.push_back(s.at(e));
    return out;
}

// The list rebuilt from `events`, with the engine parked; its old blocks go back.
bool write_list(program& p, chain_cursor& c, const std::vector<midi_event>& events) {
    event_store s = p.store();
    chain_builder b(s);
    for (const midi_event& e : events) b.put(e);
    b.terminate();
    const ref32 first = b.cut();
    if (first == null_ref) {
        p.message(msg_not_enough_memory, msg_icon::stop);
        return false;
    }
    program::park parked(p);
    const int blocks = b.count_chain_blocks();
    // The active signature follows the signature track when it is the one in force.
    const bool active = p.d.active_signature.first == c.first;
    if (c.first != null_ref) s.free_chain(c.first);
    c.first = c.play = c.left_event = first;
    c.blocks = static_cast<std::uint16_t>(blocks);
    if (active) p.d.active_signature = c;
    return true;
}

std::int32_t bar_at(const std::vector<midi_event>& list, std::size_t at) {
    return list.empty() ? time_signature{}.bar_ticks() : signature_of(list[at]).bar_ticks();
}

// The index of the signature in force at p: the last at or before p, else the first.
std::size_t signature_index(const std::vector<midi_event>& list, std::int32_t p) {
    std::size_t i = 0;
    while (i + 1 < list.size() && list[i + 1].position() <= p) ++i;
    return i;
}

void move_after(std::vector<midi_event>& list, std::size_t at, std::int32_t d) {
    for (std::size_t i = at + 1; i < list.size(); ++i)
        list[i].set_position(std::clamp(list[i].position() + d, 0, last_position));
}

// Whole bars from left while below right, each of the signature in force where it starts.
bool insert_bars(program& p, std::vector<midi_event>& list, std::int32_t left, std::int32_t right) {
    std::int32_t at = left;
    int count = 0;
    for (; at < right; ++count) at += bar_at(list, signature_index(list, at));
    if (at != right) p.message(msg_time_shift, msg_icon::warning);
    const std::size_t s = signature_index(list, left);
    move_after(list, s, bar_at(list, s) * count);
    return true;
}

void delete_bars(program& p, std::vector<midi_event>& list, std::int32_t left, std::int32_t right) {
    std::int32_t r = right;
    bool ran_out = false;
    while (r > left && !ran_out) {
        const std::size_t s = signature_index(list, left);
        const std::int32_t b = bar_at(list, s);
        ran_out = s + 1 >= list.size();
        move_after(list, s, -b);
        if (!ran_out && list[s + 1].position() == list[s].position())
            list.erase(list.begin() + static_cast<std::ptrdiff_t>(s));
        r -= b;
    }
    if (r != left) p.message(msg_time_shift, msg_icon::warning);
}

}  // namespace

bool shift_tempo_list(program& p, measure_op op, std::int32_t left, std::int32_t right) {
    chain_cursor& c = p.d.tempo_chain;
    std::vector<midi_event> list = read_list(p.store(), c.first);
    const std::int32_t n = right - left;
    if (op == measure_op::insert && !list.empty() && too_many(p, list.back().position(), n))
        return false;
    if (op == measure_op::remove)
        std::erase_if(list, [&](const midi_event& e) {
            return e.position() >= left && e.position() < right;
        });
    const std::int32_t d = op == measure_op::insert ? n : -n;
    for (midi_event& e : list)
        if (e.position() >= left) e.set_position(std::clamp(e.position() + d, 0, last_position));
    return write_list(p, c, list);
}

bool shift_signature_list(program& p, measure_op op, std::int32_t left, std::int32_t right) {
    chain_cursor& c = p.d.signature_track;
    std::vector<midi_event> list = read_list(p.store(), c.first);
    if (op == measure_op::insert) {
        if (!list.empty() && too_many(p, list.back().position(), right - left)) return false;
        insert_bars(p, list, left, right);
    } else {
        delete_bars(p, list, left, right);
    }
    return write_list(p, c, list);
}

namespace {

enum field { left, right, tracks, tempo_box, signature_box };
enum track_choice { current_only, all_tracks };

std::vector<field_spec> fields() {
    return {left_locator_field(), right_locator_field(),
            choice_field("Tracks", {"Current MIDI track only", "All MIDI tracks in pattern"}),
            check_field("Tempo Track"), check_field("Signature Track")};
}

dialog_layout layout(const char* title) {
    constexpr int width = 40, height = 15;
    dialog_layout d{.title = title, .width = width, .height = height};
    d.items = {
        group_box("Locators", {1, 1, 39, 4}),
        value_box(left, {2, 2, 19, 3}),
        value_box(right, {21, 2, 38, 3}),
        radio_button(tracks, all_tracks, "All MIDI tracks in pattern", {2, 5, 38, 6}),
        radio_button(tracks, current_only, "Current MIDI track only", {2, 7, 38, 8}),
        check_box(tempo_box, "Tempo Track", {2, 9, 20, 10}),
        check_box(signature_box, "Signature Track", {21, 9, 38, 10}),
    };
    for (dialog_item& i : ok_cancel(width, height, true)) d.items.push_back(std::move(i));
    return d;
}

std::int32_t last_event_position(const program& p, const track_slot& sl) {
    const event_store s = p.store();
    const ref32 e = s.last_event(sl.first);
    return is_event_status(s.status(e)) ? s.position(e) : 0;
}

// One track: Delete clears the span; notes that cross left end there; what follows moves.
void shift_track(program& p, int pattern, int track, undo_kind undo, measure_op op, std::int32_t l,
                 std::int32_t r) {
    track_edit g(p, pattern, track, {.undo = undo});
    if (!g || !g.begin()) return;
    if (op == measure_op::remove) delete_range(g, l, r);
    event_store s = g.store();
    end_notes_before(s, g.slot().first, l);
    const std::int32_t d = op == measure_op::insert ? r - l : l - r;
    for (ref32 e = g.slot().first; is_event_status(s.status(e)); e = s.next_event(e))
        if (s.position(e) >= l) s.at(e).set_position(s.position(e) + d);
}

bool shift_tracks(program& p, measure_op op, bool all, std::int32_t l, std::int32_t r) {
    const int pattern = p.d.current_pattern;
    std::vector<int> used;
    int blocks = 0;
    std::int32_t last = 0;
    for (int t = 0; t < tracks_per_pattern; ++t) {
        const track_slot& sl = p.slot(pattern, t);
        if (!sl.in_use || (!all && t != p.d.current_track)) continue;
        used.push_back(t);
        blocks = std::max<int>(blocks, sl.blocks);
        last = std::max(last, last_event_position(p, sl));
    }
    if (p.d.free_blocks < blocks + spare_blocks) {
        p.message(msg_not_enough_memory, msg_icon::stop);
        return false;
    }
    if (op == measure_op::insert && too_many(p, last, r - l)) return false;
    for (int t : used)
        shift_track(p, pattern, t, all ? undo_kind::none : undo_kind::track, op, l, r);
    return true;
}

bool list_editor_open(const program& p) {
    return p.editor.kind == editor_kind::tempo_list || p.editor.kind == editor_kind::signature_list;
}

// From the tempo or signature editor: the lists alone, the other one first when its box is on,
// at the locators as they stand.
outcome run_on_lists(program& p, measure_op op, bool tempo, bool signature) {
    if (!answered_yes(p, msg_no_undo)) return outcome::cancelled;
    const std::int32_t l = p.d.left_locator, r = p.d.right_locator;
    if (l > r) {
        p.message(msg_left_after_right, msg_icon::stop);
        return outcome::refused;
    }
    bool ok = true;
    if (p.editor.kind == editor_kind::signature_list) {
        if (tempo) ok = shift_tempo_list(p, op, l, r);
        ok = ok && shift_signature_list(p, op, l, r);
    } else {
        if (signature) ok = shift_signature_list(p, op, l, r);
        ok = ok && shift_tempo_list(p, op, l, r);
    }
    locate(p, p.d.position);
    ++p.changes.tracks;
    return ok ? outcome::done : outcome::refused;
}

outcome run_measures(program& p, measure_op op, const field_values& v) {
    p.d.left_locator = v[left].number;
    p.d.right_locator = v[right].number;
    const bool all = v[tracks].number == all_tracks;
    const bool tempo = v[tempo_box].number != 0, signature = v[signature_box].number != 0;
    if (list_editor_open(p)) return run_on_lists(p, op, tempo, signature);
    if (!all && !p.slot(p.d.current_pattern, p.d.current_track).in_use) {
        p.message(msg_no_data, msg_icon::stop);
        return outcome::refused;
    }
    if ((all || tempo || signature) && !answered_yes(p, msg_no_undo))
        return outcome::cancelled;
    const std::int32_t l = p.d.left_locator, r = p.d.right_locator;
    if (l > r) {
        p.message(msg_left_after_right, msg_icon::stop);
        return outcome::refused;
    }
    bool ok = shift_tracks(p, op, all, l, r);
    // The lists are counted in song time: in song mode from the current step's start.
    const std::int32_t o =
        p.d.song_mode ? p.step_start(p.step_index(p.d.play_step_ptr)) - song_start : 0;
    if (ok && tempo) ok = shift_tempo_list(p, op, l + o, r + o);
    if (ok && signature) ok = shift_signature_list(p, op, l + o, r + o);
    locate(p, p.d.position);
    ++p.changes.tracks;
    return ok ? outcome::done : outcome::refused;
}

command_record measures_command(int id, measure_op op, const char* text, const char* shortcut,
                                const char* title) {
    return {
        .id = id,
        .text = text,
        .shortcut = shortcut,
        .views = {.main_screen = true, .editor = true},
        .changes_song = true,
        .undo = undo_kind::track,
        .help = std::string(help_page::insert_delete_measures),
        .fields = fields(),
        .dialog = layout(title),
        .initial = [](const program& p) -> field_values {
            const field_values loc = locator_values(p);
            // The list of an open tempo or signature editor is always concerned.
            const editor_kind k = p.editor.kind;
            return {loc[0], loc[1], {all_tracks}, {p.d.tempo_track_on || k == editor_kind::tempo_list},
                    {p.d.signature_track_on || k == editor_kind::signature_list}};
        },
        // Of the editors, only the tempo and signature lists reach it.
        .enabled = [](const program& p) { return !p.editor.open() || list_editor_open(p); },
        .run = [op](program& p, const field_values& v) { return run_measures(p, op, v); },
    };
}

}  // namespace

std::vector<command_record> measures_commands() {
    return {measures_command(cmd::insert_measures, measure_op::insert, "&Insert Measures...",
                             "Shift+I", "INSERT MEASURES"),
            measures_command(cmd::delete_measures, measure_op::remove, "&Delete Measures...",
                             "Shift+D", "DELETE MEASURES")};
}

}  // namespace kestrune
