#include <gtest/gtest.h>

#include "editors/frame/editor_frame.h"
#include "editors/grid/grid_gesture.h"
#include "editors/list/event_list.h"
#include "processing/undo.h"
#include "realtime/transport.h"
#include "song/mouse_model.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

constexpr std::int32_t row = 8;  // ticks per row
constexpr key_mods none{};
constexpr key_mods shift{.shift = true};
constexpr key_mods ctrl{.ctrl = true};

midi_event selected(midi_event off) {
    set_mark(off, mark_selected, true);
    return off;
}

struct Grid : ::testing::Test {
    test_program t;
    program& p = *t;
    grid_gesture mouse;

    void open(const records& recs) {
        give_track(p, 0, 0, recs);
        ASSERT_EQ(toggle_editor(p, editor_kind::grid), outcome::done);
    }
    records track() const { return read_track(p, 0, 0); }
    void drag(grid_point from, grid_point to, int button = left_button, key_mods mods = none) {
        mouse.press(p, from, button, mods, row);
        mouse.move(p, {(from.tick + to.tick) / 2, from.key}, mods, false);
        mouse.move(p, to, mods, false);
        mouse.release(p);
    }
    void expect_sound() const { EXPECT_EQ(check_pool(p), ""); }
};

TEST_F(Grid, ThePencilDrawsASnappedNoteOfTheLastLengthHeardUntilReleasedAndRefusesAnOverlap) {
    open({ev(0x90, 60, 90, 3072), ev(0x80, 60, 64, 3264)});
    p.song.snap_to_grid = 1;
    // R on an empty place and straight up: one note at the grid point before, the last length.
    mouse.press(p, {3080, 64}, right_button, none, row);
    EXPECT_EQ(sent_bytes(t.midi, 0).back(), (std::vector<int>{0x90, 64, 64}));
    mouse.release(p);
    EXPECT_EQ(sent_bytes(t.midi, 0).back(), (std::vector<int>{0x80, 64, 64}));
    EXPECT_TRUE(holds(track(), {ev(0x90, 60, 90, 3072), ev(0x90, 64, 64, 3072),
                                selected(ev(0x80, 64, 64, 3264)), ev(0x80, 60, 64, 3264)}));
    EXPECT_EQ(p.store().at(p.editor.cursor).data1(), 64);
    // A note of the same key starts inside the new one's span: nothing is made.
    p.song.snap_to_grid = 0;
    mouse.press(p, {3000, 60}, right_button, none, row);
    mouse.release(p);
    EXPECT_EQ(t.screen.messages.back().text, msg_note_overlaps);
    EXPECT_TRUE(holds(track(), {ev(0x90, 60, 90, 3072), ev(0x90, 64, 64, 3072),
                                ev(0x80, 64, 64, 3264), ev(0x80, 60, 64, 3264)}));
    expect_sound();
}

// A drum track's notes on channel 10: the pencil draws there, not on the default's channel 1;
// a track whose Cha is set draws on that channel.
TEST_F(Grid, APencilNoteTakesTheChannelTheTrackPlaysOn) {
    p.slot(0, 0).channel = channel_as_recorded;
    open({ev(0xB0, 7, 100, 3072), ev(0x99, 36, 90, 3072), ev(0x89, 36, 64, 3264)});
    for (const int status : {0x99, 0x93}) {
        mouse.press(p, {3456, 38}, right_button, none, row);
        mouse.release(p);
        EXPECT_EQ(p.store().at(p.editor.cursor).status(), status);
        erase_note(p, note_of(p, p.editor.cursor));
        leave_editor(p);
        p.slot(0, 0).channel = 3;
        ASSERT_EQ(toggle_editor(p, editor_kind::grid), outcome::done);
    }
}

