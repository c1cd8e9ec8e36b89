#include "realtime/recording.h"

#include <algorithm>
#include <string>
#include <vector>

#include "core/midi_message.h"
#include "processing/quantize.h"
#include "processing/range_delete.h"
#include "processing/track_edit.h"
#include "processing/undo.h"
#include "song/event_store.h"
#include "song/locate.h"
#include "song/patterns.h"
#include "song/position.h"

namespace kestrune {

namespace {

constexpr int pass_slots = 31;          // slots 0..30 of the working pattern hold cycle passes
constexpr int take_slot = 31;           // a finished take on its way into a used track
constexpr int merge_spare_blocks = 10;  // left free beyond the passes before merging
constexpr int close_note_blocks = 4;    // free blocks needed to end the notes left open
constexpr int undo_spare_blocks = 3;    // what an undo copy needs beyond the track's own
constexpr std::int32_t early_window = 24;
constexpr std::int32_t max_count_in = 3072;

// How a take's own steps edit a track: during the take, with no copy of their own.
constexpr track_edit_options take_edit{.undo = undo_kind::none, .empty_ok = true, .during_take = true};

}  // namespace

recorder::recorder(program& p, transport& t) : p_(p), d_(p.d), tr_(t) {}

void recorder::punch_off() {
    d_.punch_on = 0;
    tr_.buttons.punch = false;
}

void recorder::prepare_cycle() {
    d_.cycle_passes = 0;
    d_.cycle_pass_mask = 0;
    p_.app.passes_quantized = 0;
    const track_slot& t = p_.slot(d_.current_pattern, d_.current_track);
    for (int i = 0; i < tracks_per_pattern; ++i) {
        track_slot& s = p_.slot(take_pattern, i);
        s.velocity = t.velocity;
        s.channel = t.channel;
        s.quantize = t.quantize;
        s.transpose = t.transpose;
        s.compress = t.compress;
        s.port = t.port;
        s.in_use = 0;
        s.mute = 0;
    }
    d_.cycle_recording = 1;
}

void recorder::warn_no_input() {
    if (d_.internal_record || p_.eng.input_connected()) {
        p_.app.told_no_input = false;
        return;
    }
    // Said once; the take runs all the same.
    if (p_.app.told_no_input) return;
    p_.app.told_no_input = true;
    p_.message(msg_no_input, msg_icon::information);
}

void recorder::arm_record_area() {
    p_.app.take_undo_kept = false;
    d_.record_cursor = d_.record_write;
    d_.record_block = d_.record_first_block;
    d_.input_armed = 1;
    d_.recording = 1;
    d_.take_has_data = 0;
    d_.sysex_chunks = 0;
    d_.sysex_bytes = 0;
    d_.sysex_open = 0;
}

void recorder::place_take() {
    const int step = std::clamp<int>(d_.current_step, 0, song_steps - 1);
    d_.record_pattern = d_.current_pattern;
    d_.record_offset = 0;
    if (!d_.song_mode) return;
    d_.record_pattern = d_.parallel_selected ? parallel_pattern : p_.step(step).pattern;
    if (!d_.parallel_selected) d_.record_offset = p_.step_base(step);
}

// The mixer's moves are never recorded: a take made with the mixer open holds what was played,
// on the track's own port and channel. Replace still asks first, since the track list is hidden.
void recorder::record_key(record_mode mode) {
    if (!d_.main_screen && p_.app.mixer_port < 0) return;  // not in the editors
    if (mode == record_mode::replace && p_.app.mixer_port >= 0 &&
        p_.slot(d_.current_pattern, d_.current_track).in_use) {
        switch (p_.screen.message(msg_use_overdub, msg_icon::question, msg_buttons::yes_no_cancel,
                                  msg_answer::yes)) {
            case msg_answer::yes:
                mode = record_mode::overdub;
                break;
            case msg_answer::no:
                break;
            default:
                return;
        }
    }
    record_start(mode);
}

void recorder::record_start(record_mode mode) {
    tr_.halt_transport(0);
    if (d_.punch_on) punch_off();  // a Record press overrides an armed punch
    if (d_.internal_record) {
        if (p_.screen.message(msg_internal_recording_question, msg_icon::question,
                              msg_buttons::yes_no, msg_answer::yes) == msg_answer::no) {
            p_.internal_record_off();
        } else {
            internal_switches_off();
        }
    }
    warn_no_input();
    const int track = d_.current_track;
    place_take();
    std::int32_t start = song_start;
    if (d_.cycle_on) {
        prepare_cycle();
        start = d_.left_locator;
    }
    const std::int32_t bar = bar_before_step(p_, d_.current_step);
    const song_step& step = p_.step(std::clamp<int>(d_.current_step, 0, song_steps - 1));
    if (d_.song_mode) {
        if (!d_.cycle_on) start = start_holding_pickup(p_, d_.current_step);
        if (!d_.parallel_selected) {
            if (d_.cycle_on &&
                (d_.left_locator < d_.record_offset || step.end < d_.right_locator) &&
                p_.screen.message(msg_locators_outside, msg_icon::question, msg_buttons::yes_no,
                                  msg_answer::yes) == msg_answer::no) {
                d_.cycle_recording = 0;
                return;
            }
        }
    }
    const std::int32_t count_in = std::min(tr_.two_bar_count_in ? 2 * bar : bar, max_count_in);
    // A pickup that is not a whole number of bars is the count-in itself.
    if (step.pickup % bar == 0 || !d_.song_mode || d_.cycle_on) start -= count_in;
    start = std::clamp(start, 0, last_position);

    const bool replace = mode == record_mode::replace && p_.slot(d_.record_pattern, track).in_use;
    if (replace) {
        p_.screen.wait_cursor();
        undo_save(p_, d_.record_pattern, track);
        delete_track_chain(p_, d_.record_pattern, track);
        p_.screen.arrow_cursor();
    }
    run_take(start, mode, false);
    p_.app.take_undo_kept = replace;
}

void recorder::run_take(std::int32_t start, record_mode mode, bool punch) {
    arm_record_area();
    locate(p_, start);
    // The window shows the pattern the take goes into, a song step's own in song mode.
    select_pattern(p_, d_.record_pattern, true);
    tr_.clock_start(d_.position);
    tr_.buttons_running();
    tr_.buttons.record = mode == record_mode::replace;
    tr_.buttons.overdub = mode == record_mode::overdub;
    tr_.buttons.punch = punch;
    if (d_.external_sync) {
        d_.record_armed_external = 1;
        return;
    }
    // With punch armed the engine enables recording between the locators.
    if (!punch) shared_store(d_.record_enable, 1);
    p_.run_engine();
    tr_.follow = true;
}

void recorder::punch_start() {
    if (!d_.punch_on) return;
    tr_.halt_transport(0);
    warn_no_input();
    place_take();
    track_slot& t = p_.slot(d_.record_pattern, d_.current_track);
    d_.punch_track = d_.current_track;
    d_.punch_saved_mute = t.mute;
    // One bar of pre-roll before the left locator.
    run_take(std::max(0, d_.left_locator - bar_before_step(p_, d_.current_step)),
             record_mode::overdub, true);
}

void recorder::instant_record_toggle(bool shift) {
    if (!d_.recording && !d_.record_paused)
        instant_start(shift);
    else
        instant_stop();
}

void recorder::instant_start(bool shift) {
    if (d_.punch_on) punch_off();
    if (d_.internal_record) {
        // Internal recording's saved state is dropped without a question.
        p_.app.internal_record_saved.valid = false;
        internal_switches_off();
    }
    warn_no_input();
    d_.record_pattern = d_.current_pattern;
    if (d_.cycle_on) prepare_cycle();
    d_.record_offset = 0;
    if (d_.song_mode && !d_.parallel_selected) {
        const int step = d_.main_screen ? d_.current_step : d_.song_start_step;
        d_.record_offset = p_.step_base(step);
    }
    arm_record_area();
    if (shift) {
        d_.instant_punch_start = d_.position;
        d_.instant_punch = 1;
        d_.punch_track = d_.current_track;
        track_slot& t = p_.slot(d_.record_pattern, d_.current_track);
        d_.punch_saved_mute = t.mute;
        t.mute = 1;
        p_.silence_track(d_.record_pattern, d_.current_track);
    }
    if (p_.running())
        shared_store(d_.record_enable, 1);
    else
        d_.record_paused = 1;  // waits for Pause
    tr_.buttons.record = true;
}

void recorder::instant_stop() {
    shared_store(d_.record_enable, 0);
    d_.record_paused = 0;
    d_.input_armed = 0;
    store_take(d_.record_pattern, d_.current_track);
    tr_.buttons.record = tr_.buttons.overdub = false;
}

void recorder::end_take() {
    if (d_.recording) instant_stop();
}

void recorder::restore_punch_mute(int pattern) {
    p_.slot(pattern, std::clamp<int>(d_.punch_track, 0, tracks_per_pattern - 1)).mute =
        d_.punch_saved_mute;
}

void recorder::count_pass_blocks(int i) {
    track_slot& s = p_.slot(take_pattern, i);
    if (!s.in_use || s.blocks != 0) return;
    // The engine cut the pass off the record area; its blocks leave the free count only now.
    const int n = p_.store().count_blocks(s.first);
    s.blocks = static_cast<std::uint16_t>(n);
    d_.free_blocks -= n;
}

void recorder::close_open_notes(track_slot& dest, std::int32_t end) {
    event_store s = p_.store();
    // Held notes by channel and key, each note-off ending one of them, as the chain runs; and
    // where the last of each began, so that its note-off does not come before it.
    struct held {
        int count = 0;
        std::int32_t last_on = 0;
    };
    std::vector<held> notes(16 * 128);
    for (ref32 e = dest.first; is_event_status(s.status(e)); e = s.next_event(e)) {
        const midi_event& ev = s.at(e);
        held& h = notes[static_cast<std::size_t>((ev.status() & 0x0F) * 128 + ev.data1())];
        if (ev.is_note_on()) {
            ++h.count;
            h.last_on = ev.position();
        } else if (ev.is_note_off() && h.count > 0) {
            --h.count;
        }
    }
    for (std::size_t i = 0; i < notes.size(); ++i)
        for (held& h = notes[i]; h.count > 0; --h.count) {
            if (d_.free_blocks < close_note_blocks) return;
            const ref32 at = s.chain_end(dest.first);
            const int taken = s.insert_record(at);
            if (taken < 0) return;
            dest.blocks = static_cast<std::uint16_t>(dest.blocks + taken);
            d_.free_blocks -= taken;
            s.at(at) = midi_event::make(note_off_status(static_cast<int>(i / 128)),
                                        static_cast<std::uint8_t>(i % 128), release_velocity,
                                        std::max({0, end - 1, h.last_on}));
        }
}

void recorder::move_early_events(ref32 first, std::int32_t start) {
    event_store s = p_.store();
    // The whole take as it was recorded: a note-off moved with its note-on lands at the start or
    // after it, so nothing is moved twice, and what came later is still looked at.
    for (ref32 e = first; is_event_status(s.status(e)); e = s.next_event(e)) {
        midi_event& ev = s.at(e);
        const std::int32_t d = start - ev.position();
        if (d <= 0 || d >= early_window) continue;
        if (ev.is_note_on()) {
            const ref32 off = s.find_note_off(e);
            if (is_event_status(s.status(off)))
                s.at(off).set_position(std::min(last_position, s.position(off) + d));
        }
        ev.set_position(start);
    }
}

int recorder::pass_blocks(int channel) {
    event_store s = p_.store();
    int sum = 0;
    for (int i = 0; i < pass_slots; ++i) {
        track_slot& pass = p_.slot(take_pattern, i);
        if (!pass.in_use) continue;
        // Each pass keeps its number in the status, unless the track plays as recorded.
        if (channel != 16 && pass.blocks == 0)
            for (ref32 e = pass.first; is_event_status(s.status(e)); e = s.next_event(e))
                if (s.status(e) < st::sysex)
                    s.at(e).set_status(static_cast<std::uint8_t>((s.status(e) & 0xF0) + i));
        count_pass_blocks(i);
        sum += pass.blocks;
    }
    return sum;
}

int recorder::merge_need(int pattern, int track, int take_blocks) {
    const track_slot& t = p_.slot(pattern, track);
    const int passes = pass_blocks(t.channel);
    // The merged chain is built before the old one goes.
    const int merged = t.in_use     ? t.blocks + take_blocks + passes
                       : passes > 0 ? take_blocks + passes
                                    : 0;
    return merged + merge_spare_blocks;
}

bool recorder::room_for(const chain_builder& take, int pattern, int track) {
    const int need = take.blocks() + merge_need(pattern, track, take.blocks());
    return need <= d_.free_blocks;
}

void recorder::keep_take_undo(int pattern, int track, int need) {
    // A replace kept the track's copy at its start, before the count-in.
    if (p_.app.take_undo_kept) return;
    const track_slot& t = p_.slot(pattern, track);
    if (t.blocks + undo_spare_blocks + need > d_.free_blocks) {
        // The take comes first: without room for both, there is no copy.
        undo_free(p_);
        p_.message(msg_undo_no_memory, msg_icon::warning);
        return;
    }
    undo_save(p_, pattern, track);
}

void recorder::merge_passes(track_edit& target) {
    event_store s = p_.store();
    track_slot& t = target.slot();
    for (int i = 0; i < tracks_per_pattern; ++i) {
        track_slot& pass = p_.slot(take_pattern, i);
        if (!pass.in_use || pass.mute) continue;
        s.sort_chain(pass.first);
        chain_builder b(s);
        merge_chains(b, s, pass.first, t.first != null_ref ? t.first : s.layout().static_end);
        b.terminate();
        const ref32 merged = b.cut();
        if (merged == null_ref) return;  // counted beforehand: cannot happen
        target.replace_chain(merged, b.count_chain_blocks());
        delete_track_chain(p_, take_pattern, i);
    }
}

void recorder::finish_take() {
    for (int i = 0; i < tracks_per_pattern; ++i) {
        count_pass_blocks(i);
        delete_track_chain(p_, take_pattern, i);
    }
    d_.cycle_recording = 0;
    d_.recording = 0;
    d_.punched_in = 0;
    d_.instant_punch = 0;
    p_.app.take_undo_kept = false;
    p_.screen.arrow_cursor();
}

recorder::take_range recorder::range_of_take() const {
    const std::int32_t pos = d_.position;
    // A plain take ends where it stopped.
    take_range r{song_start, pos - d_.record_offset, false};
    if (d_.punched_in) {
        r.start = d_.left_locator;
        r.end = d_.right_locator;
        if ((pos > r.start && pos < r.end) || r.end <= r.start) r.end = pos;
    }
    if (d_.instant_punch) {
        r.start = d_.instant_punch_start;
        r.end = pos;
    }
    if (d_.punched_in || d_.instant_punch) {
        r.start -= d_.record_offset;
        r.end -= d_.record_offset;
    }
    r.punch = d_.punched_in || d_.instant_punch || d_.punch_on;
    return r;
}

void recorder::store_take(int pattern, int track) {
    // Every stop comes here; without a take there is nothing to store, and a punch armed but
    // never reached has no mute to give back.
    if (!d_.recording) return;
    ++p_.changes.tracks;  // the take rewrites the track
    p_.screen.wait_cursor();
    event_store s = p_.store();
    take_range r = range_of_take();
    if (d_.punch_on || d_.instant_punch) {
        restore_punch_mute(pattern);
        if (r.end < r.start) {
            d_.punched_in = 0;
            d_.instant_punch = 0;
            d_.take_has_data = 0;
        }
    }
    const bool punched = d_.punched_in || d_.instant_punch;
    if (!d_.take_has_data) {
        // A punch with nothing played erases its range.
        if (punched && p_.slot(pattern, track).in_use) erase_range(pattern, track, r.start, r.end);
        if (punched) punch_off();
        finish_take();
        return;
    }
    d_.play_pattern = static_cast<std::uint8_t>(pattern);
    d_.current_pattern = static_cast<std::int16_t>(pattern);

    quantize_new_passes();
    chain_builder take(s, d_.record_cursor);
    if (d_.sysex_open) {
        p_.message(msg_sysex_incomplete);
    } else if (!take.terminate() || !take.ok() || !room_for(take, pattern, track)) {
        // Nothing is cut: the take's blocks stay free, the track stays as it was.
        p_.message(msg_no_memory_left);
    } else {
        store_chain(pattern, track, take, r);
        if (d_.sysex_chunks > 0)
            p_.message("SYSEX recorded!\n" + std::to_string(d_.sysex_chunks) + " chunks",
                       msg_icon::information);
    }
    d_.take_has_data = 0;
    finish_take();
}

void recorder::erase_range(int pattern, int track, std::int32_t start, std::int32_t end) {
    undo_save(p_, pattern, track);
    track_edit g(p_, pattern, track, take_edit);
    g.begin();
    if (!delete_range(g, start, end)) p_.message(msg_no_memory_left);
}

void recorder::shape_take(track_slot& dest, int pattern, int quantize, const take_range& r) {
    // No note of a take is left sounding: a punch ends them at its end, any other take where it
    // stopped.
    close_open_notes(dest, r.end);
    if (quantize != 0) quantize_track(p_, pattern, dest.first, quantize);
    if (!d_.cycle_recording) {
        move_early_events(dest.first, d_.punch_on ? r.start : song_start);
        punch_off();
        p_.store().sort_chain(dest.first);
    }
}

void recorder::store_chain(int pattern, int track, chain_builder& take, const take_range& r) {
    // Cut and counted before anything else builds in the record area.
    const int need = merge_need(pattern, track, take.blocks());
    const ref32 first = take.cut();
    const int blocks = take.count_chain_blocks();
    track_slot& t = p_.slot(pattern, track);
    const bool merging = t.in_use != 0;
    char name[sizeof t.name];
    std::copy(std::begin(t.name), std::end(t.name), name);
    keep_take_undo(pattern, track, need);
    // The track stays hidden from the engine until the take is in.
    track_edit target(p_, pattern, track, take_edit);
    target.begin();
    if (!merging) {
        target.replace_chain(first, blocks);
        shape_take(t, pattern, t.quantize, r);
    } else {
        // The take waits in the last slot of the working pattern to be merged with the passes.
        track_edit held(p_, take_pattern, take_slot, take_edit);
        held.begin();
        held.replace_chain(first, blocks);
        if (r.punch) delete_range(target, r.start, r.end);  // room counted beforehand
        shape_take(held.slot(), pattern, t.quantize, r);
    }
    merge_passes(target);
    if (!merging)
        put_name(t.name, recorded_name);
    else
        std::copy(std::begin(name), std::end(name), t.name);
}

void recorder::mute_last_pass() {
    if (!d_.cycle_recording) return;
    for (int i = std::min<int>(d_.cycle_passes, pass_slots) - 1; i >= 0; --i) {
        track_slot& s = p_.slot(take_pattern, i);
        if (!s.in_use || s.mute) continue;
        s.mute = 1;
        p_.silence_track(take_pattern, i);
        return;
    }
}

void recorder::quantize_new_passes() {
    const int passes = std::min<int>(shared_load(d_.cycle_passes), pass_slots);
    for (int& i = p_.app.passes_quantized; i < passes; ++i) {
        track_slot& s = p_.slot(take_pattern, i);
        if (!s.in_use || s.quantize == 0) continue;
        // The pass plays on meanwhile: the engine is parked, not told to end its notes.
        program::park parked(p_);
        quantize_track(p_, d_.record_pattern, s.first, s.quantize);
    }
}

void recorder::tick() {
    // The engine may close a pass at any moment: the mask is taken in one exchange, and the count
    // of passes, not the bits that repeat past 16, says which are new.
    if (shared_exchange(d_.cycle_pass_mask, 0) != 0) quantize_new_passes();
}

bool recorder::internal_recording_allowed() {
    if (p_.refuse_while_recording()) return false;
    if (d_.cycle_on) {
        p_.message(msg_cycle_mode);
        return false;
    }
    if (d_.punch_on) {
        p_.message(msg_punch_active);
        return false;
    }
    return true;
}

internal_recording_fields recorder::internal_recording_state() const {
    return {d_.internal_record != 0, d_.internal_record ? d_.internal_record - 1 : 0};
}

void recorder::set_internal_recording(const internal_recording_fields& f) {
    if (!f.enabled) {
        p_.internal_record_off();
        return;
    }
    if (!d_.internal_record) {
        p_.app.internal_record_saved = {true, d_.midi_thru, p_.app.reset_on_stop, d_.midi_click};
        internal_switches_off();
    }
    d_.internal_record = static_cast<std::uint8_t>(std::clamp(f.port, 0, 3) + 1);
}

void recorder::internal_switches_off() {
    d_.midi_thru = 0;
    p_.app.reset_on_stop = false;
    d_.midi_click = 0;
}

}  // namespace kestrune
