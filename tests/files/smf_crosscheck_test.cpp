// An independent check of both directions with midicsv and csvmidi: files we write, as midicsv
// reads them, against the song; and files that csvmidi makes, as we read them, against the CSV.
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "files/smf_reader.h"
#include "files/smf_writer.h"
#include "song/long_event.h"
#include "song/patterns.h"
#include "tests/files/file_test_support.h"
#include "tests/support/song_builder.h"
#include "tests/support/chain_checker.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using testing::chain_event;
using testing::csv_row;

#define SKIP_WITHOUT_MIDICSV()    \
    if (!testing::have_midicsv()) \
    GTEST_SKIP() << "midicsv and csvmidi are not installed (Debian package midicsv)"

int field(const csv_row& r, std::size_t i) {
    return std::stoi(r.fields.at(i));
}

// A channel, sysex or text row of midicsv as the event it stands for, at a position.
bool row_event(const csv_row& r, std::int32_t pos, chain_event& out) {
    static const std::map<std::string, int> channel_kinds = {
        {"Note_off_c", 0x80},  {"Note_on_c", 0x90}, {"Poly_aftertouch_c", 0xA0},
        {"Control_c", 0xB0},   {"Program_c", 0xC0}, {"Channel_aftertouch_c", 0xD0},
        {"Pitch_bend_c", 0xE0}};
    out = {pos, 0, 0, 0, {}};
    if (auto k = channel_kinds.find(r.type); k != channel_kinds.end()) {
        out.status = k->second | field(r, 0);
        if (k->second == 0xE0) {
            out.d1 = field(r, 1) & 0x7F;
            out.d2 = field(r, 1) >> 7;
        } else {
            out.d1 = field(r, 1);
            out.d2 = k->second == 0xC0 || k->second == 0xD0 ? 0 : field(r, 2);
        }
        return true;
    }
    if (r.type == "System_exclusive") {
        out.status = st::sysex;
        for (std::size_t i = 1; i < r.fields.size(); ++i)
            out.payload.push_back(static_cast<std::uint8_t>(field(r, i)));
        EXPECT_EQ(static_cast<std::size_t>(field(r, 0)), out.payload.size());
        return true;
    }
    if (r.type == "Text_t" || r.type == "Lyric_t" || r.type == "Marker_t") {
        out.status = st::text;
        out.d2 = r.type == "Lyric_t" ? 2 : 0;
        out.payload.assign(r.fields.at(0).begin(), r.fields.at(0).end());
        out.payload.push_back(0);
        return true;
    }
    return false;
}

std::vector<csv_row> rows_of_track(const std::vector<csv_row>& rows, int track) {
    std::vector<csv_row> out;
    for (const csv_row& r : rows)
        if (r.track == track) out.push_back(r);
    return out;
}

