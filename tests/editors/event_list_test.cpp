#include "editors/list/event_list.h"

#include <gtest/gtest.h>

#include "core/midi_names.h"
#include "editors/frame/editor_frame.h"
#include "editors/list/list_edit.h"
#include "editors/list/list_fields.h"
#include "editors/list/step_input.h"
#include "processing/quantize.h"
#include "processing/undo.h"
#include "realtime/transport.h"
#include "song/field_text.h"
#include "song/patterns.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

struct EventList : ::testing::Test {
    test_program t;
    program& p = *t;

    // The list of a new track with these records, each one on the next track.
    void open(const records& recs) {
        leave_editor(p);
        p.d.current_track = static_cast<std::int16_t>(next_track++);
        give_track(p, 0, p.d.current_track, recs);
        ASSERT_EQ(toggle_editor(p, editor_kind::event_list), outcome::done);
        p.editor.position_follow = false;
    }
    int next_track = 0;
    records track() const { return read_track(p, 0, p.d.current_track); }
    // The highlighted event's bytes, or the end record's status alone.
    midi_event cursor() const { return p.store().at(p.editor.cursor); }
    void down(int n) {
        for (int i = 0; i < n; ++i) ASSERT_TRUE(move_cursor(p, 1));
    }
    void expect_sound() const { EXPECT_EQ(check_pool(p), ""); }
};

TEST_F(EventList, RowsFollowTheFiltersAndTheHighlightStopsAtBothEnds) {
    p.d.punch_on = 1;  // the editor turns Punch off
    open({ev(0xC0, 5, 0, 3072), ev(0x90, 60, 90, 3072), ev(0xB0, 7, 100, 3100),
          ev(0x80, 60, 64, 3168)});
    // Note-offs are hidden at first; the end row is blank and nothing follows it.
    list_row_events rows = list_rows_of(p);
    EXPECT_EQ(nums(p.store().status(rows[0]), p.store().status(rows[1]), p.store().status(rows[2]),
                   rows[3]),
              nums(0xC0, 0x90, 0xB0, 0));
    EXPECT_FALSE(move_cursor(p, -1));
    down(3);
    EXPECT_TRUE(cursor().is_end());
    EXPECT_FALSE(move_cursor(p, 1));
    // "off" on shows the note-off; "ctr" off hides the controller under the highlight, which
    // goes to the event before it.
    p.editor.filters.off = true;
    ASSERT_TRUE(move_cursor(p, -1));
    ASSERT_TRUE(move_cursor(p, -1));
    EXPECT_EQ(cursor().status(), 0xB0);
    p.editor.filters.ctr = false;
    settle_cursor(p);
    EXPECT_EQ(nums(cursor().status(), p.editor.cursor_row, p.d.punch_on), nums(0x90, 1, 0));
    // During a take no editor opens.
    leave_editor(p);
    p.d.recording = 1;
    EXPECT_EQ(toggle_editor(p, editor_kind::event_list), outcome::refused);
}

TEST_F(EventList, InsertNoteOnTheEndRowOfAnEmptyTrackAndTheSessionUndoesInOneStep) {
    open({});
    EXPECT_TRUE(cursor().is_end());
    const records before = track();
    ASSERT_EQ(insert_note(p), outcome::done);
    EXPECT_TRUE(holds(track(), {ev(0x90, 64, 64, 3072), ev(0x80, 64, 64, 3073)}));
    // A second edit in the same session keeps the first copy.
    move_cursor(p, -1);
    ASSERT_EQ(change_event(p), outcome::done);  // a note-on with velocity keeps its kind
    set_row_data(p, p.editor.cursor, row_data::data1, 67);
    EXPECT_TRUE(holds(track(), {ev(0x90, 67, 64, 3072), ev(0x80, 67, 64, 3073)}));
    expect_sound();
    ASSERT_TRUE(undo_command(p, undo_context::editor));
    EXPECT_TRUE(holds(track(), before));
    ASSERT_TRUE(undo_command(p, undo_context::editor));
    EXPECT_TRUE(holds(track(), {ev(0x90, 67, 64, 3072), ev(0x80, 67, 64, 3073)}));
}

