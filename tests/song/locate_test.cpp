#include "song/locate.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "song/event_store.h"
#include "song/patterns.h"
#include "song/position.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

std::int32_t pos_of(const program& p, ref32 r) {
    return p.store().position(r);
}
bool is_end(const program& p, ref32 r) {
    return p.store().status(r) == st::end;
}

struct Locate : ::testing::Test {
    testing::test_program t;
    program& p = *t;
    dll_data& d = p.d;
};

TEST_F(Locate, DelayAndLoopFoldIntoTheTrackPositionAndTheRightNotePlaysNext) {
    track_slot& late = give_track(p, 0, 1, notes(16, 3072, 192));
    late.delay = 10;
    track_slot& early = give_track(p, 0, 2, notes(16, 3072, 192));
    early.delay = -20;
    // A loop of three beats: 576 ticks do not divide the 3072 before the song start.
    track_slot& looped = give_track(
        p, 0, 3, {ev(0x90, 60, 100, 3072), ev(0x90, 61, 100, 3272), ev(0x90, 62, 100, 3472)});
    looped.delay = 10;
    looped.loop_length = loop_length_from_beats(3, 4);
    d.current_pattern = 0;

    const std::int32_t at = 3072 + 768 * 2 + 100;
    locate(p, at);
    // Track 4 is not in use: the plain position.
    EXPECT_EQ(nums(d.track_position[1], d.track_position[2], d.track_position[4]),
              nums(at - 10, at + 20, at));
    EXPECT_EQ(nums(pos_of(p, late.play), pos_of(p, early.play)),
              nums(3072 + 768 * 2 + 192, 3072 + 768 * 2 + 192));
    // 5000 - 10 = 8 x 576 + 382: the loop's third note is next, 18 ticks on, then its first.
    locate(p, 3072 + 5000);
    EXPECT_EQ(nums(d.track_position[3], pos_of(p, looped.play)), nums(3072 + 382, 3072 + 400));
    late.mute = early.mute = 1;
    d.stopped = 0;
    const std::int64_t t0 = t.clk.now_us();
    t.midi.clear();
    t.run_ms(ms_of(18 + 194));
    std::vector<sent_message> on;  // the loop's end also ends the note that sounds
    for (const sent_message& m : sent_messages(t.midi, t0))
        if ((m.a & 0xF0) == 0x90) on.push_back(m);
    ASSERT_EQ(on.size(), 2u);
    EXPECT_EQ(nums(on[0].b, on[1].b), nums(62, 60));
    EXPECT_NEAR(on[1].at / 1000.0, ms_of(194), 0.01);
}

TEST_F(Locate, SongModeFindsTheStep) {
    d.song_mode = 1;
    d.current_pattern = 9;
    give_track(p, 2, 0, notes(40, 3072, 192));
    set_step_length(p, 1, 1000);  // step 2 starts at 9216 + 1000

    const std::int32_t start2 = 9216 + 1000;
    locate(p, start2 + 500);
    // The window's pattern does not move.
    EXPECT_EQ(nums(d.current_step, d.display_pattern, d.play_pattern, d.current_pattern,
                   d.play_step_ptr, d.track_position[0], pos_of(p, p.slot(2, 0).play)),
              nums(2, 2, 2, 9, p.step_ref(2), 3072 + 500, 3072 + 576));

    // Position, step found, track position (-1: not checked).
    for (auto [at, step, track_pos] : {std::tuple{start2, 2, 3072},
                                       {start2 - 1, 1, -1},
                                       {100, 0, 100},  // step 0 plays on the song's own position
                                       {0xFF000, 31, 0xFF000 - p.step_start(31) + 3072}}) {
        locate(p, at);
        EXPECT_EQ(d.current_step, step) << at;
        if (track_pos >= 0) {
            EXPECT_EQ(d.track_position[0], track_pos) << at;
        }
    }

    // Step pointers are rebuilt from the pattern numbers first.
    p.step(2).pattern_ptr = p.pattern_ref(15);
    p.step(3).pattern = 4;
    p.step(3).pattern_ptr = p.pattern_ref(0);
    locate(p, start2);
    EXPECT_EQ(nums(p.step(3).pattern_ptr, p.step(2).pattern_ptr),
              nums(p.pattern_ref(4), p.pattern_ref(2)));
}

TEST_F(Locate, TempoTrackInPatternModeAndInALaterStep) {
    replace_chain(p, d.tempo_chain, {tempo(6000, 100), tempo(9000, 4000), tempo(15000, 5000)});

    // With the track off nothing of it is used.
    set_tempo_increment(d, 12000);
    locate(p, 4500);
    EXPECT_EQ(d.tempo_increment, 3145);

    d.tempo_track_on = 1;
    locate(p, 5000);  // a change exactly here is met by the engine on the next tick
    EXPECT_EQ(nums(pos_of(p, d.tempo_chain.play), d.tempo_display, d.tempo_increment),
              nums(5000, 9000, tempo_increment_for(9000)));

    // In a later step the tempo is that of the song position.
    d.song_mode = 1;
    replace_chain(p, d.tempo_chain, {tempo(12000, 0), tempo(6000, 3072 + 768)});
    // Step 1 (pattern 1) starts at 9216, where its pattern stands at 3072.
    give_track(p, 1, 0, {ev(0x90, 64, 100, 3072 + 96), ev(0x90, 65, 100, 3072 + 192)});
    locate(p, 9216 + 48);
    EXPECT_EQ(nums(d.current_step, d.track_position[0], pos_of(p, p.slot(1, 0).play),
                   d.tempo_display, d.tempo_increment),
              nums(1, 3072 + 48, 3072 + 96, 6000, 1572));
}

