// The Standard MIDI file reader on files built byte by byte.
#include "files/smf_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "files/file_messages.h"
#include "song/patterns.h"
#include "tests/files/file_test_support.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;
using texts_t = std::vector<std::string>;

constexpr midi_load_options added{.erased = false, .keep_tempo = false, .load_tempo = true};

class SmfReader : public ::testing::Test {
  protected:
    explicit SmfReader(int units = 10) : t(units) {}

    int load(const std::vector<std::uint8_t>& bytes, midi_load_options o = cleared_song_load) {
        const std::string path = dir.path("in.mid");
        write_bytes(path, bytes);
        if (o.erased) clear_song(*t);
        t.screen.messages.clear();
        const int r = read_midi_file(*t, path, o);
        EXPECT_EQ(check_pool(*t), "");
        return r;
    }
    int load(const midi_bytes& m, midi_load_options o = cleared_song_load) { return load(m.b, o); }
    texts_t shown() const {
        texts_t out;
        for (const auto& m : t.screen.messages) out.push_back(m.text);
        return out;
    }
    // Empty when the track, or the list, holds the records.
    std::string differs(int track, const records& want, int pattern = 0) const {
        return difference(read_track(*t.prog, pattern, track), want);
    }
    std::string differs(const chain_cursor& list, const records& want) const {
        return difference(read_chain(t.prog->store(), list.first), want);
    }
    const track_slot& slot(int track, int pattern = 0) { return t->slot(pattern, track); }

    temp_folder dir;
    test_program t;
};

records text(std::int32_t pos, const std::string& s, bool lyric = false) {
    return text_event(pos, s, lyric);
}
records sysex(std::int32_t pos, const std::vector<std::uint8_t>& payload) {
    return long_event(st::sysex, pos, payload);
}

TEST_F(SmfReader, HeaderIsFoundBehindUpTo200BytesWithoutFFInFormatsZeroAndOne) {
    std::vector<std::uint8_t> file(200, 'x');
    file[7] = 'M';  // a false start goes back to the first letter
    file[8] = 'T';
    midi_bytes m(1, 1, 192);
    m.track(track_bytes().at(0, {0x90, 60, 100}).at(192, {0x80, 60, 0}).end());
    file.insert(file.end(), m.b.begin(), m.b.end());
    EXPECT_EQ(load(file), 1);
    EXPECT_TRUE(shown().empty());
    EXPECT_EQ(differs(0, {ev(0x90, 60, 100, 3072), ev(0x80, 60, 0, 3264)}), "");
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
    for (auto [format, division] : {std::pair{2, 192}, {1, 0xE728}, {0, 0}}) {
        midi_bytes o(format, 1, division);
        o.track(track_bytes().at(0, {0x90, 60, 100}).end());
        EXPECT_EQ(load(o), 0) << format << " " << division;
        EXPECT_EQ(shown(), texts_t{msg_not_format_0_1});
        EXPECT_FALSE(slot(0).in_use);
    }
    // A longer header is skipped to its end.
    midi_bytes l(0, 1, 192);
    l.b[7] = 8;
    l.b.insert(l.b.end(), {0xAA, 0xBB});
    l.track(track_bytes().at(0, {0x90, 60, 100}).end());
    EXPECT_EQ(load(l), 1);
    EXPECT_EQ(differs(0, {ev(0x90, 60, 100, 3072)}), "");
    EXPECT_EQ(midi_format_text(*t), "Format 0");
}

