#include "files/smf_reader.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

#include "files/file_buffer.h"
#include "files/file_messages.h"
#include "song/long_event.h"
#include "song/patterns.h"
#include "song/position.h"
#include "song/event_store.h"

namespace kestrune {

namespace {

constexpr std::uint64_t header_search_limit = 200;  // bytes that may stand before "MThd"
constexpr std::size_t text_limit = 200;
constexpr std::size_t name_limit = 10;
// Far beyond the last position at any division, and far from overflowing the scaling.
constexpr std::int64_t delta_sum_cap = std::int64_t{1} << 40;
// Blocks kept free beside a chain being built when a tempo or signature list grows.
constexpr std::int32_t list_insert_margin = 3;

// The first bar line of signature record `sig` at or after `target`, counting whole bars of it
// from its own position.
std::int32_t bar_line_at_or_after(const event_store& s, ref32 sig, std::int32_t target) {
    const std::int32_t bar = signature_of(s.at(sig)).bar_ticks();
    const std::int32_t from = s.position(sig);
    return target > from ? from + (target - from + bar - 1) / bar * bar : from;
}

constexpr std::uint8_t meta_text = 0x01;
constexpr std::uint8_t meta_copyright = 0x02;
constexpr std::uint8_t meta_track_name = 0x03;
constexpr std::uint8_t meta_lyric = 0x05;
constexpr std::uint8_t meta_marker = 0x06;
constexpr std::uint8_t meta_cue_point = 0x07;
constexpr std::uint8_t meta_channel_prefix = 0x20;
constexpr std::uint8_t meta_end_of_track = 0x2F;
constexpr std::uint8_t meta_tempo = 0x51;
constexpr std::uint8_t meta_time_signature = 0x58;

std::int32_t record_position(std::int64_t p) {
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(p, 0, largest_record_position));
}

// Reads through the transfer buffer, never past the end of the current chunk or of the file.
class chunk_input {
  public:
    explicit chunk_input(file_buffer& f) : f_(f), limit_(f.file_size()) {}

    // The chunk starts here and claims `length` bytes; the file may end before them.
    void enter_chunk(std::uint64_t length) {
        const std::uint64_t end = f_.consumed() + length;
        overruns_file_ = end > f_.file_size();
        limit_ = std::min(end, f_.file_size());
    }
    // Between chunks only the file bounds the reading.
    void leave_chunk() {
        limit_ = f_.file_size();
        overruns_file_ = false;
    }
    bool overruns_file() const { return overruns_file_; }
    std::uint64_t left() const { return limit_ > f_.consumed() ? limit_ - f_.consumed() : 0; }
    std::uint64_t file_left() const { return f_.remaining(); }

    bool byte(std::uint8_t& b) {
        return f_.consumed() < limit_ && f_.get_byte(b);
    }
    bool bytes(std::uint8_t* out, std::uint64_t n) {
        if (n > left()) return false;
        f_.file_get(out, static_cast<std::size_t>(n));
        return !f_.past_end();
    }
    bool skip(std::uint64_t n) {
        if (n > left()) return false;
        f_.skip(static_cast<std::size_t>(n));
        return !f_.past_end();
    }
    // At most 5 bytes; stops at a byte with a clear top bit.
    bool number(std::uint64_t& v) {
        v = 0;
        for (int i = 0; i < 5; ++i) {
            std::uint8_t b = 0;
            if (!byte(b)) return false;
            v = (v << 7) | (b & 0x7Fu);
            if ((b & 0x80) == 0) break;
        }
        return true;
    }
    bool be32(std::uint32_t& v) {
        std::uint8_t b[4];
        if (!bytes(b, 4)) return false;
        v = std::uint32_t{b[0]} << 24 | std::uint32_t{b[1]} << 16 | std::uint32_t{b[2]} << 8 | b[3];
        return true;
    }
    bool be16(std::uint16_t& v) {
        std::uint8_t b[2];
        if (!bytes(b, 2)) return false;
        v = static_cast<std::uint16_t>(b[0] << 8 | b[1]);
        return true;
    }

