// The Standard MIDI file reader on files built byte by byte.
#include "files/smf_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "files/file_messages.h"
#include "song/patterns.h"
#include "tests/files/file_test_support.h"
#include "tests/support/song_builder.h"
#include "tests/support/chain_checker.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using testing::chain_event;
using testing::midi_bytes;
using testing::name_of;
using testing::track_bytes;

constexpr midi_load_options added{.erased = false, .keep_tempo = false, .load_tempo = true};
constexpr midi_load_options joined{.erased = false, .keep_tempo = true, .load_tempo = true};

class SmfReader : public ::testing::Test {
  protected:
    explicit SmfReader(int units = 10) : t(units) {}

    int load(const std::vector<std::uint8_t>& bytes, midi_load_options o = cleared_song_load) {
        const std::string path = dir.path("in.mid");
        testing::write_bytes(path, bytes);
        if (o.erased) clear_song(*t);
        t.screen.messages.clear();
        const int r = read_midi_file(*t, path, o);
        EXPECT_EQ(testing::check_pool(*t), "");
        return r;
    }
    int load(const midi_bytes& m, midi_load_options o = cleared_song_load) {
        return load(m.b, o);
    }
    std::vector<std::string> shown() const {
        std::vector<std::string> out;
        for (const auto& m : t.screen.messages) out.push_back(m.text);
        return out;
    }
    std::vector<chain_event> tempo_list() const {
        return testing::chain_events(*t.prog, t.prog->d.tempo_chain.first);
    }
    std::vector<chain_event> signature_list() const {
        return testing::chain_events(*t.prog, t.prog->d.signature_track.first);
    }
    std::vector<chain_event> events(int track, int pattern = 0) const {
        return testing::track_events(*t.prog, pattern, track);
    }
    const track_slot& slot(int track, int pattern = 0) const {
        return t.prog->slot(pattern, track);
    }

    testing::temp_folder dir;
    testing::test_program t;
};

chain_event ev(std::int32_t pos, int status, int d1, int d2 = 0) {
    return {pos, status, d1, d2, {}};
}
using events_t = std::vector<chain_event>;
using texts_t = std::vector<std::string>;
chain_event text_ev(std::int32_t pos, const std::string& text, int nibble = 0) {
    std::vector<std::uint8_t> payload(text.begin(), text.end());
    payload.push_back(0);
    return {pos, st::text, 0, nibble, payload};
}
chain_event sysex_ev(std::int32_t pos, std::vector<std::uint8_t> payload) {
    return {pos, st::sysex, 0, 0, std::move(payload)};
}

midi_bytes one_note_file(int format = 0) {
    midi_bytes m(format, 1, 192);
    m.track(track_bytes().at(0, {0x90, 60, 100}).at(192, {0x80, 60, 0}).end());
    return m;
}

TEST_F(SmfReader, HeaderIsFoundBehindUpTo200BytesWithoutFF) {
    std::vector<std::uint8_t> junk(200, 'x');
    junk[7] = 'M';  // a false start goes back to the first letter
    junk[8] = 'T';
    std::vector<std::uint8_t> file = junk;
    const midi_bytes m = one_note_file(1);
    file.insert(file.end(), m.b.begin(), m.b.end());
    EXPECT_EQ(load(file), 1);
    EXPECT_TRUE(shown().empty());
    EXPECT_EQ(events(0).size(), 2u);
    EXPECT_EQ(midi_format_text(*t), "Format 1");

    // One byte too many ahead of it, an 0xFF ahead of it, a header cut short.
    file.insert(file.begin(), 'x');
    std::vector<std::uint8_t> ff = m.b;
    ff.insert(ff.begin(), {0x00, 0xFF, 0x00});
    const std::pair<std::vector<std::uint8_t>, const char*> refused[] = {
        {file, msg_lacks_header},
        {ff, msg_lacks_header},
        {{'M', 'T', 'h'}, msg_lacks_header},
        {{'M', 'T', 'h', 'd', 0, 0, 0, 6, 0}, msg_midi_damaged}};
    for (const auto& [bytes, text] : refused) {
        EXPECT_EQ(load(bytes), 0);
        EXPECT_EQ(shown(), texts_t{text});
    }

    const track_slot before = slot(0);
    t.screen.messages.clear();
    EXPECT_EQ(read_midi_file(*t, dir.path("missing.mid"), added), 0);
    ASSERT_EQ(t.screen.messages.size(), 1u);
    EXPECT_EQ(t.screen.messages[0].text, msg_open_failed);
    EXPECT_EQ(t.screen.messages[0].caption, caption_error);
    EXPECT_EQ(slot(0).in_use, before.in_use);
}

