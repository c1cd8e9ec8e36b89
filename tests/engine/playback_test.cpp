#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "core/midi_message.h"
#include "song/locate.h"
#include "song/patterns.h"
#include "song/position.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

class Playback : public ::testing::Test {
  protected:
    test_program t;
    std::int64_t t0 = 0;

    void start(std::int32_t pos) {
        locate(*t, pos);
        t->d.stopped = 0;
        t0 = t.clk.now_us();
        t.midi.clear();
        t.run_ms(0);
    }
    // What was sent since the start, clock bytes only when asked for.
    std::vector<sent_message> out(bool with_clock = false) const {
        return sent_messages(t.midi, t0, with_clock);
    }
};

#define EXPECT_MSG(m, P, A, B, C, MS)            \
    do {                                         \
        EXPECT_EQ((m).port, P);                  \
        EXPECT_EQ((m).a, A);                     \
        EXPECT_EQ((m).b, B);                     \
        EXPECT_EQ((m).c, C);                     \
        EXPECT_NEAR((m).at / 1000.0, MS, 0.002); \
    } while (0)

TEST_F(Playback, TrackParametersShapeEveryEventAtItsOwnTime) {
    add_sorted(
        *t, 0, 0,
        {ev(0x90, 60, 100, 3072), ev(0x80, 60, 64, 3072 + 96), ev(0xB0, 7, 90, 3072 + 192),
         ev(0xC0, 5, 0, 3072 + 192), ev(0xA0, 60, 30, 3072 + 200), ev(0x90, 61, 1, 3072 + 250)});
    track_slot& sl = t->slot(0, 0);
    sl.channel = 15;
    sl.transpose = 2;
    sl.velocity = 10;
    sl.compress = 1;
    sl.port = 1;
    start(3072);
    t.run_ms(1000);
    auto v = out();
    ASSERT_EQ(v.size(), 6u);
    EXPECT_MSG(v[0], 1, 0x9F, 62, 92, 0.0);  // (100 - 64) >> 1 + 64 + 10
    EXPECT_MSG(v[1], 1, 0x8F, 62, 64, ms_of(96));
    EXPECT_MSG(v[2], 1, 0xBF, 7, 90, ms_of(192));
    EXPECT_EQ(t.midi[3].size, 2);
    EXPECT_MSG(v[3], 1, 0xCF, 5, -1, ms_of(192));
    EXPECT_MSG(v[4], 1, 0xAF, 62, 30, ms_of(200));
    // Velocity 1 compressed gives 32 (the shift rounds down), plus 10.
    EXPECT_MSG(v[5], 1, 0x9F, 63, 42, ms_of(250));
    EXPECT_EQ(t->d.track_activity[0], 42);
}

TEST(Velocity, CompressionHalvesFlattensOrDoublesTheDistanceFrom64AndNeverGivesZero) {
    EXPECT_EQ(nums(compressed_velocity(100, 2, 0), compressed_velocity(30, 5, 10),
                   compressed_velocity(80, -1, 0), compressed_velocity(20, -1, 0),
                   compressed_velocity(64, 0, -99), compressed_velocity(120, 4, 127)),
              nums(73, 74, 96, 1, 1, 127));
}

TEST_F(Playback, SilenceTrackAndAllNotesOffEndExactlyWhatSoundsHoweverManyAfterChanges) {
    add_sorted(*t, 0, 0,
               {ev(0x90, 60, 100, 3072), ev(0x90, 64, 100, 3072), ev(0x80, 60, 0, 3072 + 768),
                ev(0x80, 64, 0, 3072 + 768)});
    records chord;
    for (int k = 0; k < 100; ++k) chord.push_back(ev(0x90 | (k & 1), 20 + k, 100, 3072));
    add_sorted(*t, 0, 1, chord);
    add_sorted(*t, 0, 2, chord).channel = 2;
    add_sorted(*t, 0, 3, {ev(0x91, 40, 80, 3072 + 10), ev(0x91, 40, 0, 3072 + 20)});
    t->slot(0, 0).transpose = -12;
    t->slot(0, 0).channel = 9;
    start(3072);
    t.run_ms(100);
    t.midi.clear();
    t->silence_track(0, 1);
    auto v = out();
    ASSERT_EQ(v.size(), 100u);
    // The first track's two notes and the third's chord sound on; the fourth's note ended at
    // velocity 0.
    EXPECT_EQ(nums(v[99].a, v[99].b, t.eng.playback().open_note_count()), nums(0x81, 119, 102));
    // The musician changes a track while its notes hang on: they end as they were sent.
    t->slot(0, 0).transpose = 5;
    t->slot(0, 0).channel = 2;
    t.midi.clear();
    t->wait_request(t->d.all_notes_off_request);
    v = out();
    ASSERT_EQ(v.size(), 102u);
    EXPECT_EQ(nums(v[100].a, v[100].b, v[101].a, v[101].b, t.eng.playback().open_note_count()),
              nums(0x89, 48, 0x89, 52, 0));
    // Their own note-offs later find nothing open and go out with the new parameters, harmlessly.
    t.midi.clear();
    t.run_ms(ms_of(800));
    for (const auto& m : out()) EXPECT_EQ(m.a & 0xF0, 0x80);
}