TEST_F(Locate, CyclePrepareSongMode) {
    d.song_mode = 1;
    give_track(p, 3, 6, notes(40, 3072, 192));
    give_track(p, 16, 2, notes(100, 3072, 192));
    d.left_locator = p.step_start(3) + 400;
    d.cycle_on = 1;

    locate(p, 5000);
    // The locate itself stays where it was sent.
    EXPECT_EQ(
        nums(d.cycle_step_ptr, d.cycle_track_position[6], pos_of(p, d.cycle_track_event[6]),
             d.cycle_parallel_position[2], pos_of(p, d.cycle_parallel_event[2]), d.current_step),
        nums(p.step_ref(3), 3072 + 400, 3072 + 576, d.left_locator,
             3072 + 192 * ((d.left_locator - 3072 + 191) / 192), 0));

    // In step 0 the locator is the local position.
    d.left_locator = 4000;
    cycle_prepare(p);
    EXPECT_EQ(nums(d.cycle_step_ptr, d.cycle_track_position[6]), nums(p.step_ref(0), 4000));

    // A left locator inside the next step's pickup belongs to that step.
    set_step_pickup(p, 3, 300);
    d.left_locator = p.step_start(3) - 100;
    cycle_prepare(p);
    EXPECT_EQ(nums(d.cycle_step_ptr, d.cycle_track_position[6]), nums(p.step_ref(3), 2972));
}

TEST_F(Locate, LocateTrackAfterAnEdit) {
    d.song_mode = 1;
    d.current_pattern = 1;
    locate(p, p.step_start(1) + 700);
    ASSERT_EQ(d.current_step, 1);

    // A new chain on a track of the current pattern.
    track_slot& s = give_track(p, 1, 8, notes(10, 3072, 192));
    s.delay = -8;
    locate_track(p, 1, 8);
    EXPECT_EQ(nums(d.track_position[8], pos_of(p, s.play)), nums(3072 + 708, 3072 + 768));

    // The parallel pattern is on the song position.
    d.current_pattern = 16;
    track_slot& par = give_track(p, 16, 8, notes(200, 3072, 192));
    locate_track(p, 16, 8);
    EXPECT_EQ(nums(d.parallel_track_position[8], pos_of(p, par.play)),
              nums(d.position, 3072 + 192 * ((d.position - 3072 + 191) / 192)));

    // Pattern mode: the plain position.
    d.song_mode = 0;
    d.current_pattern = 1;
    locate_track(p, 1, 8);
    EXPECT_EQ(d.track_position[8], d.position + 8);

    // An empty slot leaves everything alone.
    d.track_position[9] = -7;
    locate_track(p, 1, 9);
    EXPECT_EQ(d.track_position[9], -7);
    // A pattern that does not play is seated by the next locate.
    give_track(p, 5, 9, notes(10, 3072, 192));
    locate_track(p, 5, 9);
    EXPECT_EQ(d.track_position[9], -7);
}

TEST_F(Locate, CycleLocateTrackOnlyWhenTheLocatorPlaysThePattern) {
    d.song_mode = 1;
    d.cycle_on = 1;
    d.current_pattern = 2;
    d.left_locator = p.step_start(4) + 100;  // step 4 plays pattern 4
    locate(p, p.step_start(2) + 10);

    give_track(p, 2, 1, notes(10, 3072, 192));
    d.cycle_track_position[1] = -1;
    d.cycle_track_event[1] = null_ref;
    locate_track(p, 2, 1);
    // Another pattern at the locator: the cycle fields stay.
    EXPECT_EQ(nums(d.track_position[1], d.cycle_track_position[1], d.cycle_track_event[1]),
              nums(3072 + 10, -1, null_ref));

    set_step_pattern(p, 4, 2);
    d.current_pattern = 2;
    locate_track(p, 2, 1);
    // Track 2 was prepared by the locate and is left untouched.
    EXPECT_EQ(nums(d.cycle_track_position[1], pos_of(p, d.cycle_track_event[1]),
                   d.cycle_track_position[2]),
              nums(3072 + 100, 3072 + 192, 3072 + 100));

    // A parallel track always follows the locator.
    d.current_pattern = 16;
    give_track(p, 16, 1, notes(200, 3072, 192));
    locate_track(p, 16, 1);
    EXPECT_EQ(d.cycle_parallel_position[1], d.left_locator);
    EXPECT_FALSE(is_end(p, d.cycle_parallel_event[1]));
}

