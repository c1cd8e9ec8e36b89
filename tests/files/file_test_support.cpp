#include "tests/files/file_test_support.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <tuple>

#include "song/event_store.h"
#include "song/patterns.h"

namespace kestrune::testing {

temp_folder::temp_folder() {
    std::string tmpl = std::filesystem::temp_directory_path().string() + "/kestrune-files-XXXXXX";
    std::vector<char> buf(tmpl.begin(), tmpl.end());
    buf.push_back(0);
    if (::mkdtemp(buf.data()) == nullptr) ADD_FAILURE() << "no temporary folder";
    dir_ = buf.data();
}

temp_folder::~temp_folder() {
    std::error_code ec;
    std::filesystem::remove_all(dir_, ec);
}

std::vector<std::uint8_t> read_bytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void write_bytes(const std::string& path, const std::vector<std::uint8_t>& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(bytes.data()),
              static_cast<std::streamsize>(bytes.size()));
}

void expect_same_track(const program& a, int pa, int ta, const program& b, int pb, int tb) {
    const track_slot& x = a.slot(pa, ta);
    const track_slot& y = b.slot(pb, tb);
    ASSERT_EQ(x.in_use, y.in_use) << pa << " " << ta;
    if (!x.in_use) return;
    EXPECT_EQ(std::memcmp(x.name, y.name, 11), 0);
    EXPECT_EQ(std::tie(x.channel, x.port, x.transpose, x.velocity, x.compress, x.delay, x.mute,
                       x.quantize, x.loop_length, x.blocks),
              std::tie(y.channel, y.port, y.transpose, y.velocity, y.compress, y.delay, y.mute,
                       y.quantize, y.loop_length, y.blocks));
    EXPECT_TRUE(holds(read_track(a, pa, ta), read_track(b, pb, tb))) << pa << " " << ta;
}

void make_rich_song(program& p) {
    dll_data& d = p.d;
    // Every pattern, the parallel pattern, and tracks in each of the three track sections.
    for (int pat = 0; pat <= parallel_pattern; ++pat) {
        put_name(p.pattern(pat).name, std::string("Pat ") + std::to_string(pat));
        for (int t : {pat % 16, 16 + pat % 8, 24 + pat % 8, 31}) {
            const int seed = pat * 32 + t;
            records recs = notes(t == 31 ? 31 : 20 + seed % 50, song_start, 24);
            // Long events that cross block borders, a text and a lyric.
            if (t == 31)
                recs = flat({recs,
                             long_event(st::sysex, song_start + 800,
                                        sysex_payload(150 + static_cast<std::size_t>(pat))),
                             text_event(song_start + 900, "Verse one\r\nla la", false),
                             text_event(song_start + 950, "Lyric", true),
                             long_event(st::sysex, song_start + 1000, sysex_payload(2))});
            if (p.slot(pat, t).in_use) delete_track_chain(p, pat, t);
            give_track(p, pat, t, recs);
            track_slot& s = p.slot(pat, t);
            s.velocity = static_cast<std::int8_t>(seed % 20 - 10);
            s.channel = static_cast<std::uint8_t>(seed % 17);
            s.quantize = static_cast<std::uint8_t>(seed % 5);
            s.mute = static_cast<std::uint8_t>(seed % 2);
            s.transpose = static_cast<std::int8_t>(seed % 25 - 12);
            s.compress = static_cast<std::int8_t>(seed % 7 - 1);
            s.loop_length = seed % 3 == 0 ? no_loop : 768 * 4 + 3071;
            s.delay = static_cast<std::int8_t>(seed % 9 - 4);
            s.port = static_cast<std::uint8_t>(seed % 4);
            put_name(s.name, "Trk" + std::to_string(seed));
        }
    }
    for (int i = 0; i < song_steps; ++i) {
        song_step& s = p.step(i);
        s.pattern = static_cast<std::int8_t>((i * 3) % 16);
        s.transpose = static_cast<std::int8_t>(i % 5 - 2);
        s.pickup = static_cast<std::int16_t>(i % 2 ? 96 : 0);
        s.track_mask = 0x01010101u << (i % 8);
        s.end = 9216 + i * 3072;
        put_name(s.name, i == 5 ? "STOP here" : "Step " + std::to_string(i));
        s.stop_here = i == 5;
    }
    p.step(song_steps - 1).end = past_last_step;
    rebuild_step_pointers(p);
    d.current_step = 3;
    d.current_pattern = p.step(3).pattern;

    // Tempo list with values past both older limits, and a signature list.
    records tempo_list;
    for (std::int32_t v : {12000, 9050, 30000, 40000, 25000})
        tempo_list.push_back(tempo(v, static_cast<std::int32_t>(tempo_list.size()) * 768));
    replace_list(p, d.tempo_chain, tempo_list);
    replace_list(p, d.signature_track,
                 {midi_event::make(st::signature, 3, 4, song_start),
                  midi_event::make(st::signature, 7, 8, song_start + 3 * 192 * 4),
                  midi_event::make(st::signature, 5, 4, song_start + 3 * 192 * 4 + 7 * 96 * 2)});
    d.signature_track_on = 1;
    d.active_signature = d.signature_track;
    set_default_signature(p, 6, 8);

    p.app.song_tempo = 13350;
    // Grid, swing, the thru-off channel and the first filtered controller at the low ends of their
    // ranges; the extreme song has the high ones.
    p.app.edit_grid = 16;
    p.app.quantize_strength = 75;
    p.app.quantize_swing = -9;
    d.song_mode = d.cycle_on = d.tempo_track_on = 1;
    d.thru_off_channel = -1;  // none
    d.click_channel = 10;
    d.click_velocity = 90;
    d.click_note = 42;
    d.click_port = 2;
    // Neighbouring switches alternate, so that a swap shows.
    d.filter_notes = d.filter_poly_press = d.filter_program = d.remap_on = 1;
    d.remap_from = 3;
    d.filter_controller_from = -1;
    d.filter_controller_to = 14;
    d.remap_to = 11;
    d.left_locator = 4000;
    d.right_locator = 9000;
    for (int port = 0; port < 4; ++port)
        for (int c = 0; c < 16; ++c) d.transpose_exempt[port][c] = (c + port) % 5 == 0;

    song_settings& ss = p.song;
    ss.snap_to_grid = 1;
    ss.increase_button = 2;
    ss.decrease_button = 1;
    for (int i = 0; i < position_memories; ++i)
        ss.position_memory[static_cast<std::size_t>(i)] =
            static_cast<std::uint32_t>(3072 + i * 100);
    std::snprintf(ss.note_pad_text.data(), ss.note_pad_text.size(), "Remember the bridge\r\n");
    for (int k = 0; k < mixer_snapshot_count; ++k)
        for (int i = 0; i < mixer_snapshot_values; ++i)
            ss.mixer_snapshots[static_cast<std::size_t>(k)][static_cast<std::size_t>(i)] =
                static_cast<std::int16_t>(k * 7 + i);
    ss.grid_split = 120;
    ss.grid_pane_height = 400;  // 30 percent, which comes back as 120 again
    ss.grid_mode_flag = 1;
    ss.grid_lane = 7;
    ss.grid_zoom_y = 12;
    ss.grid_zoom_x = 6;
}

