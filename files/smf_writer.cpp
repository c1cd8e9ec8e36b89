#include "files/smf_writer.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "files/file_buffer.h"
#include "files/file_messages.h"
#include "files/smf_reader.h"
#include "song/long_event.h"
#include "song/event_store.h"

namespace kestrune {

namespace {

constexpr std::int32_t latest_time = last_position;

std::int32_t file_time(std::int32_t position) {
    return std::clamp(position - song_start, 0, latest_time);
}

// One source of the merge: the events of a chain, walked with next_event.
struct chain_source {
    const event_store* s = nullptr;
    ref32 at = null_ref;

    bool live() const { return at != null_ref && is_event_status(s->status(at)); }
    std::int32_t position() const { return s->position(at); }
    void step() { at = s->next_event(at); }
};

// The tempo source without the tempo track: one event of the song's tempo at position 0.
struct tempo_source {
    chain_source chain;
    bool use_chain = false;
    bool single_left = false;
    std::int32_t single_value = default_tempo;

    bool live() const { return use_chain ? chain.live() : single_left; }
    std::int32_t position() const { return use_chain ? chain.position() : 0; }
    std::int32_t value() const {
        return use_chain ? chain.s->at(chain.at).tempo_value() : single_value;
    }
    void step() {
        if (use_chain)
            chain.step();
        else
            single_left = false;
    }
    // Whether a next event exists at or before the start of the song.
    bool next_at_start() const {
        if (!use_chain) return false;
        chain_source n = chain;
        n.step();
        return n.live() && n.position() <= song_start;
    }
};

// Bytes of one track, handed to the transfer buffer in pieces.
class track_out {
  public:
    explicit track_out(file_buffer& f) : f_(f) {}
    ~track_out() { flush(); }
    track_out(const track_out&) = delete;
    track_out& operator=(const track_out&) = delete;

    void byte(std::uint8_t b) {
        if (n_ == sizeof buf_) flush();
        buf_[n_++] = b;
    }
    void bytes(const std::uint8_t* p, std::size_t n) {
        for (std::size_t i = 0; i < n; ++i) byte(p[i]);
    }
    void number(std::uint32_t v) {
        std::uint8_t tmp[5];
        int k = 0;
        tmp[k++] = static_cast<std::uint8_t>(v & 0x7F);
        while ((v >>= 7) != 0) tmp[k++] = static_cast<std::uint8_t>(0x80 | (v & 0x7F));
        while (k > 0) byte(tmp[--k]);
    }
    void flush() {
        if (n_ > 0) f_.file_put(buf_, n_);
        n_ = 0;
    }

  private:
    file_buffer& f_;
    std::uint8_t buf_[4096];
    std::size_t n_ = 0;
};

std::uint32_t tempo_microseconds(std::int32_t value) {
    float bpm = static_cast<float>(value) / 100.0f;
    // Less than 4.00 does not fit into 3 bytes.
    if (bpm < 4.0f) bpm = 4.0f;
    return static_cast<std::uint32_t>(60000000.0f / bpm);
}

class midi_writer {
  public:
    midi_writer(const program& p, file_buffer& f) : p_(p), s_(p.store()), f_(f) {}

    // Writes the file; returns the offsets and lengths of the track chunks for the patch.
    void write(const std::vector<int>& tracks, std::vector<std::uint32_t>& offsets,
               std::vector<std::uint32_t>& lengths);

  private:
    void write_track(const track_slot* slot, bool conductor, std::vector<std::uint32_t>& offsets,
                     std::vector<std::uint32_t>& lengths);
    void put_event(track_out& o, ref32 e, std::int32_t delta);

