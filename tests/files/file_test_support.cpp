#include "tests/files/file_test_support.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "song/long_event.h"
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

void put_track(program& p, int pattern, int track, const std::vector<midi_event>& records) {
    const event_store& s = p.store();
    if (p.slot(pattern, track).in_use) delete_track_chain(p, pattern, track);
    track_slot& slot = p.slot(pattern, track);
    slot.first = slot.play = s.new_empty_chain();
    ASSERT_NE(slot.first, null_ref);
    slot.blocks = 1;
    slot.in_use = 1;
    if (records.empty()) return;
    int took = insert_event_records(s, slot.first, records);
    ASSERT_GE(took, 0);
    slot.blocks = static_cast<std::uint16_t>(slot.blocks + took);
    p.d.free_blocks -= took;
}

void put_list(program& p, chain_cursor& c, const std::vector<midi_event>& records) {
    const event_store& s = p.store();
    const bool active = p.d.active_signature.first == c.first;
    s.free_chain(c.first);
    c.first = c.play = c.left_event = s.new_empty_chain();
    c.blocks = 1;
    if (!records.empty()) {
        int took = insert_event_records(s, c.first, records);
        ASSERT_GE(took, 0);
        c.blocks = static_cast<std::uint16_t>(c.blocks + took);
        p.d.free_blocks -= took;
    }
    if (active) p.d.active_signature = c;
}

std::vector<midi_event> chain_records(const program& p, ref32 first) {
    const event_store& s = p.store();
    std::vector<midi_event> out;
    for (ref32 r = first; s.status(r) != st::end && s.status(r) != st::forward_link;
         r = s.next_record(r))
        out.push_back(s.at(r));
    return out;
}

std::vector<midi_event> sysex_records(std::int32_t pos, std::size_t payload_bytes, int seed) {
    std::vector<std::uint8_t> payload(payload_bytes);
    for (std::size_t i = 0; i + 1 < payload_bytes; ++i)
        payload[i] = static_cast<std::uint8_t>((i * 13 + static_cast<std::size_t>(seed)) & 0x7F);
    if (payload_bytes) payload.back() = st::sysex_end;
    return make_long_event(st::sysex, pos, payload.data(), payload.size());
}

std::vector<midi_event> text_records(std::int32_t pos, const std::string& text, bool lyric) {
    std::vector<std::uint8_t> payload(text.begin(), text.end());
    payload.push_back(0);
    return make_long_event(st::text, pos, payload.data(), payload.size(), lyric ? 2 : 0);
}

std::vector<midi_event> short_records(std::int32_t start, int n, int seed) {
    std::vector<midi_event> out;
    for (int i = 0; i < n; ++i) {
        const int k = (i + seed) % 7;
        const auto note = static_cast<std::uint8_t>(36 + (i * 5 + seed) % 60);
        const std::int32_t pos = start + i * 24;
        if (k < 4)
            out.push_back(midi_event::make(static_cast<std::uint8_t>(0x90 | (seed % 16)), note,
                                           static_cast<std::uint8_t>(40 + k * 20), pos));
        else if (k == 4)
            out.push_back(
                midi_event::make(static_cast<std::uint8_t>(0x80 | (seed % 16)), note, 64, pos));
        else if (k == 5)
            out.push_back(midi_event::make(0xB0, 7, static_cast<std::uint8_t>(i % 128), pos));
        else
            out.push_back(midi_event::make(0xC3, static_cast<std::uint8_t>(i % 128), 0, pos));
    }
    return out;
}

namespace {

std::vector<midi_event> joined(std::initializer_list<std::vector<midi_event>> parts) {
    std::vector<midi_event> out;
    for (const auto& v : parts) out.insert(out.end(), v.begin(), v.end());
    return out;
}

}  // namespace

void make_rich_song(program& p) {
    dll_data& d = p.d;
    // Every pattern, the parallel pattern, and tracks in each of the three track sections.
    for (int pat = 0; pat <= parallel_pattern; ++pat) {
        put_name(p.pattern(pat).name, std::string("Pat ") + std::to_string(pat));
        for (int t : {pat % 16, 16 + pat % 8, 24 + pat % 8, 31}) {
            const int seed = pat * 32 + t;
            std::vector<midi_event> recs = short_records(song_start, 20 + seed % 50, seed);
            if (t == 31) {
                // Long events that cross block borders, a text and a lyric.
                recs = joined({short_records(song_start, 31, seed),
                               sysex_records(song_start + 800, 150 + pat, seed),
                               text_records(song_start + 900, "Verse one\r\nla la", false),
                               text_records(song_start + 950, "Lyric", true),
                               sysex_records(song_start + 1000, 2, seed)});
            }
            put_track(p, pat, t, recs);
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
    // The song list.
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
    std::vector<midi_event> tempo;
    for (std::int32_t v : {12000, 9050, 30000, 40000, 25000}) {
        midi_event e =
            midi_event::make(st::tempo, 0, 0, static_cast<std::int32_t>(tempo.size()) * 768);
        e.set_tempo_value(v);
        tempo.push_back(e);
    }
    put_list(p, d.tempo_chain, tempo);
    put_list(p, d.signature_track,
             {midi_event::make(st::signature, 3, 4, song_start),
              midi_event::make(st::signature, 7, 8, song_start + 3 * 192 * 4),
              midi_event::make(st::signature, 5, 4, song_start + 3 * 192 * 4 + 7 * 96 * 2)});
    d.signature_track_on = 1;
    d.active_signature = d.signature_track;
    midi_event& sig = p.store().at(d.signature_chain.first);
    sig.set_data1(6);
    sig.set_data2(8);

    p.app.song_tempo = 13350;
    p.app.edit_grid = 32;
    p.app.quantize_strength = 75;
    p.app.quantize_swing = -3;
    d.song_mode = 1;
    d.cycle_on = 1;
    d.tempo_track_on = 1;
    d.thru_off_channel = 5;
    d.click_channel = 10;
    d.click_velocity = 90;
    d.click_note = 42;
    d.click_port = 2;
    d.filter_notes = 1;
    d.filter_controller_from = 12;
    d.filter_controller_to = 14;
    d.filter_pitch_wheel = 1;
    d.filter_poly_press = 0;
    d.filter_channel_press = 1;
    d.filter_program = 1;
    d.filter_sysex = 1;
    d.remap_on = 1;
    d.remap_from = 1;
    d.remap_to = 11;
    d.left_locator = 4000;
    d.right_locator = 9000;
    for (int port = 0; port < 4; ++port)
        for (int c = 0; c < 16; ++c) d.transpose_exempt[port][c] = (c + port) % 3 == 0;

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

}  // namespace kestrune::testing