TEST_F(SmfReader, OnlyFormatsZeroAndOneWithTicksPerQuarter) {
    for (auto [format, division] : {std::pair{2, 192}, {1, 0xE728}, {0, 0}}) {
        midi_bytes m(format, 1, division);
        m.track(track_bytes().at(0, {0x90, 60, 100}).end());
        EXPECT_EQ(load(m), 0) << format << " " << division;
        EXPECT_EQ(shown(), texts_t{msg_not_format_0_1});
        EXPECT_FALSE(slot(0).in_use);
    }
    // A longer header is skipped to its end.
    midi_bytes m(0, 1, 192);
    m.b[7] = 8;
    m.b.insert(m.b.end(), {0xAA, 0xBB});
    m.track(track_bytes().at(0, {0x90, 60, 100}).end());
    EXPECT_EQ(load(m), 1);
    EXPECT_EQ(events(0), events_t{ev(3072, 0x90, 60, 100)});
    EXPECT_EQ(midi_format_text(*t), "Format 0");
}

class SmfScaling : public SmfReader, public ::testing::WithParamInterface<int> {};

TEST_P(SmfScaling, PositionsScaleFromTheSumWithoutDrift) {
    const int division = GetParam();
    // Deltas that do not divide evenly; at the largest division the scaled sum passes 32 bits.
    // All sixteen channels in one track of format 0 make a track of channel 16.
    const std::uint64_t deltas[] = {1, 7, 13, 0, static_cast<std::uint64_t>(division) / 3 + 1, 29};
    track_bytes tb;
    std::vector<chain_event> want;
    std::int64_t sum = 0;
    const int n = 30000;
    for (int i = 0; i < n; ++i) {
        const std::uint64_t d = deltas[i % 6];
        sum += static_cast<std::int64_t>(d);
        tb.at(d, {0xB0 | (i % 16), 7, i % 128});
        want.push_back(ev(static_cast<std::int32_t>(3072 + sum * 192 / division), 0xB0 | (i % 16),
                          7, i % 128));
    }
    ASSERT_LE(want.back().pos, last_position);
    midi_bytes m(0, 1, division);
    m.track(tb.end());
    EXPECT_EQ(load(m), 1);
    EXPECT_TRUE(shown().empty());
    EXPECT_EQ(events(0), want);
    EXPECT_EQ(slot(0).channel, 16);
    EXPECT_EQ(slot(0).port, 0);
}

INSTANTIATE_TEST_SUITE_P(Divisions, SmfScaling, ::testing::Values(96, 192, 480, 960, 32767));

