#include "song/patterns.h"

#include <gtest/gtest.h>

#include <string>

#include "song/event_store.h"
#include "song/locate.h"
#include "song/position.h"
#include "song/track_fields.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

// The track named by the last silence request; the bytes stay after the engine clears the request.
std::string last_silenced(const program& p) {
    return std::to_string(p.d.silence_pattern) + "/" + std::to_string(p.d.silence_track);
}

void forget_silence(program& p) {
    p.d.silence_pattern = p.d.silence_track = 0xFF;
}

struct Patterns : ::testing::Test {
    testing::test_program t;
    program& p = *t;
    dll_data& d = p.d;
};

TEST_F(Patterns, ClearSongEmptiesEverythingAndLosesNoBlock) {
    const int free_at_start = d.free_blocks;
    give_track(p, 0, 0, notes(100, 3072, 10));  // several blocks
    give_track(p, 17, 31, notes(2, 3072, 10));
    use_tempo_track(p, {tempo(9000, 0), tempo(9001, 1000)});
    use_signature_track(p, {midi_event::make(st::signature, 3, 4, 3072)});
    // An undo copy held outside the patterns gives its blocks back too.
    give_track(p, 17, 30, notes(40, 3072, 10));
    p.undo.slot = p.slot(17, 30);
    p.undo.available = true;
    p.slot(17, 30) = track_slot{};
    // Internal recording goes off and gives back what it had switched off.
    d.internal_record = 2;
    d.midi_thru = 0;
    p.app.internal_record_saved = {true, 1, true, 1};
    d.song_mode = 1;
    d.position = 50000;

    for (int round = 0; round < 2; ++round) {  // a second clear on an empty song loses nothing
        clear_song(p);
        EXPECT_EQ(testing::check_pool(p), "");
        EXPECT_EQ(d.free_blocks, free_at_start);
    }
    EXPECT_TRUE(holds(read_chain(p.store(), d.tempo_chain.first), {tempo(12000, 0)}));
    EXPECT_EQ(nums(p.undo.available, d.internal_record, d.midi_thru, d.position, d.song_mode,
                   d.tempo_track_on, d.active_signature.first),
              nums(0, 0, 1, 3072, 0, 0, d.signature_chain.first));
}

// An empty track follows the last channel and port set for its number; a playing one is silenced.
TEST_F(Patterns, ChannelAndPortFollowToEmptyTracksAndEndThePlayingNotes) {
    give_track(p, 3, 20, notes(4, 3072, 192));
    p.slot(3, 20).channel = 4;
    set_track_channel(p, 0, 20, 9);
    set_track_port(p, 0, 20, 40);  // held to port D
    EXPECT_EQ(nums(p.slot(0, 20).channel, p.slot(parallel_pattern, 20).port, p.slot(3, 20).channel,
                   p.slot(take_pattern, 20).channel, p.slot(0, 21).channel),
              nums(9, 3, 4, 4, 5));
    d.current_pattern = 3;
    locate(p, 3500);
    d.stopped = 0;
    forget_silence(p);
    set_track_channel(p, 3, 20, 2);
    EXPECT_EQ(nums(last_silenced(p) == "0/20", d.track_position[20]), nums(1, 3500));
    // During a cycle take every slot of the working pattern follows.
    d.recording = d.cycle_recording = 1;
    set_track_channel(p, 3, 20, 11);
    for (int tr = 0; tr < tracks_per_pattern; ++tr)
        EXPECT_EQ(p.slot(take_pattern, tr).channel, 11) << tr;
}

