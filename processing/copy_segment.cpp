// Copy Track Segment and Copy Pattern Segment: the span between the locators laid down at a
// target position, once or several times end to end, merged into or replacing what is there.
#include <algorithm>

#include "core/command_ids.h"
#include "processing/commands.h"
#include "processing/range_delete.h"
#include "processing/track_copy.h"
#include "processing/track_edit.h"
#include "processing/track_span.h"
#include "processing/undo.h"
#include "services/help_pages.h"
#include "song/patterns.h"

namespace kestrune {

namespace {

constexpr const char* msg_too_much = "That's to much!";
constexpr const char* msg_overlaps = "Segment overlaps! Do you want this?";
constexpr const char* segment_name = " Segment  ";
constexpr std::int32_t last_copy_position = 0xFEFFF;

struct segment {
    track_ref from, to;
    std::int32_t left, right, target, copies;
    bool replace;
    std::int32_t length() const { return right - left; }
    std::int32_t end() const { return length() * copies + target; }
};

void shift_chain(event_store& s, ref32 first, std::int32_t d) {
    for (ref32 e = first; is_event_status(s.status(e)); e = s.next_event(e))
        s.at(e).set_position(s.position(e) + d);
}

// The destination with the span cleared from the target on; notes hanging over it end before.
void clear_target(program& p, const segment& g) {
    track_edit t(p, g.to.pattern, g.to.track, {.undo = undo_kind::none});
    if (t && t.begin()) delete_range(t, g.target, g.target + g.length() * g.copies);
}

// Each copy is the scratch span moved on and merged in; a copy that would pass the last
// position stops the repeats, and what was merged stays.
void lay_copies(program& p, const segment& g) {
    event_store s = p.store();
    std::int32_t l = g.left, r = g.right, shift = g.target - g.left;
    for (int k = 0; k < g.copies; ++k) {
        const track_slot& part = p.slot(scratch_part.pattern, scratch_part.track);
        const ref32 last = s.last_event(part.first);
        if (is_event_status(s.status(last)) && s.position(last) + shift > last_copy_position) break;
        shift_chain(s, part.first, shift);
        l += shift;
        r += shift;
        if (!copy_part(p, scratch_part, scratch_merge, l, r)) break;
        merge_tracks(p, scratch_merge, g.to, false);
        shift = g.length();
    }
}

// False after the memory message: the destination is as it was.
bool copy_segment(program& p, const segment& g, msg_icon icon) {
    const track_slot& src = p.slot(g.from.pattern, g.from.track);
    if (!src.in_use) return true;
    bool ok = copy_part(p, g.from, scratch_part, g.left, g.right);
    const track_slot& dst = p.slot(g.to.pattern, g.to.track);
    const int e = std::max(p.slot(scratch_part.pattern, scratch_part.track).blocks * g.copies,
                           int{dst.blocks});
    ok = ok && enough_blocks(p, 3 * e + 10, icon);
    if (ok && !dst.in_use) {
        copy_part(p, g.from, g.to, g.left, g.left);
        put_name(p.slot(g.to.pattern, g.to.track).name, segment_name);
    }
    if (ok && g.replace) clear_target(p, g);
    if (ok) lay_copies(p, g);
    delete_track_chain(p, scratch_part.pattern, scratch_part.track);
    return ok;
}

// The checks both forms make before anything changes; false when refused or not wanted.
outcome checked(program& p, const segment& g, bool same_place) {
    if (g.right < g.left) {
        p.message(msg_left_after_right);
        return outcome::refused;
    }
    if (g.end() > last_position) {
        p.message(msg_too_much);
        return outcome::refused;
    }
    if (same_place && g.target < g.right && g.left < g.end() &&
        !answered_yes(p, msg_overlaps, msg_answer::no))
        return outcome::cancelled;
    return outcome::done;
}

enum field {
    source_pattern,
    target_pattern,
    left,
    right,
    target,
    copies,
    replace,
    source_track,
    target_track
};

field_spec number_field(const char* l, int high, field_kind k = field_kind::one_based) {
    return {.label = l,
            .kind = k,
            .low = k == field_kind::one_based ? 0 : 1,
            .high = high,
            .entry_length = 2};
}

std::vector<field_spec> fields(bool tracks) {
    std::vector<field_spec> f = {number_field("Source Pattern", parallel_pattern),
                                 number_field("Destination Pattern", parallel_pattern),
                                 left_locator_field(),
                                 right_locator_field(),
                                 {.label = "Target Position",
                                  .kind = field_kind::position,
                                  .low = 0,
                                  .high = last_position,
                                  .entry_length = 13,
                                  .locator = true},
                                 number_field("Copies", 99, field_kind::number),
                                 check_field("Replace")};
    if (tracks) {
        f.push_back(number_field("Source Track", tracks_per_pattern - 1));
        f.push_back(number_field("Destination Track", tracks_per_pattern - 1));
    }
    return f;
}

dialog_layout layout(bool tracks) {
    constexpr int width = 44, height = 18;
    dialog_layout d{.title = tracks ? "Copy Track Segment" : "Copy Pattern Segment",
                    .width = width,
                    .height = height};
    d.items = {
        group_box("Source", {1, 1, 21, 6}),        label("Pattern", {2, 2, 12, 3}),
        value_box(source_pattern, {13, 2, 19, 3}), group_box("Destination", {22, 1, 43, 6}),
        label("Pattern", {23, 2, 33, 3}),          value_box(target_pattern, {34, 2, 40, 3}),
        group_box("Locators", {1, 7, 43, 10}),     value_box(left, {2, 8, 20, 9}),
        value_box(right, {22, 8, 40, 9}),          label("Target", {2, 11, 10, 12}),
        value_box(target, {11, 11, 28, 12}),       label("Copies", {2, 13, 10, 14}),
        value_box(copies, {11, 13, 16, 14}),       check_box(replace, "Replace", {20, 13, 34, 14}),
    };
    if (tracks)
        d.items.insert(d.items.end(),
                       {label("Track", {2, 4, 12, 5}), value_box(source_track, {13, 4, 19, 5}),
                        label("Track", {23, 4, 33, 5}), value_box(target_track, {34, 4, 40, 5})});
    for (dialog_item& i : ok_cancel(width, height, true)) d.items.push_back(std::move(i));
    return d;
}

segment segment_of(program& p, const field_values& v, bool tracks) {
    const track_span at = take_locators(p, v[left].number, v[right].number);
    const int st = tracks ? v[source_track].number : 0, tt = tracks ? v[target_track].number : 0;
    return {{v[source_pattern].number, st},
            {v[target_pattern].number, tt},
            at.from,
            at.to,
            std::max(0, track_time(p, v[target].number)),
            v[copies].number,
            v[replace].number != 0};
}

outcome copy_track_segment(program& p, const field_values& v) {
    keep_values(p, cmd::copy_track_segment, v);
    const segment g = segment_of(p, v, true);
    if (!p.slot(g.from.pattern, g.from.track).in_use) {
        p.message(msg_no_data);
        return outcome::refused;
    }
    const outcome o = checked(p, g, g.from.pattern == g.to.pattern && g.from.track == g.to.track);
    if (o != outcome::done) return o;
    if (p.slot(g.to.pattern, g.to.track).in_use) keep_undo(p, g.to.pattern, g.to.track);
    const bool ok = copy_segment(p, g, msg_icon::warning);
    p.d.current_pattern = static_cast<std::int16_t>(g.to.pattern);
    p.d.current_track = static_cast<std::int16_t>(g.to.track);
    p.screen.repaint(-1);
    return ok ? outcome::done : outcome::refused;
}

outcome copy_pattern_segment(program& p, const field_values& v) {
    keep_values(p, cmd::copy_pattern_segment, v);
    const segment g = segment_of(p, v, false);
    const outcome o = checked(p, g, g.from.pattern == g.to.pattern);
    if (o != outcome::done) return o;
    if (!answered_yes(p, msg_no_undo)) return outcome::cancelled;
    const int current = p.d.current_track;
    bool ok = true;
    for (int t = 0; t < tracks_per_pattern && ok; ++t)
        ok = copy_segment(p,
                          {{g.from.pattern, t},
                           {g.to.pattern, t},
                           g.left,
                           g.right,
                           g.target,
                           g.copies,
                           g.replace},
                          msg_icon::stop);
    p.d.current_pattern = static_cast<std::int16_t>(g.to.pattern);
    p.d.current_track = static_cast<std::int16_t>(current);
    p.screen.repaint(-1);
    return ok ? outcome::done : outcome::refused;
}

command_record segment_command(bool tracks) {
    const int id = tracks ? cmd::copy_track_segment : cmd::copy_pattern_segment;
    return {
        .id = id,
        .text = tracks ? "Copy Track &Segment..." : "Copy Pattern Se&gment...",
        .shortcut = tracks ? "Shift+X" : "Shift+H",
        .changes_song = true,
        .undo = tracks ? undo_kind::track : undo_kind::none,
        .help =
            std::string(tracks ? help_page::copy_track_segment : help_page::copy_pattern_segment),
        .fields = fields(tracks),
        .dialog = layout(tracks),
        .initial =
            [id, tracks](const program& p) {
                const std::int32_t pat = p.d.current_pattern, trk = p.d.current_track;
                const field_values kept =
                    kept_values(p, id, {{}, {}, {}, {}, {6144}, {1}, {1}, {}, {}});
                field_values v = {
                    {pat},        {pat},        {p.d.left_locator}, {p.d.right_locator},
                    kept[target], kept[copies], kept[replace]};
                if (tracks) v.insert(v.end(), {{trk}, {trk}});
                return v;
            },
        .run = tracks ? copy_track_segment : copy_pattern_segment,
    };
}

}  // namespace

std::vector<command_record> segment_commands() {
    return {segment_command(true), segment_command(false)};
}

}  // namespace kestrune