void make_extreme_song(program& p) {
    make_rich_song(p);
    dll_data& d = p.d;
    // The ends of the ranges the reader holds values to.
    d.thru_off_channel = d.click_channel = 15;
    d.click_velocity = d.click_note = d.remap_from = d.remap_to = 127;
    d.filter_controller_from = d.filter_controller_to = 127;
    d.click_port = 3;
    d.filter_poly_press = 1;
    d.left_locator = 0;
    d.right_locator = last_locator_position;
    std::memset(d.transpose_exempt, 1, sizeof d.transpose_exempt);
    p.app.edit_grid = 192;
    p.app.song_tempo = 99999;
    p.app.quantize_strength = 0;
    p.app.quantize_swing = 10;
    for (int i = 0; i < song_steps; ++i) {
        song_step& s = p.step(i);
        s.pattern = 15;
        s.transpose = static_cast<std::int8_t>(i % 2 ? 60 : -60);
        s.track_mask = 0xFFFFFFFFu;
        s.pickup = static_cast<std::int16_t>(i > 0 ? 3071 : 0);
    }
    rebuild_step_pointers(p);
    d.current_step = song_steps - 1;
    d.current_pattern = 15;
    // One track at each end of every parameter.
    auto ends = [&](int pattern, int track, int sign) {
        track_slot& s = p.slot(pattern, track);
        s.velocity = s.delay = static_cast<std::int8_t>(sign > 0 ? 127 : -99);
        s.transpose = static_cast<std::int8_t>(60 * sign);
        s.compress = static_cast<std::int8_t>(sign > 0 ? 5 : -1);
        s.channel = sign > 0 ? 16 : 0;
        s.port = sign > 0 ? 3 : 0;
        s.loop_length = loop_length_from_beats(249, 4);
        put_name(s.name, "ABCDEFGHIJ");
    };
    ends(0, 31, 1);
    ends(parallel_pattern, 31, -1);
    p.song.position_memory.fill(static_cast<std::uint32_t>(last_position));
    p.song.note_pad_text.fill('N');
    p.song.grid_pane_height = 300;  // the split is recomputed in 16 bits
    p.song.grid_split = 300;        // 100 percent
}