TEST_F(SmfReader, RunningStatusLastsAcrossMetaAndSysexEvents) {
    midi_bytes m(0, 1, 192);
    m.track(track_bytes()
                .at(0, {0x92, 60, 64})
                .at(10, {62, 64})              // running status
                .meta(0, 0x06, "m")            // a marker between
                .at(5, {64, 0})                // still the note-on's status
                .sysex(0, {0x43, 0x10, 0xF7})  // a sysex between
                .at(5, {65, 70})
                .at(0, {0xC2, 5})
                .at(3, {6})                    // running program change: one data byte
                .at(0, {0xF7, 2, 0x11, 0x22})  // an escape packet is skipped
                .at(1, {7})
                .at(0, {0xE2, 0x00, 0x40})
                .end());
    EXPECT_EQ(load(m), 1);
    EXPECT_EQ(events(0),
              (events_t{ev(3072, 0x92, 60, 64), ev(3082, 0x92, 62, 64), text_ev(3082, "m"),
                        ev(3087, 0x92, 64, 0), sysex_ev(3087, {0x43, 0x10, 0xF7}),
                        ev(3092, 0x92, 65, 70), ev(3092, 0xC2, 5), ev(3095, 0xC2, 6),
                        ev(3096, 0xC2, 7), ev(3096, 0xE2, 0, 0x40)}));
    EXPECT_EQ(slot(0).channel, 2);
    EXPECT_EQ(name_of(slot(0)), default_midi_track_name);
    EXPECT_EQ(slot(0).loop_length, no_loop);
    EXPECT_EQ(slot(0).blocks, 1);

    // A data byte before any status, or a system status, stops the load; the track is dropped.
    for (int bad : {0x40, 0xF1, 0xF8}) {
        midi_bytes u(1, 2, 192);
        u.track(track_bytes().at(0, {0x90, 60, 1}).end());
        track_bytes second = bad < 0x80 ? track_bytes() : track_bytes().at(0, {0x91, 60, 1});
        u.track(second.meta(0, 0x03, "late").at(0, {bad, 1, 1}).end());
        EXPECT_EQ(load(u), 0);
        EXPECT_EQ(shown(), texts_t{msg_unknown_message});
        EXPECT_EQ(events(0), events_t{ev(3072, 0x90, 60, 1)});
        EXPECT_FALSE(slot(1).in_use);
    }
}

TEST_F(SmfReader, OneTempoSetsTheSongTempoAndLeavesTheTrackOff) {
    midi_bytes m(1, 2, 96);
    m.track(track_bytes()
                .meta(0, 0x03, "Conductor")
                .meta(0, 0x01, "dropped")
                .tempo(0, 500000)
                .signature(0, 3, 2)
                .end());
    m.track(track_bytes()
                .tempo(0, 250000)
                .signature(0, 7, 3)
                .at(0, {0x90, 60, 1})
                .at(96, {0x80, 60, 0})
                .end());
    EXPECT_EQ(load(m), 1);
    const dll_data& d = t->d;
    EXPECT_EQ(t->app.song_tempo, 12000);
    EXPECT_EQ(d.tempo_track_on, 0);
    EXPECT_EQ(tempo_list(), (events_t{ev(0, st::tempo, 12000), ev(3072, st::tempo, 12000)}));
    EXPECT_EQ(testing::chain_events(*t, d.signature_chain.first),
              events_t{ev(3072, st::signature, 3, 4)});
    EXPECT_EQ(signature_list(), events_t{ev(3072, st::signature, 3, 4)});
    EXPECT_EQ(d.signature_track_on, 0);
    // The conductor track holds nothing, so the notes take the first slot.
    EXPECT_EQ(events(0), (events_t{ev(3072, 0x90, 60, 1), ev(3264, 0x80, 60, 0)}));
    EXPECT_FALSE(slot(1).in_use);
}

TEST_F(SmfReader, TempoMapAndSignaturesBuildTheirTracks) {
    midi_bytes m(0, 1, 192);
    m.track(track_bytes()
                .tempo(0, 500000)
                .signature(0, 3, 2)
                .at(0, {0x90, 60, 1})
                .tempo(192, 400000)
                .tempo(192, 333333)  // 180.00
                .tempo(0, 600001)    // 99.9998 rounds up
                .signature(192, 6, 3)
                .tempo(0, 0)         // held at the top
                .tempo(0, 0xFFFFFF)  // 3.5763 rounds up
                .signature(0, 0, 9)  // numerator and denominator held
                .end());
    EXPECT_EQ(load(m), 1);
    const dll_data& d = t->d;
    EXPECT_EQ(d.tempo_track_on, 1);
    EXPECT_EQ(t->app.song_tempo, 12000);
    EXPECT_EQ(tempo_list(), (events_t{ev(0, st::tempo, 12000), ev(3072, st::tempo, 12000),
                                      ev(3264, st::tempo, 15000), ev(3456, st::tempo, 18000),
                                      ev(3456, st::tempo, 10000), ev(3648, st::tempo, 99999),
                                      ev(3648, st::tempo, 358)}));
    EXPECT_EQ(signature_list(),
              (events_t{ev(3072, st::signature, 3, 4), ev(3648, st::signature, 6, 8),
                        ev(3648, st::signature, 1, 32)}));
    EXPECT_EQ(d.signature_track_on, 1);
    EXPECT_EQ(d.active_signature.first, d.signature_track.first);

    // Without load tempo nothing of it is taken.
    clear_song(*t);
    const midi_bytes again = m;
    EXPECT_EQ(load(again, {.erased = false, .keep_tempo = false, .load_tempo = false}), 1);
    EXPECT_EQ(d.tempo_track_on, 0);
    EXPECT_EQ(tempo_list().size(), 1u);
    EXPECT_EQ(events(0).size(), 1u);
}