TEST_F(SmfReader, PositionsScaleFromTheTickSumWithoutDriftOrOverflow) {
    // At 480 ticks a tick is 0.4 steps: 1, 2, 3 ticks land on 0, 0 and 1. At 32767 ticks the
    // scaled sum of 100,000,000 ticks passes 32 bits: 19,200,000,000 / 32767 = 585,955.
    for (const int division : {480, 32767}) {
        const std::uint64_t big = division == 480 ? 1 : 100'000'000;
        midi_bytes m(0, 1, division);
        m.track(track_bytes().at(big, {0xB0, 7, 1}).at(1, {0xB0, 7, 2}).at(1, {0xB0, 7, 3}).end());
        EXPECT_EQ(load(m), 1);
        const std::int32_t first = division == 480 ? 3072 : 3072 + 585'955;
        const std::int32_t third = division == 480 ? 3073 : first;
        EXPECT_TRUE(holds(read_track(*t.prog, 0, 0),
                          {ev(0xB0, 7, 1, first), ev(0xB0, 7, 2, first), ev(0xB0, 7, 3, third)}))
            << division;
    }
}

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
                .at(0, {0xD2, 70})  // channel pressure: one data byte
                .end());
    EXPECT_EQ(load(m), 1);
    EXPECT_EQ(
        differs(0, flat({{ev(0x92, 60, 64, 3072), ev(0x92, 62, 64, 3082)},
                         text(3082, "m"),
                         {ev(0x92, 64, 0, 3087)},
                         sysex(3087, {0x43, 0x10, 0xF7}),
                         {ev(0x92, 65, 70, 3092), ev(0xC2, 5, 0, 3092), ev(0xC2, 6, 0, 3095),
                          ev(0xC2, 7, 0, 3096), ev(0xE2, 0, 0x40, 3096), ev(0xD2, 70, 0, 3096)}})),
        "");
    EXPECT_EQ(nums(slot(0).channel, slot(0).loop_length, slot(0).blocks), nums(2, no_loop, 1));
    EXPECT_EQ(name_of(slot(0).name), default_midi_track_name);

    // A data byte before any status, or a system status, stops the load; the track is dropped.
    for (int bad : {0x40, 0xF1, 0xF8}) {
        midi_bytes u(1, 2, 192);
        u.track(track_bytes().at(0, {0x90, 60, 1}).end());
        track_bytes second = bad < 0x80 ? track_bytes() : track_bytes().at(0, {0x91, 60, 1});
        u.track(second.meta(0, 0x03, "late").at(0, {bad, 1, 1}).end());
        EXPECT_EQ(load(u), 0);
        EXPECT_EQ(shown(), texts_t{msg_unknown_message});
        EXPECT_EQ(differs(0, {ev(0x90, 60, 1, 3072)}), "");
        EXPECT_FALSE(slot(1).in_use);
    }
}

TEST_F(SmfReader, TempoMapAndSignaturesBuildTheirTracks) {
    midi_bytes m(0, 1, 192);
    m.track(track_bytes()
                .tempo(0, 500000)
                .signature(0, 3, 2)
                .at(0, {0x90, 60, 1})
                .tempo(192, 400000)
                .tempo(192, 333333)  // 180.00
                .tempo(0, 599907)    // 100.0155 rounds up
                .signature(192, 6, 3)
                .tempo(0, 0)         // held at the top
                .tempo(0, 0xFFFFFF)  // 3.5763 rounds up
                .signature(0, 0, 9)  // numerator and denominator held
                .at(1000, {0x80, 60, 0})
                .end());
    t->d.right_locator = 50000;
    EXPECT_EQ(load(m), 1);
    const dll_data& d = t->d;
    EXPECT_EQ(nums(d.tempo_track_on, t->app.song_tempo, d.signature_track_on), nums(1, 12000, 1));
    EXPECT_EQ(differs(d.tempo_chain,
                      {tempo(12000, 0), tempo(12000, 3072), tempo(15000, 3264), tempo(18000, 3456),
                       tempo(10002, 3456), tempo(99999, 3648), tempo(358, 3648)}),
              "");
    EXPECT_EQ(
        differs(d.signature_track, {ev(st::signature, 3, 4, 3072), ev(st::signature, 6, 8, 3648),
                                    ev(st::signature, 1, 32, 3648)}),
        "");
    EXPECT_EQ(d.active_signature.first, d.signature_track.first);
    // An erasing load puts the locators around the song: the right one on the bar line after its
    // last event, in the last signature.
    EXPECT_EQ(nums(d.left_locator, d.right_locator), nums(3072, 3648 + 1000 + 24 - 1000 % 24));
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
    EXPECT_EQ(differs(0, {ev(0x90, 60, 100, 3072), ev(0x80, 60, 0, 3072), ev(0x90, 62, 100, 3072),
                          ev(0x90, 62, 0, 3264), ev(0x90, 62, 90, 3264), ev(0x91, 64, 100, 3264),
                          ev(0x90, 65, 0, 3264), ev(0x90, 67, 100, 3456), ev(0x80, 64, 0, 3456),
                          ev(0x90, 69, 100, 3456)}),
              "");
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
    EXPECT_EQ(name_of(slot(0).name), "Intro text");
    EXPECT_EQ(differs(0, flat({text(3072, "Intro text here"), {ev(0x90, 1, 1, 3072)}})), "");
    EXPECT_EQ(name_of(slot(1).name), "Bass      ");
    EXPECT_EQ(name_of(slot(2).name), "  ab      ");
    EXPECT_EQ(name_of(slot(3).name), default_midi_track_name);
    EXPECT_EQ(name_of(slot(4).name), default_midi_track_name);
    std::string cut = long_text.substr(0, 200);
    cut[10] = '?';
    EXPECT_EQ(differs(4, flat({{ev(0x90, 1, 1, 3072)},
                               text(3073, "late"),
                               text(3073, "l?d", true),
                               text(3073, "Mark"),
                               text(3073, cut),
                               text(3073, "ab"),
                               {ev(0x90, 2, 1, 3073)}})),
              "");
    // A text of a NUL first gives the default name; the text itself is empty.
    EXPECT_EQ(name_of(slot(5).name), default_midi_track_name);
    EXPECT_EQ(differs(5, flat({text(3072, ""), {ev(0x90, 1, 1, 3072)}})), "");
    EXPECT_FALSE(slot(6).in_use);
}