    const program& p_;
    const event_store s_;
    file_buffer& f_;
};

void midi_writer::put_event(track_out& o, ref32 e, std::int32_t delta) {
    const midi_event& r = s_.at(e);
    const std::uint8_t status = r.status();
    if (status == st::sysex) {
        const std::vector<std::uint8_t> payload = read_long_payload(s_, e);
        o.number(static_cast<std::uint32_t>(delta));
        o.byte(st::sysex);
        o.number(static_cast<std::uint32_t>(payload.size()));
        o.bytes(payload.data(), payload.size());
        return;
    }
    if (status == st::text) {
        std::vector<std::uint8_t> text = read_long_payload(s_, e);
        if (!text.empty() && text.back() == 0) text.pop_back();
        const std::uint8_t nibble = r.spare_nibble();
        // Only the two kinds the text editor sets carry their meta head.
        if (nibble == 0 || nibble == 0x2) {
            o.number(static_cast<std::uint32_t>(delta));
            o.byte(0xFF);
            o.byte(nibble == 0 ? 0x01 : 0x05);
            o.number(static_cast<std::uint32_t>(text.size()));
        }
        o.bytes(text.data(), text.size());
        return;
    }
    if (status < 0x80 || status > 0xEF) return;
    o.number(static_cast<std::uint32_t>(delta));
    o.byte(status);
    o.byte(r.data1());
    if (status < 0xC0 || status > 0xDF) o.byte(r.data2());
}

// A tempo meta event `delta` after the one before.
void put_tempo(track_out& o, std::int32_t delta, std::int32_t value) {
    o.number(static_cast<std::uint32_t>(delta));
    const std::uint32_t us = tempo_microseconds(value);
    const std::uint8_t b[6] = {0xFF, 0x51, 0x03, static_cast<std::uint8_t>(us >> 16),
                               static_cast<std::uint8_t>(us >> 8), static_cast<std::uint8_t>(us)};
    o.bytes(b, 6);
}

// A time signature meta event: the denominator as a power of two, 24 clocks, 8 32nds.
void put_signature(track_out& o, std::int32_t delta, const midi_event& r) {
    o.number(static_cast<std::uint32_t>(delta));
    const std::uint8_t den = r.data2();
    const auto power = static_cast<std::uint8_t>(den == 0 ? 0 : std::bit_width(den) - 1u);
    const std::uint8_t b[7] = {0xFF, 0x58, 0x04, r.data1(), power, 0x18, 0x08};
    o.bytes(b, 7);
}

// Before a track's first event: its channel prefix when it changes channels, and its name.
void put_track_heads(track_out& o, const track_slot& slot) {
    if (slot.channel != 16) {
        const std::uint8_t b[5] = {0x00, 0xFF, 0x20, 0x01, slot.channel};
        o.bytes(b, 5);
    }
    const std::uint8_t b[4] = {0x00, 0xFF, 0x03, 0x0A};
    o.bytes(b, 4);
    o.bytes(reinterpret_cast<const std::uint8_t*>(slot.name), 10);
}

void midi_writer::write_track(const track_slot* slot, bool conductor,
                              std::vector<std::uint32_t>& offsets,
                              std::vector<std::uint32_t>& lengths) {
    const dll_data& d = p_.d;
    f_.file_put("MTrk", 4);
    offsets.push_back(f_.counter_a);
    const std::uint8_t placeholder[4] = {0, 0, 0, 0};
    f_.file_put(placeholder, 4);
    f_.counter_b = 0;
    std::int32_t last = 0;

    tempo_source tempo;
    chain_source signature{&s_, null_ref};
    if (conductor) {
        tempo.use_chain = d.tempo_track_on != 0;
        tempo.chain = {&s_, d.tempo_chain.first};
        tempo.single_left = true;
        tempo.single_value = std::clamp(p_.app.song_tempo, min_tempo, max_tempo);
        signature.at = d.active_signature.first;
    } else {
        tempo.single_left = false;
    }
    chain_source events{&s_, slot ? slot->first : null_ref};
    bool heads_written = false;

    {
        track_out o(f_);
        for (;;) {
            const bool t = tempo.live(), g = signature.live(), e = events.live();
            if (!t && !g && !e) break;
            // Tempo before signature before the track's event on equal positions.
            if (t && (!g || tempo.position() <= signature.position()) &&
                (!e || tempo.position() <= events.position())) {
                const std::int32_t time = file_time(tempo.position());
                const bool gives_way = tempo.next_at_start();
                const std::int32_t value = tempo.value();
                tempo.step();
                if (gives_way) continue;
                put_tempo(o, time - last, value);
                last = time;
                continue;
            }
            if (g && (!e || signature.position() <= events.position())) {
                const midi_event& r = s_.at(signature.at);
                const std::int32_t time = file_time(signature.position());
                signature.step();
                put_signature(o, time - last, r);
                last = time;
                continue;
            }
            if (events.position() - song_start >= latest_time) break;
            const std::int32_t time = file_time(events.position());
            if (!heads_written) {
                heads_written = true;
                put_track_heads(o, *slot);
            }
            put_event(o, events.at, time - last);
            last = time;
            events.step();
        }
        const std::uint8_t end[4] = {0x00, 0xFF, 0x2F, 0x00};
        o.bytes(end, 4);
    }
    lengths.push_back(f_.counter_b);
}

void midi_writer::write(const std::vector<int>& tracks, std::vector<std::uint32_t>& offsets,
                        std::vector<std::uint32_t>& lengths) {
    const int pattern = p_.d.current_pattern;
    const bool single = tracks.size() == 1;
    const int chunks = single ? 1 : static_cast<int>(tracks.size()) + 1;
    const std::uint8_t head[14] = {'M', 'T',
                                   'h', 'd',
                                   0,   0,
                                   0,   6,
                                   0,   static_cast<std::uint8_t>(single ? 0 : 1),
                                   0,   static_cast<std::uint8_t>(chunks),
                                   0,   0xC0};
    static_assert(midi_file_division == 0xC0);
    f_.file_put(head, sizeof head);
    if (single) {
        // One chunk holds the tempo and signature with the notes.
        write_track(&p_.slot(pattern, tracks[0]), true, offsets, lengths);
        return;
    }
    write_track(nullptr, true, offsets, lengths);
    for (int t : tracks) write_track(&p_.slot(pattern, t), false, offsets, lengths);
}

// The chunk lengths go in big-endian at their offsets once the events are out.
void patch_lengths(file_buffer& f, const std::vector<std::uint32_t>& offsets,
                   const std::vector<std::uint32_t>& lengths) {
    for (std::size_t i = 0; i < offsets.size(); ++i) {
        const std::uint32_t v = lengths[i];
        const std::uint8_t b[4] = {static_cast<std::uint8_t>(v >> 24),
                                   static_cast<std::uint8_t>(v >> 16),
                                   static_cast<std::uint8_t>(v >> 8), static_cast<std::uint8_t>(v)};
        f.write_at(offsets[i], b, sizeof b);
    }
}

}  // namespace

std::vector<int> midi_file_tracks(const program& p, int pattern) {
    std::vector<int> out;
    for (int t = 0; t < tracks_per_pattern; ++t) {
        const track_slot& s = p.slot(pattern, t);
        if (s.in_use == 1 && s.first != null_ref && p.store().status(s.first) != st::end)
            out.push_back(t);
    }
    return out;
}

bool pattern_has_track_parameters(const program& p, int pattern) {
    for (int t = 0; t < tracks_per_pattern; ++t) {
        const track_slot& s = p.slot(pattern, t);
        if (!s.in_use || s.first == null_ref || p.store().status(s.first) == st::end) continue;
        if (s.loop_length != no_loop || s.delay != 0 || s.velocity != 0 || s.transpose != 0 ||
            s.compress != 0)
            return true;
    }
    return false;
}

bool write_midi_file(program& p, const std::string& path) {
    const std::vector<int> tracks = midi_file_tracks(p, p.d.current_pattern);
    if (tracks.empty()) {
        p.message(msg_no_data_in_pattern);
        return false;
    }
    file_buffer f;
    if (!create_for_save(p, f, path)) return false;
    p.app.midi_format = tracks.size() == 1 ? '0' : '1';
    std::vector<std::uint32_t> offsets, lengths;
    midi_writer(p, f).write(tracks, offsets, lengths);
    patch_lengths(f, offsets, lengths);
    return finish_save(p, f, path);
}

bool confirm_track_parameters(program& p) {
    return !pattern_has_track_parameters(p, p.d.current_pattern) ||
           p.screen.message(ask_track_parameters_lost, msg_icon::question, msg_buttons::yes_no,
                            msg_answer::no) == msg_answer::yes;
}

int save_midi_file(program& p, file_state& fs) {
    if (p.refuse_while_recording()) return 0;
    p.wait_request(p.d.thru_notes_off_request);
    const int pattern = p.d.current_pattern;
    if (midi_file_tracks(p, pattern).empty()) {
        p.message(msg_no_data_in_pattern);
        return 0;
    }
    if (!confirm_track_parameters(p)) return 0;
    std::string offered = fs.current_file_title;
    if (offered.size() >= 3) offered.resize(offered.size() - 3);
    offered += "mid";
    auto path = p.screen.save_file_dialog(
        make_file_dialog(p, fs, dialog_midi_write, "mid", offered, folder_save_midi));
    if (!path || path->empty()) return 0;
    remember_folder(fs, folder_save_midi, *path);
    call(fs.title_changed);
    add_recent_file(fs, *path);
    return write_midi_file(p, *path) ? 1 : 0;
}

}  // namespace kestrune