TEST_F(Patterns, SelectTrackAndPatternSetThruFields) {
    auto set = [&](int pattern, int port, int channel, int transpose, int velocity, int compress) {
        track_slot& s = p.slot(pattern, 5);
        s.port = static_cast<std::uint8_t>(port);
        s.channel = static_cast<std::uint8_t>(channel);
        s.transpose = static_cast<std::int8_t>(transpose);
        s.velocity = static_cast<std::int8_t>(velocity);
        s.compress = static_cast<std::int8_t>(compress);
    };
    set(2, 3, 7, -12, 10, 2);
    set(6, 1, 16, 5, -3, -1);
    d.current_pattern = 2;
    auto thru = [&] {
        return nums(d.thru_port, d.thru_channel, d.thru_transpose, d.thru_velocity,
                    static_cast<std::int8_t>(d.thru_compress));
    };
    select_track(p, 5);
    EXPECT_EQ(d.current_track, 5);
    EXPECT_EQ(thru(), nums(3, 7, -12, 10, 2));
    EXPECT_TRUE(select_pattern(p, 6));
    EXPECT_EQ(d.current_pattern, 6);
    EXPECT_EQ(thru(), nums(1, 16, 5, -3, -1));

    // The parallel pattern counts as selected only in song mode.
    for (auto [song_mode, pattern, parallel] : {std::tuple{0, 16, 0}, {1, 16, 1}, {1, 3, 0}}) {
        d.song_mode = static_cast<std::uint8_t>(song_mode);
        EXPECT_TRUE(select_pattern(p, pattern));
        EXPECT_EQ(d.parallel_selected, parallel) << song_mode << " " << pattern;
    }

    // Refused during a take, except for a forced redraw.
    d.recording = 1;
    EXPECT_FALSE(select_pattern(p, 9));
    EXPECT_EQ(d.current_pattern, 3);
    EXPECT_EQ(t.screen.last_text(), "Can't do this while recording!");
    EXPECT_TRUE(select_pattern(p, 9, true));
    EXPECT_EQ(nums(d.current_pattern, t.screen.messages.size()), nums(9, 1));
}

TEST_F(Patterns, SongModeAndTheStepsPatternFollowThePosition) {
    d.recording = 1;
    EXPECT_FALSE(toggle_song_mode(*t));
    EXPECT_EQ(d.song_mode, 0);
    EXPECT_EQ(t.screen.last_text(), "Can't do this while recording!");
    d.recording = 0;
    d.current_pattern = 16;
    EXPECT_TRUE(toggle_song_mode(*t));
    EXPECT_EQ(nums(d.song_mode, d.parallel_selected), nums(1, 1));
    EXPECT_TRUE(toggle_song_mode(*t));
    EXPECT_EQ(nums(d.song_mode, d.parallel_selected), nums(0, 0));
    // Running: the position is found again in the new mode.
    d.current_pattern = 4;
    d.position = 20000;
    d.current_step = 0;
    d.stopped = 0;
    EXPECT_TRUE(toggle_song_mode(*t));
    EXPECT_EQ(nums(d.parallel_selected, d.current_step, d.display_pattern, d.stopped),
              nums(0, 2, 2, 0));

    // A step's pattern: the current step's is selected, and the running one plays at once.
    d.stopped = 1;
    d.current_step = 3;
    d.current_pattern = 3;
    set_step_pattern(*t, 3, 12);
    EXPECT_EQ(nums(t->step(3).pattern, t->step(3).pattern_ptr, d.current_pattern),
              nums(12, t->pattern_ref(12), 12));
    set_step_pattern(*t, 5, 40);
    EXPECT_EQ(nums(t->step(5).pattern, d.current_pattern), nums(15, 12));
    // With the parallel pattern selected the selection stays.
    d.current_pattern = 16;
    d.parallel_selected = 1;
    set_step_pattern(*t, 3, 1);
    EXPECT_EQ(d.current_pattern, 16);
    d.stopped = 0;
    d.position = t->step(3).end - 10;
    set_step_pattern(*t, 3, 7);
    EXPECT_EQ(d.display_pattern, 7);
}

