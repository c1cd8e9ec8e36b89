#include "song/patterns.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "song/locate.h"
#include "song/position.h"
#include "song/event_store.h"

namespace kestrune {

void put_name(char (&field)[11], std::string_view name) {
    std::memset(field, ' ', 10);
    std::memcpy(field, name.data(), std::min<std::size_t>(name.size(), 10));
    field[10] = 0;
}

void set_pattern_defaults(program& p) {
    for (int pat = 0; pat < pattern_count; ++pat) {
        pattern_entry& e = p.pattern(pat);
        for (int t = 0; t < tracks_per_pattern; ++t) {
            track_slot& s = e.track[t];
            s.first = s.play = null_ref;
            s.velocity = 0;
            s.in_use = 0;
            s.quantize = 0;
            s.mute = 0;
            s.transpose = 0;
            s.compress = 0;
            s.delay = 0;
            s.port = 0;
            s.blocks = 0;
            s.channel = static_cast<std::uint8_t>(t % 16);
            s.loop_length = no_loop;
            put_name(s.name, blank_name);
        }
        put_name(e.name, default_pattern_name);
    }
    put_name(p.pattern(parallel_pattern).name, parallel_pattern_name);
}

void rebuild_step_pointers(program& p) {
    for (int i = 0; i < song_steps; ++i) {
        song_step& s = p.step(i);
        int pat = std::clamp<int>(s.pattern, 0, parallel_pattern);
        s.pattern_ptr = p.pattern_ref(pat);
    }
}

void set_song_list_defaults(program& p) {
    p.step(-1).end = song_start;
    for (int i = 0; i <= parallel_step; ++i) {
        song_step& s = p.step(i);
        s.pattern = static_cast<std::int8_t>(i % 8);
        s.pattern_ptr = p.pattern_ref(i % 8);
        s.index = static_cast<std::uint8_t>(i);
        s.end = 9216 + i * default_step_length;
        s.pickup = 0;
        s.transpose = 0;
        s.stop_here = 0;
        s.track_mask = 0;
        put_name(s.name, blank_name);
    }
    p.step(song_steps - 1).end = past_last_step;
    for (int i : {parallel_step, take_step}) {
        song_step& s = p.step(i);
        s.index = static_cast<std::uint8_t>(i);
        s.end = past_last_step;
        s.pattern = static_cast<std::int8_t>(i == parallel_step ? parallel_pattern : take_pattern);
        s.pattern_ptr = p.pattern_ref(s.pattern);
        s.track_mask = 0;
        s.pickup = 0;
        s.transpose = 0;
        s.stop_here = 0;
        put_name(s.name, blank_name);
    }
    p.d.parallel_step_ptr = p.d.parallel_step_ptr2 = p.step_ref(parallel_step);
    p.d.take_step_ptr = p.step_ref(take_step);
}

namespace {

// A chain of one record and its end record in a fresh block.
bool one_record_chain(program& p, event_chain& header, const midi_event& record) {
    event_store s = p.store();
    ref32 first = s.new_empty_chain();
    if (first == null_ref) return false;
    s.at(first) = record;
    midi_event& end = s.at(first + record_bytes);
    end = midi_event{};
    end.set_status(st::end);
    header.first = header.play = first;
    header.blocks = 1;
    return true;
}

template <class Cursor>
bool replace_chain(program& p, Cursor& c, const midi_event& record) {
    program::park parked(p);
    if (c.first != null_ref) p.store().free_chain(c.first);
    c.first = c.play = c.left_event = null_ref;
    c.blocks = 0;
    event_chain h{};
    if (!one_record_chain(p, h, record)) return false;
    c.first = c.play = c.left_event = h.first;
    c.blocks = h.blocks;
    return true;
}

}  // namespace

bool replace_tempo_chain(program& p) {
    midi_event e = midi_event::make(st::tempo, 0, 0, 0);
    e.set_tempo_value(default_tempo);
    if (!replace_chain(p, p.d.tempo_chain, e)) return false;
    p.d.tempo_chain.set_left_tempo(default_tempo);
    return true;
}

bool replace_signature_chain(program& p, chain_cursor& c) {
    // The active cursor may hold a copy of this chain's header; keep it in step.
    const bool active = p.d.active_signature.first == c.first && c.first != null_ref;
    if (!replace_chain(p, c, midi_event::make(st::signature, 4, 4, song_start))) return false;
    c.ticks_per_beat = 192;
    c.beats_per_bar = 4;
    c.tick_in_beat = c.beat_in_bar = 0;
    if (active) p.d.active_signature = c;
    return true;
}

void delete_track_chain(program& p, int pattern, int track) {
    track_slot& s = p.slot(pattern, track);
    if (!s.in_use) return;
    // Hide the track from the engine first, then end its notes, then give the blocks back.
    shared_store(s.in_use, 0);
    p.silence_track(pattern, track);
    if (s.first != null_ref) p.store().free_chain(s.first);
    s.first = s.play = null_ref;
    s.mute = 0;
    s.blocks = 0;
    p.d.record_write = event_store::first_slot(p.d.record_first_block);
    put_name(s.name, blank_name);
}

void undo_free(program& p) {
    undo_copy& u = p.undo;
    u.available = false;
    if (!u.slot.in_use) return;
    if (u.slot.first != null_ref) p.store().free_chain(u.slot.first);
    u.slot.first = u.slot.play = null_ref;
    u.slot.blocks = 0;
    u.slot.in_use = 0;
}

void clear_song(program& p) {
    dll_data& d = p.d;
    d.position = song_start;

    replace_tempo_chain(p);
    d.tempo_track_on = 0;
    replace_signature_chain(p, d.signature_track);
    d.signature_track_on = 0;
    replace_signature_chain(p, d.signature_chain);
    d.active_signature = d.signature_chain;

    d.song_mode = 0;
    d.parallel_selected = 0;  // only meaningful in song mode
    d.cycle_on = 0;
    d.punch_on = 0;
    if (p.app.solo_on) {
        std::memset(d.track_enable, 1, sizeof d.track_enable);
        std::memset(d.parallel_enable, 1, sizeof d.parallel_enable);
        p.app.solo_on = false;
    }
    p.internal_record_off();

    // Pattern 17 only holds temporary chains, but they are given back too so no block is lost.
    for (int pat = 0; pat < pattern_count; ++pat)
        for (int t = 0; t < tracks_per_pattern; ++t) delete_track_chain(p, pat, t);
    undo_free(p);

    set_pattern_defaults(p);
    set_song_list_defaults(p);

    p.app.song_tempo = default_tempo;
    p.app.quantize_swing = 0;
    p.app.quantize_strength = 100;
    set_tempo_increment(d, default_tempo);
    p.app.edit_grid = 48;

    p.reset_mixer();
    d.current_track = 0;
    ++p.changes.song;  // views go back to their start: the track list to its top
}

void copy_thru_fields(program& p) {
    const track_slot& s = p.slot(p.d.current_pattern, p.d.current_track);
    p.d.thru_port = s.port;
    p.d.thru_channel = s.channel;
    p.d.thru_transpose = s.transpose;
    p.d.thru_velocity = s.velocity;
    p.d.thru_compress = static_cast<std::uint8_t>(s.compress);
}

void select_track(program& p, int track) {
    track = std::clamp(track, 0, tracks_per_pattern - 1);
    p.wait_request(p.d.thru_notes_off_request);
    p.d.current_track = static_cast<std::int16_t>(track);
    copy_thru_fields(p);
}

bool select_pattern(program& p, int pattern, bool forced_redraw) {
    if (p.recording() && !forced_redraw) {
        p.message(msg_while_recording);
        return false;
    }
    pattern = std::clamp(pattern, 0, parallel_pattern);
    const int shown = p.d.current_pattern;
    p.d.current_pattern = static_cast<std::int16_t>(pattern);
    p.d.parallel_selected = (p.d.song_mode && pattern == parallel_pattern) ? 1 : 0;
    if (pattern != shown || forced_redraw) copy_thru_fields(p);
    return true;
}

void reseat_playing_track(program& p, int pattern, int track) {
    if (!p.slot(pattern, track).in_use || !p.running()) return;
    locate_track(p, pattern, track);
    p.silence_track(pattern, track);
}

bool toggle_song_mode(program& p) {
    if (p.refuse_while_recording()) return false;
    dll_data& d = p.d;
    d.parallel_selected = (!d.song_mode && d.current_pattern == parallel_pattern) ? 1 : 0;
    d.song_mode = d.song_mode ? 0 : 1;
    if (p.running()) locate(p, d.position);
    return true;
}

std::int32_t loop_length_from_beats(int beats, int denominator) {
    if (beats <= 0) return no_loop;
    return loop_length_of(ticks_per_beat_of(denominator) * beats);
}

int beats_from_loop_length(std::int32_t loop_length, int denominator) {
    if (loop_length == no_loop) return 0;
    return loop_ticks(loop_length) / ticks_per_beat_of(denominator);
}

bool loop_has_remainder(std::int32_t loop_length, int denominator) {
    return loop_ticks(loop_length) % ticks_per_beat_of(denominator) != 0;
}

int max_loop_beats(int denominator) {
    return denominator * 249 / 4;
}

int denominator_at_pattern_start(const program& p) {
    // The parallel pattern runs on the song position, so it starts with the song.
    const bool own_step = p.d.song_mode && !p.d.parallel_selected;
    std::int32_t at = own_step ? p.step_start(p.d.current_step) : song_start;
    return signature_in_force(p, at).denominator;
}

void set_step_pattern(program& p, int step, int pattern) {
    pattern = std::clamp(pattern, 0, 15);
    song_step& s = p.step(step);
    s.pattern = static_cast<std::int8_t>(pattern);
    s.pattern_ptr = p.pattern_ref(pattern);
    if (step == p.d.current_step && !p.d.parallel_selected) select_pattern(p, pattern, true);
    if (p.running()) locate(p, p.d.position);
}

std::int32_t step_length(const program& p, int step) {
    return p.step(step).end - p.step_start(step);
}

std::int32_t max_step_length(const program& p, int step) {
    if (step >= song_steps - 1) return step_length(p, step);
    // The last-but-one step must still end at or before the last locator position.
    return step_length(p, step) + (last_locator_position - p.step(song_steps - 2).end);
}

void set_step_length(program& p, int step, std::int32_t length) {
    if (step < 0 || step >= song_steps - 1) return;
    length = std::clamp(length, 1, std::max<std::int32_t>(1, max_step_length(p, step)));
    const std::int32_t delta = length - step_length(p, step);
    for (int j = step; j < song_steps - 1; ++j) p.step(j).end += delta;
    song_step& next = p.step(step + 1);
    next.pickup =
        static_cast<std::int16_t>(std::min<int>(next.pickup, max_step_pickup(p, step + 1)));
}

int max_step_pickup(const program& p, int step) {
    // The first step has none before it: the whole lead-in.
    if (step == 0) return song_start;
    return std::max(0, std::min<std::int32_t>(song_start, step_length(p, step - 1) - 1));
}

void set_step_pickup(program& p, int step, int pickup) {
    p.step(step).pickup =
        static_cast<std::int16_t>(std::clamp(pickup, 0, max_step_pickup(p, step)));
}

bool name_says_stop(const char* name) {
    char up[11];
    for (int i = 0; i < 10; ++i)
        up[i] = static_cast<char>(std::toupper(static_cast<unsigned char>(name[i])));
    up[10] = 0;
    for (int i = 0; i < 4; ++i)
        if (std::strncmp(up + i, "STOP", 4) == 0) return true;
    return false;
}

void set_step_name(program& p, int step, std::string_view name) {
    song_step& s = p.step(step);
    put_name(s.name, name);
    s.stop_here = name_says_stop(s.name) ? 1 : 0;
}

namespace {

// Lays the steps end to end again from their lengths; the last step ends past every position.
void reseat_ends(program& p, const std::int32_t (&lengths)[song_steps]) {
    std::int32_t end = song_start;
    for (int j = 0; j < song_steps - 1; ++j) {
        // Each later step keeps at least one tick before the last locator position.
        end = std::min(end + std::max(1, lengths[j]), last_locator_position - (song_steps - 2 - j));
        p.step(j).end = end;
    }
    p.step(song_steps - 1).end = past_last_step;
}

void reseat_step(program& p, int j) {
    song_step& s = p.step(j);
    s.index = static_cast<std::uint8_t>(j);
    s.pattern_ptr = p.pattern_ref(std::clamp<int>(s.pattern, 0, 15));
}

// Steps from `from` on got a new predecessor: each pickup must still fit inside it.
void clamp_pickups(program& p, int from) {
    for (int j = from; j < song_steps; ++j) set_step_pickup(p, j, p.step(j).pickup);
}

}  // namespace

void insert_step(program& p, int step) {
    if (step < 0 || step >= song_steps) return;
    std::int32_t len[song_steps];
    for (int j = 0; j < song_steps; ++j) len[j] = step_length(p, j);
    for (int j = song_steps - 1; j > step; --j) {
        p.step(j) = p.step(j - 1);
        len[j] = len[j - 1];
    }
    for (int j = step; j < song_steps; ++j) reseat_step(p, j);
    reseat_ends(p, len);
    clamp_pickups(p, step + 1);
}

void delete_step(program& p, int step) {
    if (step < 0 || step >= song_steps) return;
    std::int32_t len[song_steps];
    for (int j = 0; j < song_steps; ++j) len[j] = step_length(p, j);
    for (int j = step; j < song_steps - 1; ++j) {
        p.step(j) = p.step(j + 1);
        len[j] = len[j + 1];
    }
    // The old last step moved down: it gets a length again. Deleting the last entry itself
    // moves nothing, and the step before it keeps its length.
    if (step < song_steps - 1)
        len[song_steps - 2] = std::min(len[song_steps - 2], default_step_length);
    song_step& last = p.step(song_steps - 1);
    put_name(last.name, blank_name);
    last.stop_here = 0;
    for (int j = step; j < song_steps; ++j) reseat_step(p, j);
    reseat_ends(p, len);
    clamp_pickups(p, step);
}

}  // namespace kestrune