TEST_F(SmfReader, TracksFillThePatternsFromTheCurrentOneUpToSixtySixAndWhatLoadedStays) {
    t->d.current_pattern = 2;
    midi_bytes m(1, 70, 192);
    for (int i = 0; i < 70; ++i) m.track(track_bytes().at(0, {0x90, i, 1}).end());
    EXPECT_EQ(load(m), 1);
    EXPECT_EQ(shown(), (texts_t{msg_tracks_in_patterns, msg_tracks_not_loaded}));
    EXPECT_EQ(differs(0, {ev(0x90, 0, 1, 3072)}, 2) + differs(31, {ev(0x90, 63, 1, 3072)}, 3) +
                  differs(1, {ev(0x90, 65, 1, 3072)}, 4),
              "");
    EXPECT_FALSE(slot(2, 4).in_use);
    // Sixty-six tracks all load: none is said to be left out.
    midi_bytes all(1, 66, 192);
    for (int i = 0; i < 66; ++i) all.track(track_bytes().at(0, {0x90, i, 1}).end());
    EXPECT_EQ(load(all), 1);
    EXPECT_EQ(shown(), texts_t{msg_tracks_in_patterns});

    // The parallel pattern has no pattern after it: what fits loads, the rest is refused.
    t->d.current_pattern = parallel_pattern;
    for (int tr = 0; tr < 30; ++tr) give_track(*t, parallel_pattern, tr, notes(2, 3072, 24));
    midi_bytes n(1, 4, 192);
    for (int i = 0; i < 4; ++i) n.track(track_bytes().at(0, {0x90, 60 + i, 1}).end());
    EXPECT_EQ(load(n, added), 0);
    EXPECT_EQ(shown(), texts_t{msg_out_of_tracks});
    EXPECT_EQ(differs(30, {ev(0x90, 60, 1, 3072)}, parallel_pattern) +
                  differs(31, {ev(0x90, 61, 1, 3072)}, parallel_pattern),
              "");
    EXPECT_EQ(t.screen.wait_cursors, t.screen.arrow_cursors);
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
                .end());
    EXPECT_EQ(load(m), 1);
    EXPECT_EQ(differs(0, flat({sysex(3072, {0x41, 0x10, 0xF7}), sysex(3073, {0x7E, 0x10, 0xF7}),
                               sysex(3074, big), sysex(3074, {0xF7})})),
              "");
    // No channel message: the track plays on the channels of its events.
    EXPECT_EQ(slot(0).channel, 16);
}

