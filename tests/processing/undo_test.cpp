#include "processing/undo.h"

#include <gtest/gtest.h>

#include "core/command_ids.h"
#include "processing/commands.h"
#include "processing/track_edit.h"
#include "song/patterns.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

class Undo : public ::testing::Test {
  protected:
    Undo() {
        for (int track : {5, 6}) give_track(p, 2, track, notes(3, song_start, 96));
        put_name(p.slot(2, 5).name, "Lead");
    }
    // A track function's edit: the first note's key and the track's transposition.
    void edit(int track, int key) {
        track_edit g(p, 2, track);
        ASSERT_TRUE(g.begin());
        p.store().at(g.slot().first).set_data1(static_cast<std::uint8_t>(key));
        g.slot().transpose = static_cast<std::int8_t>(key - 60);
    }
    std::int64_t key(int track) { return read_track(p, 2, track).front().data1(); }

    test_program t;
    program& p = *t;
};

TEST_F(Undo, SwapsTheCopyWithItsOwnTrackWhicheverIsCurrentAndASecondUndoRedoes) {
    edit(5, 70);
    edit(6, 71);  // the copy is now track 6's
    edit(5, 72);
    p.d.current_pattern = 0;
    p.d.current_track = 9;
    command_table table;
    add_processing_commands(table);
    const command_record& undo = *table.find(cmd::undo);
    EXPECT_EQ(run_command(p, undo, {}), outcome::done);
    EXPECT_EQ(nums(key(5), p.slot(2, 5).transpose, key(6), p.slot(2, 6).transpose),
              nums(70, 10, 71, 11));
    EXPECT_EQ(name_of(p.slot(2, 5).name), "Lead     !");
    EXPECT_EQ(run_command(p, undo, {}), outcome::done);
    EXPECT_EQ(nums(key(5), p.slot(2, 5).transpose), nums(72, 12));
    // While recording Undo is refused, by the command and at the swap itself, from every view.
    p.d.recording = 1;
    p.d.current_pattern = 2;
    p.d.current_track = 5;
    t.screen.messages.clear();
    EXPECT_EQ(run_command(p, undo, {}), outcome::refused);
    for (undo_context c : {undo_context::main_screen, undo_context::mixer}) undo_command(p, c);
    undo_apply(p);
    std::vector<std::string> texts;
    for (const auto& m : t.screen.messages) texts.push_back(m.text);
    EXPECT_EQ(texts, std::vector<std::string>(4, msg_while_recording));
    EXPECT_EQ(key(5), 72);
    p.d.recording = 0;
    // A track emptied after its copy (a replace with nothing played) comes back, and a second
    // Undo empties it again.
    undo_save(p, 2, 6);
    delete_track_chain(p, 2, 6);
    p.d.midi_thru = 1;
    t.feed({0x90, 64, 100});  // held through thru: the swap ends it
    undo_apply(p);
    EXPECT_EQ(key(6), 71);
    EXPECT_EQ(check_pool(p), "");
    const auto out = sent_bytes(t.midi, p.d.thru_port);
    ASSERT_FALSE(out.empty());
    EXPECT_EQ(nums(out.back()[0] & 0xF0, out.back()[1]), nums(0x80, 64));
    undo_apply(p);
    EXPECT_EQ(p.slot(2, 6).in_use, 0);
    EXPECT_EQ(check_pool(p), "");
}

// The copy needs the track's blocks and three more; without them the old copy is gone too.
TEST_F(Undo, TheCopyNeedsThreeBlocksBeyondTheTrack) {
    const std::int32_t free = p.d.free_blocks, blocks = p.slot(2, 5).blocks;
    p.d.free_blocks = blocks + 2;
    undo_save(p, 2, 5);
    EXPECT_EQ(nums(p.undo.available, p.d.free_blocks), nums(0, blocks + 2));
    EXPECT_EQ(t.screen.last_text(), msg_undo_no_memory);
    p.d.free_blocks = blocks + 3;
    undo_save(p, 2, 5);
    EXPECT_EQ(nums(p.undo.available, p.undo.slot.blocks, p.d.free_blocks, t.screen.messages.size()),
              nums(1, blocks, 3, 1));
    // A failed copy leaves none: the old one's blocks are back.
    p.d.free_blocks = 2;
    undo_save(p, 2, 6);
    EXPECT_EQ(nums(p.undo.available, p.d.free_blocks, t.screen.messages.size()),
              nums(0, blocks + 2, 2));
    p.d.free_blocks = free;
    EXPECT_EQ(check_pool(p), "");
}

TEST_F(Undo, AnEditorOpeningUndoesAsAWholeAndTheMixerOnPortAKeepsItsOwnCopy) {
    p.d.main_screen = 0;  // the event editor has the window, on pattern 2 track 5
    p.app.edit_pattern = 2;
    p.d.current_pattern = 0;  // another pattern is current: the copy is of the edited one
    p.d.current_track = 5;
    edit(5, 70);
    edit(5, 71);
    EXPECT_EQ(undo_command(p, undo_context::editor), true);
    EXPECT_EQ(nums(key(5), p.slot(2, 5).transpose), nums(60, 0));
    // A new opening with no edit yet has nothing to undo.
    p.app.editor_dirty = false;
    undo_command(p, undo_context::editor);
    EXPECT_EQ(key(5), 60);

    // The Mixer on port A: an edit takes a copy of its own, whatever an editor left.
    p.app.mixer_port = 0;
    p.app.editor_dirty = true;
    edit(6, 73);
    EXPECT_EQ(nums(p.undo.track, p.undo.available), nums(6, 1));
    // Only for the copy's own track: the same track number in another pattern, or another
    // track of its pattern, is refused.
    for (auto [pattern, track] : {std::pair{0, 6}, {2, 5}}) {
        p.d.current_pattern = static_cast<std::int16_t>(pattern);
        p.d.current_track = static_cast<std::int16_t>(track);
        EXPECT_FALSE(undo_command(p, undo_context::mixer)) << pattern << " " << track;
        EXPECT_EQ(nums(t.screen.last_text() == msg_mixer_cant_undo, key(6)), nums(1, 73));
    }
    p.d.current_pattern = 2;
    p.d.current_track = 6;
    EXPECT_TRUE(undo_command(p, undo_context::mixer));
    EXPECT_EQ(key(6), 60);
}

}  // namespace
}  // namespace kestrune
