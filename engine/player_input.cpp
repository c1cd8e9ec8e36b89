// The input path: filters, thru, remap, step input, recording into the pool, sysex, external sync.
// Input arrives on the backend's thread, which sends MIDI thru at once and queues the input;
// everything else runs on the engine thread.
#include <algorithm>
#include <bit>
#include <cstring>

#include "core/midi_message.h"
#include "engine/player.h"

namespace kestrune {

namespace {

int data_bytes(std::uint8_t status) { return message_length(status) - 1; }

// The input filters and the controller remap: false when the message is filtered out.
bool passes_filters(const dll_data& d, std::uint8_t status, std::uint8_t& d1) {
    const std::uint8_t type = status & 0xF0;
    if ((type == 0x80 || type == 0x90) && d.filter_notes) return false;
    if (type == 0xA0 && d.filter_poly_press) return false;
    if (type == 0xC0 && d.filter_program) return false;
    if (type == 0xD0 && d.filter_channel_press) return false;
    if (type == 0xE0 && d.filter_pitch_wheel) return false;
    if (type == 0xB0 && (d1 == static_cast<std::uint8_t>(d.filter_controller_from) ||
                         d1 == static_cast<std::uint8_t>(d.filter_controller_to)))
        return false;
    if (type == 0xB0 && d.remap_on && d1 == d.remap_from) d1 = d.remap_to & 0x7F;
    return true;
}

std::size_t thru_note_bit(int port, std::uint8_t channel, std::uint8_t key) {
    return (static_cast<std::size_t>(port) * 16 + channel) * 128 + key;
}

}  // namespace

void player::midi_in(const std::uint8_t* bytes, std::size_t n, std::int64_t at_us) {
    input_lock_.lock();
    thru_input(bytes, n, at_us);
    while (n > 0) {
        input_chunk c;
        const std::size_t take = std::min<std::size_t>(n, sizeof c.bytes);
        c.at = at_us;
        c.n = static_cast<std::uint16_t>(take);
        std::memcpy(c.bytes, bytes, take);
        if (!input_.push(c)) {
            input_dropped_.fetch_add(1, std::memory_order_relaxed);
            break;
        }
        bytes += take;
        n -= take;
    }
    input_lock_.unlock();
    if (wake_) wake_(wake_arg_);
}

void player::thru_input(const std::uint8_t* bytes, std::size_t n, std::int64_t at) {
    for (std::size_t i = 0; i < n; ++i) {
        const std::uint8_t b = bytes[i];
        if (b >= 0xF8) continue;  // real-time bytes are not passed on
        if (b >= 0x80) {
            // System common and sysex are not passed on and cancel running status.
            thru_status_ = b < 0xF0 ? b : 0;
            thru_data_count_ = 0;
            continue;
        }
        if (thru_status_ == 0) continue;
        thru_data_[thru_data_count_++] = b;
        if (thru_data_count_ < data_bytes(thru_status_)) continue;
        thru_data_count_ = 0;
        const dll_data& d = d_;
        std::uint8_t d1 = thru_data_[0];
        if (!d.midi_thru || (thru_status_ & 0x0F) == static_cast<std::uint8_t>(d.thru_off_channel) ||
            !passes_filters(d, thru_status_, d1))
            continue;
        const int size = 1 + data_bytes(thru_status_);
        thru(thru_status_, d1, size > 2 ? thru_data_[1] : 0, size, at);
    }
}

void player::drain_input(bool follow_time) {
    while (const input_chunk* c = input_.front()) {
        if (follow_time && c->at > last_us_ && !hold_) advance(c->at);
        for (std::uint16_t i = 0; i < c->n; ++i) input_byte(c->bytes[i], c->at);
        input_.pop();
    }
}

void player::post(int id, std::int32_t w, std::int32_t l) { messages_.push({id, w, l}); }

void player::queue_send(int port, const std::uint8_t* bytes, std::size_t n) {
    if (n == 0) return;
    ui_send u;
    u.port = static_cast<std::uint8_t>(port & 3);
    u.n = static_cast<std::uint8_t>(std::min<std::size_t>(n, 3));
    std::memcpy(u.bytes, bytes, u.n);
    ui_sends_.push(u);
}

void player::drain_ui_sends(std::int64_t at) {
    ui_send u;
    while (ui_sends_.pop(u))
        send(u.port, u.bytes[0], u.n > 1 ? u.bytes[1] : 0, u.n > 2 ? u.bytes[2] : 0, u.n, at);
}

bool player::next_message(engine_message& m) { return messages_.pop(m); }

void player::input_byte(std::uint8_t b, std::int64_t at) {
    if (b >= 0xF8) {  // real-time bytes may come anywhere, inside a sysex too
        realtime_in(b, at);
        return;
    }
    if (b == 0xF0) {
        if (in_sysex_) sysex_end(false);
        running_status_ = 0;
        sysex_begin(at);
        return;
    }
    if (b == 0xF7) {
        if (in_sysex_) {
            sysex_byte(0xF7);
            sysex_end(true);
        }
        return;
    }
    if (b >= 0x80) {
        // Any other status ends an unfinished sysex.
        if (in_sysex_) sysex_end(false);
        running_status_ = b;
        data_count_ = 0;
        if (data_bytes(b) == 0) {
            input_short(b, 0, 0, at);
            running_status_ = 0;
        }
        return;
    }
    if (in_sysex_) {
        sysex_byte(b);
        return;
    }
    if (running_status_ == 0) return;  // stray data byte
    data_[data_count_++] = b;
    if (data_count_ < data_bytes(running_status_)) return;
    const std::uint8_t status = running_status_;
    input_short(status, data_[0], data_count_ > 1 ? data_[1] : 0, at);
    data_count_ = 0;
    if (status >= 0xF0) running_status_ = 0;  // system common cancels running status
}

void player::realtime_in(std::uint8_t b, std::int64_t at) {
    dll_data& d = d_;
    if (!d.external_sync) return;
    switch (b) {
        case 0xFA:
            shared_store(d.external_start, 1);
            last_clock_at_ = 0;
            external_armed_ = true;
            pending_clocks_ = 0;
            break;
        case 0xFB:
            shared_store(d.external_continue, 1);
            last_clock_at_ = 0;
            external_armed_ = true;
            pending_clocks_ = 0;
            break;
        case 0xFC:
            shared_store(d.external_stop, 1);
            external_armed_ = false;
            pending_clocks_ = 0;
            break;
        case 0xF8: {
            d.external_seen = 1;
            if (last_clock_at_ != 0 && at > last_clock_at_) {
                // 24 clocks to the beat.
                const std::int64_t bpm = (60'000'000 + 12 * (at - last_clock_at_)) / (24 * (at - last_clock_at_));
                shared_store(d.external_tempo, static_cast<std::int32_t>(bpm));
            }
            last_clock_at_ = at;
            if (shared_load(d.stopped) == 0) {
                if (!was_running_) {
                    resume(at);
                    was_running_ = true;
                }
                advance_ticks(8 * (1 + pending_clocks_), at);
                pending_clocks_ = 0;
            } else if (external_armed_) {
                ++pending_clocks_;
            }
            break;
        }
        default:
            break;  // active sensing and the rest are not passed on
    }
}

void player::input_short(std::uint8_t status, std::uint8_t d1, std::uint8_t d2, std::int64_t at) {
    dll_data& d = d_;
    if (status >= 0xF0) {
        // A Song Position Pointer under external sync: the UI thread locates there.
        if (status == 0xF2 && d.external_sync)
            post(msg_locate, 0, song_start + (d1 | (d2 << 7)) * 48);
        return;
    }
    const std::uint8_t type = status & 0xF0;
    // Input filters remove a kind of message from everything the engine stores and passes on;
    // thru has passed it on already.
    if (!passes_filters(d, status, d1)) return;

    if (type == 0x90 && d2 > 0) shared_store(d.input_activity, d2);
    if (d.step_input_on) step_input(status, d1, d2);

    take_in(status, d1, d2, at);
}

void player::take_in(std::uint8_t status, std::uint8_t d1, std::uint8_t d2, std::int64_t at) {
    const std::int32_t pos = position_at(at);
    if (takes_input(pos) && follow_held_note(status, d1, d2) &&
        record(midi_event::make(status, d1, d2, record_stamp(pos))))
        shared_store(d_.take_has_data, 1);
}

void player::thru(std::uint8_t status, std::uint8_t d1, std::uint8_t d2, int size, std::int64_t at) {
    const dll_data& d = d_;
    const std::uint8_t type = status & 0xF0;
    const std::uint8_t ch = d.thru_channel < 16 ? d.thru_channel : (status & 0x0F);
    const int port = d.thru_port & 3;
    const bool off = type == 0x80 || (type == 0x90 && d2 == 0);
    if (type == 0x90 || type == 0x80 || type == 0xA0)
        d1 = static_cast<std::uint8_t>(std::clamp(d1 + d.thru_transpose, 0, 127));
    if (type == 0x90 && !off) {
        const auto vel = static_cast<std::uint8_t>(
            compressed_velocity(d2, static_cast<std::int8_t>(d.thru_compress), d.thru_velocity));
        thru_send(port, static_cast<std::uint8_t>(0x90 | ch), d1, vel, 3, at);
        // Noted after the send, so a request that ends thru notes in between leaves it noted.
        const std::size_t bit = thru_note_bit(port, ch, d1);
        thru_sounding_[bit / 64].fetch_or(std::uint64_t{1} << (bit % 64), std::memory_order_relaxed);
        return;
    }
    if (off) {
        const std::size_t bit = thru_note_bit(port, ch, d1);
        thru_sounding_[bit / 64].fetch_and(~(std::uint64_t{1} << (bit % 64)), std::memory_order_relaxed);
    }
    thru_send(port, static_cast<std::uint8_t>(type | ch), d1, d2, size, at);
}

void player::thru_send(int port, std::uint8_t a, std::uint8_t b, std::uint8_t c, int n, std::int64_t at) {
    if (!port_open(port)) return;
    const std::uint8_t m[3] = {a, b, c};
    backend_->send_from_input(port, m, static_cast<std::size_t>(n), at);
}

void player::end_thru_notes(std::int64_t at) {
    for (std::size_t w = 0; w < thru_note_words; ++w) {
        std::uint64_t bits = thru_sounding_[w].exchange(0, std::memory_order_relaxed);
        while (bits != 0) {
            const std::size_t bit = w * 64 + static_cast<std::size_t>(std::countr_zero(bits));
            bits &= bits - 1;
            const int port = static_cast<int>(bit / (16 * 128));
            const auto ch = static_cast<std::uint8_t>(bit / 128 % 16);
            send(port, static_cast<std::uint8_t>(0x80 | ch), static_cast<std::uint8_t>(bit % 128), 64, 3, at);
        }
    }
}

void player::step_input(std::uint8_t status, std::uint8_t d1, std::uint8_t d2) {
    dll_data& d = d_;
    const std::uint8_t type = status & 0xF0;
    if (type == 0x90 && d2 > 0) {
        // A new chord begins with the first key pressed after all were up.
        if (d.step_notes_held == 0 && !shared_load(d.step_chord_ready)) d.step_chord_count = 0;
        if (d.step_chord_count < 50) {
            d.step_chord[d.step_chord_count] = midi_event::make(status, d1, d2, d.step_position);
            d.step_chord_count = static_cast<std::int16_t>(d.step_chord_count + 1);
        }
        d.step_notes_held = static_cast<std::int16_t>(d.step_notes_held + 1);
    } else if (type == 0x80 || type == 0x90) {
        if (d.step_notes_held > 0) d.step_notes_held = static_cast<std::int16_t>(d.step_notes_held - 1);
        if (d.step_notes_held == 0 && d.step_chord_count > 0) {
            d.step_chord_position = d.step_position;
            shared_store(d.step_chord_ready, 1);
        }
    } else if (type == 0xB0 && d1 == 64 && d2 >= 64 && d.step_notes_held == 0) {
        // A rest is asked for with the sustain pedal pressed while no key is down.
        shared_store(d.step_rest_ready, 1);
    }
}

std::int32_t player::position_at(std::int64_t at) const {
    const std::int64_t fine = course_.fine_at(at, fine_from_field(shared_load(d_.fine_position)));
    return tick_of(fine + fine_per_tick / 2);
}

bool player::takes_input(std::int32_t pos) const {
    const dll_data& d = d_;
    if (!d.input_armed || d.internal_record || d.record_paused) return false;
    // An armed punch takes what was played between the locators, however late it is drained.
    if (d.punch_on) return d.recording && pos >= d.left_locator && pos < d.right_locator;
    return d.record_enable != 0;
}

std::int32_t player::record_stamp(std::int32_t pos) const {
    return std::clamp(pos - d_.record_offset, 0, last_position);
}

void player::forget_held_notes_of_a_new_take() {
    // A cycle take's passes hand theirs on to the next.
    const dll_data& d = d_;
    if (d.record_cursor == d.record_write && (!d.cycle_recording || d.cycle_passes == 0))
        held_ = {};
}

bool player::follow_held_note(std::uint8_t status, std::uint8_t d1, std::uint8_t d2) {
    forget_held_notes_of_a_new_take();
    const std::uint8_t type = status & 0xF0;
    if (type != 0x80 && type != 0x90) return true;
    std::uint8_t& open = held_.open[status & 0x0F][d1 & 0x7F];
    std::uint8_t& ended = held_.ended[status & 0x0F][d1 & 0x7F];
    if (type == 0x90 && d2 > 0) {
        if (open < 0xFF) ++open;
        return true;
    }
    if (open > 0) {
        --open;
        return true;
    }
    // A note that began before the take: a punch has no use for its end, which would only
    // stray among the notes of the track around it.
    if (ended == 0) return !(d_.punch_on || d_.instant_punch);
    --ended;
    return false;
}

void player::end_held_notes() {
    const dll_data& d = d_;
    const std::int32_t at = record_stamp(d.right_locator - 1);
    for (int c = 0; c < 16; ++c)
        for (int k = 0; k < 128; ++k)
            for (std::uint8_t& open = held_.open[c][k]; open > 0; --open) {
                const auto off =
                    midi_event::make(static_cast<std::uint8_t>(0x80 | c),
                                     static_cast<std::uint8_t>(k), release_velocity, at);
                if (!record(off)) return;
                if (held_.ended[c][k] < 0xFF) ++held_.ended[c][k];
            }
}

ref32 player::record_slot() {
    dll_data& d = d_;
    const ref32 c = d.record_cursor;
    // A full take leaves the cursor on the forward link, until the next take resets it.
    if (c == null_ref || store_.status(c) == st::forward_link) return null_ref;
    // Step on; a block is entered only if another free block lies beyond it, so the last free
    // block is never written.
    ref32 n = c + record_bytes;
    if (store_.status(n) == st::forward_link) {
        const ref32 nb = store_.link(n);
        if (nb != null_ref && store_.link(event_store::forward_link(nb)) != null_ref) {
            shared_store(d.record_block, nb);
            n = event_store::first_slot(nb);
        }
    }
    shared_store(d.record_cursor, n);
    return c;
}

bool player::record(const midi_event& e) {
    const ref32 r = record_slot();
    if (r == null_ref) return false;
    store_.at(r) = e;
    return true;
}

void player::sysex_begin(std::int64_t at) {
    dll_data& d = d_;
    in_sysex_ = true;
    sysex_index_ = 0;
    sysex_recording_ = false;
    const std::int32_t pos = position_at(at);
    if (d.filter_sysex || !takes_input(pos)) return;
    forget_held_notes_of_a_new_take();
    sysex_head_ = record_slot();
    if (sysex_head_ == null_ref) return;
    store_.at(sysex_head_) = midi_event::make(st::sysex, 0, 0, record_stamp(pos));
    sysex_recording_ = true;
    shared_store(d.sysex_open, 1);
    shared_store(d.take_has_data, 1);
}

void player::sysex_byte(std::uint8_t b) {
    if (!sysex_recording_) return;
    dll_data& d = d_;
    if (sysex_index_ < 2) {
        store_.at(sysex_head_).b[sysex_index_] = b;
    } else {
        const int k = (sysex_index_ - 2) % 6;
        if (k == 0) {
            sysex_record_ = record_slot();
            if (sysex_record_ == null_ref) {
                sysex_recording_ = false;  // no room: the take keeps sysex_open and is refused
                return;
            }
            store_.at(sysex_record_) = midi_event{};
        }
        store_.at(sysex_record_).b[k] = b;
    }
    ++sysex_index_;
    shared_store(d.sysex_bytes, static_cast<std::int16_t>(std::min(sysex_index_, 32767)));
}

void player::sysex_end(bool complete) {
    dll_data& d = d_;
    if (sysex_recording_) {
        // A message cut short by another status is closed so the record stays whole.
        if (!complete) sysex_byte(0xF7);
        if (sysex_recording_) {
            shared_store(d.sysex_chunks, d.sysex_chunks + 1);
            shared_store(d.sysex_open, 0);
        }
    }
    in_sysex_ = false;
    sysex_recording_ = false;
    sysex_index_ = 0;
}

void player::close_pass() {
    dll_data& d = d_;
    const int i = d.cycle_passes;
    if (i >= 31) return;  // slot 31 belongs to the finished take
    const ref32 first = d.record_write;
    if (d.record_cursor == first || d.record_cursor == null_ref || sysex_recording_)
        return;  // nothing played this round
    end_held_notes();
    const ref32 c = d.record_cursor;
    if (store_.status(c) == st::forward_link) return;
    const ref32 next = store_.link(event_store::forward_link(d.record_block));
    if (next == null_ref || store_.link(event_store::forward_link(next)) == null_ref) return;
    midi_event& end = store_.at(c);
    std::memset(end.b, 0, 4);
    end.set_status(st::end);
    // Cut the pass off the record area; its blocks are counted when the take is stored.
    store_.set_link(next, null_ref);
    store_.set_link(event_store::forward_link(d.record_block), null_ref);
    d.record_first_block = next;
    d.record_block = next;
    d.record_write = event_store::first_slot(next);
    d.record_cursor = d.record_write;
    track_slot& s = slot(take_pattern, i);
    s.first = s.play = first;
    s.blocks = 0;
    shared_store(s.in_use, 1);
    // The count first: the tick quantizes the passes it counts, the mask only tells it to look.
    shared_store(d.cycle_passes, static_cast<std::uint8_t>(i + 1));
    shared_set_bits(d.cycle_pass_mask, static_cast<std::int16_t>(1 << (i & 15)));
}

void player::punch(std::int32_t pos, std::int64_t at) {
    dll_data& d = d_;
    if (!d.punch_on || !d.recording) return;
    const bool inside = pos >= d.left_locator && pos < d.right_locator;
    track_slot& t = slot(std::clamp<int>(d.record_pattern, 0, 16), std::clamp<int>(d.punch_track, 0, 31));
    if (inside && !d.punched_in) {
        t.mute = 1;
        shared_store(d.punched_in, 1);
        shared_store(d.record_enable, 1);
        shared_store(d.engine_request, request_refresh_buttons);
    } else if (!inside && d.punched_in && pos >= d.right_locator && d.record_enable) {
        shared_store(d.record_enable, 0);
        // What was played before the right locator may still be on its way from the device.
        const std::int64_t delay =
            (backend_ ? backend_->input_delay_us() : 0) +
            std::int64_t{std::clamp(shared_load(d.timer_resolution), 1, 20)} * 1000;
        punch_end_due_ = at + delay;
    }
}

void player::end_punch_when_due(std::int64_t now_us) {
    if (now_us < punch_end_due_) return;
    punch_end_due_ = never;
    // A take stopped meanwhile is stored already; a new one is not this one's to end.
    const dll_data& d = d_;
    if (d.recording && d.punched_in && !d.record_enable)
        shared_store(d_.engine_request, request_end_take);
}

void player::advance_ticks(int ticks, std::int64_t at) {
    dll_data& d = d_;
    std::int64_t goal = fine_of(tick_of(fine_from_field(d.fine_position)) + ticks);
    for (int guard = 0; guard < 64 && !hold_; ++guard) {
        const std::int32_t pos = d.position;
        pending_at(pos, at);
        if (hold_) break;
        const std::int64_t fine = fine_from_field(d.fine_position);
        if (fine >= goal) break;
        span s{fine, at, 1, 1, at, true};
        const limit lim = next_limit(pos);
        const std::int64_t lim_fine = fine_of(lim.pos);
        if (goal >= lim_fine) {
            play_tracks(s, pos, lim.pos, false);
            beats_and_clock(s, lim.pos, false);
            set_position(lim_fine);
            const std::int64_t rest = goal - lim_fine;
            at_limit(lim, at);
            goal = fine_from_field(d.fine_position) + rest;
            continue;
        }
        const std::int32_t to = tick_of(goal);
        play_tracks(s, pos, to, true);
        beats_and_clock(s, to, true);
        set_position(goal);
        punch(to, at);
        break;
    }
    last_us_ = at;
    // Clocks move the position in steps: input between two stands at the first.
    course_.change(at, fine_from_field(d.fine_position), 0, 1);
}

// The mixer is a live surface: its moves go out and are never written into a take.
void player::mixer_rows(std::int64_t at) {
    dll_data& d = d_;
    const int p = shared_load(d.mixer_send_port);
    if (p < 0 || p > 3) return;
    mixer_port& m = d.mixer[p];
    // Each view is read once and the sent row takes what went out: a move that lands while a
    // value is on its way is sent on the next look, never taken for sent.
    for (int c = 0; c < 16; ++c) {
        const auto ch = static_cast<std::uint8_t>(c);
        auto control = [&](std::int16_t* view, std::int16_t* sent, std::uint8_t cc) {
            const std::int16_t v = shared_load(view[c]);
            if (v == sent[c]) return;
            send(p, 0xB0 | ch, cc, static_cast<std::uint8_t>(std::clamp<int>(v, 0, 127)), 3, at);
            shared_store(sent[c], v);
        };
        control(m.fader_view, m.fader_sent, d.mixer_define_controller & 0x7F);
        control(m.pan_view, m.pan_sent, 10);
        control(m.reverb_view, m.reverb_sent, 91);
        control(m.chorus_view, m.chorus_sent, 93);
        const std::int16_t bank_v = shared_load(m.bank_view[c]);
        const bool bank = bank_v != m.bank_sent[c];
        if (bank) {
            const int v = std::clamp<int>(bank_v, 0, 16383);
            send(p, 0xB0 | ch, 0, static_cast<std::uint8_t>(v >> 7), 3, at);
            send(p, 0xB0 | ch, 32, static_cast<std::uint8_t>(v & 0x7F), 3, at);
            shared_store(m.bank_sent[c], bank_v);
        }
        // A program follows its bank, so a new bank always takes a program with it.
        const std::int16_t program_v = shared_load(m.program_view[c]);
        if (bank || program_v != m.program_sent[c]) {
            send(p, 0xC0 | ch, static_cast<std::uint8_t>(std::clamp<int>(program_v, 0, 127)), 0, 2, at);
            shared_store(m.program_sent[c], program_v);
        }
    }
}

void player::mixer_seen(int port, std::uint8_t status, std::uint8_t d1, std::uint8_t d2) {
    dll_data& d = d_;
    mixer_port& m = d.mixer[port];
    const int c = status & 0x0F;
    const std::uint8_t type = status & 0xF0;
    auto set = [&](std::int16_t* play, std::int16_t* sent, int v) {
        play[c] = static_cast<std::int16_t>(v);
        sent[c] = static_cast<std::int16_t>(v);
        shared_store(d.mixer_changed, static_cast<std::uint16_t>(d.mixer_changed | (1u << port)));
    };
    if (type == 0x90 && d2 > 0) {
        d.mixer_lamps[port].note_seen[c] = 1;
    } else if (type == 0xC0) {
        set(m.program_play, m.program_sent, d1);
    } else if (type == 0xB0) {
        if (d1 == d.mixer_define_controller) set(m.fader_play, m.fader_sent, d2);
        else if (d1 == 10) set(m.pan_play, m.pan_sent, d2);
        else if (d1 == 91) set(m.reverb_play, m.reverb_sent, d2);
        else if (d1 == 93) set(m.chorus_play, m.chorus_sent, d2);
        else if (d1 == 0) set(m.bank_play, m.bank_sent, (d2 << 7) | (m.bank_play[c] & 0x7F));
        else if (d1 == 32) set(m.bank_play, m.bank_sent, (m.bank_play[c] & ~0x7F) | d2);
    }
}

}  // namespace kestrune
