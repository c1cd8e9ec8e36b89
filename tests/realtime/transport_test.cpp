#include "realtime/transport.h"

#include <gtest/gtest.h>

#include <vector>

#include "song/event_store.h"
#include "song/locate.h"
#include "song/patterns.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

class Transport : public ::testing::Test {
  protected:
    testing::test_program t;
    transport tr{*t};

    // The bytes of each message sent to a port.
    std::vector<std::vector<int>> sent(int port = 0) { return sent_bytes(t.midi, port); }
    void clock_out_on_a() {
        t->d.sync_out = 1;
        t->d.sync_out_ports[0] = 1;
    }
};

TEST_F(Transport, PlayStartsAtTheSongStartWithStartAndElsewhereWithPointerAndContinue) {
    clock_out_on_a();
    t->d.position = 20000;
    tr.play();
    // Pattern mode plays from 3072, not from where it stood.
    EXPECT_EQ(nums(t->d.position, t->d.stopped, tr.waited_ms, t->d.spp_delay),
              nums(song_start, 0, 100, 0));
    auto v = sent();
    ASSERT_FALSE(v.empty());
    EXPECT_EQ(v.back(), std::vector<int>{0xFA});
    // With the cycle on, play starts at the left locator: pointer, then Continue, 200 ms of waits.
    tr.stop();
    t.midi.clear();
    tr.waited_ms = 0;
    t->d.cycle_on = 1;
    t->d.left_locator = song_start + 768 + 10;
    t->d.right_locator = song_start + 4 * 768;
    tr.play();
    EXPECT_EQ(t->d.position, song_start + 778);
    const int spp = 778 / 48 + 1;
    EXPECT_EQ(sent(), (std::vector<std::vector<int>>{{0xF2, spp & 0x7F, spp >> 7}, {0xFB}}));
    EXPECT_EQ(nums(t->d.spp_delay, tr.waited_ms), nums(48 - 778 % 48, 200));
    // Clock output lines up with the pointer: the first clock falls on its sixteenth.
    t.midi.clear();
    t.run_ms(200);
    auto clocks = sent();
    ASSERT_FALSE(clocks.empty());
    EXPECT_EQ(clocks[0], std::vector<int>{0xF8});
    // A pointer before the song start is zero with a delay.
    tr.song_position_pointer(3000);
    EXPECT_EQ(sent().back(), (std::vector<int>{0xF2, 0, 0}));
    EXPECT_EQ(t->d.spp_delay, 72);
}

TEST_F(Transport, StopStopsThenRewindsAndPauseContinuesFromThePosition) {
    tr.play();
    t.run_ms(500);
    const std::int32_t there = t->d.position;
    EXPECT_GT(there, song_start + 150);
    tr.stop();
    EXPECT_EQ(nums(t->d.stopped, t->d.position), nums(1, there));
    tr.pause();  // continue where it stood
    EXPECT_EQ(nums(t->d.stopped, t->d.position), nums(0, there));
    t.run_ms(500);
    tr.pause();
    EXPECT_EQ(nums(t->d.stopped, tr.buttons.pause), nums(1, 1));
    EXPECT_GT(t->d.position, there);
    tr.stop();
    tr.stop();
    EXPECT_EQ(t->d.position, song_start);
}

TEST_F(Transport, RewindInSongModeHoldsAPickupInWholeBars) {
    t->d.song_mode = 1;
    t->d.current_step = 2;
    set_step_pickup(*t, 2, 768 + 384);  // a bar and a half
    tr.rewind(0);
    EXPECT_EQ(t->d.position, t->step_start(2) - 2 * 768);
    EXPECT_EQ(t->d.current_step, 1);  // the locate lands in the step before, ahead of the pickup
    tr.rewind(1);                     // Stop's rewind on the main screen goes to step 0
    EXPECT_EQ(t->d.position, song_start);
}