TEST_F(Patterns, StepLengthsAndPickupsStayInBounds) {
    set_step_length(p, 5, 10000);
    EXPECT_EQ(step_length(p, 5), 10000);
    for (int i = 0; i < 31; ++i)
        EXPECT_EQ(p.step(i).end, 9216 + i * 6144 + (i < 5 ? 0 : 3856)) << i;
    set_step_length(p, 5, 0);
    EXPECT_EQ(step_length(p, 5), 1);
    // The last-but-one step may end at 0xFED00 and no later; the last step has no length to edit.
    set_step_length(p, 7, 0x7FFFFFFF);
    EXPECT_EQ(nums(p.step(30).end, p.step(31).end), nums(0xFED00, 0xFF001));
    set_step_length(p, 30, 50000);
    EXPECT_EQ(p.step(30).end, 0xFED00);
    set_step_length(p, 30, 100);
    set_step_length(p, 31, 100);
    EXPECT_EQ(nums(step_length(p, 30), p.step(31).end), nums(100, 0xFF001));

    // Each step: step 2's length (0: unchanged), pickup asked for step 3, pickup kept.
    for (auto [length, pickup, kept] :
         {std::tuple{0, 5000, 3072}, {0, -4, 0}, {1000, 5000, 999}, {0, 200, 200}, {0, 999, 999}}) {
        if (length) set_step_length(p, 2, length);
        set_step_pickup(p, 3, pickup);
        EXPECT_EQ(p.step(3).pickup, kept) << pickup;
    }
    set_step_pickup(p, 0, 5000);
    EXPECT_EQ(p.step(0).pickup, 3072);
    // Shortening the step before holds the pickup inside it.
    set_step_length(p, 2, 300);
    EXPECT_EQ(p.step(3).pickup, 299);
    set_step_length(p, 2, 1);
    EXPECT_EQ(p.step(3).pickup, 0);
}

void name_steps(program& p) {
    for (int i = 0; i < song_steps; ++i) set_step_name(p, i, "S" + std::to_string(i));
}

TEST_F(Patterns, InsertStepKeepsLengths) {
    name_steps(p);
    set_step_length(p, 2, 3000);
    set_step_pickup(p, 2, 3071);
    p.step(2).transpose = 5;
    const std::int32_t end2 = p.step(2).end;
    insert_step(p, 2);
    // Old step 31 is dropped; the moved step's pickup still fits in the step before it.
    EXPECT_EQ(name_of(p.step(2).name) + name_of(p.step(3).name) + name_of(p.step(4).name) +
                  name_of(p.step(31).name),
              "S2        S2        S3        S30       ");
    EXPECT_EQ(nums(p.step(3).transpose, p.step(2).end, step_length(p, 3), p.step(4).pattern,
                   p.step(2).pickup, p.step(3).pickup),
              nums(5, end2, 3000, 3, 3071, 2999));
    for (int i = 4; i < 31; ++i) EXPECT_EQ(step_length(p, i), 6144) << i;
    EXPECT_EQ(nums(p.step(30).end, p.step(31).end), nums(3072 + 29 * 6144 + 2 * 3000, 0xFF001));
    for (int i = 0; i < song_steps; ++i)
        EXPECT_EQ(nums(p.step(i).index, p.step(i).pattern_ptr),
                  nums(i, p.pattern_ref(p.step(i).pattern)));

    // Near the last position the ends stay in bounds and in order.
    set_step_length(p, 0, 0x7FFFFFFF);
    ASSERT_EQ(p.step(30).end, 0xFED00);
    insert_step(p, 0);
    for (int i = 0; i < 31; ++i) {
        EXPECT_GT(p.step(i).end, i ? p.step(i - 1).end : 3072) << i;
        EXPECT_LE(p.step(i).end, 0xFED00) << i;
    }
    EXPECT_EQ(p.step(31).end, 0xFF001);
}

TEST_F(Patterns, DeleteStep) {
    name_steps(p);
    set_step_length(p, 1, 500);
    set_step_pickup(p, 3, 3000);
    set_step_length(p, 4, 2000);
    p.step(3).pattern = 6;
    const std::int32_t end1 = p.step(1).end;
    delete_step(p, 2);
    EXPECT_EQ(name_of(p.step(2).name) + name_of(p.step(30).name) + name_of(p.step(31).name),
              "S3        S31                 ");
    // The old last step is shortened to 6144.
    EXPECT_EQ(nums(p.step(31).stop_here, p.step(1).end, step_length(p, 2), step_length(p, 3),
                   step_length(p, 30), p.step(31).end, p.step(2).pickup, p.step(2).pattern,
                   p.step(2).pattern_ptr),
              nums(0, end1, 6144, 2000, 6144, 0xFF001, 499, 6, p.pattern_ref(6)));
    for (int i = 0; i < song_steps; ++i) EXPECT_EQ(p.step(i).index, i);
    // A last-but-one step shorter than 6144 keeps its length.
    set_step_length(p, 30, 1000);
    delete_step(p, 0);
    EXPECT_EQ(nums(step_length(p, 29), step_length(p, 30)), nums(1000, 6144));
    // Deleting the last entry blanks it and leaves the step before it alone.
    set_step_name(p, 31, "STOP end");
    set_step_length(p, 30, 9000);
    delete_step(p, 31);
    EXPECT_EQ(name_of(p.step(31).name), "          ");
    EXPECT_EQ(nums(p.step(31).stop_here, step_length(p, 30), p.step(31).end),
              nums(0, 9000, 0xFF001));
}

