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

class SelectEvents : public TrackCommand {
  protected:
    // Runs the pass on pattern 0 track 0 over [from, to) and gives what the track holds.
    records run(const event_condition& c, std::int32_t from = 0, std::int32_t to = last_position) {
        {
            track_edit g(p, 0, 0);
            EXPECT_TRUE(g.begin());
            EXPECT_TRUE(filter_events(g, c, from, to));
        }
        EXPECT_EQ(check_pool(p), "");
        return track();
    }
};

TEST_F(SelectEvents, NoteLengthsAreComparedStrictlyAndANoteWithoutEndMeetsEveryLengthTest) {
    // Notes of 10 and 11 ticks, a note that never ends, and an orphan note-off.
    const records recs = {ev(0x80, 50, 0, bar1),        ev(0x90, 60, 100, bar1 + 100),
                          ev(0x90, 60, 0, bar1 + 110),  ev(0x90, 61, 100, bar1 + 200),
                          ev(0x80, 61, 64, bar1 + 211), ev(0x90, 62, 100, bar1 + 300)};
    fill(recs);
    // Shorter than 10 selects only the note without end: the 10-tick note stays; the orphan
    // note-off goes, as in every Delete.
    EXPECT_TRUE(holds(run({.mode = select_mode::remove,
                           .type = event_type::note,
                           .length_mode = length_test::shorter,
                           .length = 10}),
                      {ev(0x90, 60, 100, bar1 + 100), ev(0x90, 60, 0, bar1 + 110),
                       ev(0x90, 61, 100, bar1 + 200), ev(0x80, 61, 64, bar1 + 211)}));
    fill(recs);
    EXPECT_TRUE(holds(run({.mode = select_mode::keep,
                           .type = event_type::note,
                           .length_mode = length_test::longer,
                           .length = 10}),
                      {ev(0x90, 61, 100, bar1 + 200), ev(0x80, 61, 64, bar1 + 211),
                       ev(0x90, 62, 100, bar1 + 300)}));
}

TEST_F(SelectEvents, BetweenTheLocatorsDeleteCopiesOnlyNotesAndChannelEventsOutsideAndKeepNothing) {
    records recs = {ev(0x90, 60, 100, bar1), ev(0xB0, 7, 90, bar1 + 10)};
    const records sysex = long_event(st::sysex, bar1 + 20, sysex_payload(9));
    recs.insert(recs.end(), sysex.begin(), sysex.end());
    // Inside: a note whose end lies outside, a key pressure of 0 and a controller.
    recs.insert(recs.end(), {ev(0x90, 62, 100, bar1 + 100), ev(0xA0, 62, 0, bar1 + 120),
                             ev(0xB0, 1, 5, bar1 + 150), ev(0x80, 60, 64, bar1 + 160),
                             ev(0x80, 62, 64, bar1 + 300)});
    fill(recs);
    EXPECT_TRUE(
        holds(run({.mode = select_mode::remove}, bar1 + 100, bar1 + 200),
              {ev(0x90, 60, 100, bar1), ev(0xB0, 7, 90, bar1 + 10), ev(0x80, 60, 64, bar1 + 160)}));
    fill(recs);
    EXPECT_TRUE(holds(run({.mode = select_mode::keep}, bar1 + 100, bar1 + 200),
                      {ev(0x90, 62, 100, bar1 + 100), ev(0xA0, 62, 0, bar1 + 120),
                       ev(0xB0, 1, 5, bar1 + 150), ev(0x80, 62, 64, bar1 + 300)}));
    // Keep of Sys Ex keeps the whole message and nothing else.
    fill(recs);
    EXPECT_TRUE(holds(run({.mode = select_mode::keep, .type = event_type::sysex}), sysex));
}

}  // namespace
}  // namespace kestrune