TEST_F(SmfReader, KeepTempoJoinsTheFileAtTheCurrentSongStep) {
    dll_data& d = t->d;
    // Step 1 starts at 9000, off the bar lines of 4/4 counted from 3072.
    auto prepare = [&] {
        clear_song(*t);
        t->step(0).end = 9000;
        d.current_step = 1;
        testing::replace_list(*t, d.tempo_chain,
                          {testing::tempo(12000, 0), testing::tempo(10000, 3072),
                           testing::tempo(11000, 7000), testing::tempo(9000, 9100),
                           testing::tempo(8000, 12000)});
        testing::replace_list(*t, d.signature_track, {midi_event::make(st::signature, 4, 4, 3072)});
        d.tempo_track_on = 1;
    };
    prepare();
    midi_bytes m(0, 1, 192);
    m.track(track_bytes().tempo(0, 600000).at(0, {0x90, 60, 1}).tempo(384, 500000).end());
    EXPECT_EQ(load(m, joined), 1);
    EXPECT_TRUE(shown().empty());
    // The old list up to the join stays; the file's tempo goes on from 9000.
    EXPECT_EQ(tempo_list(), (events_t{ev(0, st::tempo, 12000), ev(3072, st::tempo, 10000),
                                      ev(7000, st::tempo, 11000), ev(9000, st::tempo, 10000),
                                      ev(9384, st::tempo, 12000)}));
    // The song's own tempo and the notes are untouched by the join.
    EXPECT_EQ(t->app.song_tempo, 12000);
    EXPECT_EQ(events(0), events_t{ev(3072, 0x90, 60, 1)});

    // A signature first: its bar line is 9216, so the signature events shift, and the tempo
    // list is cut from there; the tempo joined at 9000 keeps the list in order.
    prepare();
    midi_bytes s(0, 1, 192);
    s.track(track_bytes().signature(0, 3, 2).tempo(0, 600000).signature(576, 2, 2).end());
    EXPECT_EQ(load(s, joined), 1);
    EXPECT_EQ(shown(), texts_t{msg_time_shift});
    EXPECT_EQ(signature_list(),
              (events_t{ev(3072, st::signature, 4, 4), ev(9216, st::signature, 3, 4),
                        ev(9792, st::signature, 2, 4)}));
    const auto tempo = tempo_list();
    ASSERT_EQ(tempo.size(), 5u);
    EXPECT_EQ(tempo[3], ev(9100, st::tempo, 9000));
    EXPECT_EQ(tempo[4].d1, 10000);
    EXPECT_GE(tempo[4].pos, 9100);
    EXPECT_EQ(d.signature_track_on, 1);
    EXPECT_EQ(d.active_signature.first, d.signature_track.first);
    EXPECT_EQ(d.tempo_track_on, 1);
    // The empty track with only lists left its slot free.
    EXPECT_FALSE(slot(0).in_use);
}

TEST_F(SmfReader, NoteOffsAtTheTickOfANewNoteGoFirst) {
    midi_bytes m(0, 1, 192);
    m.track(track_bytes()
                .at(0, {0x90, 60, 100})
                .at(0, {0x80, 60, 0})  // a note of no length stays as it is
                .at(0, {0x90, 62, 100})
                .at(192, {0x90, 62, 90})  // the same pitch again before the old one ends
                .at(0, {0x90, 62, 0})
                .at(0, {0x91, 64, 100})  // another channel's off does not move
                .at(0, {0x90, 65, 0})
                .at(192, {0x90, 67, 100})
                .at(0, {0x90, 69, 100})
                .at(0, {0x80, 64, 0})  // moves up past one note-on only
                .end());
    EXPECT_EQ(load(m), 1);
    EXPECT_EQ(events(0),
              (events_t{ev(3072, 0x90, 60, 100), ev(3072, 0x80, 60, 0), ev(3072, 0x90, 62, 100),
                        ev(3264, 0x90, 62, 0), ev(3264, 0x90, 62, 90), ev(3264, 0x91, 64, 100),
                        ev(3264, 0x90, 65, 0), ev(3456, 0x90, 67, 100), ev(3456, 0x80, 64, 0),
                        ev(3456, 0x90, 69, 100)}));
}

