// Copy Track, with its modes Part Copy and Extract, and the merge onto a track that has data.
#include "core/command_ids.h"
#include "processing/commands.h"
#include "processing/range_delete.h"
#include "processing/track_copy.h"
#include "processing/track_edit.h"
#include "processing/track_span.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

constexpr const char* msg_same_track = "Can't copy to source track!";
constexpr const char* msg_merge_tracks = "Merge tracks?";
constexpr const char* msg_merge_part = "Merge copied part?";

enum field { source_pattern, source_track, target_pattern, target_track, mode, left, right };
enum copy_mode { whole, part_copy, extract };

std::vector<field_spec> fields() {
    const auto pattern = [](const char* l) {
        return field_spec{.label = l,
                          .kind = field_kind::one_based,
                          .low = 0,
                          .high = parallel_pattern,
                          .entry_length = 2};
    };
    const auto track = [](const char* l) {
        return field_spec{.label = l,
                          .kind = field_kind::one_based,
                          .low = 0,
                          .high = tracks_per_pattern - 1,
                          .entry_length = 2};
    };
    return {pattern("Source Pattern"),
            track("Source Track"),
            pattern("Destination Pattern"),
            track("Destination Track"),
            choice_field("Copy Mode", {"OFF", "Part Copy", "Extract"}),
            left_locator_field(),
            right_locator_field()};
}

dialog_layout layout() {
    constexpr int width = 44, height = 17;
    dialog_layout d{.title = "Copy Track / Part Copy / Extract", .width = width, .height = height};
    d.items = {
        group_box("Source", {1, 1, 21, 6}),
        label("Pattern", {2, 2, 12, 3}),
        value_box(source_pattern, {13, 2, 19, 3}),
        label("Track", {2, 4, 12, 5}),
        value_box(source_track, {13, 4, 19, 5}),
        group_box("Destination", {22, 1, 43, 6}),
        label("Pattern", {23, 2, 33, 3}),
        value_box(target_pattern, {34, 2, 40, 3}),
        label("Track", {23, 4, 33, 5}),
        value_box(target_track, {34, 4, 40, 5}),
        group_box("Locators", {1, 7, 43, 13}),
        value_box(left, {2, 8, 20, 9}),
        value_box(right, {22, 8, 40, 9}),
        radio_button(mode, whole, "OFF", {2, 10, 14, 11}),
        radio_button(mode, part_copy, "Part Copy", {15, 10, 28, 11}),
        radio_button(mode, extract, "Extract", {29, 10, 42, 11}),
    };
    for (dialog_item& i : ok_cancel(width, height, true)) d.items.push_back(std::move(i));
    return d;
}

field_values initial(const program& p) {
    // The copy mode stays from the last copy; the tracks start at the current one.
    const field_values kept = kept_values(p, cmd::copy_track, {{0}});
    const std::int32_t pat = p.d.current_pattern, trk = p.d.current_track;
    const field_values loc = locator_values(p);
    return {{pat}, {trk}, {pat}, {trk}, kept[0], loc[0], loc[1]};
}

// The source's span between the locators cleared, as Extract leaves it.
void clear_span(program& p, track_ref from, std::int32_t left, std::int32_t right) {
    track_edit g(p, from.pattern, from.track, {.undo = undo_kind::none});
    if (g && g.begin()) delete_range(g, left, right);
}

bool copy_onto_empty(program& p, track_ref from, track_ref to, int m, const track_span& at) {
    const track_slot& src = p.slot(from.pattern, from.track);
    if (!enough_blocks(p, src.blocks + 2, msg_icon::warning)) return false;
    if (m == whole) return copy_whole_track(p, from, to);
    if (!copy_part(p, from, to, at.from, at.to)) return false;
    if (m == extract) clear_span(p, from, at.from, at.to);
    return true;
}

outcome copy_onto_data(program& p, track_ref from, track_ref to, int m, const track_span& at) {
    const track_slot& src = p.slot(from.pattern, from.track);
    const track_slot& dst = p.slot(to.pattern, to.track);
    if (!enough_blocks(p, 2 * src.blocks + dst.blocks + 6, msg_icon::warning))
        return outcome::refused;
    if (m == whole) {
        if (!confirmed(p, msg_merge_tracks)) return outcome::cancelled;
        return merge_tracks(p, from, to, true) ? outcome::done : outcome::refused;
    }
    if (!answered_yes(p, msg_merge_part)) return outcome::cancelled;
    if (!copy_part(p, from, scratch_merge, at.from, at.to)) return outcome::refused;
    if (m == extract) clear_span(p, from, at.from, at.to);
    return merge_tracks(p, scratch_merge, to, true) ? outcome::done : outcome::refused;
}

outcome copy_track(program& p, const field_values& v) {
    keep_values(p, cmd::copy_track, {v[mode]});
    const track_span at = take_locators(p, v[left].number, v[right].number);
    const track_ref from{v[source_pattern].number, v[source_track].number};
    const track_ref to{v[target_pattern].number, v[target_track].number};
    if (!p.slot(from.pattern, from.track).in_use) {
        p.message(msg_no_data);
        return outcome::refused;
    }
    if (from.pattern == to.pattern && from.track == to.track) {
        p.message(msg_same_track);
        return outcome::refused;
    }
    const int m = v[mode].number;
    outcome o = outcome::done;
    if (!p.slot(to.pattern, to.track).in_use)
        o = copy_onto_empty(p, from, to, m, at) ? outcome::done : outcome::refused;
    else
        o = copy_onto_data(p, from, to, m, at);
    if (o == outcome::done) {
        p.d.current_pattern = static_cast<std::int16_t>(to.pattern);
        p.d.current_track = static_cast<std::int16_t>(to.track);
        p.screen.repaint(-1);
    }
    return o;
}

}  // namespace

command_record copy_track_command() {
    return {
        .id = cmd::copy_track,
        .text = "&Copy Track...",
        .shortcut = "Shift+C",
        .changes_song = true,
        .help = std::string(help_page::copy_track),
        .fields = fields(),
        .dialog = layout(),
        .initial = initial,
        .run = copy_track,
    };
}

}  // namespace kestrune