  private:
    file_buffer& f_;
    std::uint64_t limit_;
    bool overruns_file_ = false;
};

// Microseconds per quarter note to hundredths of a beat per minute; a fraction above one half rounds up.
std::int32_t tempo_from_microseconds(std::uint32_t us) {
    if (us == 0) return max_tempo;
    const double v = 6'000'000'000.0 / us;
    if (v >= max_tempo) return max_tempo;
    auto whole = static_cast<std::int32_t>(v);
    if (v - whole > 0.5) ++whole;
    return std::clamp(whole, min_tempo, max_tempo);
}

// 10 characters up to a NUL, blanks after; ten blanks give the default name.
void make_track_name(char (&name)[11], const std::uint8_t* text, std::size_t n, bool stop_at_nul) {
    std::memset(name, ' ', 10);
    name[10] = 0;
    for (std::size_t i = 0; i < n && i < name_limit; ++i) {
        if (text[i] == 0) {
            if (stop_at_nul) break;
            continue;
        }
        name[i] = static_cast<char>(text[i]);
    }
    if (std::memcmp(name, blank_name, 10) == 0) std::memcpy(name, default_midi_track_name, 10);
}

enum class track_end { closed, too_long, unknown_message, damaged };

class midi_reader {
  public:
    midi_reader(program& p, midi_load_options o)
        : p_(p),
          s_(p.store()),
          in_(f_),
          erased_(o.erased),
          keep_(o.keep_tempo),
          load_tempo_(o.load_tempo) {}

    int run(const std::string& path);

  private:
    bool find_header();
    // The header's format, track count and division; false with the message when unreadable.
    bool read_header();
    // How one track chunk went: on to the next, the file damaged, a message that ends the load
    // (nothing kept), or a chunk that is no track (what was read stays).
    enum class chunk_read { next, damaged, refused, unrecognized };
    chunk_read read_chunk();
    bool find_destination();
    track_end read_track();
    track_end read_meta(std::int64_t pos, bool& close);
    bool read_text(std::uint8_t type, std::int32_t n, std::int64_t pos);
    bool read_name(std::int32_t n);
    void put_sysex(std::vector<std::uint8_t>& payload, std::int64_t pos);
    void start_track();
    void put(const midi_event& e) { builder_->put(e); }
    void close_track();
    void set_tempo(std::int32_t value, std::int64_t pos);
    void set_signature(int numerator, int denominator, std::int64_t pos);
    bool list_room();
    int apply_list_balance(chain_cursor& c, int taken, int freed);
    void order_note_pairs(ref32 first);
    void set_locators();
    bool counts_list_events() const { return format_ == 0 || counter_ == 0; }

    program& p_;
    event_store s_;
    file_buffer f_;
    chunk_input in_;
    bool erased_;
    bool keep_;
    bool load_tempo_;

    int format_ = 0;
    int tracks_ = 0;
    int division_ = 192;
    int counter_ = 0;
    int pattern_ = 0;
    int track_ = 0;
    int last_pattern_ = 0;
    bool left_out_ = false;
    std::int32_t join_offset_ = 0;
    std::int32_t signature_offset_ = 0;