TEST_F(Grid, AMoveLocksToTheFirstAxisAndTheGroupStopsAtTheTopKeyKeepingItsShape) {
    open({ev(0x90, 120, 90, 3072), ev(0x90, 125, 90, 3120), ev(0x80, 120, 64, 3200),
          ev(0x80, 125, 64, 3200)});
    select_notes(p, 0);
    // Sideways first: the drag follows the keys only, and +5 stops at +2 for the whole group.
    mouse.press(p, {3075, 120}, left_button, none, row);
    mouse.move(p, {3075, 121}, none, false);
    mouse.move(p, {3400, 125}, none, false);
    EXPECT_EQ(mouse.label(p), "Transp     2");
    mouse.release(p);
    EXPECT_TRUE(
        holds(track(), {ev(0x90, 122, 90, 3072), ev(0x90, 127, 90, 3120),
                        selected(ev(0x80, 122, 64, 3200)), selected(ev(0x80, 127, 64, 3200))}));
    EXPECT_EQ(p.store().at(p.editor.cursor).data1(), 122);
    // A row down first: the drag keeps to time whatever keys it crosses after.
    mouse.press(p, {3075, 122}, left_button, none, row);
    mouse.move(p, {3075 + row, 122}, none, false);
    mouse.move(p, {3075 + row, 100}, none, false);
    EXPECT_EQ(mouse.label(p), "  Move  ");
    mouse.move(p, {3075, 122}, none, false);
    mouse.release(p);
    // Down first: time only. Ctrl copies and frees both axes; the copies alone stay selected.
    drag({3075, 122}, {3075 + 192, 120}, left_button, ctrl);
    EXPECT_TRUE(
        holds(track(), {ev(0x90, 122, 90, 3072), ev(0x90, 127, 90, 3120), ev(0x80, 122, 64, 3200),
                        ev(0x80, 127, 64, 3200), ev(0x90, 120, 90, 3264), ev(0x90, 125, 90, 3312),
                        selected(ev(0x80, 120, 64, 3392)), selected(ev(0x80, 125, 64, 3392))}));
    expect_sound();
}

TEST_F(Grid, ALengthDragSnapsToWholeUnitsOneTickShortAndStopsBeforeTheNextNoteOfItsKey) {
    open({ev(0x90, 60, 90, 3072), ev(0x80, 60, 64, 3264), ev(0x90, 60, 90, 3456),
          ev(0x80, 60, 64, 3500)});
    p.song.snap_to_grid = 1;
    // From the note's last row to 300 ticks after its start: 288 whole sixteenths, less one.
    drag({3256, 60}, {3072 + 300, 60});
    EXPECT_EQ(p.store().position(note_of(p, find_note_on(p, 3072, 60)).off), 3072 + 287);
    EXPECT_EQ(p.editor.grid.last_length, 287);
    // Reaching the next note of the key: refused, the note stays.
    p.song.snap_to_grid = 0;
    drag({3355, 60}, {3456 + 1, 60});
    EXPECT_EQ(t.screen.last_text(), msg_note_overlaps);
    EXPECT_EQ(p.store().position(note_of(p, find_note_on(p, 3072, 60)).off), 3072 + 287);
    expect_sound();
}

TEST_F(Grid, TheEraserAndTheRubberBandWorkNoteByNoteAndTheSessionUndoesInOneStep) {
    const records start = {ev(0x90, 60, 90, 3072), ev(0x90, 62, 90, 3072), ev(0x90, 64, 90, 3072),
                           ev(0x80, 60, 64, 3150), ev(0x80, 62, 64, 3150), ev(0x80, 64, 64, 3150),
                           ev(0x90, 60, 90, 3300), ev(0x80, 60, 64, 3400)};
    open(start);
    // The band from key 61 to 64 picks two of the chord; Shift with a band clears one again.
    drag({3000, 61}, {3100, 64});
    EXPECT_EQ(sent_bytes(t.midi, 0).front(), (std::vector<int>{0x90, 61, 81}));  // the key sounds
    EXPECT_EQ(selected_notes(p).size(), 2U);
    drag({3000, 64}, {3100, 64}, left_button, shift);
    EXPECT_EQ(selected_notes(p).size(), 1U);
    // A note that ends on the band's left edge is inside it.
    drag({3200, 60}, {3150, 60});
    ASSERT_EQ(selected_notes(p).size(), 1U);
    EXPECT_EQ(selected_notes(p)[0].on, find_note_on(p, 3072, 60));
    // R with Shift drawn down key 60 erases each note under it once, selected alone first.
    mouse.press(p, {3080, 60}, right_button, shift, row);
    for (std::int32_t tick = 3080; tick < 3420; tick += row)
        mouse.move(p, {tick, 60}, shift, false);
    mouse.release(p);
    EXPECT_TRUE(holds(track(), {ev(0x90, 62, 90, 3072), ev(0x90, 64, 90, 3072),
                                ev(0x80, 62, 64, 3150), ev(0x80, 64, 64, 3150)}));
    expect_sound();
    ASSERT_TRUE(undo_command(p, undo_context::editor));
    EXPECT_TRUE(holds(track(), start));
}