TEST_F(Transport, ChaseEventsSendsWhatTheSongSetBeforeAHeldNoteAndNothingOlder) {
    add_sorted(*t, 0, 0,
               {ev(0xC0, 5, 0, song_start), ev(0xB0, 7, 100, song_start + 10),
                ev(0xB0, 0, 2, song_start + 20), ev(0xC0, 9, 0, song_start + 400),
                ev(0xB0, 7, 60, song_start + 500), ev(0xE0, 0, 70, song_start + 600),
                ev(0xD0, 50, 0, song_start + 700), ev(0xB0, 1, 9, song_start + 800),
                ev(0x90, 60, 100, song_start + 900), ev(0x80, 60, 0, song_start + 1200),
                ev(0xB0, 7, 20, song_start + 2000)});
    t->slot(0, 0).channel = 16;  // as recorded
    add_sorted(*t, 0, 1, {ev(0xC1, 44, 0, song_start)});
    t->slot(0, 1).mute = 1;
    add_sorted(*t, 0, 2, {ev(0xC0, 12, 0, song_start + 50)});
    t->slot(0, 2).channel = 3;
    t->slot(0, 2).port = 1;

    // Chase Events on; Pause continues from a position dialled into the note held from 900.
    t->app.chase_events = true;
    t->d.position = song_start + 1000;
    t.midi.clear();
    tr.pause();
    t.run_ms(ms_of(300));
    // Per port and channel the last of each kind before the position: bank select MSB 2 (at
    // 20), program 9 (400, not 5), volume 60 (500, not 100), the wheel (600); channel pressure
    // and controller 1 are not chased, the volume at 2000 is not yet due. Banks go before the
    // program so that it lands in the right bank. Then the held note's end, 200 ticks on.
    EXPECT_EQ(sent(0), (std::vector<std::vector<int>>{{0xB0, 0, 2},
                                                      {0xC0, 9},
                                                      {0xB0, 7, 60},
                                                      {0xE0, 0, 70},
                                                      {0x80, 60, 0}}));
    // The track's channel overrides the event's; a muted track is not chased.
    EXPECT_EQ(sent(1), (std::vector<std::vector<int>>{{0xC3, 12}}));
}

TEST_F(Transport, SoloLeavesOneTrackSoundingAndFollowsTheCurrentTrack) {
    add_sorted(*t, 0, 0, {ev(0x90, 60, 100, song_start + 10)});
    add_sorted(*t, 0, 1, {ev(0x91, 62, 100, song_start + 10)});
    t->d.current_track = 1;
    tr.toggle_solo();
    tr.play();
    t.run_ms(100);
    EXPECT_EQ(sent(), (std::vector<std::vector<int>>{{0x91, 62, 100}}));
    t->d.current_track = 0;
    tr.solo_follows_track();
    EXPECT_EQ(nums(t->d.track_enable[0], t->d.track_enable[1]), nums(1, 0));
    tr.toggle_solo();
    for (int i = 0; i < 32; ++i) EXPECT_EQ(t->d.track_enable[i], 1);
}

TEST_F(Transport, MemoryPositionWhileRunningStopsAndRestartsTheClock) {
    clock_out_on_a();
    tr.play();
    t.run_ms(300);
    tr.memory_position_key(1, true);  // store where it stands
    const auto stored = static_cast<std::int32_t>(tr.memory_position(1));
    t.run_ms(300);
    t.midi.clear();
    tr.waited_ms = 0;
    tr.memory_position_key(1, false);
    EXPECT_EQ(t->d.stopped, 0);
    auto v = sent();
    ASSERT_GE(v.size(), 3u);
    const int spp = (stored - song_start) / 48 + 1;
    EXPECT_EQ(std::vector(v.begin(), v.begin() + 3),
              (std::vector<std::vector<int>>{{0xFC}, {0xF2, spp & 0x7F, spp >> 7}, {0xFB}}));
    EXPECT_EQ(nums(tr.waited_ms, t->d.position), nums(20 + 100 + 200, stored));
}

TEST_F(Transport, CycleAndPunchExcludeEachOtherAndAreRefusedDuringATake) {
    tr.toggle_punch();
    tr.toggle_cycle();
    EXPECT_EQ(nums(t->d.cycle_on, t->d.punch_on), nums(1, 0));
    t->d.recording = 1;
    tr.toggle_cycle();
    EXPECT_EQ(t->d.cycle_on, 1);
    EXPECT_EQ(t.screen.last_text(), "Can't do this while recording!");
    t->d.recording = 0;
    t->d.internal_record = 2;
    tr.toggle_punch();
    EXPECT_EQ(t.screen.last_text(), "Can't do this while\nInternal Record is active!");
}