    // The state of one track.
    std::int64_t sum_ = 0;
    std::uint8_t running_ = 0;
    int message_length_ = 3;
    bool name_pending_ = true;
    char name_[11] = {};
    std::array<bool, 16> channel_used_{};
    bool first_tempo_seen_ = false;
    bool first_signature_seen_ = false;
    bool end_forced_ = false;
    std::optional<chain_builder> builder_;
    ref32 last_tempo_ = null_ref;
    ref32 last_signature_ = null_ref;
};

bool midi_reader::find_header() {
    static constexpr std::uint8_t magic[4] = {'M', 'T', 'h', 'd'};
    int matched = 0;
    std::uint64_t other = 0;  // bytes read that are not the header's letters
    while (matched < 4) {
        std::uint8_t b = 0;
        if (!in_.byte(b) || b == 0xFF) return false;
        if (b == magic[matched]) {
            ++matched;
        } else {
            other += static_cast<std::uint64_t>(matched) + 1;
            matched = 0;
            if (other > header_search_limit) return false;
        }
    }
    return true;
}

bool midi_reader::read_header() {
    in_.leave_chunk();
    if (!find_header()) {
        p_.message(msg_lacks_header);
        return false;
    }
    std::uint32_t header_length = 0;
    std::uint16_t format = 0, tracks = 0, division = 0;
    if (!in_.be32(header_length) || !in_.be16(format) || !in_.be16(tracks) || !in_.be16(division) ||
        (header_length > 6 && !in_.skip(header_length - 6u))) {
        p_.message(msg_midi_damaged);
        return false;
    }
    // Time code and a division of 0 have no ticks to scale from.
    if ((division & 0x8000) != 0 || division == 0 || format > 1) {
        p_.message(msg_not_format_0_1);
        return false;
    }
    format_ = format;
    division_ = division;
    tracks_ = tracks;
    counter_ = 0;
    if (format_ == 0) {
        counter_ = 1;
        tracks_ += 1;
    }
    p_.app.midi_format = static_cast<char>('0' + format_);
    return true;
}

midi_reader::chunk_read midi_reader::read_chunk() {
    if (!find_destination()) {
        f_.close();
        p_.screen.arrow_cursor();
        p_.message(msg_out_of_tracks);
        return chunk_read::refused;
    }
    last_pattern_ = pattern_;
    in_.leave_chunk();
    std::uint8_t id[4];
    std::uint32_t length = 0;
    if (!in_.bytes(id, 4) || !in_.be32(length)) return chunk_read::damaged;
    if (std::memcmp(id, "MTrk", 4) != 0) {
        // Kept as it always was: no closing messages, and the wait cursor stays.
        f_.close();
        p_.message(msg_unrecognized_data);
        ++p_.changes.tracks;  // the tracks read so far stay
        return chunk_read::unrecognized;
    }
    if (length / bytes_per_block_estimate > static_cast<std::uint64_t>(std::max(p_.d.free_blocks, 0))) {
        left_out_ = true;
        in_.skip(std::min<std::uint64_t>(length, in_.file_left()));
        ++counter_;
        return chunk_read::next;
    }
    in_.enter_chunk(length);
    const track_end end = read_track();
    if (end == track_end::unknown_message) {
        builder_.reset();
        f_.close();
        p_.screen.arrow_cursor();
        p_.message(msg_unknown_message);
        return chunk_read::refused;
    }
    close_track();
    ++counter_;  // after the track: the first track of format 1 counts the list events
    return end == track_end::damaged ? chunk_read::damaged : chunk_read::next;
}

int midi_reader::run(const std::string& path) {
    dll_data& d = p_.d;
    // Kept lists are joined at the current step in either mode: they run in song time, which
    // the parallel pattern's exemption from the step's offset has nothing to do with.
    if (keep_) join_offset_ = p_.step_base(d.current_step);
    signature_offset_ = join_offset_;

    if (!f_.open_read(path)) {
        show_open_failure(p_, f_, path);
        return 0;
    }
    if (!read_header()) return 0;
    p_.screen.wait_cursor();
    pattern_ = last_pattern_ = d.current_pattern;
    track_ = 0;
    chunk_read last = chunk_read::next;
    while (last == chunk_read::next && counter_ < tracks_ && counter_ < max_midi_tracks)
        last = read_chunk();
    if (last == chunk_read::refused) return 0;
    if (last == chunk_read::unrecognized) return 1;
    f_.close();
    p_.screen.arrow_cursor();
    if (last == chunk_read::damaged) p_.message(msg_midi_damaged);
    if (left_out_) p_.message(msg_load_incomplete);
    if (last_pattern_ != d.current_pattern) p_.message(msg_tracks_in_patterns);
    if (tracks_ > max_midi_tracks) p_.message(msg_tracks_not_loaded);
    if (erased_) set_locators();
    ++p_.changes.tracks;
    return 1;
}

bool midi_reader::find_destination() {
    while (p_.slot(pattern_, track_).in_use) {
        if (++track_ == tracks_per_pattern) {
            track_ = 0;
            if (++pattern_ > parallel_pattern) return false;
        }
    }
    return true;
}

void midi_reader::start_track() {
    if (builder_) return;
    dll_data& d = p_.d;
    // A chain starts at the first slot of the record area's first block.
    d.record_write = event_store::first_slot(d.record_first_block);
    builder_.emplace(s_);
}

track_end midi_reader::read_track() {
    sum_ = 0;
    running_ = 0;
    name_pending_ = true;
    std::memcpy(name_, default_midi_track_name, 11);
    channel_used_.fill(false);
    first_tempo_seen_ = first_signature_seen_ = false;
    end_forced_ = false;
    builder_.reset();
    last_tempo_ = last_signature_ = null_ref;

    for (;;) {
        if (in_.left() == 0)
            // The chunk ends without its end of track: cut short by the file, or merely unmarked.
            return in_.overruns_file() ? track_end::damaged : track_end::closed;
        std::uint64_t delta = 0;
        std::uint8_t b = 0;
        if (!in_.number(delta)) return track_end::damaged;
        sum_ = std::min(sum_ + static_cast<std::int64_t>(delta), delta_sum_cap);
        const std::int64_t pos = song_start + sum_ * 192 / division_;
        if (!in_.byte(b)) return track_end::damaged;

        if (pos > last_position) {
            if (b != 0xFF) {
                p_.message(msg_file_too_long);
                return track_end::too_long;
            }
            // Only an end of track may stand here; any other meta event loses its type and
            // length, and the two bytes behind them are taken for another.
            std::uint8_t type = 0;
            std::uint64_t length = 0;
            if (!in_.byte(type) || !in_.number(length)) return track_end::damaged;
            if (type == meta_end_of_track) return track_end::closed;
        }
        if (b == 0xFF) {
            bool close = false;
            const track_end r = read_meta(pos, close);
            if (r != track_end::closed) return r;
            if (close || end_forced_) return track_end::closed;
            continue;
        }
        if (b == st::sysex_end) {
            // Escapes and continuation packets are not kept.
            std::uint64_t length = 0;
            if (!in_.number(length) || !in_.skip(length)) return track_end::damaged;
            continue;
        }
        if (b == st::sysex) {
            std::uint64_t length = 0;
            if (!in_.number(length) || length > in_.left()) return track_end::damaged;
            std::vector<std::uint8_t> payload(static_cast<std::size_t>(length));
            if (!in_.bytes(payload.data(), length)) return track_end::damaged;
            // An empty message has nothing to send.
            if (length > 0) put_sysex(payload, pos);
            continue;
        }
        midi_event e{};
        if (b >= 0x80 && b <= 0xEF) {
            running_ = b;
            std::uint8_t d1 = 0, d2 = 0;
            if (!in_.byte(d1)) return track_end::damaged;
            if (b < 0xC0 || b > 0xDF) {
                if (!in_.byte(d2)) return track_end::damaged;
                message_length_ = 3;
            } else {
                message_length_ = 2;
            }
            e = midi_event::make(b, d1, d2, 0);
            channel_used_[b & 0x0F] = true;
        } else {
            if (running_ == 0 || b > 0xF0) return track_end::unknown_message;
            std::uint8_t d2 = 0;
            if (message_length_ >= 3 && !in_.byte(d2)) return track_end::damaged;
            e = midi_event::make(running_, b, d2, 0);
        }
        start_track();
        e.clear_marks();
        e.set_position(record_position(pos));
        put(e);
    }
}

track_end midi_reader::read_meta(std::int64_t pos, bool& close) {
    std::uint8_t type = 0;
    std::uint64_t raw_length = 0;
    if (!in_.byte(type) || !in_.number(raw_length)) return track_end::damaged;
    const auto length = static_cast<std::int16_t>(static_cast<std::uint16_t>(raw_length));
    if (length == -1) end_forced_ = true;
    // A length from 0x8000 up counts as negative and skips nothing.
    const std::int32_t n = std::max<std::int32_t>(length, 0);
    const bool conductor = format_ == 1 && counter_ == 0;
    switch (type) {
        case meta_text:
        case meta_copyright:
        case meta_lyric:
        case meta_marker:
        case meta_cue_point:
            if (conductor)
                return in_.skip(static_cast<std::uint64_t>(n)) ? track_end::closed
                                                               : track_end::damaged;
            return read_text(type, n, pos) ? track_end::closed : track_end::damaged;
        case meta_track_name:
            if (conductor || !name_pending_)
                return in_.skip(static_cast<std::uint64_t>(n)) ? track_end::closed
                                                               : track_end::damaged;
            return read_name(n) ? track_end::closed : track_end::damaged;
        case meta_channel_prefix: {
            // One byte, whatever the length says; the value has no effect.
            std::uint8_t ch = 0;
            return in_.byte(ch) ? track_end::closed : track_end::damaged;
        }
        case meta_end_of_track:
            close = true;
            return track_end::closed;
        case meta_tempo: {
            std::uint8_t b[3];
            if (!in_.bytes(b, 3)) return track_end::damaged;
            if (load_tempo_ && counts_list_events())
                set_tempo(tempo_from_microseconds(std::uint32_t{b[0]} << 16 |
                                                  std::uint32_t{b[1]} << 8 | b[2]),
                          pos);
            return track_end::closed;
        }
        case meta_time_signature: {
            if (!(load_tempo_ && length == 4 && counts_list_events()))
                return in_.skip(static_cast<std::uint64_t>(n)) ? track_end::closed
                                                               : track_end::damaged;
            std::uint8_t b[4];
            if (!in_.bytes(b, 4)) return track_end::damaged;
            const int numerator = std::clamp<int>(b[0], 1, 32);
            const int denominator = b[1] >= 6 ? 32 : std::clamp(1 << b[1], 1, 32);
            set_signature(numerator, denominator, pos);
            return track_end::closed;
        }
        default:
            return in_.skip(static_cast<std::uint64_t>(n)) ? track_end::closed : track_end::damaged;
    }
}

bool midi_reader::read_name(std::int32_t n) {
    std::uint8_t text[name_limit] = {};
    const std::size_t take = std::min<std::size_t>(static_cast<std::size_t>(n), name_limit);
    if (!in_.bytes(text, take) || !in_.skip(static_cast<std::uint64_t>(n) - take)) return false;
    // NUL bytes of a track name become blanks.
    make_track_name(name_, text, take, false);
    name_pending_ = false;
    return true;
}

bool midi_reader::read_text(std::uint8_t type, std::int32_t n, std::int64_t pos) {
    std::uint8_t text[text_limit + 1];
    const std::size_t take = std::min<std::size_t>(static_cast<std::size_t>(n), text_limit);
    if (!in_.bytes(text, take) || !in_.skip(static_cast<std::uint64_t>(n) - take)) return false;
    start_track();
    // A text at the very start of a track names it, ahead of any track name behind it.
    if (name_pending_ && pos == song_start) {
        make_track_name(name_, text, take, true);
        name_pending_ = false;
    }
    // The text ends at its first NUL, as every reader of it sees it.
    std::size_t len = 0;
    while (len < take && text[len] != 0) {
        if (text[len] > 0x7F) text[len] = '?';
        ++len;
    }
    text[len] = 0;
    const auto records = make_long_event(st::text, record_position(pos), text, len + 1,
                                         type == meta_lyric ? 0x2 : 0);
    for (const midi_event& r : records) put(r);
    return true;
}

void midi_reader::put_sysex(std::vector<std::uint8_t>& payload, std::int64_t pos) {
    start_track();
    // Only the closing byte may have its top bit set: a stray one would read as a status.
    for (std::size_t i = 0; i + 1 < payload.size(); ++i) payload[i] &= 0x7F;
    payload.back() = st::sysex_end;
    const auto records =
        make_long_event(st::sysex, record_position(pos), payload.data(), payload.size());
    for (const midi_event& r : records) put(r);
}

void midi_reader::close_track() {
    if (!builder_) return;
    chain_builder& b = *builder_;
    const bool built = b.terminate() && b.ok();
    if (!built) {
        // The pool ran out inside this track: it is left out like a track too large to start.
        left_out_ = true;
        builder_.reset();
        return;
    }
    const ref32 first = b.cut();
    const int blocks = b.count_chain_blocks();
    builder_.reset();
    order_note_pairs(first);

    int used = -1;
    for (int ch = 0; ch < 16; ++ch)
        if (channel_used_[static_cast<std::size_t>(ch)]) used = used == -1 ? ch : 16;
    program::park parked(p_);
    track_slot& slot = p_.slot(pattern_, track_);
    slot.first = slot.play = first;
    slot.blocks = static_cast<std::uint16_t>(blocks);
    slot.velocity = 0;
    slot.quantize = 0;
    slot.mute = 0;
    slot.transpose = 0;
    slot.compress = 0;
    slot.delay = 0;
    slot.loop_length = no_loop;
    slot.channel = static_cast<std::uint8_t>(used < 0 ? 16 : used);
    std::memcpy(slot.name, name_, 11);
    shared_store(slot.in_use, std::uint8_t{1});
}

// Blocks for a tempo or signature list must not come out of the chain being built.
bool midi_reader::list_room() {
    std::int64_t building = 0;
    if (builder_) building = builder_->written() / block_slots + 1;
    if (p_.d.free_blocks - building >= list_insert_margin) return true;
    left_out_ = true;
    return false;
}

int midi_reader::apply_list_balance(chain_cursor& c, int taken, int freed) {
    p_.d.free_blocks += freed - taken;
    c.blocks = static_cast<std::uint16_t>(c.blocks + taken - freed);
    c.play = c.left_event = c.first;
    return taken - freed;
}

void midi_reader::set_tempo(std::int32_t value, std::int64_t pos) {
    dll_data& d = p_.d;
    const std::int32_t at = record_position(join_offset_ + pos);
    midi_event e = midi_event::make(st::tempo, 0, 0, at);
    e.set_tempo_value(value);
    program::park parked(p_);
    if (!first_tempo_seen_ && !keep_) {
        first_tempo_seen_ = true;
        p_.app.song_tempo = value;
        set_tempo_increment(d, value);
        if (!list_room() || !replace_tempo_chain(p_)) return;
        const ref32 first = d.tempo_chain.first;
        s_.at(first).set_tempo_value(value);
        const ref32 second = s_.next_record(first);
        const int taken = s_.insert_record(second);
        s_.at(second) = e;
        apply_list_balance(d.tempo_chain, taken, 0);
        last_tempo_ = second;
        return;
    }
    // A list left out for want of memory takes no further events of this track.
    if ((first_tempo_seen_ && last_tempo_ == null_ref) || !list_room()) return;
    ref32 place;
    int freed = 0;
    if (!first_tempo_seen_) {
        first_tempo_seen_ = true;
        place = s_.find_at_position(d.tempo_chain.first, signature_offset_ + song_start, no_loop);
        freed = s_.delete_records(place, 0x7FFFFFFF);
    } else {
        place = s_.next_record(last_tempo_);
    }
    // The list stays in order even where the old events reach past the join.
    const ref32 before = s_.prev_event(place);
    if (is_event_status(s_.status(before)) && s_.position(before) > at)
        e.set_position(s_.position(before));
    const int taken = s_.insert_record(place);
    s_.at(place) = e;
    apply_list_balance(d.tempo_chain, taken, freed);
    last_tempo_ = place;
    d.tempo_track_on = 1;
}

void midi_reader::set_signature(int numerator, int denominator, std::int64_t pos) {
    dll_data& d = p_.d;
    program::park parked(p_);
    if (!first_signature_seen_ && !keep_) {
        first_signature_seen_ = true;
        if (!list_room() || !replace_signature_chain(p_, d.signature_track)) return;
        for (ref32 first : {d.signature_track.first, d.signature_chain.first}) {
            s_.at(first).set_data1(static_cast<std::uint8_t>(numerator));
            s_.at(first).set_data2(static_cast<std::uint8_t>(denominator));
        }
        last_signature_ = d.signature_track.first;
        return;
    }
    if ((first_signature_seen_ && last_signature_ == null_ref) || !list_room()) return;
    ref32 place;
    int freed = 0;
    if (!first_signature_seen_) {
        first_signature_seen_ = true;
        const std::int32_t target = signature_offset_ + song_start;
        const ref32 found = signature_at(s_, d.signature_track.first, target);
        place = found;
        if (is_event_status(s_.status(found)) && s_.position(found) != target) {
            // Whole bars of the signature found, from its position to the first bar line at or
            // behind the target.
            const std::int32_t line = bar_line_at_or_after(s_, found, target);
            if (line != target) {
                p_.message(msg_time_shift);
                signature_offset_ = line - song_start;
            }
            place = s_.next_record(found);
        }
        freed = s_.delete_records(place, 0x7FFFFFFF);
    } else {
        place = s_.next_record(last_signature_);
    }
    midi_event e = midi_event::make(st::signature, static_cast<std::uint8_t>(numerator),
                                    static_cast<std::uint8_t>(denominator),
                                    record_position(signature_offset_ + pos));
    const ref32 before = s_.prev_event(place);
    if (is_event_status(s_.status(before)) && s_.position(before) > e.position())
        e.set_position(s_.position(before));
    const int taken = s_.insert_record(place);
    s_.at(place) = e;
    apply_list_balance(d.signature_track, taken, freed);
    last_signature_ = place;
    d.active_signature = d.signature_track;
    d.signature_track_on = 1;
}

void midi_reader::order_note_pairs(ref32 first) {
    std::int8_t count[16][128] = {};
    ref32 a = first;
    if (!is_event_status(s_.status(a))) return;
    for (;;) {
        const ref32 b = s_.next_event(a);
        if (!is_event_status(s_.status(b))) return;
        midi_event& ea = s_.at(a);
        midi_event& eb = s_.at(b);
        const int ch = ea.status() & 0x0F;
        const int note = ea.data1();
        const bool a_on = ea.is_note_on();
        if (ea.status() < 0xA0) {
            if (a_on)
                count[ch][note] = static_cast<std::int8_t>(count[ch][note] + 1);
            else if (ea.is_note_off())
                count[ch][note] = static_cast<std::int8_t>(count[ch][note] - 1);
        }
        if (a_on && eb.status() < 0xA0 && eb.is_note_off() && eb.position() == ea.position() &&
            (eb.status() & 0x0F) == ch) {
            // The off of a note of no length stays behind its on; any other off goes first.
            if (!(eb.data1() == note && count[ch][note] < 2)) std::swap(ea, eb);
        }
        a = b;
    }
}

void midi_reader::set_locators() {
    dll_data& d = p_.d;
    std::int32_t last = -1;
    for (int t = 0; t < tracks_per_pattern; ++t) {
        const track_slot& slot = p_.slot(d.current_pattern, t);
        if (!slot.in_use) continue;
        const ref32 e = s_.last_event(slot.first);
        if (is_event_status(s_.status(e))) last = std::max(last, s_.position(e));
    }
    if (last < 0) return;
    const ref32 sig = signature_at(s_, d.active_signature.first, last);
    const std::int32_t line = bar_line_at_or_after(s_, sig, last);
    d.right_locator = std::min(line, last_locator_position);
    d.left_locator = song_start;
}

std::string sng_title(const std::string& path) {
    std::string name = file_name_of(path);
    if (name.size() >= 3) name.resize(name.size() - 3);
    return name + "sng";
}

// The three questions of the File menu, and the song cleared on the first.
midi_load_options ask_load_options(program& p, file_state& fs, const std::string& path) {
    midi_load_options o{.erased = false, .keep_tempo = false, .load_tempo = true};
    if (p.screen.message(ask_erase_old_song, msg_icon::question, msg_buttons::yes_no,
                         msg_answer::yes) == msg_answer::yes) {
        o.erased = true;
        clear_song(p);
        p.d.left_locator = song_start;
        fs.current_file_title = sng_title(path);
        call(fs.title_changed);
        return o;
    }
    if (p.screen.message(ask_load_tempo, msg_icon::question, msg_buttons::yes_no,
                         msg_answer::yes) != msg_answer::yes)
        o.load_tempo = false;
    else if (p.screen.message(ask_keep_tempo, msg_icon::question, msg_buttons::yes_no,
                              msg_answer::yes) == msg_answer::yes)
        o.keep_tempo = true;
    return o;
}

}  // namespace