TEST_F(Grid, TheLaneSetsValuesFromItsEdgeAndMakesControllersOnTheTracksChannel) {
    open({ev(0x90, 60, 90, 3072), ev(0xB0, 7, 100, 3200), ev(0x80, 60, 64, 3264)});
    EXPECT_EQ(nums(lane_value_at(lane::velocity, 100, 100, 228, false),
                   lane_value_at(7, 100, 100, 228, false), lane_value_at(7, 164, 100, 228, false),
                   lane_value_at(7, 228, 100, 228, false), lane_value_at(7, 110, 100, 228, true)),
              nums(1, 0, 64, 127, 64));
    // A quick stroke from 3000 to 3200 passes the note's row at 10 + 100 * 9 / 25.
    mouse.press_lane(p, 10, 3000, left_button, none, row);
    mouse.move_lane(p, 110, 3200, none);
    mouse.release(p);
    EXPECT_EQ(p.store().at(find_note_on(p, 3072, 60)).data2(), 46);
    // Pressures, program and pitch wheel: the lane's kind and the byte of its value.
    const midi_event poly = ev(0xA3, 60, 20, 0);
    EXPECT_EQ(nums(in_lane(lane::poly_pressure, poly), in_lane(lane::channel_pressure, poly),
                   lane_value(lane::channel_pressure, ev(0xD0, 33, 0, 0)),
                   lane_value(lane::pitch_wheel, ev(0xE0, 0, 70, 0))),
              nums(1, 0, 33, 70));
    p.song.grid_lane = 7;
    p.slot(0, 0).channel = 2;
    // R alone sets the controller in its row and makes one in an empty row.
    mouse.press_lane(p, 30, 3200, right_button, none, row);
    mouse.move_lane(p, 40, 3192, none);
    mouse.release(p);
    EXPECT_TRUE(holds(track(), {ev(0x90, 60, 46, 3072), ev(0xB2, 7, 40, 3192),
                                ev(0xB0, 7, 30, 3200), ev(0x80, 60, 64, 3264)}));
    expect_sound();
}

TEST_F(Grid, SelectNotesItemsAndQuaWorkOnTheSelection) {
    open({ev(0x90, 60, 90, 3080), ev(0x90, 64, 90, 3100), ev(0x80, 60, 64, 3150),
          ev(0x80, 64, 64, 3160), ev(0x90, 67, 90, 3300), ev(0x80, 67, 64, 3350),
          ev(0x90, 60, 90, 3400), ev(0x80, 60, 64, 3450)});
    // Without a selection Qua takes the cursor's note onto the sixteenth grid.
    p.editor.cursor = find_note_on(p, 3300, 67);
    ASSERT_EQ(requantize_selected(p, true), outcome::done);
    EXPECT_NE(find_note_on(p, 3312, 67), null_ref);
    // Neither a selection nor a note under the cursor.
    p.editor.cursor = note_of(p, find_note_on(p, 3080, 60)).off;
    EXPECT_EQ(select_notes(p, 3), outcome::refused);
    EXPECT_EQ(t.screen.messages.back().text, msg_select_one_note);
    EXPECT_EQ(requantize_selected(p, true), outcome::refused);
    EXPECT_EQ(t.screen.messages.back().text, msg_no_events_selected);
    toggle_selected(p, note_of(p, find_note_on(p, 3080, 60)));
    select_notes(p, 2);  // Equal Pitch: both 60s
    EXPECT_EQ(selected_notes(p).size(), 2U);
    toggle_selected(p, note_of(p, find_note_on(p, 3080, 60)));
    select_notes(p, 3);  // Lower/Same Pitch: the other 60 too
    EXPECT_EQ(selected_notes(p).size(), 2U);
    toggle_selected(p, note_of(p, find_note_on(p, 3100, 64)));
    select_notes(p, 3);  // all but 67
    EXPECT_EQ(selected_notes(p).size(), 3U);
    select_notes(p, 1);  // Toggle
    ASSERT_EQ(selected_notes(p).size(), 1U);
    // Deq takes only the selected 67 back to where it was played.
    ASSERT_EQ(requantize_selected(p, false), outcome::done);
    EXPECT_EQ(nums(find_note_on(p, 3300, 67) != null_ref, find_note_on(p, 3080, 60) != null_ref),
              nums(1, 1));
    // Leaving the grid clears the marks.
    leave_editor(p);
    for (const midi_event& e : track()) EXPECT_FALSE(e.is_note_off() && has_mark(e, all_marks));
    expect_sound();
}

}  // namespace
}  // namespace kestrune