TEST_F(Playback, ANoteOffEndsTheNoteOfItsOwnChannelWhenAKeySoundsOnTwo) {
    // As in a type-0 file: one track, the same key on two channels.
    add_sorted(*t, 0, 0,
               {ev(0x90, 60, 100, 3072), ev(0x91, 60, 100, 3072 + 10), ev(0x81, 60, 0, 3072 + 20),
                ev(0x80, 60, 0, 3072 + 30)});
    t->slot(0, 0).transpose = 2;
    t->slot(0, 0).channel = 16;  // each event keeps its own channel
    start(3072);
    t.run_ms(ms_of(15));
    t->slot(0, 0).transpose = 5;  // the notes end as they were sent
    t.run_ms(ms_of(25));
    auto v = out();
    ASSERT_EQ(v.size(), 4u);
    EXPECT_MSG(v[2], 0, 0x81, 62, 0, ms_of(20));
    EXPECT_MSG(v[3], 0, 0x80, 62, 0, ms_of(30));
}

TEST_F(Playback, MutedDisabledAndMaskedTracksStaySilentButKeepTheirPlace) {
    add_sorted(
        *t, 0, 0,
        {ev(0x90, 60, 100, 3072), ev(0x80, 60, 0, 3072 + 96), ev(0x90, 61, 100, 3072 + 192)});
    append(*t, t->slot(0, 0), long_event(st::sysex, 3072 + 290, sysex_payload(10)));
    start(3072);
    t.run_ms(ms_of(50));
    t->slot(0, 0).mute = 1;  // muted while its note sounds: the note still ends
    t.run_ms(ms_of(100));
    t->slot(0, 0).mute = 0;
    t.run_ms(ms_of(100));
    auto v = out();
    ASSERT_EQ(v.size(), 3u);
    EXPECT_EQ(nums(v[1].a, v[2].b), nums(0x80, 61));
    t.midi.clear();
    t->d.track_enable[0] = 0;
    start(3072);
    t.run_ms(ms_of(300));
    EXPECT_TRUE(out().empty());
}

TEST_F(Playback, DelayAndLoopFoldWithNothingMissedOrDoubledAtTheSeam) {
    // A loop of one beat holding two notes, delayed by 10 ticks.
    add_sorted(
        *t, 0, 0,
        {ev(0x90, 60, 100, 3072), ev(0x80, 60, 0, 3072 + 96), ev(0x90, 62, 100, 3072 + 191)});
    track_slot& sl = t->slot(0, 0);
    sl.loop_length = loop_length_from_beats(1, 4);
    sl.delay = 10;
    start(3072);
    t.run_ms(ms_of(3 * 192 + 20));
    auto v = out();
    // Per round: note 60 on at 0, off at 96, note 62 on at 191 and ended at the loop's end.
    ASSERT_EQ(v.size(), 13u);
    for (std::size_t i = 0; i < v.size(); ++i) {
        const int in_round[] = {0, 96, 191, 192};
        EXPECT_EQ(v[i].a, i % 4 % 2 ? 0x80 : 0x90) << i;
        EXPECT_NEAR(v[i].at / 1000.0, ms_of(10 + static_cast<int>(i / 4) * 192 + in_round[i % 4]),
                    0.01)
            << i;
    }
}

TEST_F(Playback, SongModeFollowsStepsPickupsMasksTranspositionAndStops) {
    // Pattern 1 plays in step 0 (one bar), pattern 2 in step 1 with a pickup of a quarter.
    set_step_pattern(*t, 0, 1);
    set_step_pattern(*t, 1, 2);
    set_step_length(*t, 0, 768);
    set_step_length(*t, 1, 768);
    set_step_pickup(*t, 1, 192);
    t->step(1).transpose = 12;
    t->step(1).track_mask = 1u << 1;
    set_step_name(*t, 1, "STOP here");
    set_step_pickup(*t, 2, 96);  // not taken: play stops at the end of step 1
    add_sorted(*t, 1, 0, {ev(0x90, 60, 100, 3072), ev(0x80, 60, 0, 3072 + 700)});
    add_sorted(
        *t, 2, 0,
        {ev(0x90, 50, 100, 3072 - 96), ev(0x80, 50, 0, 3072 + 96), ev(0x90, 52, 90, 3072 + 384)});
    add_sorted(*t, 2, 1, {ev(0x90, 70, 100, 3072)});  // masked in step 1
    add_sorted(*t, 2, 2, {ev(0x92, 20, 100, 3072 + 200)}).delay = 10;
    add_sorted(*t, parallel_pattern, 0, {ev(0x92, 30, 100, 3072 + 800)});
    t->d.song_mode = 1;
    t->d.current_step = 0;
    start(3072);
    t.run_ms(ms_of(768 * 3));
    auto v = out();
    ASSERT_EQ(v.size(), 7u);
    EXPECT_MSG(v[0], 0, 0x90, 60, 100, 0.0);
    // The pickup of step 1 begins a quarter before step 0 ends: step 0's note ends there.
    EXPECT_MSG(v[1], 0, 0x80, 60, 64, ms_of(576));
    EXPECT_MSG(v[2], 0, 0x90, 62, 100, ms_of(672));  // 3072 - 96 of pattern 2, up an octave
    // The parallel pattern plays on its own, on its track's channel.
    EXPECT_MSG(v[3], 0, 0x90, 30, 100, ms_of(800));
    EXPECT_MSG(v[4], 0, 0x80, 62, 0, ms_of(768 + 96));
    EXPECT_MSG(v[5], 0, 0x92, 32, 100, ms_of(768 + 210));  // seated at the step less its delay
    EXPECT_MSG(v[6], 0, 0x90, 64, 90, ms_of(768 + 384));
    // The stop step ends play where it stands.
    EXPECT_EQ(nums(t->d.current_step, t->d.play_pattern, t->d.engine_stop, t->d.position),
              nums(1, 2, 1, 3072 + 2 * 768));
}

