#include "engine/player.h"

#include <algorithm>
#include <cstring>

#include "core/midi_message.h"

namespace kestrune {

namespace {

// Wide enough for a span's fine units times the rate's denominator.
__extension__ typedef __int128 wide;

std::uint8_t clamp7(int v, int lo = 0) { return static_cast<std::uint8_t>(std::clamp(v, lo, 127)); }

}  // namespace

player::player(dll_data& d, arena& a) : d_(d), a_(a), store_(a, d, pool_layout{}) {}

void player::attach(const pool_layout& layout) {
    store_ = event_store(a_, d_, layout);
    notes_.clear();
    was_running_ = false;
}

track_slot& player::slot(int pattern, int t) const {
    return a_.at<pattern_entry>(d_.pattern_table_ptr)[pattern].track[t];
}

void player::send(int port, std::uint8_t a, std::uint8_t b, std::uint8_t c, int n, std::int64_t due) {
    if (!port_open(port)) return;
    const std::uint8_t m[3] = {a, b, c};
    backend_->send(port, m, static_cast<std::size_t>(n), due);
}

void player::send_note_off(int port, int channel, std::uint8_t key, std::int64_t at) {
    send(port, note_off_status(channel), key, release_velocity, 3, at);
}

void player::end_group_notes(int g, int track, std::int64_t at) {
    notes_.end(g, track, [&](sounding_note n) { send_note_off(n.port, n.channel, n.key, at); });
}

void player::end_click(std::int64_t at) {
    if (click_off_due_ == never) return;
    send_note_off(click_port_, click_status_, click_key_, at);
    click_off_due_ = never;
}

void player::all_notes_off(std::int64_t at) {
    end_group_notes(-1, -1, at);
    end_click(at);
}

void player::send_reset(std::int64_t at) {
    // Sustain off, controllers reset, pitch wheel centred, then the channel-mode all-notes-off
    // for notes held by the instrument's own means (the sounding ones already got note-offs).
    for (int p = 0; p < 4; ++p)
        for (int c = 0; c < 16; ++c) {
            auto ch = static_cast<std::uint8_t>(c);
            send(p, 0xB0 | ch, 64, 0, 3, at);
            send(p, 0xB0 | ch, 121, 0, 3, at);
            send(p, 0xE0 | ch, 0, 64, 3, at);
            send(p, 0xB0 | ch, 123, 0, 3, at);
        }
}

void player::send_full_volume(std::int64_t at) {
    // Channel volume and expression to their top on every channel of every open port.
    for (int p = 0; p < 4; ++p)
        for (int c = 0; c < 16; ++c) {
            send_seen(p, static_cast<std::uint8_t>(0xB0 | c), 7, 127, 3, at);
            send_seen(p, static_cast<std::uint8_t>(0xB0 | c), 11, 127, 3, at);
        }
}

void player::send_seen(int port, std::uint8_t a, std::uint8_t b, std::uint8_t c, int n, std::int64_t at) {
    send(port, a, b, c, n, at);
    mixer_seen(port, a, b, c);
}

void player::send_chase(std::int64_t at) {
    // Bank before program so the program lands in the right bank; controllers and wheel after.
    static constexpr int order[] = {chase_bank_msb, chase_bank_lsb, chase_program, chase_volume,
                                    chase_pan,      chase_expression, chase_reverb, chase_chorus};
    static constexpr std::uint8_t controller[] = {0, 0, 32, 7, 91, 93, 10, 11};
    for (int p = 0; p < 4; ++p)
        for (int c = 0; c < 16; ++c) {
            const chase_entry& e = d_.chase(p, c);
            for (int k : order) {
                const chase_slot& s = e.slot[k];
                if (s.key == -1) continue;
                if (k == chase_program)
                    send_seen(p, s.status, s.value & 0x7F, 0, 2, at);
                else
                    send_seen(p, s.status, controller[k], s.value & 0x7F, 3, at);
            }
            if (e.wheel_key != -1) send(p, e.wheel_status, e.wheel_data1 & 0x7F, e.wheel_data2 & 0x7F, 3, at);
        }
}

void player::serve_requests(std::int64_t now_us) {
    dll_data& d = d_;
    if (shared_load(d.all_notes_off_request)) {
        all_notes_off(now_us);
        shared_store(d.all_notes_off_request, 0);
    }
    if (shared_load(d.silence_track_request)) {
        const int g = std::clamp<int>(d.silence_pattern, 0, 2);
        end_group_notes(g, std::clamp<int>(d.silence_track, 0, 31), now_us);
        shared_store(d.silence_track_request, 0);
    }
    if (shared_load(d.thru_notes_off_request)) {
        end_thru_notes(now_us);
        shared_store(d.thru_notes_off_request, 0);
    }
    if (shared_load(d.reset_request)) {
        send_reset(now_us);
        shared_store(d.reset_request, 0);
    }
    if (shared_load(d.full_volume_request)) {
        send_full_volume(now_us);
        shared_store(d.full_volume_request, 0);
    }
    if (shared_load(d.send_request)) {
        send(d.send_port & 3, d.send_status, d.send_data1, d.send_data2, message_length(d.send_status), now_us);
        shared_store(d.send_request, 0);
    }
    if (shared_load(d.chase_ready)) {
        send_chase(now_us);
        shared_store(d.chase_ready, 0);
    }
    if (shared_load(d.spare_request)) shared_store(d.spare_request, 0);
}

void player::process(std::int64_t now_us) {
    drain_ui_sends(now_us);
    serve_requests(now_us);
    mixer_rows(now_us);
    if (now_us >= click_off_due_) end_click(click_off_due_);
    if (shared_load(d_.stopped) != 0 || store_.layout().first_block == null_ref) {
        was_running_ = false;
        hold_ = false;
        last_us_ = now_us;
        drain_input(false);
    } else {
        if (!was_running_) resume(now_us);
        was_running_ = true;
        if (hold_ || d_.external_sync) {
            // Under external sync the clock input moves the position, not the time.
            if (!d_.external_sync) last_us_ = now_us;
            if (d_.external_sync && pending_clocks_ > 0 && !hold_) {
                advance_ticks(8 * pending_clocks_, now_us);
                pending_clocks_ = 0;
            }
            drain_input(false);
        } else {
            // Input that is due after where the engine stands takes it there first.
            drain_input(true);
            advance(now_us);
        }
    }
    end_punch_when_due(now_us);
}

void player::resume(std::int64_t now_us) {
    dll_data& d = d_;
    last_us_ = now_us;
    fine_rest_ = 0;
    std::int64_t rn, rd;
    rate(&rn, &rd);
    course_.restart(now_us, fine_from_field(d.fine_position), rn, rd);
    std::int32_t pos = d.position;
    // The beat fields come from the locate; a negative remainder counts back from the beat.
    int tpb = d.ticks_per_beat > 0 ? d.ticks_per_beat : 192;
    int bpb = d.beats_per_bar > 0 ? d.beats_per_bar : 4;
    int tib = ((d.tick_in_beat % tpb) + tpb) % tpb;
    d.tick_in_beat = static_cast<std::int16_t>(tib);
    next_beat_ = tib == 0 ? pos : pos + tpb - tib;
    next_beat_in_bar_ = tib == 0 ? d.beat_in_bar % bpb : (d.beat_in_bar + 1) % bpb;
    // Clock output waits for the song position pointer to line up, then runs every 8 ticks.
    next_clock_ = pos + std::max(0, d.spp_delay) + d.sync_delay;
}

std::int64_t player::time_of(const span& s, std::int64_t fine) const {
    std::int64_t diff = fine - s.fine_from;
    if (diff <= 0 || s.instant) return s.us_from;
    const wide t = (static_cast<wide>(diff) * s.den + s.num - 1) / s.num;
    return s.us_from + static_cast<std::int64_t>(t);
}

void player::rate(std::int64_t* num, std::int64_t* den) const {
    const std::int32_t inc = shared_load(d_.tempo_increment);
    const std::int32_t tempo = shared_load(d_.tempo_exact);
    if (tempo > 0 && std::int64_t{tempo} * 262144 / 1000000 == inc) {
        // Hundredths of a beat per minute, 192 ticks a beat.
        *num = std::int64_t{tempo} * 192 * fine_per_tick;
        *den = 6'000'000'000;
    } else {
        *num = std::max<std::int32_t>(1, inc);
        *den = 2000;
    }
}

void player::apply_tempo(std::int32_t tempo) {
    if (tempo < 100) tempo = 100;
    shared_store(d_.tempo_exact, tempo);
    shared_store(d_.tempo_increment, static_cast<std::int32_t>(std::int64_t{tempo} * 262144 / 1000000));
    shared_store(d_.tempo_display, tempo);
}

player::limit player::next_limit(std::int32_t pos) const {
    const dll_data& d = d_;
    limit l{last_position, limit::end};
    auto consider = [&](std::int32_t p, limit::kind k) {
        if (p > pos && p < l.pos) l = {p, k};
        else if (p > pos && p == l.pos && k < l.k) l.k = k;
    };
    if (d.cycle_on && d.right_locator > d.left_locator) consider(d.right_locator, limit::cycle);
    if (d.song_mode) {
        const int step = std::clamp<int>(d.current_step, 0, song_steps - 1);
        consider(switch_point(step), limit::step);
    }
    if (d.tempo_track_on && is_event_status(store_.status(d.tempo_chain.play)))
        consider(store_.position(d.tempo_chain.play), limit::tempo);
    if (is_event_status(store_.status(d.active_signature.play)))
        consider(store_.position(d.active_signature.play), limit::signature);
    return l;
}

std::int32_t player::switch_point(int step) const {
    const song_step* steps = a_.at<song_step>(d_.song_list_ptr);
    const song_step& s = steps[step];
    if (s.stop_here || step >= song_steps - 1) return s.end;
    return s.end - std::max<int>(0, steps[step + 1].pickup);
}

void player::advance(std::int64_t now_us) {
    dll_data& d = d_;
    // One round at least, so that what stands at the position itself goes out at once.
    for (int guard = 0; guard < 4096 && (guard == 0 || last_us_ < now_us) && !hold_; ++guard) {
        const std::int32_t pos = d.position;
        pending_at(pos, last_us_);
        if (hold_) break;
        std::int64_t rn, rd;
        rate(&rn, &rd);
        if (rd != rate_den_) fine_rest_ = 0;  // a remainder only carries within one rate
        rate_den_ = rd;
        const std::int64_t fine = fine_from_field(d.fine_position);
        if (!course_.runs_at(rn, rd)) course_.change(last_us_, fine, rn, rd);
        const wide num = static_cast<wide>(now_us - last_us_) * rn + fine_rest_;
        const std::int64_t target = fine + static_cast<std::int64_t>(num / rd);
        const limit lim = next_limit(pos);
        const span s{fine, last_us_, rn, rd, now_us};
        const std::int64_t lim_fine = fine_of(lim.pos);
        if (target >= lim_fine) {
            const std::int64_t t = std::min(time_of(s, lim_fine), now_us);
            play_tracks(s, pos, lim.pos, false);
            beats_and_clock(s, lim.pos, false);
            set_position(lim_fine);
            punch(lim.pos, t);
            fine_rest_ = 0;
            last_us_ = t;
            at_limit(lim, t);
            continue;
        }
        const std::int32_t to = tick_of(target);
        play_tracks(s, pos, to, true);
        beats_and_clock(s, to, true);
        set_position(target);
        punch(to, now_us);
        fine_rest_ = static_cast<std::int64_t>(num % rd);
        last_us_ = now_us;
    }
}

void player::set_position(std::int64_t fine) {
    const std::int32_t p = tick_of(fine);
    shared_store(d_.fine_position, static_cast<std::int32_t>(static_cast<std::uint32_t>(fine)));
    shared_store(d_.play_position, p);
    shared_store(d_.position, p);
}

// What falls due at the position itself: tempo and signature records, a song step whose switch
// point has come.
void player::pending_at(std::int32_t pos, std::int64_t at) {
    dll_data& d = d_;
    if (d.tempo_track_on) {
        ref32& play = d.tempo_chain.play;
        while (is_event_status(store_.status(play)) && store_.position(play) <= pos) {
            if (store_.status(play) == st::tempo) apply_tempo(store_.at(play).tempo_value());
            play = store_.next_event(play);
        }
    }
    ref32& sig = d.active_signature.play;
    while (is_event_status(store_.status(sig)) && store_.position(sig) <= pos) {
        const midi_event& e = store_.at(sig);
        if (e.status() == st::signature) {
            const time_signature g = signature_of(e);
            d.beats_per_bar = static_cast<std::int16_t>(g.numerator);
            d.ticks_per_beat = static_cast<std::int16_t>(g.beat_ticks());
            d.beat_in_bar = 0;
            d.tick_in_beat = static_cast<std::int16_t>(pos - e.position());
            next_beat_ = e.position() >= pos ? e.position() : pos + d.ticks_per_beat - (pos - e.position()) % d.ticks_per_beat;
            next_beat_in_bar_ = 0;
        }
        sig = store_.next_event(sig);
    }
    if (d.song_mode) {
        const int step = std::clamp<int>(d.current_step, 0, song_steps - 1);
        if (pos >= switch_point(step)) switch_step(step, at);
    }
    if (pos >= last_position) {
        shared_store(d.max_length_reached, 1);
        hold_ = true;
    }
}

void player::at_limit(const limit& l, std::int64_t at) {
    if (l.k == limit::cycle) cycle_jump(at);
    // Everything else is picked up by pending_at at the top of the next round.
}

void player::switch_step(int step, std::int64_t at) {
    dll_data& d = d_;
    const song_step* steps = a_.at<song_step>(d.song_list_ptr);
    if (steps[step].stop_here) {
        shared_store(d.engine_stop, 1);
        hold_ = true;
        return;
    }
    if (step >= song_steps - 1) {
        shared_store(d.not_at_end, 0);
        hold_ = true;
        return;
    }
    // Notes of the step that ends are ended with it.
    end_group_notes(playing, -1, at);
    const int next = step + 1;
    const int pattern = std::clamp<int>(steps[next].pattern, 0, 15);
    d.current_step = static_cast<std::int8_t>(next);
    shared_store(d.play_step_ptr, d.song_list_ptr + static_cast<ref32>(next * static_cast<int>(sizeof(song_step))));
    const std::int32_t local = d.position - steps[next - 1].end + song_start;
    seat_group(pattern, d.track_position, local);
    shared_store(d.display_pattern, pattern);
    shared_store(d.play_pattern, pattern);
}

void player::seat_group(int pattern, std::int32_t* positions, std::int32_t local) {
    for (int t = 0; t < tracks_per_pattern; ++t) {
        track_slot& s = slot(pattern, t);
        const track_seat at = seat_track(store_, s, local);
        if (s.in_use) s.play = at.event;
        positions[t] = at.position;
    }
}

void player::cycle_jump(std::int64_t at) {
    dll_data& d = d_;
    all_notes_off(at);
    const bool passes = d.cycle_recording && d.recording;
    if (passes) {
        close_pass();
        // The passes play back from the left locator on the following rounds.
        const std::int32_t local = d.left_locator - d.record_offset;
        for (int t = 0; t < tracks_per_pattern; ++t) {
            track_slot& s = slot(take_pattern, t);
            take_positions_[t] = local;
            if (s.in_use) s.play = store_.find_at_position(s.first, local, no_loop);
        }
    }
    const auto* step = a_.at<song_step>(d.cycle_step_ptr);
    const int pattern = d.song_mode ? std::clamp<int>(step->pattern, 0, 15) : std::clamp<int>(d.display_pattern, 0, 16);
    for (int t = 0; t < tracks_per_pattern; ++t) {
        d.track_position[t] = d.cycle_track_position[t];
        track_slot& s = slot(pattern, t);
        if (s.in_use && d.cycle_track_event[t] != null_ref) s.play = d.cycle_track_event[t];
    }
    if (d.song_mode) {
        for (int t = 0; t < tracks_per_pattern; ++t) {
            d.parallel_track_position[t] = d.cycle_parallel_position[t];
            track_slot& s = slot(parallel_pattern, t);
            if (s.in_use && d.cycle_parallel_event[t] != null_ref) s.play = d.cycle_parallel_event[t];
        }
        d.current_step = static_cast<std::int8_t>(step->index);
        shared_store(d.play_step_ptr, d.cycle_step_ptr);
        if (d.display_pattern != pattern) shared_store(d.play_pattern, pattern);
        shared_store(d.display_pattern, pattern);
    }
    if (d.tempo_track_on && d.tempo_chain.left_event != null_ref) {
        d.tempo_chain.play = d.tempo_chain.left_event;
        apply_tempo(d.tempo_chain.left_tempo());
    }
    chain_cursor& c = d.active_signature;
    if (c.left_event != null_ref) c.play = c.left_event;
    if (c.ticks_per_beat > 0 && c.beats_per_bar > 0) {
        d.ticks_per_beat = c.ticks_per_beat;
        d.beats_per_bar = c.beats_per_bar;
        d.beat_in_bar = c.beat_in_bar;
        d.tick_in_beat = c.tick_in_beat;
    }
    set_position(fine_of(d.left_locator));
    // Beats and clock carry on from the new position as at a start.
    const std::int32_t spp = d.spp_delay;
    d.spp_delay = 0;
    resume(at);
    d.spp_delay = spp;
}

void player::play_tracks(const span& s, std::int32_t from, std::int32_t to, bool inclusive) {
    dll_data& d = d_;
    const int g0 = std::clamp<int>(d.display_pattern, 0, 16);
    const song_step* steps = a_.at<song_step>(d.song_list_ptr);
    const bool song = d.song_mode != 0;
    const song_step& cur = steps[std::clamp<int>(d.current_step, 0, song_steps - 1)];
    play_group(s, playing, g0, d.track_position, d.track_enable, song ? cur.track_mask : 0,
               song ? cur.transpose : 0, from, to, inclusive);
    if (song)
        play_group(s, parallel, parallel_pattern, d.parallel_track_position, d.parallel_enable, 0,
                   steps[parallel_step].transpose, from, to, inclusive);
    if (d.cycle_recording && d.recording)
        play_group(s, take, take_pattern, take_positions_, d.take_enable, 0, 0, from, to, inclusive);
}

void player::play_group(const span& s, int g, int pattern, std::int32_t* positions,
                        const std::uint8_t* enable, std::uint32_t mask, int step_transpose,
                        std::int32_t from, std::int32_t to, bool inclusive) {
    const std::int32_t delta = to - from;
    for (int t = 0; t < tracks_per_pattern; ++t) {
        track_slot& sl = slot(pattern, t);
        if (!shared_load(sl.in_use)) {
            positions[t] += delta;
            continue;
        }
        const bool audible = enable[t] && !sl.mute && !(mask & (1u << t));
        const std::int32_t local_from = positions[t];
        std::int32_t target = local_from + delta;
        std::int32_t wrapped = 0;  // ticks the local position went back by loops
        const std::int32_t loop = loop_ticks(sl.loop_length);
        for (;;) {
            const bool wraps = loop > 0 && target > sl.loop_length;
            const std::int32_t upto = wraps ? sl.loop_length : target;
            const bool incl = wraps || inclusive;
            ref32 e = sl.play;
            while (is_event_status(store_.status(e))) {
                const std::int32_t q = store_.position(e);
                if (q > upto || (!incl && q == upto)) break;
                const std::int64_t g_pos = std::int64_t{from} + (q + wrapped - local_from);
                send_event(g, t, sl, e, step_transpose, audible, time_of(s, fine_of(g_pos)),
                           static_cast<std::int32_t>(g_pos));
                e = store_.next_event(e);
            }
            sl.play = e;
            if (!wraps) break;
            // Back to the loop's start; what the loop's end left sounding ends there.
            end_group_notes(g, t, time_of(s, fine_of(std::int64_t{from} + sl.loop_length + 1 + wrapped - local_from)));
            target -= loop;
            wrapped += loop;
            sl.play = store_.find_at_position(sl.first, song_start, no_loop);
        }
        positions[t] = target;
    }
}

void player::send_event(int g, int track, const track_slot& sl, ref32 e, int step_transpose,
                        bool audible, std::int64_t due, std::int32_t at_pos) {
    const midi_event& ev = store_.at(e);
    const std::uint8_t status = ev.status();
    const int port = sl.port & 3;
    if (status >= 0xF0) {
        if (status != st::sysex || !audible || !port_open(port)) return;
        std::size_t n = 0;
        sysex_buffer_[n++] = 0xF0;
        auto put = [&](std::uint8_t b) {
            if (n < sizeof sysex_buffer_) sysex_buffer_[n++] = b;
            return b == st::sysex_end;
        };
        bool done = put(ev.raw0()) || put(ev.raw1());
        for (ref32 r = store_.next_record(e); !done && is_continuation_status(store_.status(r)); r = store_.next_record(r))
            for (std::uint8_t b : store_.at(r).b)
                if ((done = put(b))) break;
        if (!done) put(st::sysex_end);
        backend_->send(port, sysex_buffer_, n, due);
        return;
    }
    const std::uint8_t type = status & 0xF0;
    const std::uint8_t src_ch = status & 0x0F;
    const std::uint8_t ch = sl.channel < 16 ? sl.channel : src_ch;
    const std::uint8_t d1 = ev.data1(), d2 = ev.data2();
    const int transpose = sl.transpose + (d_.transpose_exempt[port][ch] ? 0 : step_transpose);
    if (ev.is_note_off()) {
        sounding_note n{static_cast<std::uint8_t>(port), ch, clamp7(d1 + transpose)};
        if (notes_.take(g, track, src_ch, d1, &n) || audible)
            played(n.port, static_cast<std::uint8_t>(type | n.channel), n.key, d2, 3, due, at_pos);
        if (g == playing && audible) d_.track_activity[track] = 128;
        return;
    }
    if (!audible) return;
    if (type == 0x90) {
        // A channel muted in the mixer, or left out of its solo, does not sound.
        const mixer_port& m = d_.mixer[port];
        if (m.mute[ch] || (m.any_solo && !m.solo[ch])) return;
        const std::uint8_t key = clamp7(d1 + transpose);
        const auto vel = static_cast<std::uint8_t>(compressed_velocity(d2, sl.compress, sl.velocity));
        played(port, static_cast<std::uint8_t>(0x90 | ch), key, vel, 3, due, at_pos);
        notes_.started(g, track, src_ch, d1, {static_cast<std::uint8_t>(port), ch, key});
        if (g == playing) d_.track_activity[track] = vel;
        return;
    }
    const std::uint8_t out = static_cast<std::uint8_t>(type | ch);
    if (type == 0xA0)
        played(port, out, clamp7(d1 + transpose), d2, 3, due, at_pos);
    else
        played(port, out, d1, d2, message_length(status), due, at_pos);
}

void player::played(int port, std::uint8_t a, std::uint8_t b, std::uint8_t c, int n, std::int64_t due,
                    std::int32_t at_pos) {
    send(port, a, b, c, n, due);
    mixer_seen(port, a, b, c);
    // Internal recording takes what a port plays instead of what comes in.
    dll_data& d = d_;
    if (d.internal_record == port + 1 && d.record_enable && d.input_armed) {
        const std::int32_t stamp = std::clamp(at_pos - d.record_offset, 0, last_position);
        if (record(midi_event::make(a, b, n > 2 ? c : 0, stamp))) shared_store(d.take_has_data, 1);
    }
}

void player::beats_and_clock(const span& s, std::int32_t to, bool inclusive) {
    dll_data& d = d_;
    const int tpb = d.ticks_per_beat > 0 ? d.ticks_per_beat : 192;
    const int bpb = d.beats_per_bar > 0 ? d.beats_per_bar : 4;
    auto reached = [&](std::int32_t q) { return inclusive ? q <= to : q < to; };
    while (reached(next_beat_)) {
        d.beat_in_bar = static_cast<std::int16_t>(next_beat_in_bar_ % bpb);
        const bool take = d.record_enable || d.input_armed;
        if (d.midi_click && (take || d.click_always)) {
            const std::int64_t due = time_of(s, fine_of(next_beat_));
            end_click(due);
            click_port_ = d.click_port & 3;
            click_status_ = static_cast<std::uint8_t>(0x90 | (d.click_channel & 0x0F));
            click_key_ = d.click_note & 0x7F;
            send(click_port_, click_status_, click_key_, clamp7(d.click_velocity, 1), 3, due);
            click_off_due_ = due + click_length_us;
        }
        next_beat_ += tpb;
        next_beat_in_bar_ = (d.beat_in_bar + 1) % bpb;
    }
    d.tick_in_beat = static_cast<std::int16_t>(std::clamp(to - (next_beat_ - tpb), 0, tpb - 1));
    if (d.sync_out) {
        while (reached(next_clock_)) {
            const std::int64_t due = time_of(s, fine_of(next_clock_));
            for (int p = 0; p < 4; ++p)
                if (d.sync_out_ports[p]) send(p, 0xF8, 0, 0, 1, due);
            next_clock_ += 8;
        }
    }
}

std::int64_t player::next_due_us() const {
    const dll_data& d = d_;
    if (!was_running_ || hold_ || shared_load(d.stopped) != 0) return click_off_due_;
    const std::int32_t pos = d.position;
    std::int64_t best = std::int64_t{next_limit(pos).pos};
    auto consider = [&](std::int64_t p) {
        if (p < best) best = p;
    };
    if (d.midi_click && (d.click_always || d.record_enable || d.input_armed)) consider(next_beat_);
    if (d.sync_out) consider(next_clock_);
    auto group = [&](int pattern, const std::int32_t* positions) {
        for (int t = 0; t < tracks_per_pattern; ++t) {
            const track_slot& sl = slot(pattern, t);
            if (!sl.in_use || !is_event_status(store_.status(sl.play))) continue;
            std::int64_t q = store_.position(sl.play);
            if (sl.loop_length != no_loop && q > sl.loop_length) q = std::int64_t{sl.loop_length} + 1;
            consider(pos + (q - positions[t]));
        }
    };
    group(std::clamp<int>(d.display_pattern, 0, 16), d.track_position);
    if (d.song_mode) group(parallel_pattern, d.parallel_track_position);
    std::int64_t rn, rd;
    rate(&rn, &rd);
    const std::int64_t fine = fine_from_field(d.fine_position);
    const std::int64_t diff = fine_of(best) - fine;
    std::int64_t due = last_us_;
    if (diff > 0) {
        wide need = static_cast<wide>(diff) * rd - fine_rest_;
        if (need < 0) need = 0;
        due = last_us_ + static_cast<std::int64_t>((need + rn - 1) / rn);
    }
    return std::min(due, click_off_due_);
}

}  // namespace kestrune
