// The Standard MIDI file writer: the bytes it writes, its refusals, reading them back, and an
// independent check with midicsv.
#include "files/smf_writer.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "files/file_messages.h"
#include "files/smf_reader.h"
#include "song/long_event.h"
#include "song/patterns.h"
#include "tests/files/file_test_support.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;
using bytes = std::vector<std::uint8_t>;

bytes slice(const bytes& b, std::size_t from, std::size_t n) {
    return bytes(b.begin() + static_cast<std::ptrdiff_t>(from),
                 b.begin() + static_cast<std::ptrdiff_t>(from + n));
}

std::uint32_t be32(const bytes& b, std::size_t at) {
    return std::uint32_t{b.at(at)} << 24 | std::uint32_t{b.at(at + 1)} << 16 |
           std::uint32_t{b.at(at + 2)} << 8 | b.at(at + 3);
}

// The chunks of a file: their bodies, checked against their lengths.
std::vector<bytes> chunks(const bytes& b) {
    std::vector<bytes> out;
    std::size_t at = 14;
    while (at + 8 <= b.size()) {
        EXPECT_EQ(slice(b, at, 4), (bytes{'M', 'T', 'r', 'k'}));
        const std::uint32_t n = be32(b, at + 4);
        EXPECT_LE(at + 8 + n, b.size());
        out.push_back(slice(b, at + 8, std::min<std::size_t>(n, b.size() - at - 8)));
        at += 8 + n;
    }
    EXPECT_EQ(at, b.size());
    return out;
}

class SmfWriter : public ::testing::Test {
  protected:
    bytes save() {
        const std::string path = dir.path("out.mid");
        EXPECT_TRUE(write_midi_file(*t, path));
        EXPECT_EQ(check_pool(*t), "");
        return read_bytes(path);
    }
    temp_folder dir;
    test_program t;
};

TEST_F(SmfWriter, OneTrackIsFormatZeroWithTempoAndSignatureMixedIn) {
    give_track(*t, 0, 3,
               {midi_event::make(0x90, 60, 100, 3000), midi_event::make(0xC1, 5, 77, 3072),
                midi_event::make(0x80, 0xBC, 0xC0, 3264)});
    t->slot(0, 3).channel = 1;
    put_name(t->slot(0, 3).name, "Lead");
    t->app.song_tempo = 300;  // 3.00 goes out as 4.00
    const bytes b = save();
    EXPECT_EQ(slice(b, 0, 14), (bytes{'M', 'T', 'h', 'd', 0, 0, 0, 6, 0, 0, 0, 1, 0, 0xC0}));
    const auto c = chunks(b);
    ASSERT_EQ(c.size(), 1u);
    // The note before 3072 goes out at time 0, ahead of the signature at 3072, which goes
    // ahead of the track's event there.
    EXPECT_EQ(c[0],
              (bytes{0x00, 0xFF, 0x51, 0x03, 0xE4, 0xE1, 0xC0,  // 15,000,000 us
                     0x00, 0xFF, 0x20, 0x01, 0x01,              // channel prefix
                     0x00, 0xFF, 0x03, 0x0A, 'L',  'e',  'a',  'd',  ' ', ' ', ' ',  ' ',  ' ', ' ',
                     0x00, 0x90, 60,   100,  0x00, 0xFF, 0x58, 0x04, 4,   2,   0x18, 0x08,  // 4/4
                     0x00, 0xC1, 5,                 // no second data byte
                     0x81, 0x40, 0x80, 0x3C, 0x40,  // 7 low bits, delta 192
                     0x00, 0xFF, 0x2F, 0x00}));
    EXPECT_EQ(midi_format_text(*t), "Format 0");
}

