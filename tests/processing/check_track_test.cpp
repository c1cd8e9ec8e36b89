#include "core/command_ids.h"
#include "song/patterns.h"
#include "tests/processing/track_command_fixture.h"

namespace kestrune {
namespace {

using namespace testing;

class CheckTrack : public TrackCommand {};

TEST_F(CheckTrack, EndsOpenNotesDropsOrphanNoteOffsAndDoublesButKeepsDoubledControllers) {
    // More orphan note-offs than a block holds: the block they leave empty goes back.
    records recs(40, ev(0x80, 61, 64, bar1 - 50));
    recs.insert(
        recs.end(),
        {ev(0x90, 60, 100, bar1), ev(0x90, 64, 100, bar1 + 10), ev(0x90, 64, 90, bar1 + 10),
         ev(0x91, 64, 90, bar1 + 10), ev(0x80, 64, 0, bar1 + 20), ev(0x81, 64, 0, bar1 + 20),
         ev(0x80, 64, 0, bar1 + 30), ev(0xB0, 7, 10, bar1 + 40), ev(0xB0, 7, 20, bar1 + 40)});
    // Played as recorded, the same key on another channel is no double.
    fill(recs).channel = channel_as_recorded;
    EXPECT_EQ(run(cmd::check_track), outcome::done);
    EXPECT_TRUE(holds(track(), {ev(0x90, 60, 100, bar1), ev(0x80, 60, 64, bar1),
                                ev(0x90, 64, 90, bar1 + 10), ev(0x91, 64, 90, bar1 + 10),
                                ev(0x80, 64, 0, bar1 + 20), ev(0x81, 64, 0, bar1 + 20),
                                ev(0xB0, 7, 10, bar1 + 40), ev(0xB0, 7, 20, bar1 + 40)}));
    EXPECT_EQ(p.slot(0, 0).blocks, 1);
}

TEST_F(CheckTrack, OpenNotesCloseOnlyWhileMoreThanThreeBlocksAreLeftAfterTheUndoCopy) {
    const records open = {ev(0x80, 61, 64, bar1 - 50), ev(0x90, 60, 100, bar1),
                          ev(0x90, 62, 100, bar1 + 10), ev(0x80, 62, 64, bar1 + 20)};
    const records closed = {ev(0x90, 60, 100, bar1), ev(0x80, 60, 64, bar1),
                            ev(0x90, 62, 100, bar1 + 10), ev(0x80, 62, 64, bar1 + 20)};
    for (const int left : {4, 3}) {
        SCOPED_TRACE(left);
        fill(open);
        undo_free(p);
        // Another track takes the pool down to one block more: the undo copy of the track takes it.
        track_slot& other = open_track(p, 1, left);
        for (std::int32_t at = bar1; p.d.free_blocks > left + 1; at += block_slots)
            append(p, other, notes(block_slots, at, 1));
        ASSERT_EQ(p.d.free_blocks, left + 1);
        EXPECT_EQ(run(cmd::check_track), outcome::done);
        EXPECT_TRUE(p.undo.available);
        // The orphan note-off goes either way; with three left the open note stays as it was,
        // though its block has room.
        records want = closed;
        if (left == 3) want.erase(want.begin() + 1);
        EXPECT_TRUE(holds(track(), want));
    }
}

TEST_F(CheckTrack, OverlapEndsEveryNoteOfAChordATickBeforeTheNextNote) {
    fill({ev(0x90, 60, 100, bar1), ev(0x90, 64, 100, bar1), ev(0x90, 67, 100, bar1 + 50),
          ev(0x80, 60, 64, bar1 + 100), ev(0x80, 64, 64, bar1 + 100), ev(0x80, 67, 64, bar1 + 150),
          ev(0x90, 69, 100, bar1 + 150), ev(0x80, 69, 64, bar1 + 160)});
    EXPECT_EQ(run(cmd::check_note_overlap), outcome::done);
    EXPECT_TRUE(holds(track(), {ev(0x90, 60, 100, bar1), ev(0x90, 64, 100, bar1),
                                ev(0x80, 60, 64, bar1 + 49), ev(0x80, 64, 64, bar1 + 49),
                                ev(0x90, 67, 100, bar1 + 50), ev(0x80, 67, 64, bar1 + 149),
                                ev(0x90, 69, 100, bar1 + 150), ev(0x80, 69, 64, bar1 + 160)}));
}

TEST_F(CheckTrack, NoteLengthNeverEndsANoteBeforeItStartsAndLeavesOpenNotes) {
    fill({ev(0x90, 60, 100, bar1), ev(0x80, 60, 64, bar1 + 100), ev(0x90, 62, 100, bar1 + 200),
          ev(0x80, 62, 64, bar1 + 250), ev(0x90, 64, 100, bar1 + 400)});
    // At most 30 ticks between the locators: the note on the right one keeps its length.
    p.d.left_locator = bar1;
    p.d.right_locator = bar1 + 200;
    EXPECT_EQ(run(cmd::change_note_length, {{"Operation", 1}, {"Length", 30}, {"Range", 1}}),
              outcome::done);
    EXPECT_EQ(nums(track()[1].position(), track()[3].position()), nums(bar1 + 30, bar1 + 250));
    EXPECT_EQ(run(cmd::change_note_length, {{"Operation", 3}, {"Length", 40}, {"Range", 0}}),
              outcome::done);
    EXPECT_TRUE(holds(
        track(), {ev(0x90, 60, 100, bar1), ev(0x80, 60, 64, bar1), ev(0x90, 62, 100, bar1 + 200),
                  ev(0x80, 62, 64, bar1 + 210), ev(0x90, 64, 100, bar1 + 400)}));
}

}  // namespace
}  // namespace kestrune