TEST_F(Transport, TempoTrackToggleSwitchesTheRateAndManualEditsAreRefusedMeanwhile) {
    t->store().at(t->d.tempo_chain.first) = tempo(9000, 0);
    tr.toggle_tempo_track();
    EXPECT_EQ(nums(tr.shown_tempo, t->d.tempo_increment), nums(9000, 2359));
    tr.set_manual_tempo(15000);
    EXPECT_EQ(t.screen.last_text(),
              "The Tempo Track is active!\nChange value in the Tempo Editor.");
    tr.toggle_tempo_track();
    EXPECT_EQ(t->d.tempo_increment, 3145);
    t->d.external_sync = 1;
    tr.toggle_tempo_track();
    EXPECT_EQ(t->d.tempo_track_on, 0);
}

TEST_F(Transport, ExternalStartContinueAndStopDriveTheTransport) {
    add_sorted(*t, 0, 0, {ev(0x90, 60, 100, song_start + 48)});
    tr.set_external_sync(true);
    tr.play();  // armed: nothing moves until the clock comes
    t.run_ms(100);
    EXPECT_EQ(t->d.position, song_start);
    tr.stop();
    EXPECT_EQ(t->d.stopped, 1);
    t.feed({0xFA});
    t.feed({0xF8});  // a clock before the transport has started is counted, not lost
    tr.tick(false);
    EXPECT_EQ(t->d.stopped, 0);
    t.run_ms(1);
    EXPECT_EQ(t->d.position, song_start + 8);
    for (int i = 0; i < 5; ++i) t.feed({0xF8});
    EXPECT_EQ(t->d.position, song_start + 48);
    ASSERT_EQ(sent().size(), 1u);
    for (auto [byte, stopped] : {std::pair{0xFC, 1}, {0xFB, 0}}) {
        t.feed({static_cast<std::uint8_t>(byte)});
        tr.tick(false);
        EXPECT_EQ(t->d.stopped, stopped) << byte;
    }
    t.feed({0xF8});
    EXPECT_EQ(t->d.position, song_start + 56);
}

TEST_F(Transport, MoveBarStepsToBarLinesAndRunningGoesOneFurtherBack) {
    t->d.position = song_start + 100;
    tr.move_bar(true, false);
    EXPECT_EQ(t->d.position, song_start + 768);
    tr.move_bar(true, true);
    EXPECT_EQ(t->d.position, song_start + 11 * 768);
    tr.move_bar(false, false);
    EXPECT_EQ(t->d.position, song_start + 10 * 768);
    tr.play();
    tr.pending_position = song_start + 768 + 5;
    tr.move_bar(false, false);
    EXPECT_EQ(nums(tr.pending_position, tr.pending_position_set), nums(song_start, 1));
    tr.tick(false);
    EXPECT_EQ(t->d.position, song_start);
}

TEST_F(Transport, EngineReportsStopTheTransportFromTheTick) {
    // The engine stops its advance at the last position and says so.
    tr.play();
    locate(*t, last_position - 96);
    t.run_ms(ms_of(200));
    EXPECT_EQ(nums(t->d.max_length_reached, t->d.position), nums(1, last_position));
    tr.tick(false);
    EXPECT_EQ(t->d.stopped, 1);
    EXPECT_EQ(t.screen.last_text(), "You have reached max bar length!");
    tr.play();
    t->d.engine_stop = 1;
    tr.tick(false);
    EXPECT_EQ(nums(t->d.stopped, t->d.engine_stop), nums(1, 0));
}

TEST_F(Transport, MemoryLocatorsAreKeptWithTheSongAndRecallGoesToTheLeftWithTheCycleOn) {
    t->d.left_locator = song_start + 768;
    t->d.right_locator = song_start + 2 * 768;
    tr.memory_locator_key(2, true);
    EXPECT_EQ(nums(t->song.position_memory[8], t->song.position_memory[9]),
              nums(song_start + 768, song_start + 2 * 768));
    tr.memory_locator_key(0, false);  // the defaults of a new song
    EXPECT_EQ(nums(t->d.left_locator, t->d.right_locator), nums(3072, 6144));
    t->d.cycle_on = 1;
    tr.memory_locator_key(2, false);
    // Stopped with the cycle on: at the left locator.
    EXPECT_EQ(nums(t->d.left_locator, t->d.position), nums(song_start + 768, song_start + 768));
}

}  // namespace
}  // namespace kestrune
