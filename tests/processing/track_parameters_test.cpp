#include "core/command_ids.h"
#include "processing/chain_transforms.h"
#include "tests/processing/track_command_fixture.h"

namespace kestrune {
namespace {

using namespace testing;

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

class TrackParameters : public TrackCommand {};

TEST_F(TrackParameters, FreezeWritesTheParametersIntoTheEventsAndUndoBringsThemBack) {
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
