#include "core/command_ids.h"
#include "processing/chain_transforms.h"
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

TEST(ChainTransforms, CompressAndVelocityKeepTheirOwnArithmetic) {
    midi_event e = ev(0x90, 60, 127, 0);
    compress_velocity(e, -1);  // unclamped: 190 in the byte, its low seven bits the velocity
    EXPECT_EQ(e.raw1(), 190);
    e = ev(0x90, 60, 100, 0);
    compress_velocity(e, 1);
    midi_event quiet = ev(0x90, 60, 1, 0);
    compress_velocity(quiet, 1);  // -63 >> 1 rounds down to -32
    midi_event flat = ev(0x90, 60, 20, 0);
    compress_velocity(flat, 5);
    midi_event soft = ev(0x90, 60, 50, 0);
    add_velocity(soft, -99);
    EXPECT_EQ(nums(e.data2(), quiet.data2(), flat.data2(), soft.data2()), nums(82, 32, 64, 1));
}

TEST_F(Transforms, FreezeWritesTheTrackParametersIntoTheEventsAndUndoBringsThemBack) {
    track_slot& sl = fill({ev(0xC0, 5, 0, 4), ev(0x90, 120, 100, bar1 + 4),
                           ev(0xB5, 7, 90, bar1 + 4), ev(0x80, 120, 64, bar1 + 50)});
    sl.channel = 2;
    sl.compress = 1;
    sl.velocity = 10;
    sl.transpose = 12;
    sl.delay = -10;
    sl.mute = 1;
    const records before = track();

    t.screen.answers = {msg_answer::cancel};
    EXPECT_EQ(run(cmd::freeze_track_parameters), outcome::cancelled);
    EXPECT_EQ(nums(difference(track(), before) == "", p.undo.available), nums(1, 0));

    EXPECT_EQ(run(cmd::freeze_track_parameters), outcome::done);
    // Compressed, then raised, then transposed past the top and held there, on channel 3; the
    // note-off keeps its velocity; the delay held at position 0.
    const records frozen = {ev(0xC2, 5, 0, 0), ev(0x92, 127, 92, bar1 - 6),
                            ev(0xB2, 7, 90, bar1 - 6), ev(0x82, 127, 64, bar1 + 40)};
    EXPECT_TRUE(holds(track(), frozen));
    EXPECT_EQ(nums(sl.channel, sl.compress, sl.velocity, sl.transpose, sl.delay, sl.mute),
              nums(2, 0, 0, 0, 0, 1));

    EXPECT_EQ(run(cmd::undo), outcome::done);
    EXPECT_TRUE(holds(track(), before));
    EXPECT_EQ(nums(sl.compress, sl.velocity, sl.transpose, sl.delay), nums(1, 10, 12, -10));
}

}  // namespace
}  // namespace kestrune