TEST_F(SmfReader, DamagedFilesKeepTheTracksLoadedSoFar) {
    const track_bytes good = track_bytes().at(0, {0x90, 60, 1}).at(10, {0x80, 60, 0}).end();
    const records good_events{ev(0x90, 60, 1, 3072), ev(0x80, 60, 0, 3082)};
    const records one{ev(0x92, 1, 1, 3072)};
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
    auto check = [&](const char* what, const std::vector<std::uint8_t>& bytes, const texts_t& said,
                     const std::vector<records>& tracks) {
        SCOPED_TRACE(what);
        EXPECT_EQ(load(bytes), 1);
        EXPECT_EQ(shown(), said);
        for (std::size_t i = 0; i < tracks.size(); ++i)
            EXPECT_EQ(differs(static_cast<int>(i), tracks[i]), "") << i;
    };
    const texts_t damaged{msg_midi_damaged};
    check("cut inside an event", cut, damaged, {good_events, {ev(0x91, 61, 1, 3072)}});
    // A meta past the chunk, a sysex past the file, a tempo and a delta cut short.
    for (const track_bytes& second :
         {bad({0xFF, 0x01, 100, 'a', 'b'}), bad({0xF0, 0x8F, 0xFF, 0xFF, 0x7F, 1}),
          bad({0xFF, 0x51, 3, 7}), cut_delta})
        check("the second track cut short", file(3, {good, second, good}), damaged,
              {good_events, one, {}});
    check("fewer chunks than counted", file(3, {good}), damaged, {good_events, {}});
    // A chunk length past the end of the file, with its end of track: nothing is wrong.
    check("chunk length past the end", midi_bytes(0, 1, 192).track(good, 5000).b, {},
          {good_events});
    // A chunk that ends at its length without an end of track closes there.
    check("no end of track", file(2, {track_bytes().at(0, {0x90, 60, 1}), good}), {},
          {{ev(0x90, 60, 1, 3072)}, good_events});
    // Events past the last position end the track; the rest of the chunk is read as the next
    // chunk, which it is not. An end of track past it ends the track quietly.
    const std::uint64_t past = last_position - song_start + 1;
    const track_bytes too_long = track_bytes()
                                     .at(0, {0x90, 60, 1})
                                     .at(past - 1, {0x80, 60, 0})
                                     .at(1, {0x90, 61, 1})
                                     .at(0, {0x80, 61, 0})
                                     .end();
    check("events past the last position", file(2, {too_long, good}),
          {msg_file_too_long, msg_unrecognized_data},
          {{ev(0x90, 60, 1, 3072), ev(0x80, 60, 0, last_position)}, {}});
    check("end of track past the last position",
          file(2, {track_bytes().at(0, {0x90, 60, 1}).end(past + 500), good}), {},
          {{ev(0x90, 60, 1, 3072)}, good_events});
    // A meta length of 0xFFFF ends the track behind it; from 0x8000 it skips nothing.
    const track_bytes long_metas = track_bytes()
                                       .at(0, {0x90, 60, 1})
                                       .at(0, {0xFF, 0x7F, 0x82, 0x80, 0x00})
                                       .at(0, {0x90, 61, 1})
                                       .at(0, {0xFF, 0x01, 0x83, 0xFF, 0x7F});
    check("meta lengths from 0x8000", file(3, {good, long_metas, good}), {},
          {good_events, flat({{ev(0x90, 60, 1, 3072), ev(0x90, 61, 1, 3072)}, text(3072, "")}),
           good_events});
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
    EXPECT_EQ(differs(0, {ev(0x90, 60, 1, 3072)}) + differs(1, {ev(0x90, 62, 1, 3072)}), "");
    EXPECT_FALSE(slot(2).in_use);
}

TEST_F(SmfReader, FileMenuAsksTheThreeQuestions) {
    file_state fs;
    int titles = 0;
    fs.title_changed = [&] { ++titles; };
    // At 96 ticks a quarter, 384 ticks are a bar of 4/4.
    midi_bytes m(0, 1, 96);
    m.track(track_bytes().tempo(0, 400000).at(384, {0x90, 60, 1}).end());
    const std::string path = dir.path("Tune.mid");
    write_bytes(path, m.b);
    auto questions = [&] {
        texts_t q;
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
    give_track(*t, 0, 0, notes(3, 3072, 24));
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
        EXPECT_EQ(differs(r.track, {ev(0x90, 60, 1, 3840)}), "");
        EXPECT_EQ(nums(t->app.song_tempo, t->d.tempo_track_on, titles),
                  nums(r.tempo, r.tempo_track_on, 1));
        EXPECT_EQ(check_pool(*t), "");
    }
    EXPECT_EQ(fs.current_file_title, "Tune.sng");
    EXPECT_EQ(fs.recent_files.front(), path);

    // The dropped file: erased, tempo loaded and driving the engine (15000 x 0.262144 = 3932.2),
    // the right locator on the bar line where its one event stands, bar 2.
    clear_song(*t);
    EXPECT_TRUE(load_midi_into_cleared_song(*t, path));
    EXPECT_EQ(nums(t->app.song_tempo, t->d.tempo_increment, t->d.left_locator, t->d.right_locator),
              nums(15000, 3932, 3072, 3840));
}

}  // namespace
}  // namespace kestrune
