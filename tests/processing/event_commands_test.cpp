#include "core/command_ids.h"
#include "processing/select_events.h"
#include "tests/processing/track_command_fixture.h"

namespace kestrune {
namespace {

using namespace testing;

class EventCommands : public TrackCommand {};

TEST_F(EventCommands, TransformRewritesNotesWithTheirNoteOffsAndKeepsVelocities) {
    fill({ev(0x90, 60, 1, bar1), ev(0x90, 62, 100, bar1 + 10), ev(0x90, 60, 0, bar1 + 50),
          ev(0x80, 62, 64, bar1 + 60)});
    // Velocities halved: 1 stays 1, since no note loses its velocity; note-offs are not touched.
    EXPECT_EQ(run(cmd::transform_events,
                  {{"Events", event_type::note - 1}, {"Amount -2-", 50}, {"Operator -2-", 2}}),
              outcome::done);
    EXPECT_TRUE(holds(track(), {ev(0x90, 60, 1, bar1), ev(0x90, 62, 50, bar1 + 10),
                                ev(0x90, 60, 0, bar1 + 50), ev(0x80, 62, 64, bar1 + 60)}));
    // Result -1- taking the second byte: the old velocity becomes the key of both ends of a note.
    EXPECT_EQ(run(cmd::transform_events, {{"Amount -2-", -1}, {"Result -1-", -2}, {"-1- Low", 62}}),
              outcome::done);
    EXPECT_TRUE(holds(track(), {ev(0x90, 60, 1, bar1), ev(0x90, 50, 50, bar1 + 10),
                                ev(0x90, 60, 0, bar1 + 50), ev(0x80, 50, 64, bar1 + 60)}));
}

TEST_F(EventCommands, TheSecondByteOfOtherEventsLooksAtTheFirstBytesResult) {
    fill({ev(0x90, 60, 100, bar1), ev(0xB0, 7, 90, bar1), ev(0xB0, 80, 5, bar1 + 5),
          ev(0x80, 60, 64, bar1 + 10), ev(0xB0, 10, 0, bar1 + 10)});
    p.d.left_locator = bar1;
    p.d.right_locator = bar1 + 10;
    EXPECT_EQ(run(cmd::transform_events, {{"Events", event_type::all_channel - 1},
                                          {"Result Events", 0},
                                          {"Result -1-", -2},
                                          {"Result -2-", 0},
                                          {"Amount -1-", 30},
                                          {"-1- High", 79},
                                          {"Range", 1}}),
              outcome::done);
    // The controller swaps its bytes; the note asks for velocity 0 and keeps 1; keys held at 127;
    // the controller on the right locator is outside, and so is the one above -1- High: even for
    // All Chan Events, Transform tests the value ranges.
    EXPECT_TRUE(
        holds(track(), {ev(0x90, 127, 1, bar1), ev(0xB0, 120, 7, bar1), ev(0xB0, 80, 5, bar1 + 5),
                        ev(0x80, 127, 64, bar1 + 10), ev(0xB0, 10, 0, bar1 + 10)}));
    // Channel pressure has no second byte: a -2- range does not hold it back.
    fill({ev(0xD0, 40, 0, bar1)});
    EXPECT_EQ(run(cmd::transform_events, {{"Events", event_type::channel_pressure - 1},
                                          {"-2- Low", 50},
                                          {"Result -1-", 60},
                                          {"Amount -1-", -1}}),
              outcome::done);
    EXPECT_TRUE(holds(track(), {ev(0xD0, 60, 0, bar1)}));
}

TEST_F(EventCommands, ANoteTurnedIntoAControllerLosesItsNoteOffToTheCheck) {
    fill({ev(0x92, 60, 100, bar1), ev(0x82, 60, 64, bar1 + 10)});
    EXPECT_EQ(run(cmd::transform_events, {{"Events", event_type::note - 1},
                                          {"Result Events", event_type::control - 1},
                                          {"Result Chan", 5}}),
              outcome::done);
    EXPECT_TRUE(holds(track(), {ev(0xB5, 60, 100, bar1)}));
    EXPECT_EQ(t.screen.last_text(), "Check track?");
}

TEST_F(EventCommands, DeleteAndKeepRefuseWithoutMemoryAndLeaveTheTrackAsItWas) {
    fill(notes(100, bar1, 10));
    const records before = track();
    // Ends that the dialog holds apart, given crossed from outside it.
    EXPECT_EQ(run(cmd::delete_events, {{"Chan Low", 5}, {"Chan High", 2}}), outcome::refused);
    EXPECT_EQ(t.screen.last_text(), "Chan Low lies above Chan High!");
    EXPECT_TRUE(holds(track(), before));
    // Another track takes the pool until what the undo copy leaves is less than the track's
    // blocks and three more.
    track_slot& other = open_track(p, 1, 1);
    for (std::int32_t at = bar1; p.d.free_blocks > 9; at += block_slots)
        append(p, other, notes(block_slots, at, 1));
    EXPECT_EQ(run(cmd::keep_events), outcome::refused);
    EXPECT_EQ(t.screen.last_text(), msg_not_enough_memory);
    EXPECT_TRUE(holds(track(), before));
}

}  // namespace
}  // namespace kestrune