TEST_F(Playback, TempoTrackChangesTheRateAtItsRecords) {
    // The second record is slow, not below the lowest tempo: it stands as it is.
    append(*t, t->d.tempo_chain.first, t->d.tempo_chain.blocks,
           {tempo(6000, 3072 + 192), tempo(150, 3072 + 384)});
    t->d.tempo_track_on = 1;
    add_sorted(*t, 0, 0, {ev(0x90, 60, 100, 3072 + 192), ev(0x90, 61, 100, 3072 + 384)});
    start(3072);
    t.run_ms(2000);
    auto v = out();
    ASSERT_EQ(v.size(), 2u);
    EXPECT_NEAR(v[0].at / 1000.0, 500.0, 0.01);
    EXPECT_NEAR(v[1].at / 1000.0, 1500.0, 0.01);  // a beat at 60 bpm
    EXPECT_EQ(t->d.tempo_display, 150);
    // The cycle jumps back to the tempo at the left locator: the second round is as the first, and
    // the note on the right locator never sounds.
    t->d.cycle_on = 1;
    t->d.left_locator = 3072;
    t->d.right_locator = 3072 + 384;
    start(3072);
    t.run_ms(2100);
    v = out();
    ASSERT_EQ(v.size(), 3u);  // the note, its end at the jump after 1500 ms, the note again
    EXPECT_NEAR(v[2].at / 1000.0, 2000.0, 0.01);
}

TEST_F(Playback, ClickOnEveryBeatAndClockEveryEightTicks) {
    dll_data& d = t->d;
    d.midi_click = d.click_always = d.sync_out = d.sync_out_ports[0] = d.sync_out_ports[3] = 1;
    d.click_port = 2;
    d.click_channel = 9;
    d.click_note = 37;
    d.click_velocity = 127;
    d.sync_delay = 3;
    start(3072);
    t.run_ms(ms_of(192 * 2 + 4));
    std::vector<double> clicks, clocks0;
    int clocks[4] = {};
    for (const auto& m : out(true)) {
        if (m.a == 0x99) {
            EXPECT_EQ(nums(m.port, m.b, m.c), nums(2, 37, 127));
            clicks.push_back(m.at / 1000.0);
        }
        if (m.a == 0xF8) ++clocks[m.port];
        if (m.a == 0xF8 && m.port == 0) clocks0.push_back(m.at / 1000.0);
    }
    ASSERT_EQ(clicks.size(), 3u);
    EXPECT_NEAR(clicks[1], 500.0, 0.01);
    // 3, 11, ..., 387: three ticks of sync delay.
    EXPECT_EQ(nums(clocks[0], clocks[1], clocks[2], clocks[3]), nums(49, 0, 0, 49));
    for (std::size_t i = 0; i < clocks0.size(); ++i)
        EXPECT_NEAR(clocks0[i], ms_of(3 + 8 * static_cast<int>(i)), 0.01);
    EXPECT_EQ(t->d.beat_in_bar, 2);
}

TEST_F(Playback, SysexGoesOutWhole) {
    const std::vector<std::uint8_t> payload = sysex_payload(101);
    add_sorted(*t, 0, 0, {ev(0x90, 60, 100, 3072)});
    append(*t, t->slot(0, 0), long_event(st::sysex, 3072 + 10, payload));
    ASSERT_EQ(testing::check_pool(*t), "");
    start(3072);
    t.run_ms(100);
    ASSERT_EQ(t.midi.size(), 2u);
    EXPECT_EQ(nums(t.midi[1].bytes[0], t.midi[1].long_size), nums(0xF0, payload.size() + 1));
}

}  // namespace
}  // namespace kestrune
