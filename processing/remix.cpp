// Remix Track By Channel and By Note Number: each channel, or each key, of the current track
// onto a free track of its own, taken off the source.
#include <array>
#include <cstdio>

#include "core/command_ids.h"
#include "core/midi_names.h"
#include "processing/commands.h"
#include "processing/select_events.h"
#include "processing/track_copy.h"
#include "processing/track_span.h"
#include "services/help_pages.h"
#include "song/patterns.h"

namespace kestrune {

namespace {

constexpr const char* msg_remix_channels = "Remix by MIDI channels to new tracks?";
constexpr const char* msg_remix_notes = "Remix by note numbers to tracks?";
constexpr const char* msg_source_deleted = "Source track deleted!";
constexpr const char* msg_special_left = "Only special events left on source track!";
constexpr const char* msg_out_of_tracks = "Out of tracks!\nNot all channels could be remixed!";
constexpr const char* msg_out_of_tracks_for_keys =
    "Not enough tracks for all\ndifferent pitches to be extracted!";
constexpr const char* special_name = " Special  ";
constexpr int channel_count = 16, key_count = 128;
constexpr int channel_mark_at = 8, key_mark_at = 6;  // where the channel number or key name goes

bool has_events(const program& p, track_ref t) {
    const track_slot& sl = p.slot(t.pattern, t.track);
    return sl.in_use && is_event_status(p.store().status(sl.first));
}

// The selecting pass over the whole of one track.
void select_all(program& p, track_ref t, event_condition c) {
    track_edit g(p, t.pattern, t.track, {.undo = undo_kind::none, .empty_ok = true});
    if (g && g.begin()) filter_events(g, c, 0, last_position + 1);
}

event_condition channels(select_mode m, int low, int high) {
    return {.mode = m, .type = event_type::all_channel, .channel_low = low, .channel_high = high};
}
// By key the pass compares the first data byte of every channel event, not only of notes.
event_condition key(select_mode m, int k) {
    return {.mode = m,
            .type = event_type::note,
            .data1_low = k,
            .data1_high = k,
            .statuses = status_range{0x90, 0xEF}};
}

void write_at(char (&name)[11], int at, const std::string& text) {
    for (std::size_t i = 0; i < text.size() && at + static_cast<int>(i) < name_length; ++i)
        name[at + static_cast<int>(i)] = text[i];
}

// The checks, the question and the pool; the free tracks when it may go on.
std::optional<std::array<bool, tracks_per_pattern>> start(program& p, const char* question) {
    track_edit g(p, p.d.current_pattern, p.d.current_track, {.undo = undo_kind::none});
    if (!g || !confirmed(p, question)) return std::nullopt;
    if (!enough_blocks(p, (g.slot().blocks + 14) * 3, msg_icon::stop)) return std::nullopt;
    std::array<bool, tracks_per_pattern> used{};
    for (int t = 0; t < tracks_per_pattern; ++t) used[t] = p.slot(g.pattern(), t).in_use != 0;
    return used;
}

void finish(program& p, track_ref source) {
    p.d.current_pattern = static_cast<std::int16_t>(source.pattern);
    p.d.current_track = static_cast<std::int16_t>(source.track);
    p.screen.repaint(-1);
}

outcome remix_by_channel(program& p) {
    const track_ref source{p.d.current_pattern, p.d.current_track};
    auto used = start(p, msg_remix_channels);
    if (!used) return outcome::refused;
    int t = 0, c = 0;
    while (c < channel_count && t < tracks_per_pattern) {
        if ((*used)[t]) {
            ++t;
            continue;
        }
        const track_ref to{source.pattern, t};
        if (!copy_whole_track(p, source, to)) break;
        select_all(p, to, channels(select_mode::keep, c, c));
        if (!has_events(p, to)) {
            delete_track_chain(p, to.pattern, to.track);
            ++c;
            continue;
        }
        track_slot& sl = p.slot(to.pattern, to.track);
        sl.channel = static_cast<std::uint8_t>(c);
        char number[4];
        std::snprintf(number, sizeof number, "%2d", c + 1);
        write_at(sl.name, channel_mark_at, number);
        (*used)[t++] = true;
        ++c;
    }
    if (c > 0) select_all(p, source, channels(select_mode::remove, 0, c - 1));
    if (c == channel_count && !has_events(p, source)) {
        delete_track_chain(p, source.pattern, source.track);
        p.message(msg_source_deleted);
    } else if (c == channel_count) {
        put_name(p.slot(source.pattern, source.track).name, special_name);
        p.message(msg_special_left);
    }
    if (c < channel_count) p.message(msg_out_of_tracks);
    finish(p, source);
    return outcome::done;
}

outcome remix_by_note(program& p) {
    const track_ref source{p.d.current_pattern, p.d.current_track};
    auto used = start(p, msg_remix_notes);
    if (!used) return outcome::refused;
    std::array<bool, key_count> keys{};
    const event_store s = p.store();
    for (ref32 e = p.slot(source.pattern, source.track).first; is_event_status(s.status(e));
         e = s.next_event(e))
        if (s.at(e).is_note_on()) keys[s.at(e).data1()] = true;
    int k = 0;
    for (int t = 0; t < tracks_per_pattern; ++t) {
        while (k < key_count && !keys[k]) ++k;
        if (k == key_count) break;
        if ((*used)[t]) continue;
        const track_ref to{source.pattern, t};
        if (!copy_whole_track(p, source, to)) break;
        select_all(p, to, key(select_mode::keep, k));
        write_at(p.slot(to.pattern, to.track).name, key_mark_at, note_name(k));
        select_all(p, source, key(select_mode::remove, k));
        ++k;
    }
    while (k < key_count && !keys[k]) ++k;
    if (!has_events(p, source)) {
        delete_track_chain(p, source.pattern, source.track);
        p.message(msg_source_deleted);
    }
    if (k < key_count) p.message(msg_out_of_tracks_for_keys);
    finish(p, source);
    return outcome::done;
}

command_record remix_command(int id, const char* text, const char* shortcut,
                             outcome (*run)(program&)) {
    return {
        .id = id,
        .text = text,
        .shortcut = shortcut,
        .changes_song = true,
        .needs = command_needs::track_data,
        .help = std::string(help_page::remix),
        .run = [run](program& p, const field_values&) { return run(p); },
    };
}

}  // namespace

std::vector<command_record> remix_commands() {
    return {remix_command(cmd::remix_by_channel, "Remix Track By &Channel", "Shift+R",
                          remix_by_channel),
            remix_command(cmd::remix_by_note, "Remix Track By &Note Number", "Ctrl+Shift+R",
                          remix_by_note)};
}

}  // namespace kestrune