namespace {

// The plain values the song file keeps, in the file's order.
std::vector<std::int64_t> song_values(const program& p) {
    const dll_data& d = p.d;
    const song_settings& s = p.song;
    return nums(d.current_step, d.current_pattern, p.app.edit_grid, p.app.song_tempo, d.song_mode,
                d.thru_off_channel, d.click_channel, d.click_velocity, d.click_note, d.filter_notes,
                d.filter_controller_from, d.filter_pitch_wheel, d.filter_poly_press,
                d.filter_channel_press, d.filter_program, d.remap_on, d.remap_from, d.remap_to,
                d.filter_controller_to, d.left_locator, d.right_locator, d.cycle_on, d.filter_sysex,
                d.tempo_track_on, d.click_port, s.snap_to_grid, s.increase_button,
                s.decrease_button, d.signature_track_on, p.app.quantize_strength,
                p.app.quantize_swing, s.grid_split, s.grid_mode_flag, s.grid_lane, s.grid_zoom_y,
                s.grid_zoom_x);
}

std::vector<std::uint8_t> vlq(std::uint64_t v) {
    std::vector<std::uint8_t> out{static_cast<std::uint8_t>(v & 0x7F)};
    while ((v >>= 7) != 0) out.insert(out.begin(), static_cast<std::uint8_t>(0x80 | (v & 0x7F)));
    return out;
}

void append(std::vector<std::uint8_t>& b, const std::vector<std::uint8_t>& more) {
    b.insert(b.end(), more.begin(), more.end());
}

void be(std::vector<std::uint8_t>& b, std::uint32_t v, int n) {
    for (int i = n - 1; i >= 0; --i) b.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

}  // namespace

void expect_same_song(const program& a, const program& b) {
    EXPECT_EQ(song_values(a), song_values(b));
    EXPECT_EQ(std::memcmp(a.d.transpose_exempt, b.d.transpose_exempt, sizeof a.d.transpose_exempt),
              0);
    EXPECT_EQ(a.song.position_memory, b.song.position_memory);
    EXPECT_EQ(a.song.note_pad_text, b.song.note_pad_text);
    EXPECT_TRUE(a.song.mixer_snapshots == b.song.mixer_snapshots);
    // The lists, and the default signature's one record.
    for (auto list : {&dll_data::tempo_chain, &dll_data::signature_track})
        EXPECT_TRUE(holds(read_chain(b.store(), (b.d.*list).first),
                          read_chain(a.store(), (a.d.*list).first)));
    EXPECT_TRUE(holds({b.store().at(b.d.signature_chain.first)},
                      {a.store().at(a.d.signature_chain.first)}));
    for (int i = 0; i < song_steps; ++i) {
        const song_step &u = a.step(i), &v = b.step(i);
        EXPECT_EQ(nums(u.end, u.pattern, u.stop_here, u.transpose, u.pickup, u.track_mask),
                  nums(v.end, v.pattern, v.stop_here, v.transpose, v.pickup, v.track_mask))
            << "step " << i;
        EXPECT_EQ(name_of(u.name), name_of(v.name)) << "step " << i;
        EXPECT_EQ(v.pattern_ptr, b.pattern_ref(v.pattern)) << "step " << i;
    }
    for (int pat = 0; pat <= parallel_pattern; ++pat) {
        EXPECT_EQ(name_of(a.pattern(pat).name), name_of(b.pattern(pat).name)) << pat;
        for (int tr = 0; tr < tracks_per_pattern; ++tr) expect_same_track(a, pat, tr, b, pat, tr);
    }
}

track_bytes& track_bytes::at(std::uint64_t delta, std::initializer_list<int> bytes) {
    append(b, vlq(delta));
    for (int x : bytes) b.push_back(static_cast<std::uint8_t>(x));
    return *this;
}

track_bytes& track_bytes::meta(std::uint64_t delta, int type, const std::string& data) {
    append(b, vlq(delta));
    b.push_back(0xFF);
    b.push_back(static_cast<std::uint8_t>(type));
    append(b, vlq(data.size()));
    b.insert(b.end(), data.begin(), data.end());
    return *this;
}

track_bytes& track_bytes::tempo(std::uint64_t delta, std::uint32_t us) {
    const int v = static_cast<int>(us);
    return at(delta, {0xFF, 0x51, 0x03, v >> 16 & 0xFF, v >> 8 & 0xFF, v & 0xFF});
}

track_bytes& track_bytes::signature(std::uint64_t delta, int numerator, int power) {
    return at(delta, {0xFF, 0x58, 0x04, numerator, power, 0x18, 0x08});
}

track_bytes& track_bytes::sysex(std::uint64_t delta, const std::vector<std::uint8_t>& payload) {
    append(b, vlq(delta));
    b.push_back(0xF0);
    append(b, vlq(payload.size()));
    append(b, payload);
    return *this;
}

track_bytes& track_bytes::end(std::uint64_t delta) {
    return at(delta, {0xFF, 0x2F, 0x00});
}

midi_bytes::midi_bytes(int format, int tracks, int division) {
    b = {'M', 'T', 'h', 'd', 0, 0, 0, 6};
    be(b, static_cast<std::uint32_t>(format), 2);
    be(b, static_cast<std::uint32_t>(tracks), 2);
    be(b, static_cast<std::uint32_t>(division), 2);
}

midi_bytes& midi_bytes::track(const track_bytes& t, std::optional<std::uint32_t> length) {
    b.insert(b.end(), {'M', 'T', 'r', 'k'});
    be(b, length.value_or(static_cast<std::uint32_t>(t.b.size())), 4);
    append(b, t.b);
    return *this;
}

}  // namespace kestrune::testing