TEST_F(Patterns, StopHereFromTheName) {
    // "STOP" in any case, starting within the first four characters.
    for (auto [name, stop] : {std::pair{"stop here", 1},
                              {"abcSTOP", 1},
                              {"abcdSTOP", 0},
                              {"S T O P", 0},
                              {"Chorus", 0}}) {
        set_step_name(p, 6, name);
        EXPECT_EQ(p.step(6).stop_here, stop) << name;
    }
    EXPECT_EQ(name_of(p.step(6).name), "Chorus    ");
    set_step_name(p, 6, "a name far longer than ten");
    EXPECT_EQ(name_of(p.step(6).name), "a name far");
    EXPECT_EQ(p.step(6).name[10], 0);
}

TEST_F(Patterns, LoopLengthsCountBeatsOfTheSignatureAtThePatternStart) {
    EXPECT_EQ(loop_length_from_beats(0, 4), 0xFF000);  // no loop, not 3071
    EXPECT_EQ(nums(beats_from_loop_length(0xFF000, 4),
                   beats_from_loop_length(loop_length_from_beats(5, 8), 8),
                   beats_from_loop_length(768 + 3071, 8), max_loop_beats(4), max_loop_beats(2)),
              nums(0, 5, 8, 249, 124));
    EXPECT_TRUE(loop_has_remainder(700 + 3071, 4));
    EXPECT_FALSE(loop_has_remainder(0xFF000, 4));
    // The longest loop still ends before the last position.
    for (int den : {1, 2, 4, 8, 16, 32})
        EXPECT_LE(3072 + loop_length_from_beats(max_loop_beats(den), den) - 3071, 0xFF000);

    // 4/4 from 3072, 3/8 from the start of step 1.
    use_signature_track(p, {midi_event::make(st::signature, 4, 4, 3072),
                            midi_event::make(st::signature, 3, 8, 9216)});
    set_track_loop_beats(p, 1, 2, 3);
    EXPECT_EQ(p.slot(1, 2).loop_length, 576 + 3071);
    d.song_mode = 1;
    d.current_step = 1;
    for (auto [beats, length] : {std::pair{3, 288 + 3071}, {1000, 96 * 498 + 3071}, {0, 0xFF000}}) {
        set_track_loop_beats(p, 1, 2, beats);
        EXPECT_EQ(p.slot(1, 2).loop_length, length) << beats;
    }
    // The parallel pattern starts with the song.
    d.current_pattern = 16;
    d.parallel_selected = 1;
    set_track_loop_beats(p, 16, 2, 3);
    EXPECT_EQ(p.slot(16, 2).loop_length, 576 + 3071);

    // A loop of one bar on a playing track: the track is seated again where the loop folds.
    give_track(p, 0, 4, notes(16, 3072, 192));
    d.song_mode = 0;
    d.current_pattern = 0;
    locate(p, 3072 + 768 * 2 + 100);
    d.stopped = 0;
    forget_silence(p);
    set_track_loop_beats(p, 0, 4, 4);
    EXPECT_EQ(nums(d.track_position[4], p.store().position(p.slot(0, 4).play), d.stopped),
              nums(3072 + 100, 3072 + 192, 0));
    EXPECT_EQ(last_silenced(p), "0/4");
}

}  // namespace
}  // namespace kestrune
