#include "song/locate.h"

#include <algorithm>

#include "song/chase.h"
#include "song/patterns.h"
#include "song/position.h"
#include "song/event_store.h"

namespace kestrune {

step_place find_song_step(const program& p, std::int32_t position) {
    int step = 0;
    if (position >= p.step(0).end)
        while (step < song_steps - 1 && p.step(step).end <= position) ++step;
    // A pickup of the next step that has already begun belongs to that step.
    if (step < song_steps - 1 && p.step(step).end - position < p.step(step + 1).pickup) ++step;
    std::int32_t local = position;
    if (step > 0) local = position - p.step_start(step) + song_start;
    return {step, local, std::clamp<int>(p.step(step).pattern, 0, 15)};
}

std::int32_t bar_before_step(const program& p, int step) {
    const std::int32_t start = p.step_start(std::clamp(step, 0, song_steps - 1));
    return signature_in_force(p, start, false).bar_ticks();
}

std::int32_t start_holding_pickup(const program& p, int step) {
    step = std::clamp(step, 0, song_steps - 1);
    const std::int32_t bar = bar_before_step(p, step);
    return p.step_start(step) - (p.step(step).pickup + bar - 1) / bar * bar;
}

namespace {

void locate_tracks(program& p, std::int32_t* positions, std::int32_t local, int pattern) {
    const event_store& s = p.store();
    for (int t = 0; t < tracks_per_pattern; ++t) {
        track_slot& slot = p.slot(pattern, t);
        const track_seat at = seat_track(s, slot, local);
        if (slot.in_use) slot.play = at.event;
        positions[t] = at.position;
    }
}

struct beat_fields {
    ref32 after;
    std::int16_t ticks_per_beat, beats_per_bar, beat_in_bar, tick_in_beat;
};

// Beat fields at p from the active signature; a negative distance folds with `fold_bar` ticks.
beat_fields beats_at(const program& p, std::int32_t position, std::int32_t fold_bar) {
    const event_store& s = p.store();
    ref32 sig = signature_at(s, p.d.active_signature.first, position);
    const time_signature g = signature_of(s.at(sig));
    beat_fields f;
    f.ticks_per_beat = static_cast<std::int16_t>(g.beat_ticks());
    f.beats_per_bar = static_cast<std::int16_t>(g.numerator);
    std::int32_t d = position - s.position(sig);
    if (d < 0) {
        std::int32_t bar = fold_bar > 0 ? fold_bar : f.ticks_per_beat * f.beats_per_bar;
        d = bar + d % bar;
    }
    f.beat_in_bar = static_cast<std::int16_t>((d / f.ticks_per_beat) % f.beats_per_bar);
    // Before the first record (the lead-in) the beat grid runs back from it: count the ticks
    // into the beat upwards, so the engine sees the next beat where it falls.
    std::int32_t into_beat = (position - s.position(sig)) % f.ticks_per_beat;
    if (into_beat < 0) into_beat += f.ticks_per_beat;
    f.tick_in_beat = static_cast<std::int16_t>(into_beat);
    f.after = s.next_event(sig);
    return f;
}

// The tempo list's play pointer and tempo, and the signature's beat fields, at `position`.
void seat_lists(program& p, std::int32_t position) {
    dll_data& d = p.d;
    if (d.tempo_track_on) {
        std::int32_t tempo = default_tempo;
        d.tempo_chain.play = tempo_at(p, position, &tempo);
        shared_store(d.tempo_display, tempo);
        set_tempo_increment(d, tempo);
    }
    beat_fields f = beats_at(p, position, 0);
    d.ticks_per_beat = f.ticks_per_beat;
    d.beats_per_bar = f.beats_per_bar;
    d.beat_in_bar = f.beat_in_bar;
    d.tick_in_beat = f.tick_in_beat;
    d.active_signature.play = f.after;
}

}  // namespace

void locate(program& p, std::int32_t position) {
    dll_data& d = p.d;
    program::park parked(p);
    const bool was_recording = d.record_enable != 0;
    if (was_recording) shared_store(d.record_enable, 0);
    p.wait_request(d.all_notes_off_request);

    position = std::clamp(position, 0, last_position);
    int step = d.current_step;
    int pattern = d.current_pattern;
    std::int32_t local = position;

    if (d.song_mode) {
        rebuild_step_pointers(p);
        step_place at = find_song_step(p, position);
        step = at.step;
        local = at.local;
        pattern = at.pattern;
        locate_tracks(p, d.parallel_track_position, position, parallel_pattern);
    }
    locate_tracks(p, d.track_position, local, pattern);

    seat_lists(p, position);

    song_step& s = p.step(step);
    s.pattern_ptr = p.pattern_ref(pattern);
    d.play_step_ptr = p.step_ref(step);
    d.play_position = position;
    d.position = position;
    d.fine_position = fine_field_of(position);
    d.current_step = static_cast<std::int8_t>(step);
    d.play_pattern = static_cast<std::uint8_t>(pattern);
    d.display_pattern = static_cast<std::int16_t>(pattern);

    if (p.app.chase_events) chase_events(p, position, step, pattern);
    if (d.cycle_on) cycle_prepare(p);

    if (was_recording) shared_store(d.record_enable, 1);
}

namespace {

void cycle_tracks(program& p, std::int32_t* positions, ref32* events, std::int32_t local,
                  int pattern, int only_track = -1) {
    const event_store& s = p.store();
    for (int t = 0; t < tracks_per_pattern; ++t) {
        if (only_track >= 0 && t != only_track) continue;
        const track_seat at = seat_track(s, p.slot(pattern, t), local);
        positions[t] = at.position;
        events[t] = at.event;
    }
}

// Song step and local position at the left locator.
step_place left_place(const program& p) {
    const dll_data& d = p.d;
    if (!d.song_mode) return {d.current_step, d.left_locator, d.current_pattern};
    step_place at = find_song_step(p, d.left_locator);
    at.local = d.left_locator + (song_start - p.step_start(at.step));
    return at;
}

}  // namespace

void cycle_prepare(program& p) {
    dll_data& d = p.d;
    // The engine may jump to the locator at any tick: the fields change together.
    program::park parked(p);
    const std::int32_t left = d.left_locator;
    step_place at = left_place(p);
    cycle_tracks(p, d.cycle_track_position, d.cycle_track_event, at.local, at.pattern);
    if (d.song_mode)
        cycle_tracks(p, d.cycle_parallel_position, d.cycle_parallel_event, left, parallel_pattern);
    if (d.tempo_track_on) {
        std::int32_t tempo = default_tempo;
        d.tempo_chain.left_event = tempo_at(p, left, &tempo);
        d.tempo_chain.set_left_tempo(tempo);
    }
    // A negative distance folds with the bar size in force at the position, not at the locator.
    beat_fields f = beats_at(p, left, std::int32_t{d.ticks_per_beat} * d.beats_per_bar);
    chain_cursor& c = d.active_signature;
    c.left_event = f.after;
    c.ticks_per_beat = f.ticks_per_beat;
    c.tick_in_beat = f.tick_in_beat;
    c.beats_per_bar = f.beats_per_bar;
    c.beat_in_bar = f.beat_in_bar;
    d.cycle_step_ptr = p.step_ref(at.step);
}

namespace {

// Seats a track of `pattern` at the play position in the normal or the parallel group.
void seat_in_group(program& p, int pattern, int track, bool parallel) {
    dll_data& d = p.d;
    std::int32_t pos = d.position;
    if (d.song_mode && d.current_step > 0 && !parallel)
        pos = pos + song_start - p.step_start(d.current_step);
    track_slot& slot = p.slot(pattern, track);
    program::park parked(p);
    if (slot.in_use) {
        const track_seat at = seat_track(p.store(), slot, pos);
        slot.play = at.event;
        (parallel ? d.parallel_track_position : d.track_position)[track] = at.position;
    }
    if (d.cycle_on) cycle_locate_track(p, track, parallel, pattern);
}

}  // namespace

void locate_lists(program& p) {
    dll_data& d = p.d;
    program::park parked(p);
    // The active signature is a copy of its list's header, which an edit may have changed.
    if (d.signature_track_on) d.active_signature = d.signature_track;
    seat_lists(p, d.position);
    if (d.cycle_on) cycle_prepare(p);
}

void locate_track(program& p, int pattern, int track) {
    // Pattern mode may play pattern 16 itself, in the normal group.
    if (pattern == p.d.display_pattern)
        seat_in_group(p, pattern, track, false);
    else if (pattern == parallel_pattern)
        seat_in_group(p, pattern, track, true);
}

void cycle_locate_track(program& p, int track, bool parallel, int pattern) {
    dll_data& d = p.d;
    if (parallel) {
        cycle_tracks(p, d.cycle_parallel_position, d.cycle_parallel_event, d.left_locator,
                     parallel_pattern, track);
        return;
    }
    step_place at = left_place(p);
    if (d.song_mode && at.pattern != pattern) return;
    cycle_tracks(p, d.cycle_track_position, d.cycle_track_event, at.local, pattern, track);
}

}  // namespace kestrune
