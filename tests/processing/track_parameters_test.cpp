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

TEST_F(TrackParameters, ModifyBetweenTheLocatorsChangesNotesByTheirStartAndNoteOffsWithThem) {
    const records recs = {ev(0x95, 60, 50, bar1 - 100), ev(0x85, 60, 0, bar1 + 10),
                          ev(0x95, 62, 100, bar1 + 20), ev(0xA5, 62, 30, bar1 + 30),
                          ev(0xB5, 7, 90, bar1 + 40),   ev(0xE5, 0, 64, bar1 + 45),
                          ev(0xB5, 7, 90, bar1 + 150),  ev(0x85, 62, 64, bar1 + 200)};
    fill(recs);
    // To channel 1: a controller's status there is 0xB0, and its number is not transposed.
    const field_settings settings = {
        {"MIDI Channel On", 1}, {"MIDI Channel", 0}, {"Transpose On", 1},
        {"Transpose", 12},      {"Velocity On", 1},  {"Velocity", -99},
        {"Compress On", 1},     {"Compress", 1},     {"Range", 1}};
    // Left on right: nothing to change.
    p.d.left_locator = p.d.right_locator = bar1;
    EXPECT_EQ(run(cmd::modify_track, settings), outcome::done);
    EXPECT_TRUE(holds(track(), recs));

    p.d.right_locator = bar1 + 100;
    EXPECT_EQ(run(cmd::modify_track, settings), outcome::done);
    EXPECT_TRUE(holds(track(), {ev(0x95, 60, 50, bar1 - 100), ev(0x85, 60, 0, bar1 + 10),
                                ev(0x90, 74, 1, bar1 + 20), ev(0xA0, 74, 30, bar1 + 30),
                                ev(0xB0, 7, 90, bar1 + 40), ev(0xE0, 0, 64, bar1 + 45),
                                ev(0xB5, 7, 90, bar1 + 150), ev(0x80, 74, 64, bar1 + 200)}));
    // The values stay for the next opening; the switches start off.
    const field_values again = initial_values(p, *table.find(cmd::modify_track));
    EXPECT_EQ(nums(again[0].number, again[3].number, again[5].number), nums(0, 12, -99));
}

}  // namespace
}  // namespace kestrune
