#include "realtime/transport.h"

#include <gtest/gtest.h>

#include <set>
#include <tuple>
#include <vector>

#include "realtime/song_extent.h"
#include "song/event_store.h"
#include "song/locate.h"
#include "song/patterns.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;
using bytes = std::vector<std::vector<int>>;

class Transport : public ::testing::Test {
  protected:
    testing::test_program t;
    transport tr{*t};

    // The bytes of each message sent to a port.
    bytes sent(int port = 0) { return sent_bytes(t.midi, port); }
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
    t->d.left_locator = song_start + 32 * 768 + 10;  // bar 33 and 10 ticks
    t->d.right_locator = song_start + 40 * 768;
    tr.play();
    EXPECT_EQ(t->d.position, song_start + 32 * 768 + 10);
    // 512 sixteenths and 10 ticks; one sixteenth ahead: 513, as 7-bit bytes low first.
    EXPECT_EQ(sent(), (bytes{{0xF2, 1, 4}, {0xFB}}));
    EXPECT_EQ(nums(t->d.spp_delay, tr.waited_ms), nums(38, 200));
    // A memory position recalled while running: Stop, the pointer, Continue, and on from there.
    tr.memory_position_key(1, true);  // store where it stands
    const auto stored = static_cast<std::int32_t>(tr.memory_position(1));
    t.run_ms(300);
    t.midi.clear();
    tr.waited_ms = 0;
    tr.memory_position_key(1, false);
    v = sent();
    ASSERT_GE(v.size(), 3u);
    const int spp = (stored - song_start) / 48 + 1;
    EXPECT_EQ(std::vector(v.begin(), v.begin() + 3),
              (bytes{{0xFC}, {0xF2, spp & 0x7F, spp >> 7}, {0xFB}}));
    EXPECT_EQ(nums(tr.waited_ms, t->d.position, t->d.stopped), nums(20 + 100 + 200, stored, 0));
    // A pointer before the song start is zero with a delay.
    tr.song_position_pointer(3000);
    EXPECT_EQ(sent().back(), (std::vector<int>{0xF2, 0, 0}));
    EXPECT_EQ(t->d.spp_delay, 72);
}

TEST_F(Transport, StopStopsThenRewindsAndPauseContinuesFromThePosition) {
    clock_out_on_a();
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
    // Start, then Stop and Continue as the transport stops and goes on; every Stop says so.
    bytes told;
    for (const auto& m : sent())
        if (m[0] != 0xF8) told.push_back(m);
    EXPECT_EQ(told, (bytes{{0xFA}, {0xFC}, {0xFB}, {0xFC}, {0xFC}, {0xFC}}));
}

TEST_F(Transport, ResetOnStopCentresTheWheelAndResetsControllersOnEveryChannelOfEveryPort) {
    // How many channels of a port got the message (status and channel, b, c).
    auto channels = [&](int port, int status, int b, int c) {
        std::set<int> got;
        for (const auto& m : sent(port))
            if (m == std::vector<int>{status | (m[0] & 0x0F), b, c}) got.insert(m[0] & 0x0F);
        return got.size();
    };
    // Sustain off, the controller reset, the wheel centred, all notes off.
    auto reset_channels = [&](int port) {
        return nums(channels(port, 0xB0, 64, 0), channels(port, 0xB0, 121, 0),
                    channels(port, 0xE0, 0x00, 0x40), channels(port, 0xB0, 123, 0));
    };
    tr.play();
    tr.stop();
    EXPECT_EQ(reset_channels(0), nums(0, 0, 0, 0)) << "not asked for";
    t->app.reset_on_stop = true;
    tr.play();
    t.midi.clear();
    tr.play();  // a restart is not a stop
    EXPECT_EQ(reset_channels(0), nums(0, 0, 0, 0));
    tr.stop();
    for (int port = 0; port < 4; ++port)
        EXPECT_EQ(reset_channels(port), nums(16, 16, 16, 16)) << port;
    // Full Volume: channel volume and expression at their top, likewise everywhere.
    t.midi.clear();
    t->wait_request(t->d.full_volume_request);
    for (int port = 0; port < 4; ++port)
        EXPECT_EQ(nums(channels(port, 0xB0, 7, 127), channels(port, 0xB0, 11, 127)), nums(16, 16))
            << port;
}