TEST_F(SmfWriter, RefusalsAndTheTrackParameterWarning) {
    file_state fs;
    fs.current_file_title = "Tune.sng";
    give_track(*t, 0, 2, {});
    EXPECT_EQ(save_midi_file(*t, fs), 0);
    EXPECT_EQ(t.screen.last_text(), msg_no_data_in_pattern);
    EXPECT_TRUE(t.screen.dialogs.empty());

    give_track(*t, 0, 4, {midi_event::make(0x90, 60, 100, 3072)});
    // Channel, quantize, mute and port are no track parameters to warn about.
    t->slot(0, 4).channel = 3;
    t->slot(0, 4).mute = 1;
    t->slot(0, 4).port = 2;
    t->slot(0, 4).quantize = 4;
    const std::string path = dir.path("Tune.mid");
    t.screen.file_names.push_back(path);
    t.screen.messages.clear();
    EXPECT_EQ(save_midi_file(*t, fs), 1);
    EXPECT_TRUE(t.screen.messages.empty());
    ASSERT_EQ(t.screen.dialogs.size(), 1u);
    EXPECT_EQ(t.screen.dialogs[0].file_name + " " + t.screen.dialogs[0].filter,
              "Tune.mid MIDI Files (*.mid)|*.mid|All Files (*.*)|*.*");
    EXPECT_EQ(fs.recent_files.front(), path);
    const bytes first = read_bytes(path);

    // Velocity, delay, transpose, compress or a loop are: No (the default answer) stops.
    for (int k = 0; k < 5; ++k) {
        track_slot& s = t->slot(0, 4);
        s.velocity = k == 0 ? 5 : 0;
        s.delay = k == 1 ? -2 : 0;
        s.transpose = k == 2 ? 1 : 0;
        s.compress = k == 3 ? -1 : 0;
        s.loop_length = k == 4 ? 3071 + 768 : no_loop;
        t.screen.messages.clear();
        t.screen.answers.clear();
        EXPECT_EQ(save_midi_file(*t, fs), 0);
        ASSERT_EQ(t.screen.messages.size(), 1u);
        EXPECT_EQ(t.screen.messages[0].text, ask_track_parameters_lost);
        EXPECT_EQ(nums(t.screen.messages[0].buttons, t.screen.dialogs.size()),
                  nums(msg_buttons::yes_no, 1));
    }
    t.screen.answers = {msg_answer::yes};
    t.screen.file_names.push_back(path);
    EXPECT_EQ(save_midi_file(*t, fs), 1);
    // The events go out as they stand: the parameters are not in the file.
    EXPECT_EQ(read_bytes(path), first);
}

TEST_F(SmfWriter, WhatIsWrittenReadsBackAsItWas) {
    // Each pattern track becomes a file track, and a format 1 file comes back track for track.
    const records one =
        flat({{ev(0x90, 60, 100, 3072), ev(0xC3, 5, 0, 3100), ev(0x80, 60, 64, 3200)},
              long_event(st::sysex, 3300, sysex_payload(77)),
              text_event(3300, "words", false)});
    const records two = {ev(0xB0, 7, 90, 3080), ev(0xE0, 0, 64, 3090)};
    give_track(*t, 0, 3, one);
    give_track(*t, 0, 7, two);
    t->slot(0, 7).channel = 1;
    put_name(t->slot(0, 3).name, "Track 3");
    t->app.song_tempo = 13333;
    const std::string path = dir.path("round.mid");
    ASSERT_TRUE(write_midi_file(*t, path));
    clear_song(*t);
    ASSERT_EQ(read_midi_file(*t, path, cleared_song_load), 1);
    EXPECT_EQ(check_pool(*t), "");
    EXPECT_EQ(t->app.song_tempo, 13333);
    EXPECT_EQ(difference(read_track(*t, 0, 0), one) + difference(read_track(*t, 0, 1), two), "");
    EXPECT_EQ(name_of(t->slot(0, 0).name), "Track 3   ");
}

#define SKIP_WITHOUT_MIDICSV() \
    if (!have_midicsv()) GTEST_SKIP() << "midicsv is not installed (Debian package midicsv)"

int field(const csv_row& r, std::size_t i) {
    return std::stoi(r.fields.at(i));
}

// The records a channel, sysex or text row of midicsv stands for, at a position; none for others.
records row_records(const csv_row& r, std::int32_t pos) {
    static const std::map<std::string, int> channel_kinds = {
        {"Note_off_c", 0x80},  {"Note_on_c", 0x90}, {"Poly_aftertouch_c", 0xA0},
        {"Control_c", 0xB0},   {"Program_c", 0xC0}, {"Channel_aftertouch_c", 0xD0},
        {"Pitch_bend_c", 0xE0}};
    if (auto k = channel_kinds.find(r.type); k != channel_kinds.end()) {
        const int status = k->second | field(r, 0), kind = k->second;
        if (kind == 0xE0) return {ev(status, field(r, 1) & 0x7F, field(r, 1) >> 7, pos)};
        return {ev(status, field(r, 1), kind == 0xC0 || kind == 0xD0 ? 0 : field(r, 2), pos)};
    }
    if (r.type == "System_exclusive") {
        std::vector<std::uint8_t> payload;
        for (std::size_t i = 1; i < r.fields.size(); ++i)
            payload.push_back(static_cast<std::uint8_t>(field(r, i)));
        EXPECT_EQ(static_cast<std::size_t>(field(r, 0)), payload.size());
        return long_event(st::sysex, pos, payload);
    }
    if (r.type == "Text_t" || r.type == "Lyric_t" || r.type == "Marker_t")
        return text_event(pos, r.fields.at(0), r.type == "Lyric_t");
    return {};
}