TEST_F(SmfReader, NamesAndTexts) {
    std::string long_text(300, 'a');
    long_text[10] = static_cast<char>(0xE9);
    midi_bytes m(1, 7, 192);
    m.track(
        track_bytes().meta(0, 0x01, "conductor text").meta(0, 0x03, "Song").tempo(0, 500000).end());
    // A text at the start names the track ahead of the name behind it.
    m.track(track_bytes()
                .meta(0, 0x01, "Intro text here")
                .meta(0, 0x03, "Ignored")
                .at(0, {0x90, 1, 1})
                .end());
    m.track(track_bytes().meta(0, 0x03, "Bass").meta(0, 0x03, "Second").at(0, {0x90, 1, 1}).end());
    m.track(track_bytes().meta(0, 0x03, std::string("\0\0ab", 4)).at(0, {0x90, 1, 1}).end());
    m.track(track_bytes().meta(0, 0x03, "          ").at(0, {0x90, 1, 1}).end());
    // Not at the start: no name; lyric, marker and a text cut to 200 bytes.
    m.track(track_bytes()
                .at(0, {0x90, 1, 1})
                .meta(1, 0x01, "late")
                .meta(0, 0x05, std::string("l\xE9") + "d")
                .meta(0, 0x06, "Mark")
                .meta(0, 0x02, long_text)
                .meta(0, 0x01, std::string("ab\0cd", 5))
                .at(0, {0x90, 2, 1})
                .end());
    m.track(track_bytes().meta(0, 0x01, std::string("\0xyz", 4)).at(0, {0x90, 1, 1}).end());
    EXPECT_EQ(load(m), 1);
    EXPECT_EQ(name_of(slot(0)), "Intro text");
    EXPECT_EQ(events(0), (events_t{text_ev(3072, "Intro text here"), ev(3072, 0x90, 1, 1)}));
    EXPECT_EQ(name_of(slot(1)), "Bass      ");
    EXPECT_EQ(name_of(slot(2)), "  ab      ");
    EXPECT_EQ(name_of(slot(3)), default_midi_track_name);
    EXPECT_EQ(name_of(slot(4)), default_midi_track_name);
    std::string cut = long_text.substr(0, 200);
    cut[10] = '?';
    EXPECT_EQ(events(4), (events_t{ev(3072, 0x90, 1, 1), text_ev(3073, "late"),
                                   text_ev(3073, "l?d", 2), text_ev(3073, "Mark"),
                                   text_ev(3073, cut), text_ev(3073, "ab"), ev(3073, 0x90, 2, 1)}));
    // A text of a NUL first gives the default name; the text itself is empty.
    EXPECT_EQ(name_of(slot(5)), default_midi_track_name);
    EXPECT_EQ(events(5).front(), text_ev(3072, ""));
    EXPECT_FALSE(slot(6).in_use);
}