std::string midi_format_text(const program& p) {
    return std::string("Format ") + p.app.midi_format;
}

int read_midi_file(program& p, const std::string& path, midi_load_options options) {
    // The record area is the engine's while a take runs.
    if (p.refuse_while_recording()) return 0;
    auto reader = std::make_unique<midi_reader>(p, options);
    return reader->run(path);
}

int load_midi_file(program& p, file_state& fs, midi_load_mode mode, midi_load_options options) {
    if (mode == midi_load_mode::quiet) return read_midi_file(p, fs.current_file_name, options);
    if (p.refuse_while_recording()) return 0;
    auto path = p.screen.open_file_dialog(
        make_file_dialog(p, fs, dialog_midi_read, "mid", "", folder_load_midi));
    if (!path || path->empty()) return 0;
    p.wait_request(p.d.thru_notes_off_request);
    if (p.running()) call(fs.stop_transport);
    remember_folder(fs, folder_load_midi, *path);
    fs.current_file_name = *path;
    add_recent_file(fs, *path);
    return read_midi_file(p, *path, ask_load_options(p, fs, *path));
}

bool load_midi_into_cleared_song(program& p, const std::string& path) {
    return read_midi_file(p, path, cleared_song_load) == 1;
}

int load_recent_midi_file(program& p, file_state& fs, const std::string& path) {
    if (p.refuse_while_recording()) return 0;
    p.wait_request(p.d.thru_notes_off_request);
    if (p.running()) call(fs.stop_transport);
    const midi_load_options options = ask_load_options(p, fs, path);
    fs.current_file_name = path;
    const int r = read_midi_file(p, path, options);
    if (r) add_recent_file(fs, path);
    return r;
}

}  // namespace kestrune