std::vector<csv_row> rows_of_track(const std::vector<csv_row>& rows, int track) {
    std::vector<csv_row> out;
    for (const csv_row& r : rows)
        if (r.track == track) out.push_back(r);
    return out;
}

TEST(SmfCrossCheck, WhatWeWriteMidicsvReadsAsTheSong) {
    SKIP_WITHOUT_MIDICSV();
    temp_folder dir;
    test_program t;
    program& p = *t;
    // Every kind of event the writer knows, over several tracks.
    records a;
    for (int i = 0; i < 300; ++i) {
        a.push_back(ev(0x90 | (i % 3), 30 + i % 60, 1 + i % 127, 3072 + i * 37));
        a.push_back(ev(0x80 | (i % 3), 30 + i % 60, 64, 3072 + i * 37 + 20));
    }
    const records b = flat({{ev(0xA4, 60, 33, 2000), ev(0xB4, 7, 99, 3072), ev(0xC4, 12, 0, 3100),
                             ev(0xD4, 55, 0, 3200), ev(0xE4, 0x11, 0x45, 3300)},
                            long_event(st::sysex, 3400, sysex_payload(40)),
                            text_event(3500, "Verse, \"one\"", false),
                            text_event(3600, "la la", true),
                            long_event(st::sysex, 3700, sysex_payload(2)),
                            {ev(0x94, 64, 100, 0xFF000)}});
    give_track(p, 1, 0, a);
    give_track(p, 1, 3, {});  // in use, but empty: no chunk
    give_track(p, 1, 7, b);
    p.slot(1, 0).channel = 16;
    p.slot(1, 7).channel = 4;
    put_name(p.slot(1, 0).name, "Piano");
    put_name(p.slot(1, 7).name, "Misc");
    // The default at 0 gives way to a tempo at the start of the song.
    replace_list(p, p.d.tempo_chain,
                 {tempo(12000, 0), tempo(10000, 3072), tempo(15000, 4000), tempo(6000, 9000)});
    p.d.tempo_track_on = 1;
    use_signature_track(p, {ev(st::signature, 3, 4, 3072), ev(st::signature, 7, 8, 3072 + 1152)});
    p.d.current_pattern = 1;

    const std::string path = dir.path("song.mid");
    ASSERT_TRUE(write_midi_file(p, path));
    EXPECT_EQ(midi_format_text(p), "Format 1");
    const std::vector<csv_row> rows = midicsv_rows(path);
    ASSERT_FALSE(rows.empty());
    ASSERT_EQ(rows[0].type, "Header");
    EXPECT_EQ(rows[0].fields, (std::vector<std::string>{"1", "3", "192"}));
    EXPECT_EQ(rows.back().type, "End_of_file");

    // The conductor track: the tempo list in microseconds and the signatures, at file times.
    std::vector<std::string> conductor;
    for (const csv_row& r : rows_of_track(rows, 1)) {
        std::ostringstream o;
        o << r.time << " " << r.type;
        for (const auto& f : r.fields) o << " " << f;
        conductor.push_back(o.str());
    }
    EXPECT_EQ(conductor, (std::vector<std::string>{"0 Start_track", "0 Tempo 600000",
                                                   "0 Time_signature 3 2 24 8", "928 Tempo 400000",
                                                   "1152 Time_signature 7 3 24 8",
                                                   "5928 Tempo 1000000", "5928 End_track"}));

    // Each song track: its heads, then every event at its time, then the end. Times before 3072
    // went out as 0.
    records early = b;
    early[0].set_position(3072);
    for (auto [file_track, slot_track, want] : {std::tuple{2, 0, a}, {3, 7, early}}) {
        const track_slot& s = p.slot(1, slot_track);
        std::vector<csv_row> tr = rows_of_track(rows, file_track);
        ASSERT_GE(tr.size(), 3u);
        std::size_t i = 1;
        if (s.channel != 16) {
            EXPECT_EQ(tr[i].type, "Channel_prefix");
            EXPECT_EQ(tr[i++].fields.at(0), std::to_string(s.channel));
        }
        EXPECT_EQ(tr[i].type, "Title_t");
        EXPECT_EQ(tr[i++].fields.at(0), name_of(s.name));
        records got;
        for (; i < tr.size() && tr[i].type != "End_track"; ++i) {
            const records r = row_records(tr[i], static_cast<std::int32_t>(3072 + tr[i].time));
            ASSERT_FALSE(r.empty()) << tr[i].type;
            EXPECT_GE(tr[i].time, tr[i - 1].time);
            got.insert(got.end(), r.begin(), r.end());
        }
        EXPECT_EQ(difference(got, want), "") << "file track " << file_track;
        ASSERT_LT(i, tr.size());
    }
}

}  // namespace
}  // namespace kestrune