TEST_F(SmfReader, EventsPastTheLastPositionEndTheTrack) {
    const std::uint64_t past = last_position - song_start + 1;
    midi_bytes m(1, 3, 192);
    m.track(track_bytes()
                .at(0, {0x90, 60, 1})
                .at(past - 1, {0x80, 60, 0})
                .at(1, {0x90, 61, 1})
                .at(0, {0x80, 61, 0})
                .end());
    m.track(track_bytes().at(0, {0x90, 70, 1}).end());
    m.track(track_bytes().at(0, {0x90, 71, 1}).end());
    EXPECT_EQ(load(m), 1);
    // The rest of the chunk is read as the next chunk, which it is not.
    EXPECT_EQ(shown(), (texts_t{msg_file_too_long, msg_unrecognized_data}));
    EXPECT_EQ(events(0), (events_t{ev(3072, 0x90, 60, 1), ev(last_position, 0x80, 60, 0)}));
    EXPECT_FALSE(slot(1).in_use);
    // That end keeps the wait cursor, as it always did.
    EXPECT_EQ(t.screen.wait_cursors, t.screen.arrow_cursors + 1);

    // An end of track past the last position ends the track quietly.
    midi_bytes e(1, 2, 192);
    e.track(track_bytes().at(0, {0x90, 60, 1}).end(past + 500));
    e.track(track_bytes().at(0, {0x90, 70, 1}).end());
    EXPECT_EQ(load(e), 1);
    EXPECT_TRUE(shown().empty());
    EXPECT_EQ(events(1), events_t{ev(3072, 0x90, 70, 1)});
}

TEST_F(SmfReader, OutOfTracksKeepsWhatLoaded) {
    t->d.current_pattern = parallel_pattern;
    for (int tr = 0; tr < 30; ++tr)
        testing::give_track(*t, parallel_pattern, tr, testing::short_records(3072, 2, tr));
    midi_bytes m(1, 4, 192);
    for (int i = 0; i < 4; ++i) m.track(track_bytes().at(0, {0x90, 60 + i, 1}).end());
    EXPECT_EQ(load(m, added), 0);
    EXPECT_EQ(shown(), texts_t{msg_out_of_tracks});
    EXPECT_EQ(events(30, parallel_pattern), events_t{ev(3072, 0x90, 60, 1)});
    EXPECT_EQ(events(31, parallel_pattern), events_t{ev(3072, 0x90, 61, 1)});
    EXPECT_EQ(t.screen.wait_cursors, t.screen.arrow_cursors);
}

TEST_F(SmfReader, SixtySixTracksAtMostSpreadOverPatterns) {
    t->d.current_pattern = 2;
    midi_bytes m(1, 70, 192);
    for (int i = 0; i < 70; ++i) m.track(track_bytes().at(0, {0x90, i, 1}).end());
    EXPECT_EQ(load(m), 1);
    EXPECT_EQ(shown(), (texts_t{msg_tracks_in_patterns, msg_tracks_not_loaded}));
    EXPECT_EQ(events(0, 2), events_t{ev(3072, 0x90, 0, 1)});
    EXPECT_EQ(events(31, 3), events_t{ev(3072, 0x90, 63, 1)});
    EXPECT_EQ(events(1, 4), events_t{ev(3072, 0x90, 65, 1)});
    EXPECT_FALSE(slot(2, 4).in_use);
}

TEST_F(SmfReader, SysexKeepsItsBodyAndEndsInF7) {
    std::vector<std::uint8_t> big(70);
    for (std::size_t i = 0; i < big.size(); ++i) big[i] = static_cast<std::uint8_t>(i);
    big.back() = 0xF7;
    midi_bytes m(0, 1, 192);
    m.track(track_bytes()
                .sysex(0, {0x41, 0x10, 0x42})  // no closing byte: the last one is replaced
                .sysex(0, {})                  // empty: nothing to keep
                .sysex(1, {0x7E, 0x90, 0xF7})  // a stray status byte in the body
                .sysex(1, big)
                .sysex(0, {0xF7})
                .at(0, {0x90, 60, 1})
                .end());
    EXPECT_EQ(load(m), 1);
    EXPECT_EQ(events(0),
              (events_t{sysex_ev(3072, {0x41, 0x10, 0xF7}), sysex_ev(3073, {0x7E, 0x10, 0xF7}),
                        sysex_ev(3074, big), sysex_ev(3074, {0xF7}), ev(3074, 0x90, 60, 1)}));
}