TEST_F(EventList, InsertNoteFindsItsNoteOffByTheNextNoteOfTheSameKey) {
    // Beside a note of the same key one tick on, the later note's note-off is doubled.
    open({ev(0xB0, 1, 0, 3100), ev(0x90, 60, 90, 3101), ev(0x80, 60, 64, 3200)});
    p.editor.last_note = {0x90, 60, 80};
    ASSERT_EQ(insert_note(p), outcome::done);
    EXPECT_TRUE(
        holds(track(), {ev(0xB0, 1, 0, 3100), ev(0x90, 60, 80, 3100), ev(0x90, 60, 90, 3101),
                        ev(0x80, 60, 64, 3200), ev(0x80, 60, 64, 3200)}));
    EXPECT_EQ(nums(cursor().data2(), p.editor.cursor_row), nums(80, 1));
    // On a note-on row the note is doubled and becomes the next note inserted; the highlight
    // goes onto the copy, not back onto the row it was made from.
    const ref32 row = p.editor.cursor;
    ASSERT_EQ(insert_note(p), outcome::done);
    EXPECT_EQ(nums(track().size(), p.editor.last_note.data2), nums(7, 80));
    EXPECT_EQ(nums(p.editor.cursor, p.editor.cursor_row), nums(p.store().next_record(row), 2));
    // With no later note of the key the new note has no length.
    open({ev(0xB0, 1, 0, 3100)});
    p.editor.last_note = {0x91, 40, 70};
    ASSERT_EQ(insert_note(p), outcome::done);
    EXPECT_TRUE(
        holds(track(), {ev(0xB0, 1, 0, 3100), ev(0x91, 40, 70, 3100), ev(0x81, 40, 64, 3100)}));
    expect_sound();
    // Behind a sysex row the note goes behind the whole message, not into its data, on the
    // channel of the track (the third, on 3).
    open(long_event(0xF0, 3072, sysex_payload(9)));
    ASSERT_EQ(insert_note(p), outcome::done);
    records want = long_event(0xF0, 3072, sysex_payload(9));
    want.insert(want.end(), {ev(0x92, 40, 70, 3072), ev(0x82, 40, 64, 3072)});
    EXPECT_TRUE(holds(track(), want));
    // With the next note of the key two ticks on, the new note lasts one.
    open({ev(0xB0, 1, 0, 3100), ev(0x93, 40, 90, 3102), ev(0x83, 40, 64, 3200)});
    ASSERT_EQ(insert_note(p), outcome::done);
    EXPECT_EQ(p.store().position(p.store().find_note_off(p.editor.cursor)), 3101);
    // The double of a note quantized by +5 was never played elsewhere: Deq leaves it in place
    // and still takes the +5 back from the original.
    open({ev(0x90, 60, 90, 3072), ev(0x80, 60, 64, 3200)});
    event_store s = p.store();
    set_shift_note_on_part(s.at(p.editor.cursor), 5);
    set_shift_note_off_part(s.at(s.find_note_off(p.editor.cursor)), 5);
    const ref32 original = p.editor.cursor;
    ASSERT_EQ(insert_note(p), outcome::done);
    dequantize_note(p, p.editor.cursor);
    dequantize_note(p, original);  // in chain order, not re-sorted
    EXPECT_TRUE(holds(track(), {ev(0x90, 60, 90, 3067), ev(0x90, 60, 90, 3072),
                                ev(0x80, 60, 64, 3200), ev(0x80, 60, 64, 3195)}));
}

