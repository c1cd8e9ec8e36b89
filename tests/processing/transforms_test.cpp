#include "core/command_ids.h"
#include "song/field_text.h"
#include "tests/processing/track_command_fixture.h"

namespace kestrune {
namespace {

using namespace testing;

class Transforms : public TrackCommand {};

TEST_F(Transforms, SpeedScalesAroundThePatternStartAndHoldsAtZero) {
    fill({ev(0xB0, 1, 1, 10), ev(0xB0, 1, 2, bar1 - 10), ev(0xB0, 1, 3, bar1 + 3),
          ev(0xB0, 1, 4, bar1 + 48)});
    EXPECT_EQ(run(cmd::half_speed), outcome::done);
    EXPECT_TRUE(holds(track(), {ev(0xB0, 1, 1, 0), ev(0xB0, 1, 2, bar1 - 20),
                                ev(0xB0, 1, 3, bar1 + 6), ev(0xB0, 1, 4, bar1 + 96)}));
    // The dialog's value is in thousandths: 2.000 plays twice as fast, truncating.
    const command_record& user = *table.find(cmd::change_speed);
    EXPECT_EQ(field_text(p, user.fields[0], 2000), "2.000");
    const auto twice = parse_field_argument(p, user.fields[0], "2");
    ASSERT_TRUE(twice);
    EXPECT_EQ(run(cmd::change_speed, {{"Speed", twice->number}}), outcome::done);
    EXPECT_EQ(run(cmd::double_speed), outcome::done);
    EXPECT_TRUE(holds(track(), {ev(0xB0, 1, 1, 2304), ev(0xB0, 1, 2, bar1 - 5),
                                ev(0xB0, 1, 3, bar1 + 1), ev(0xB0, 1, 4, bar1 + 24)}));
}

TEST_F(Transforms, PushMovesTheWholeTrackByWhatFits) {
    fill({ev(0x90, 60, 100, bar1), ev(0x80, 60, 0, last_position - 100)});
    EXPECT_EQ(run(cmd::push_track, {{"Amount", 1000}}), outcome::done);
    EXPECT_TRUE(holds(track(), {ev(0x90, 60, 100, bar1 + 100), ev(0x80, 60, 0, last_position)}));
    EXPECT_EQ(run(cmd::push_track, {{"Direction", 1}, {"Amount", 5000}}), outcome::done);
    EXPECT_TRUE(
        holds(track(), {ev(0x90, 60, 100, 0), ev(0x80, 60, 0, last_position - bar1 - 100)}));
}

TEST_F(Transforms, MirrorTurnsNotesWithTheirNoteOffsAndLeavesTheExcludedChannel) {
    fill({ev(0x90, 60, 100, bar1), ev(0xA0, 60, 30, bar1 + 1), ev(0x99, 36, 100, bar1 + 2),
          ev(0x80, 60, 0, bar1 + 10), ev(0x89, 36, 0, bar1 + 12), ev(0x90, 10, 90, bar1 + 20),
          ev(0x80, 10, 0, bar1 + 30)});
    EXPECT_EQ(run(cmd::mirror_pitches, {{"Exclude MIDI Channel", 1}}), outcome::done);
    EXPECT_TRUE(holds(
        track(), {ev(0x90, 68, 100, bar1), ev(0xA0, 60, 30, bar1 + 1), ev(0x99, 36, 100, bar1 + 2),
                  ev(0x80, 68, 0, bar1 + 10), ev(0x89, 36, 0, bar1 + 12),
                  ev(0x90, 118, 90, bar1 + 20), ev(0x80, 118, 0, bar1 + 30)}));
    EXPECT_EQ(run(cmd::mirror_pitches, {{"Mirror Note", 100}, {"Exclude MIDI Channel", 0}}),
              outcome::done);
    EXPECT_TRUE(holds(track(), {ev(0x90, 127, 100, bar1), ev(0xA0, 60, 30, bar1 + 1),
                                ev(0x99, 127, 100, bar1 + 2), ev(0x80, 127, 0, bar1 + 10),
                                ev(0x89, 127, 0, bar1 + 12), ev(0x90, 82, 90, bar1 + 20),
                                ev(0x80, 82, 0, bar1 + 30)}));
}

TEST_F(Transforms, ReverseSwapsNotesFromBothEndsAndLeavesTheMiddleOne) {
    fill({ev(0x90, 60, 10, bar1), ev(0x80, 60, 0, bar1 + 5), ev(0x91, 62, 20, bar1 + 10),
          ev(0x81, 62, 1, bar1 + 15), ev(0x90, 64, 30, bar1 + 20), ev(0x80, 64, 2, bar1 + 25)});
    t.screen.answers = {msg_answer::cancel};
    EXPECT_EQ(run(cmd::reverse_pitches), outcome::cancelled);
    EXPECT_EQ(run(cmd::reverse_pitches), outcome::done);
    EXPECT_TRUE(holds(track(), {ev(0x90, 64, 30, bar1), ev(0x80, 64, 2, bar1 + 5),
                                ev(0x91, 62, 20, bar1 + 10), ev(0x81, 62, 1, bar1 + 15),
                                ev(0x90, 60, 10, bar1 + 20), ev(0x80, 60, 0, bar1 + 25)}));
}

}  // namespace
}  // namespace kestrune