midi_event sig(int n, int d, std::int32_t pos) {
    return midi_event::make(st::signature, n, d, pos);
}

struct Position : ::testing::Test {
    testing::test_program t;
    program& p = *t;
};

using texts = std::vector<std::pair<std::int32_t, std::string>>;

// position_text at each position, or the clock at it when `clock` is set.
void expect_texts(program& p, const texts& want, bool clock = false) {
    for (const auto& [pos, text] : want)
        EXPECT_EQ(clock ? format_clock(position_to_ms(p, pos)) : position_text(p, pos), text)
            << pos;
}

TEST_F(Position, BarOneBeginsAt3072InEverySignature) {
    EXPECT_EQ(
        nums(tempo_increment_for(12000), tempo_increment_for(25000), tempo_increment_for(100)),
        nums(3145, 6553, 26));
    EXPECT_EQ(tempo_text(12000) + tempo_text(9905) + tempo_text(100), "120.00 99.05  1.00");
    EXPECT_EQ(signature_cell_text(4) + signature_cell_text(12), " 412");
    expect_texts(p, {{3072, "   1  1  1  1"},
                     {3072 + 768 * 2 + 192 + 50, "   3  2  2  3"},
                     {0, "  -3  1  1  1"}});
    for (auto [n, d] : {std::pair{5, 8}, {7, 16}, {1, 1}}) {
        set_default_signature(p, n, d);
        EXPECT_EQ(position_text(p, 3072), "   1  1  1  1") << n << "/" << d;
    }
    // A denominator past 64 still has its beat of 768 / d, as the engine counts it.
    set_default_signature(p, 3, 96);
    EXPECT_EQ(position_text(p, 3072 + 24), "   2  1  1  1");
    // The lead-in of 3/4 is five bars and a beat: position 0 is the last beat of bar -5.
    set_default_signature(p, 3, 4);
    expect_texts(p, {{3072 - 1, "   0  3  4 48"}, {0, "  -5  3  1  1"}});
    // Bar numbers go round after 9999.
    set_default_signature(p, 1, 32);  // a bar of 24 ticks
    expect_texts(p, {{3072 + 24 * 9998, "9999  1  1  1"},
                     {3072 + 24 * 12344 + 5, "2345  1  1  6"},
                     {0, "-127  1  1  1"}});

    // Two bars of 3/4, three of 4/4, then 6/8; before the first record the lead-in runs in the
    // first signature.
    use_signature_track(p, {sig(3, 4, 3072), sig(4, 4, 4224), sig(6, 8, 6528)});
    expect_texts(p, {{4223, "   2  3  4 48"},
                     {4224 + 768 + 192 + 50, "   4  2  2  3"},
                     {6528 + 576 + 96 + 10, "   7  2  1 11"},
                     {3072 - 576, "   0  1  1  1"}});
    EXPECT_EQ(bar_text(p, 6528), "   6");
    // The groove unit, and the simple bar display of ticks in the beat.
    use_signature_track(p, {sig(4, 4, 3072)});
    p.app.edit_grid = 24;
    EXPECT_EQ(position_text(p, 3072 + 192 + 24 * 3 + 5), "   1  2  4  6");
    p.app.simple_bardisplay = true;
    EXPECT_EQ(position_text(p, 3072 + 192 + 24 * 3 + 5), "   1  2   78 ");
}

TEST_F(Position, ClockFollowsTheSongTempoOrTheTempoTrack) {
    // The lead-in reads as zero.
    expect_texts(p, {{3072 + 192 * 120 * 61 + 192 * 2 * 5, "1:01:05"}, {0, "0:00:00"}}, true);
    // At 1.00 a tick lasts 375 ms: ten hours are 96000 ticks.
    p.app.song_tempo = 100;
    expect_texts(p, {{3072 + 95998, "9:59:59"}, {3072 + 96000, "?:??:??"}}, true);

    // 60.00 in the lead-in, 120.00 from 3072, 60.00 after a minute, 240.00 after another; the
    // song tempo is not used while the track is on.
    const std::int32_t one_minute = 3072 + 192 * 120;
    use_tempo_track(p, {tempo(6000, 0), tempo(12000, 3072), tempo(6000, one_minute),
                        tempo(24000, one_minute + 192 * 60)});
    expect_texts(p,
                 {{3072 + 192 * 60, "0:00:30"},
                  {one_minute + 192 * 30, "0:01:30"},
                  {one_minute + 192 * 60 + 192 * 240, "0:03:00"}},
                 true);
    // The tempo in force at 3072 may come from a record before it.
    use_tempo_track(p, {tempo(6000, 0), tempo(24000, 1000), tempo(12000, 3072 + 192 * 240)});
    expect_texts(p, {{3072 + 192 * 240, "0:01:00"}, {3072 + 192 * 360, "0:02:00"}}, true);
    // An empty tempo track runs at 120.00.
    use_tempo_track(p, {});
    expect_texts(p, {{one_minute, "0:01:00"}}, true);
}

}  // namespace
}  // namespace kestrune