TEST_F(EventList, DeleteTakesTheNoteOffAlongAndAsksBeforeALoneNoteOff) {
    // The note-off is the next row: the highlight goes past it.
    open({ev(0x90, 60, 90, 3072), ev(0x80, 60, 64, 3076), ev(0xB0, 7, 1, 3080),
          ev(0x80, 62, 64, 3170)});
    p.editor.filters.off = true;
    ASSERT_EQ(delete_event(p), outcome::done);
    EXPECT_TRUE(holds(track(), {ev(0xB0, 7, 1, 3080), ev(0x80, 62, 64, 3170)}));
    EXPECT_EQ(cursor().status(), 0xB0);
    down(1);
    t.screen.answers = {msg_answer::no};
    EXPECT_EQ(delete_event(p), outcome::cancelled);
    EXPECT_EQ(track().size(), 2u);
    // The last event goes: the highlight moves up onto the one before.
    t.screen.answers = {msg_answer::yes};
    ASSERT_EQ(delete_event(p), outcome::done);
    EXPECT_EQ(nums(track().size(), cursor().status(), p.editor.cursor_row), nums(1, 0xB0, 0));
    // Following the song, Delete does nothing.
    p.editor.position_follow = true;
    EXPECT_EQ(delete_event(p), outcome::refused);
    expect_sound();
}

TEST_F(EventList, ChangeEventCyclesTheKindsAndRefusesALongSysex) {
    open({ev(0xB3, 7, 100, 3072)});
    const int kinds[] = {0xC3, 0xD3, 0xE3, 0xF0, 0xF3, 0xF3, 0xA3};
    for (int want : kinds) {
        ASSERT_EQ(change_event(p), outcome::done);
        EXPECT_EQ(cursor().status(), want);
    }
    // The pitch wheel's data came back on the P-Press; the text's second turn was a lyric.
    EXPECT_EQ(nums(cursor().data1(), cursor().data2(), p.editor.other == other_kind::last_other),
              nums(7, 100, 1));
    p.editor.filters.off = true;
    open({ev(0x81, 60, 10, 3072)});  // a note-off becomes a note-on of velocity 64
    ASSERT_EQ(change_event(p), outcome::done);
    EXPECT_EQ(nums(cursor().status(), cursor().data2()), nums(0x91, 64));
    open(long_event(0xF0, 3072, sysex_payload(9)));
    EXPECT_EQ(change_event(p), outcome::refused);
    EXPECT_EQ(t.screen.last_text(), msg_long_sysex);
}

TEST_F(EventList, ColumnEditsMoveANoteWithItsNoteOffAndKeepItsLengthShortOfTheNextNote) {
    open({ev(0x90, 60, 90, 3072), ev(0x80, 60, 64, 3168), ev(0x90, 60, 90, 3300),
          ev(0x80, 60, 64, 3400)});
    move_row_event(p, p.editor.cursor, 20);
    EXPECT_TRUE(holds(track(), {ev(0x90, 60, 90, 3092), ev(0x80, 60, 64, 3188),
                                ev(0x90, 60, 90, 3300), ev(0x80, 60, 64, 3400)}));
    set_note_length(p, p.editor.cursor, 1000);
    EXPECT_EQ(p.store().position(p.store().find_note_off(p.editor.cursor)), 3299);
    set_row_data(p, p.editor.cursor, row_data::data2, 0);
    EXPECT_EQ(cursor().data2(), 1);                     // a note-on never turns into a note-off
    move_row_event(p, p.editor.cursor, last_position);  // its note-off stops at the song's end
    EXPECT_EQ(p.store().position(p.store().find_note_off(p.editor.cursor)), last_position);
    expect_sound();
    // A poly pressure's channel counts from 1 to 16, its key goes by its name.
    open({ev(0xA0, 60, 30, 3072)});
    const auto kind_of = [&](int region) {
        return field_kind_text(list_column_field(p, region, p.editor.cursor).shape);
    };
    EXPECT_EQ(kind_of(erg::channel) + "; " + kind_of(erg::data1),
              "channel 1..16; note 0..127 or a name as C#4");
}

