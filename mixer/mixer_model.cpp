#include "mixer/mixer_model.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <numbers>

#include "song/value_step.h"

namespace kestrune {

namespace {

constexpr std::int16_t never_sent = -1;
constexpr int bank_high = 16383;
constexpr int bank_msb_step = 128;

// The kinds a value field sends late, in the order the timer sends them.
constexpr mixer_control pending_order[] = {mixer_control::program, mixer_control::reverb,
                                           mixer_control::chorus, mixer_control::bank};

int pending_index(mixer_control k) {
    for (int i = 0; i < 4; ++i)
        if (pending_order[i] == k) return i;
    return -1;
}

std::int16_t held(int v, int low, int high) { return static_cast<std::int16_t>(std::clamp(v, low, high)); }

// A user's value: play and view, and a send the engine cannot skip.
void write_rows(mixer_port& m, mixer_control k, int channel, int value) {
    const control_rows r = rows_of(m, k);
    r.play[channel] = r.view[channel] = static_cast<std::int16_t>(value);
    shared_store(r.sent[channel], never_sent);
}

void send_now(program& p) {
    shared_store(p.d.mixer_send_port, p.app.mixer.shown_port);
    p.eng.look_now();
}

void end_notes(program& p) { p.wait_request(p.d.all_notes_off_request); }

// Snapshot layout: six control rows, group, group offset, solo, mute, then any solo.
constexpr int snap_group = 6 * mixer_channels;
constexpr int snap_offset = 7 * mixer_channels;
constexpr int snap_solo = 8 * mixer_channels;
constexpr int snap_mute = 9 * mixer_channels;
constexpr int snap_any_solo = 10 * mixer_channels;

std::int16_t& at(mixer_snapshot& s, int i) { return s[static_cast<std::size_t>(i)]; }

}  // namespace

control_rows rows_of(mixer_port& m, mixer_control k) {
    switch (k) {
    case mixer_control::fader: return {m.fader_play, m.fader_view, m.fader_sent};
    case mixer_control::pan: return {m.pan_play, m.pan_view, m.pan_sent};
    case mixer_control::reverb: return {m.reverb_play, m.reverb_view, m.reverb_sent};
    case mixer_control::chorus: return {m.chorus_play, m.chorus_view, m.chorus_sent};
    case mixer_control::program: return {m.program_play, m.program_view, m.program_sent};
    case mixer_control::bank: break;
    }
    return {m.bank_play, m.bank_view, m.bank_sent};
}

std::int16_t view_of(const mixer_port& m, mixer_control k, int channel) {
    return rows_of(const_cast<mixer_port&>(m), k).view[channel];
}

int control_high(mixer_control k) { return k == mixer_control::bank ? bank_high : 127; }

bool mixer_open(const program& p) { return p.app.mixer_port >= 0; }

mixer_port& shown_mixer(program& p) { return p.d.mixer[std::clamp(p.app.mixer.shown_port, 0, 3)]; }
const mixer_port& shown_mixer(const program& p) {
    return p.d.mixer[std::clamp(p.app.mixer.shown_port, 0, 3)];
}

void set_mixer_value(program& p, mixer_control k, int channel, int value) {
    write_rows(shown_mixer(p), k, channel, held(value, 0, control_high(k)));
    if (const int i = pending_index(k); i >= 0) {
        p.app.mixer.pending_send[i] = true;
        p.eng.look_now();  // the engine sends a changed row of the port it sends for at its next turn
    } else {
        send_now(p);
    }
}

int stepped_mixer_value(program& p, mixer_control k, int value, int code, key_mods mods) {
    const bool centred = k == mixer_control::pan || k == mixer_control::reverb || k == mixer_control::chorus;
    if (mods.ctrl && centred) return control_centre;
    // Shift steps a bank's upper byte.
    const int unit = mods.shift && k == mixer_control::bank ? bank_msb_step : 1;
    return std::clamp(value + step_amount(p, code) * unit, 0, control_high(k));
}

void begin_fader_drag(program& p) {
    mixer_port& m = shown_mixer(p);
    for (std::int16_t& o : m.group_offset) o = held(o, -group_offset_limit, group_offset_limit);
    m.spare = 0;
}

void drag_fader(program& p, int channel, int value, key_mods mods) {
    mixer_port& m = shown_mixer(p);
    const int delta = std::clamp(value, 0, 127) - m.fader_view[channel];
    const bool grouped = !mods.alt && !mods.shift && m.group[channel];
    const int base = grouped || (mods.shift && !mods.alt) ? m.group_offset[channel] : 0;
    bool moved = false;
    for (int c = 0; c < mixer_channels; ++c) {
        const bool in_reach = mods.alt || c == channel || (grouped && m.group[c]);
        if (!in_reach) continue;
        if (!m.group[c] || mods.alt) m.group_offset[c] = 0;
        int target = m.group_offset[c] + m.fader_view[c] + delta - (m.group[c] ? base : 0);
        // What a grouped fader cannot follow past an end waits in its offset.
        int offset = 0;
        if (mods.ctrl)
            target = fader_default;
        else if (target > 127 || target < 0)
            offset = target - std::clamp(target, 0, 127);
        target = std::clamp(target, 0, 127);
        m.group_offset[c] = static_cast<std::int16_t>(offset);
        if (target == m.fader_view[c]) continue;
        write_rows(m, mixer_control::fader, c, target);
        moved = true;
    }
    if (moved) send_now(p);
}

int pan_at(int dx, int dy) {
    if (dx == 0 && dy == 0) return -1;
    const double degrees = std::atan2(-dy, dx) * 180.0 / std::numbers::pi;
    const int angle = (static_cast<int>(std::floor(degrees)) + 360) % 360;
    int a = 360 - (angle + 142) % 360;
    // The gap at the bottom belongs to the nearer end.
    if (a >= 308)
        a = 0;
    else if (a > 256)
        a = 256;
    return std::clamp(a * 127 / 256, 0, 127);
}

void set_pan(program& p, int channel, int value) {
    mixer_port& m = shown_mixer(p);
    if (value < 0 || value == m.pan_view[channel]) return;
    write_rows(m, mixer_control::pan, channel, held(value, 0, 127));
    send_now(p);
}

void toggle_solo(program& p, int channel, bool add) {
    mixer_port& m = shown_mixer(p);
    if (!add && !m.solo[channel])
        for (std::int16_t& s : m.solo) s = 0;
    m.solo[channel] = m.solo[channel] ? 0 : 1;
    const bool any = std::any_of(std::begin(m.solo), std::end(m.solo), [](std::int16_t s) { return s != 0; });
    m.any_solo = any ? 1 : 0;
    if (any) end_notes(p);
}

void toggle_mute(program& p, int channel) {
    mixer_port& m = shown_mixer(p);
    m.mute[channel] = m.mute[channel] ? 0 : 1;
    if (m.mute[channel]) end_notes(p);
}

void toggle_group(program& p, int channel) {
    mixer_port& m = shown_mixer(p);
    m.group[channel] = m.group[channel] ? 0 : 1;
}

void show_mixer_port(program& p, int port) {
    p.app.mixer.shown_port = std::clamp(port, 0, mixer_ports - 1);
    if (mixer_open(p)) p.app.mixer_port = p.app.mixer.shown_port;
}

void choose_snapshot(program& p, int slot) {
    p.app.mixer.snapshot_slot = std::clamp(slot, 0, mixer_snapshot_count - 1);
}

void store_snapshot(program& p) {
    mixer_snapshot& s = p.song.mixer_snapshots[static_cast<std::size_t>(p.app.mixer.snapshot_slot)];
    mixer_port& m = shown_mixer(p);
    for (int c = 0; c < mixer_channels; ++c) {
        for (int k = 0; k < mixer_control_count; ++k)
            at(s, k * mixer_channels + c) = rows_of(m, static_cast<mixer_control>(k)).view[c];
        at(s, snap_group + c) = m.group[c];
        at(s, snap_offset + c) = m.group_offset[c];
        at(s, snap_solo + c) = m.solo[c];
        at(s, snap_mute + c) = m.mute[c];
    }
    at(s, snap_any_solo) = m.any_solo;
}

void recall_snapshot(program& p) {
    mixer_snapshot& s = p.song.mixer_snapshots[static_cast<std::size_t>(p.app.mixer.snapshot_slot)];
    mixer_port& m = shown_mixer(p);
    // A snapshot from a file is held to the ranges; every control goes out again.
    for (int c = 0; c < mixer_channels; ++c) {
        for (int k = 0; k < mixer_control_count; ++k) {
            const auto kind = static_cast<mixer_control>(k);
            write_rows(m, kind, c, held(at(s, k * mixer_channels + c), 0, control_high(kind)));
        }
        m.group[c] = at(s, snap_group + c) ? 1 : 0;
        m.group_offset[c] = held(at(s, snap_offset + c), -group_offset_limit, group_offset_limit);
        m.solo[c] = at(s, snap_solo + c) ? 1 : 0;
        m.mute[c] = at(s, snap_mute + c) ? 1 : 0;
    }
    m.any_solo = at(s, snap_any_solo) ? 1 : 0;
    end_notes(p);
    send_now(p);
}

void mixer_timer(program& p, bool buttons_down, std::int64_t now_ms) {
    app_state::mixer_choices& mx = p.app.mixer;
    if (!buttons_down)
        for (int i = 0; i < 4; ++i)
            if (mx.pending_send[i]) {
                mx.pending_send[i] = false;
                send_now(p);
                break;
            }
    mixer_activity& a = p.d.mixer_lamps[std::clamp(mx.shown_port, 0, 3)];
    const auto now = static_cast<std::uint32_t>(now_ms);
    for (int c = 0; c < mixer_channels; ++c) {
        if (shared_load(a.note_seen[c])) {
            shared_store(a.note_seen[c], 0);
            a.lamp_off_time[c] = now + static_cast<std::uint32_t>(lamp_ms);
            a.lamp_on[c] = 1;
        } else if (a.lamp_on[c] && static_cast<std::int32_t>(now - a.lamp_off_time[c]) >= 0) {
            a.lamp_on[c] = 0;
        }
    }
    const std::uint16_t changed = std::atomic_ref<std::uint16_t>(p.d.mixer_changed).exchange(0);
    if (!(changed & (1u << mx.shown_port))) return;
    mixer_port& m = shown_mixer(p);
    for (int k = 0; k < mixer_control_count; ++k) {
        const control_rows r = rows_of(m, static_cast<mixer_control>(k));
        for (int c = 0; c < mixer_channels; ++c) r.view[c] = shared_load(r.play[c]);
    }
}

void open_mixer(program& p) {
    p.d.song_start_step = p.d.current_step;
    p.app.mixer_port = p.app.mixer.shown_port;
    shared_store(p.d.main_screen, 0);
}

void close_mixer(program& p) {
    p.app.mixer_port = -1;
    shared_store(p.d.main_screen, 1);
}

}  // namespace kestrune