TEST(SongEnd, FallsAfterTheLastNoteOfADelayedTrack) {
    test_program t;
    add_sorted(*t, 0, 0, {ev(0x90, 60, 100, song_start), ev(0x80, 60, 0, song_start + 768)});
    add_sorted(*t, 0, 1, {ev(0x90, 62, 100, song_start + 700), ev(0x80, 62, 0, song_start + 760)})
        .delay = 99;
    EXPECT_EQ(song_end(*t), song_start + 760 + 99 + 1);
    // In song mode the end of the last step with data, or the parallel pattern's last note.
    t->d.song_mode = 1;
    for (int i = 0; i < song_steps; ++i) set_step_pattern(*t, i, i == 1 ? 0 : 3);
    EXPECT_EQ(song_end(*t), t->step(1).end);
    add_sorted(*t, parallel_pattern, 0, {ev(0x90, 30, 100, t->step(1).end - 50)}).delay = 60;
    EXPECT_EQ(song_end(*t), t->step(1).end + 11);
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

TEST_F(Transport, ChaseEventsSendsTheLastValueOfEveryKindBeforeThePosition) {
    // Each kind has its own value, so a value sent under another kind's number shows.
    add_sorted(*t, 0, 0,
               {ev(0xC0, 5, 0, song_start), ev(0xB0, 7, 100, song_start + 10),
                ev(0xB0, 0, 2, song_start + 20), ev(0xB0, 32, 3, song_start + 30),
                ev(0xB0, 91, 4, song_start + 40), ev(0xB0, 93, 5, song_start + 50),
                ev(0xB0, 10, 6, song_start + 60), ev(0xB0, 11, 7, song_start + 70),
                ev(0xC0, 9, 0, song_start + 400), ev(0xB0, 7, 59, song_start + 500),
                ev(0xB0, 7, 60, song_start + 500), ev(0xE0, 1, 70, song_start + 600),
                ev(0xD0, 50, 0, song_start + 700), ev(0xB0, 1, 9, song_start + 800),
                ev(0x90, 60, 100, song_start + 900), ev(0x80, 60, 0, song_start + 1200),
                ev(0xB0, 7, 20, song_start + 2000), ev(0xB0, 10, 99, song_start + 6200)});
    t->slot(0, 0).channel = 16;  // as recorded
    t->slot(0, 0).port = 2;
    add_sorted(*t, 0, 1, {ev(0xC1, 44, 0, song_start)});
    t->slot(0, 1).mute = 1;  // muted tracks are not chased
    add_sorted(*t, 0, 2, {ev(0xB5, 7, 33, song_start + 100)});
    t->slot(0, 2).channel = 3;  // the track's channel, not the event's
    t->slot(0, 2).port = 1;

    // Chase Events on; Pause continues from a position dialled into the note held from 900.
    t->app.chase_events = true;
    t->d.position = song_start + 1000;
    t.midi.clear();
    tr.pause();
    t.run_ms(ms_of(300));
    // Bank before program, then the controllers and the wheel; of two volumes at one tick the
    // second, the volume at 2000 is not due, channel pressure and modulation are not chased.
    // Then the held note's end, 200 ticks on.
    const bytes chased{{0xB0, 0, 2},  {0xB0, 32, 3}, {0xC0, 9},     {0xB0, 7, 60}, {0xB0, 10, 6},
                       {0xB0, 11, 7}, {0xB0, 91, 4}, {0xB0, 93, 5}, {0xE0, 1, 70}, {0x80, 60, 0}};
    EXPECT_EQ(sent(2), chased);
    EXPECT_EQ(sent(1), (bytes{{0xB3, 7, 33}}));
    EXPECT_TRUE(sent(0).empty());

    // Song mode: back through the earlier steps from their ends (step 0 never plays its
    // pattern's pan at 6200), the later step winning, and the parallel pattern over all, early
    // as its value is. Step 1 (pattern 1) starts at 9216.
    tr.stop();
    t->d.song_mode = 1;
    add_sorted(*t, 1, 0, {ev(0xB0, 7, 70, song_start + 10)});
    add_sorted(*t, 1, 3, {ev(0xB0, 7, 33, song_start + 10)}).port = 2;
    t->slot(1, 3).channel = 0;
    add_sorted(*t, parallel_pattern, 0, {ev(0xB0, 7, 80, song_start + 5)});
    t.midi.clear();
    locate(*t, 9216 + 100);
    t.eng.run_until(t.clk.now_us());
    EXPECT_EQ(sent(0), (bytes{{0xB0, 7, 80}}));
    const auto port_c = sent(2);
    ASSERT_EQ(port_c.size(), 9u);
    EXPECT_EQ(nums(port_c[0][2], port_c[2][1], port_c[3][2], port_c[4][2]), nums(2, 9, 33, 6));
}

TEST_F(Transport, SoloLeavesOneTrackSoundingAndFollowsTheCurrentTrack) {
    add_sorted(*t, 0, 0, {ev(0x90, 60, 100, song_start + 10)});
    add_sorted(*t, 0, 1, {ev(0x91, 62, 100, song_start + 10)});
    t->d.current_track = 1;
    tr.toggle_solo();
    tr.play();
    t.run_ms(100);
    EXPECT_EQ(sent(), (bytes{{0x91, 62, 100}}));
    tr.toggle_solo();
    for (int i = 0; i < 32; ++i)
        EXPECT_EQ(nums(t->d.track_enable[i], t->d.parallel_enable[i]), nums(1, 1));
}

TEST_F(Transport, CycleAndPunchTurnEachOtherOffAndStayAsTheyAreDuringATake) {
    auto state = [&] {
        return nums(t->d.cycle_on, t->d.punch_on, tr.buttons.cycle, tr.buttons.punch);
    };
    tr.toggle_cycle();
    tr.toggle_punch();
    EXPECT_EQ(state(), nums(0, 1, 0, 1));
    tr.toggle_cycle();
    EXPECT_EQ(state(), nums(1, 0, 1, 0));
    tr.toggle_punch();
    for (auto [recording, internal, text] :
         {std::tuple{1, 0, "Can't do this while recording!"},
          {0, 2, "Can't do this while\nInternal Record is active!"}}) {
        t->d.recording = static_cast<std::int16_t>(recording);
        t->d.internal_record = static_cast<std::uint8_t>(internal);
        t.screen.messages.clear();
        tr.toggle_cycle();
        tr.toggle_punch();
        EXPECT_EQ(state(), nums(0, 1, 0, 1)) << text;
        ASSERT_EQ(t.screen.messages.size(), 2u);
        EXPECT_EQ(t.screen.messages[0].text + t.screen.messages[1].text, std::string(text) + text);
    }
    // Turned on while running, the cycle is ready for its first jump. Punch goes off first: Play
    // with punch armed starts a punch take.
    t->d.recording = t->d.internal_record = 0;
    tr.toggle_punch();
    add_sorted(*t, 0, 0,
               {ev(0x90, 60, 100, song_start + 768), ev(0x90, 61, 100, song_start + 900)});
    tr.play();
    t->d.left_locator = song_start + 768;
    t->d.right_locator = song_start + 1536;
    tr.toggle_cycle();
    t.midi.clear();
    t.run_ms(ms_of(1536 + 10));
    std::vector<int> keys;
    for (const auto& m : sent())
        if (m[0] == 0x90) keys.push_back(m[1]);
    EXPECT_EQ(keys, (std::vector<int>{60, 61, 60}));
}

TEST_F(Transport, TempoTrackToggleSwitchesTheRateAndManualEditsAreRefusedMeanwhile) {
    t->store().at(t->d.tempo_chain.first) = tempo(9000, 0);
    tr.toggle_tempo_track();
    EXPECT_EQ(nums(tr.shown_tempo, t->d.tempo_increment), nums(9000, 2359));
    tr.set_manual_tempo(15000);
    EXPECT_EQ(t.screen.last_text(),
              "The Tempo Track is active!\nChange value in the Tempo Editor.");
    tr.toggle_tempo_track();
    EXPECT_EQ(nums(tr.shown_tempo, t->d.tempo_increment), nums(12000, 3145));
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

}  // namespace
}  // namespace kestrune