TEST(SmfCrossCheck, WhatWeWriteMidicsvReadsAsTheSong) {
    SKIP_WITHOUT_MIDICSV();
    testing::temp_folder dir;
    testing::test_program t;
    program& p = *t;
    // Every kind of event the writer knows, over several tracks.
    std::vector<midi_event> a;
    for (int i = 0; i < 300; ++i) {
        const std::int32_t pos = 3072 + i * 37;
        a.push_back(midi_event::make(static_cast<std::uint8_t>(0x90 | (i % 3)),
                                     static_cast<std::uint8_t>(30 + i % 60),
                                     static_cast<std::uint8_t>(1 + i % 127), pos));
        a.push_back(midi_event::make(static_cast<std::uint8_t>(0x80 | (i % 3)),
                                     static_cast<std::uint8_t>(30 + i % 60), 64, pos + 20));
    }
    std::vector<midi_event> b = {
        midi_event::make(0xA4, 60, 33, 2000), midi_event::make(0xB4, 7, 99, 3072),
        midi_event::make(0xC4, 12, 0, 3100), midi_event::make(0xD4, 55, 0, 3200),
        midi_event::make(0xE4, 0x11, 0x45, 3300)};
    for (const auto& part :
         {testing::long_event(st::sysex, 3400, testing::sysex_payload(40)), testing::text_event(3500, "Verse, \"one\"", false),
          testing::text_event(3600, "la la", true), testing::long_event(st::sysex, 3700, testing::sysex_payload(2))})
        b.insert(b.end(), part.begin(), part.end());
    b.push_back(midi_event::make(0x94, 64, 100, 0xFF000));
    testing::give_track(p, 1, 0, a);
    testing::give_track(p, 1, 7, b);
    p.slot(1, 0).channel = 16;
    p.slot(1, 7).channel = 4;
    put_name(p.slot(1, 0).name, "Piano");
    put_name(p.slot(1, 7).name, "Misc");
    testing::replace_list(p, p.d.tempo_chain,
                      {testing::tempo(12000, 0), testing::tempo(15000, 4000),
                       testing::tempo(6000, 9000)});
    p.d.tempo_track_on = 1;
    testing::replace_list(p, p.d.signature_track,
                      {midi_event::make(st::signature, 3, 4, 3072),
                       midi_event::make(st::signature, 7, 8, 3072 + 1152)});
    p.d.signature_track_on = 1;
    p.d.active_signature = p.d.signature_track;
    p.d.current_pattern = 1;

    const std::string path = dir.path("song.mid");
    ASSERT_TRUE(write_midi_file(p, path));
    const std::vector<csv_row> rows = testing::midicsv_rows(path);
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
    EXPECT_EQ(conductor, (std::vector<std::string>{"0 Start_track", "0 Tempo 500000",
                                                   "0 Time_signature 3 2 24 8", "928 Tempo 400000",
                                                   "1152 Time_signature 7 3 24 8",
                                                   "5928 Tempo 1000000", "5928 End_track"}));

    // Each song track: its heads, then every event at its time, then the end.
    for (auto [file_track, slot_track] : {std::pair{2, 0}, {3, 7}}) {
        const track_slot& s = p.slot(1, slot_track);
        std::vector<chain_event> want = testing::track_events(p, 1, slot_track);
        for (chain_event& e : want)
            if (e.status >= 0xC0 && e.status <= 0xDF) e.d2 = 0;
        std::vector<csv_row> tr = rows_of_track(rows, file_track);
        ASSERT_GE(tr.size(), 3u);
        std::size_t i = 1;
        if (s.channel != 16) {
            EXPECT_EQ(tr[i].type, "Channel_prefix");
            EXPECT_EQ(tr[i].fields.at(0), std::to_string(s.channel));
            ++i;
        }
        EXPECT_EQ(tr[i].type, "Title_t");
        EXPECT_EQ(tr[i].fields.at(0), testing::name_of(s));
        ++i;
        std::vector<chain_event> got;
        std::int64_t last_time = 0;
        for (; i < tr.size() && tr[i].type != "End_track"; ++i) {
            chain_event e;
            ASSERT_TRUE(row_event(tr[i], static_cast<std::int32_t>(3072 + tr[i].time), e))
                << tr[i].type;
            EXPECT_GE(tr[i].time, last_time);
            last_time = tr[i].time;
            got.push_back(e);
        }
        // Times before 3072 went out as 0.
        for (chain_event& e : want) e.pos = std::max(e.pos, 3072);
        EXPECT_EQ(got, want) << "file track " << file_track;
        ASSERT_LT(i, tr.size());
    }
}