TEST_F(SmfReader, DamagedFilesKeepTheTracksLoadedSoFar) {
    const track_bytes good = track_bytes().at(0, {0x90, 60, 1}).at(10, {0x80, 60, 0}).end();
    const events_t good_events{ev(3072, 0x90, 60, 1), ev(3082, 0x80, 60, 0)};
    const events_t one{ev(3072, 0x92, 1, 1)};
    auto file = [](int tracks, std::initializer_list<track_bytes> chunks) {
        midi_bytes m(1, tracks, 192);
        for (const track_bytes& c : chunks) m.track(c);
        return m.b;
    };
    auto cut = file(2, {good, track_bytes().at(0, {0x91, 61, 1}).at(5, {0x91, 62, 1}).end()});
    cut.resize(cut.size() - 5);
    auto bad = [](std::initializer_list<int> tail) {
        return track_bytes().at(0, {0x92, 1, 1}).at(0, tail);
    };
    track_bytes cut_delta = track_bytes().at(0, {0x92, 1, 1});
    cut_delta.b.insert(cut_delta.b.end(), {0x81, 0x82, 0x83});
    const struct {
        const char* what;
        std::vector<std::uint8_t> bytes;
        bool damaged;
        std::vector<events_t> tracks;
    } cases[] = {
        {"cut inside an event", cut, true, {good_events, {ev(3072, 0x91, 61, 1)}}},
        {"meta past the chunk",
         file(3, {good, bad({0xFF, 0x01, 100, 'a', 'b'}), good}),
         true,
         {good_events, one, {}}},
        {"sysex past the file",
         file(3, {good, bad({0xF0, 0x8F, 0xFF, 0xFF, 0x7F, 1}), good}),
         true,
         {good_events, one, {}}},
        {"tempo cut short",
         file(3, {good, bad({0xFF, 0x51, 3, 7}), good}),
         true,
         {good_events, one, {}}},
        {"delta cut short", file(3, {good, cut_delta, good}), true, {good_events, one, {}}},
        {"fewer chunks than counted", file(3, {good}), true, {good_events, {}}},
        // A chunk length past the end of the file, with its end of track: nothing is wrong.
        {"chunk length past the end",
         midi_bytes(0, 1, 192).track(good, 5000).b,
         false,
         {good_events}},
        // A chunk that ends at its length without an end of track closes there.
        {"no end of track",
         file(2, {track_bytes().at(0, {0x90, 60, 1}), good}),
         false,
         {{ev(3072, 0x90, 60, 1)}, good_events}},
        // A meta length of 0xFFFF ends the track behind it; from 0x8000 it skips nothing.
        {"meta lengths from 0x8000",
         file(3, {good,
                  track_bytes()
                      .at(0, {0x90, 60, 1})
                      .at(0, {0xFF, 0x7F, 0x82, 0x80, 0x00})
                      .at(0, {0x90, 61, 1})
                      .at(0, {0xFF, 0x01, 0x83, 0xFF, 0x7F}),
                  good}),
         false,
         {good_events,
          {ev(3072, 0x90, 60, 1), ev(3072, 0x90, 61, 1), text_ev(3072, "")},
          good_events}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        EXPECT_EQ(load(c.bytes), 1);
        EXPECT_EQ(shown(), c.damaged ? texts_t{msg_midi_damaged} : texts_t{});
        for (std::size_t i = 0; i < c.tracks.size(); ++i)
            EXPECT_EQ(events(static_cast<int>(i)), c.tracks[i]) << i;
    }
}

TEST_F(SmfReader, LocatorsAfterAnErasingLoad) {
    midi_bytes m(0, 1, 192);
    m.track(track_bytes().signature(0, 3, 2).at(0, {0x90, 60, 1}).at(1000, {0x80, 60, 0}).end());
    t->d.right_locator = 50000;
    EXPECT_EQ(load(m), 1);
    EXPECT_EQ(std::pair(t->d.left_locator, t->d.right_locator), std::pair(3072, 3072 + 2 * 576));
    // Without erasing, the locators stay.
    t->d.left_locator = 4000;
    t->d.right_locator = 50000;
    EXPECT_EQ(load(m, added), 1);
    EXPECT_EQ(std::pair(t->d.left_locator, t->d.right_locator), std::pair(4000, 50000));
}

class SmfReaderSmallPool : public SmfReader {
  protected:
    SmfReaderSmallPool() : SmfReader(1) {}
};

TEST_F(SmfReaderSmallPool, TracksLargerThanMemoryAreLeftOut) {
    const int free = t->d.free_blocks;
    // Past the estimate of 96 bytes a block: skipped before it is read.
    track_bytes huge;
    while (huge.b.size() / 96 <= static_cast<std::size_t>(free))
        huge.at(0, {0xFF, 0x01, 100}).b.resize(huge.b.size() + 100, 'x');
    // Within the estimate, but two bytes an event fill the pool.
    track_bytes dense = track_bytes().at(0, {0xC0, 1});
    while (dense.b.size() + 2 < static_cast<std::size_t>(free) * 96 - 200) dense.at(0, {5});
    midi_bytes m(1, 4, 192);
    m.track(track_bytes().at(0, {0x90, 60, 1}).end()).track(huge.end()).track(dense.end());
    m.track(track_bytes().at(0, {0x90, 62, 1}).end());
    EXPECT_EQ(load(m), 1);
    EXPECT_EQ(shown(), texts_t{msg_load_incomplete});
    EXPECT_EQ(events(0), events_t{ev(3072, 0x90, 60, 1)});
    EXPECT_EQ(events(1), events_t{ev(3072, 0x90, 62, 1)});
    EXPECT_FALSE(slot(2).in_use);
}

TEST_F(SmfReader, FileMenuAsksTheThreeQuestions) {
    file_state fs;
    int titles = 0;
    fs.title_changed = [&] { ++titles; };
    midi_bytes m(0, 1, 192);
    m.track(track_bytes().tempo(0, 400000).at(0, {0x90, 60, 1}).end());
    const std::string path = dir.path("Tune.mid");
    testing::write_bytes(path, m.b);
    auto questions = [&] {
        std::vector<std::string> q;
        for (const auto& s : t.screen.messages)
            if (s.buttons == msg_buttons::yes_no) q.push_back(s.text);
        return q;
    };

    t.screen.file_names.push_back(std::nullopt);
    EXPECT_EQ(load_midi_file(*t, fs, midi_load_mode::ask, {}), 0);
    EXPECT_EQ(t.screen.dialogs.back().extension, "mid");
    EXPECT_EQ(t.screen.dialogs.back().filter,
              "MIDI Files (*.mid,*.kar)|*.mid;*.kar|All Files (*.*)|*.*");

    // Yes: the song is cleared and takes the file's name and tempo. No, No: the tracks are
    // added and the tempo stays. No, Yes, Yes: joined at the current step, tempo track on.
    testing::give_track(*t, 0, 0, testing::short_records(3072, 3, 1));
    using a = msg_answer;
    const struct {
        std::deque<msg_answer> answers;
        texts_t questions;
        int track;
        std::int32_t tempo;
        int tempo_track_on;
    } runs[] = {
        {{a::yes}, {ask_erase_old_song}, 0, 15000, 0},
        {{a::no, a::no}, {ask_erase_old_song, ask_load_tempo}, 1, 9000, 0},
        {{a::no, a::yes, a::yes}, {ask_erase_old_song, ask_load_tempo, ask_keep_tempo}, 2, 9000, 1},
    };
    for (const auto& r : runs) {
        t.screen.messages.clear();
        t->app.song_tempo = 9000;
        t.screen.file_names.push_back(path);
        t.screen.answers = r.answers;
        EXPECT_EQ(load_midi_file(*t, fs, midi_load_mode::ask, {}), 1);
        EXPECT_EQ(questions(), r.questions);
        EXPECT_EQ(events(r.track), events_t{ev(3072, 0x90, 60, 1)});
        EXPECT_EQ(t->app.song_tempo, r.tempo);
        EXPECT_EQ(t->d.tempo_track_on, r.tempo_track_on);
        EXPECT_EQ(testing::check_pool(*t), "");
        EXPECT_EQ(titles, 1);
    }
    EXPECT_EQ(fs.current_file_title, "Tune.sng");
    EXPECT_EQ(fs.recent_files.front(), path);

    // The dropped file: erased, tempo loaded.
    clear_song(*t);
    EXPECT_TRUE(load_midi_into_cleared_song(*t, path));
    EXPECT_EQ(t->app.song_tempo, 15000);
    EXPECT_EQ(t->d.left_locator, 3072);
}

}  // namespace
}  // namespace kestrune