// In song mode, with step 1 four bars into the song, a pattern's events count from the step's
// start while the list follows the song; the parallel pattern's from the song's own.
TEST_F(EventList, InSongModeTheListFollowsInTheStepsTimeButTheParallelPatternInTheSongs) {
    p.d.song_mode = 1;
    p.d.current_step = 1;
    p.step(0).end = song_start + 3072;
    open(notes(80, 3072, 96));
    p.d.position = 3072 + 3072 + 96 * 10 + 5;
    follow_position(p);
    EXPECT_EQ(p.store().position(p.editor.cursor), 3072 + 96 * 10);
    leave_editor(p);
    give_track(p, parallel_pattern, 0, notes(80, 3072, 96));
    select_pattern(p, parallel_pattern);
    p.d.current_track = 0;
    ASSERT_EQ(toggle_editor(p, editor_kind::event_list), outcome::done);
    follow_position(p);
    EXPECT_EQ(p.store().position(p.editor.cursor), 3072 + 96 * 42);
}

TEST_F(EventList, StepInputPutsAChordAndMovesOnByTheGrid) {
    open({});
    p.app.edit_grid = 48;
    ASSERT_EQ(toggle_step_input(p), outcome::done);
    p.d.step_position = 3072;
    p.d.step_chord[0] = ev(0x90, 60, 100, 0);
    p.d.step_chord[1] = ev(0x90, 64, 90, 0);
    p.d.step_chord_count = 2;
    p.d.step_chord_position = 3072;
    p.d.step_chord_ready = 1;
    step_input_tick(p);
    EXPECT_TRUE(holds(track(), {ev(0x90, 60, 100, 3072), ev(0x90, 64, 90, 3072),
                                ev(0x80, 60, 64, 3119), ev(0x80, 64, 64, 3119)}));
    // A rest with a key held ties the next chord one step longer.
    p.d.step_notes_held = 1;
    step_rest(p);
    EXPECT_EQ(nums(p.d.step_position, p.editor.step_tie_units, p.d.step_chord_ready),
              nums(3072 + 96, 2, 0));
    expect_sound();
}

TEST_F(EventList, EditsDuringPlaybackEndTheNotesTheyTakeAwayAndPlayTheNewOnes) {
    open({ev(0x90, 60, 90, 3072), ev(0x80, 60, 64, 3072 + 768), ev(0x90, 62, 90, 3072 + 192),
          ev(0x80, 62, 64, 3072 + 300)});
    transport tr(p);
    tr.play();
    t.run_ms(ms_of(96));
    // Key 60 sounds; deleting it ends it at once, and key 62, moved up to 64, plays as 64.
    ASSERT_EQ(sent_bytes(t.midi, 0).back(), (std::vector<int>{0x90, 60, 90}));
    t.midi.clear();
    ASSERT_EQ(delete_event(p), outcome::done);
    t.run_ms(1);
    EXPECT_EQ(sent_bytes(t.midi, 0), (std::vector<std::vector<int>>{{0x80, 60, 64}}));
    set_row_data(p, p.editor.cursor, row_data::data1, 64);
    t.midi.clear();
    t.run_ms(ms_of(300));
    EXPECT_EQ(sent_bytes(t.midi, 0),
              (std::vector<std::vector<int>>{{0x90, 64, 90}, {0x80, 64, 64}}));
    tr.stop();
}

// The list's names: C-1 is note 0, so 12 is C 0; controllers named where the table has a name.
TEST(EventRowNames, NotesByOctaveAndControllersByTheirTable) {
    EXPECT_EQ(note_name(0) + note_name(11) + note_name(12) + note_name(61) + note_name(127),
              " C-1 B-1 C 0C# 4 G 9");
    std::string named;
    for (int c = -6; c < 128; ++c)
        if (controller_name(c)) named += std::to_string(c) + " ";
    EXPECT_EQ(
        named,
        "-5 -4 -3 -2 -1 0 1 2 4 5 6 7 8 10 11 16 17 18 19 32 33 34 36 37 38 39 40 42 43 48 49 "
        "50 51 64 65 66 67 68 69 70 71 72 73 74 75 76 77 78 79 80 81 82 83 84 91 92 93 94 95 "
        "96 97 98 99 100 101 121 122 123 124 125 126 127 ");
    EXPECT_EQ(std::string(controller_name(91)) + controller_name(64), "  Effect 1   Sustain Ped");
}

}  // namespace
}  // namespace kestrune