TEST(SmfCrossCheck, WhatCsvmidiMakesReadsAsTheCsvSays) {
    SKIP_WITHOUT_MIDICSV();
    testing::temp_folder dir;
    testing::test_program t;
    program& p = *t;
    const std::string csv =
        "0, 0, Header, 1, 3, 480\n"
        "1, 0, Start_track\n"
        "1, 0, Title_t, \"Conductor\"\n"
        "1, 0, Tempo, 500000\n"
        "1, 0, Time_signature, 6, 3, 24, 8\n"
        "1, 1440, Tempo, 750000\n"
        "1, 2880, Time_signature, 2, 2, 24, 8\n"
        "1, 2881, End_track\n"
        "2, 0, Start_track\n"
        "2, 0, Title_t, \"Strings and more\"\n"
        "2, 0, Program_c, 5, 48\n"
        "2, 0, Note_on_c, 5, 60, 90\n"
        "2, 0, Note_on_c, 5, 64, 80\n"
        "2, 479, Note_off_c, 5, 60, 0\n"
        "2, 481, Note_on_c, 5, 64, 0\n"
        "2, 700, Control_c, 5, 10, 32\n"
        "2, 701, Pitch_bend_c, 5, 9000\n"
        "2, 959, Channel_aftertouch_c, 5, 70\n"
        "2, 1000000, Poly_aftertouch_c, 5, 60, 12\n"
        "2, 1000001, End_track\n"
        "3, 0, Start_track\n"
        "3, 0, Text_t, \"Karaoke\"\n"
        "3, 3, System_exclusive, 6, 65, 16, 66, 18, 64, 247\n"
        "3, 5, Lyric_t, \"Hel\"\n"
        "3, 7, Lyric_t, \"lo\"\n"
        "3, 9, Marker_t, \"Chorus\"\n"
        "3, 11, Note_on_c, 0, 1, 1\n"
        "3, 11, Note_on_c, 9, 2, 2\n"
        "3, 12, End_track\n"
        "0, 0, End_of_file\n";
    const std::string path = dir.path("made.mid");
    ASSERT_TRUE(testing::csvmidi_file(csv, path));
    clear_song(p);
    ASSERT_EQ(read_midi_file(p, path, cleared_song_load), 1);
    EXPECT_EQ(testing::check_pool(p), "");
    EXPECT_TRUE(t.screen.messages.empty());

    // Ticks of 480 to the quarter, scaled from the running sum.
    auto at = [](std::int64_t time) { return static_cast<std::int32_t>(3072 + time * 192 / 480); };
    const std::vector<csv_row> rows = testing::midicsv_rows(path);
    for (auto [file_track, slot_track] : {std::pair{2, 0}, {3, 1}}) {
        std::vector<chain_event> want;
        for (const csv_row& r : rows_of_track(rows, file_track)) {
            chain_event e;
            if (row_event(r, at(r.time), e)) want.push_back(e);
        }
        EXPECT_EQ(testing::track_events(p, 0, slot_track), want) << "file track " << file_track;
    }
    EXPECT_EQ(testing::name_of(p.slot(0, 0)), "Strings an");
    EXPECT_EQ(p.slot(0, 0).channel, 5);
    EXPECT_EQ(testing::name_of(p.slot(0, 1)), "Karaoke   ");
    EXPECT_EQ(p.slot(0, 1).channel, 16);
    EXPECT_FALSE(p.slot(0, 2).in_use);

    EXPECT_EQ(testing::chain_events(p, p.d.tempo_chain.first),
              (std::vector<chain_event>{{0, st::tempo, 12000, 0, {}},
                                        {3072, st::tempo, 12000, 0, {}},
                                        {at(1440), st::tempo, 8000, 0, {}}}));
    EXPECT_EQ(testing::chain_events(p, p.d.signature_track.first),
              (std::vector<chain_event>{{3072, st::signature, 6, 8, {}},
                                        {at(2880), st::signature, 2, 4, {}}}));
    EXPECT_EQ(p.d.tempo_track_on, 1);
    EXPECT_EQ(p.d.signature_track_on, 1);
    // The last event at 1000000 ticks of 480 lies in bar 1 + 1000000 / 1440 of 6/8 up to 2880,
    // then 2/4; the right locator is the next bar line of 2/4.
    const std::int32_t last = at(1000000);
    const std::int32_t from = at(2880);
    EXPECT_EQ(p.d.right_locator, from + (last - from + 383) / 384 * 384);
}

}  // namespace
}  // namespace kestrune
