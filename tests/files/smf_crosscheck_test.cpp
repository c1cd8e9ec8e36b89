// An independent check of the writer with midicsv: files we write, as midicsv reads them, against
// the song. The reader's own tests build their files byte by byte.
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "files/smf_writer.h"
#include "song/long_event.h"
#include "song/patterns.h"
#include "tests/files/file_test_support.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

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
    give_track(p, 1, 7, b);
    p.slot(1, 0).channel = 16;
    p.slot(1, 7).channel = 4;
    put_name(p.slot(1, 0).name, "Piano");
    put_name(p.slot(1, 7).name, "Misc");
    replace_list(p, p.d.tempo_chain, {tempo(12000, 0), tempo(15000, 4000), tempo(6000, 9000)});
    p.d.tempo_track_on = 1;
    use_signature_track(p, {ev(st::signature, 3, 4, 3072), ev(st::signature, 7, 8, 3072 + 1152)});
    p.d.current_pattern = 1;

    const std::string path = dir.path("song.mid");
    ASSERT_TRUE(write_midi_file(p, path));
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
    EXPECT_EQ(conductor, (std::vector<std::string>{"0 Start_track", "0 Tempo 500000",
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
