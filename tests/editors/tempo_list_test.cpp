#include <gtest/gtest.h>

#include "core/command_ids.h"
#include "core/command_table.h"
#include "editors/editor_commands.h"
#include "editors/frame/editor_frame.h"
#include "editors/list/event_list.h"
#include "editors/list/list_edit.h"
#include "editors/list/list_fields.h"
#include "editors/tempo/tempo_process.h"
#include "processing/commands.h"
#include "song/position.h"
#include "tests/support/chain_checker.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

constexpr std::int32_t bar44 = 768, bar34 = 576;

midi_event sig(int n, int d, std::int32_t pos) {
    return ev(st::signature, n, d, pos);
}

struct TempoLists : ::testing::Test {
    test_program t;
    program& p = *t;

    void open(editor_kind k) {
        ASSERT_EQ(toggle_editor(p, k), outcome::done);
        p.editor.position_follow = false;
    }
    ref32 cursor() const { return p.editor.cursor; }
    void set(int region, std::int32_t v) { list_column_field(p, region, cursor()).set(v); }
    records list(const chain_cursor& c) const { return read_chain(p.store(), c.first); }
    void expect_sound(const chain_cursor& c) const {
        EXPECT_EQ(check_pool(p), "");
        EXPECT_EQ(check_chain(p.store(), c.first, c.blocks), "");
    }
};

// A tempo change put in the list moves the clock times after it, and the engine plays on with
// the tempo now in force where it stands.
TEST_F(TempoLists, ATempoChangeInTheListMovesTheClockAndTheEngineTakesIt) {
    use_tempo_track(p, {tempo(12000, 0)});
    p.d.position = song_start + 8 * bar44;
    open(editor_kind::tempo_list);  // the lists need no track data
    const chain_cursor& c = p.d.tempo_chain;
    // Each copy goes behind its row and the highlight onto it.
    ASSERT_EQ(insert_other(p), outcome::done);
    ASSERT_EQ(insert_other(p), outcome::done);
    EXPECT_EQ(p.editor.cursor_row, 2);
    ASSERT_EQ(delete_event(p), outcome::done);
    set(erg::position, song_start + 4 * bar44);
    set(erg::data2, 50);
    set(erg::data1, 60);  // the hundredths stay
    EXPECT_TRUE(holds(list(c), {tempo(12000, 0), tempo(6050, song_start + 4 * bar44)}));
    set(erg::data2, 0);
    // Four bars at 120 and four at 60.
    EXPECT_EQ(position_to_ms(p, song_start + 8 * bar44), 8000 + 16000);
    EXPECT_EQ(p.d.tempo_increment, tempo_increment_for(6000));
    expect_sound(c);
    ASSERT_EQ(delete_event(p), outcome::done);
    EXPECT_TRUE(holds(list(c), {tempo(12000, 0)}));
    EXPECT_EQ(p.d.tempo_increment, tempo_increment_for(12000));
    // An emptied list gets 120.00 at the song's start from its end row.
    ASSERT_EQ(delete_event(p), outcome::done);
    ASSERT_EQ(insert_other(p), outcome::done);
    EXPECT_TRUE(holds(list(c), {tempo(12000, song_start)}));
    expect_sound(c);
    // In song mode on a later step the list still counts in the song's own time.
    leave_editor(p);
    p.d.song_mode = 1;
    p.d.current_step = 1;
    p.step(0).end = song_start + 3072;
    open(editor_kind::tempo_list);
    EXPECT_EQ(p.editor.step_offset, 0);
}

// Deleting, moving or resizing a signature keeps the bar count of every bar after it; the first
// signature stays where it is.
TEST_F(TempoLists, SignatureChangesKeepTheBarsAfterThem) {
    const std::int32_t three = song_start + 4 * bar44;  // 3/4 for two bars, then 4/4
    use_signature_track(p, {sig(4, 4, song_start), sig(3, 4, three), sig(4, 4, three + 2 * bar34)});
    p.d.position = three + 10;
    open(editor_kind::signature_list);
    const chain_cursor& c = p.d.signature_track;
    const records before = list(c);
    EXPECT_EQ(delete_event(p), outcome::refused);
    set(erg::position, song_start + bar44);
    EXPECT_TRUE(holds(list(c), before));

    ASSERT_TRUE(move_cursor(p, 1));
    // A bar on: the 4/4 gains a bar, the 3/4 keeps one; a second bar would reach the next.
    set(erg::position, three + 2 * bar34);
    EXPECT_TRUE(holds(list(c), {sig(4, 4, song_start), sig(3, 4, three + bar44),
                                sig(4, 4, three + bar44 + bar34)}));
    set(erg::position, three);
    EXPECT_TRUE(holds(list(c), before));
    // 5/4 for the two bars the 3/4 had; the engine counts five beats where it stands.
    set(erg::data1, 5);
    EXPECT_TRUE(
        holds(list(c), {sig(4, 4, song_start), sig(5, 4, three), sig(4, 4, three + 2 * 960)}));
    EXPECT_EQ(p.d.beats_per_bar, 5);
    set(erg::data2, 2);  // 5/2
    EXPECT_EQ(p.store().position(nth_event(p.store(), c.first, 2)), three + 2 * 1920);
    set(erg::data2, 4);
    set(erg::data1, 3);
    EXPECT_TRUE(holds(list(c), before));

    // Insert Sign copies it a bar on; deleting the first 3/4 leaves its bar to the 4/4.
    ASSERT_EQ(insert_other(p), outcome::done);
    EXPECT_EQ(p.store().position(cursor()), three + bar34);
    EXPECT_EQ(insert_other(p), outcome::refused);  // no bar left before the 4/4
    ASSERT_TRUE(move_cursor(p, -1));
    ASSERT_EQ(delete_event(p), outcome::done);
    EXPECT_TRUE(holds(list(c), {sig(4, 4, song_start), sig(3, 4, three + bar44),
                                sig(4, 4, three + bar44 + bar34)}));
    EXPECT_EQ(p.d.active_signature.blocks, c.blocks);
    expect_sound(c);
}

TEST_F(TempoLists, NoSignatureIsPushedPastTheEnd) {
    const std::int32_t late = last_position - bar44, half = late - 10 * 384;
    use_signature_track(p, {sig(4, 4, song_start), sig(2, 4, half), sig(4, 4, late)});
    open(editor_kind::signature_list);
    const chain_cursor& c = p.d.signature_track;
    const records before = list(c);
    set(erg::data1, 32);
    EXPECT_EQ(t.screen.last_text(), "Meassure overflow!");
    EXPECT_TRUE(holds(list(c), before));
    // Each 2/4 bar given to the 4/4 pushes the last one on by a beat: the third step is not made.
    t.screen.messages.clear();
    ASSERT_TRUE(move_cursor(p, 1));
    set(erg::position, half + 3 * 384);
    EXPECT_EQ(t.screen.last_text(), "Meassure overflow!");
    EXPECT_TRUE(holds(
        list(c), {sig(4, 4, song_start), sig(2, 4, half + 2 * bar44), sig(4, 4, last_position)}));
    ASSERT_TRUE(move_cursor(p, 1));
    EXPECT_EQ(insert_other(p), outcome::refused);  // no bar left before the end
    // Back as far as it goes: a bar after the first signature.
    ASSERT_TRUE(move_cursor(p, -1));
    set(erg::position, 0);
    EXPECT_EQ(p.store().position(cursor()), song_start + bar44);
    expect_sound(c);
}

// Menus, keys and apply read the same rule: in a list, what works on a track's notes is greyed.
TEST_F(TempoLists, TheListsGreyWhatWorksOnTheTracksEvents) {
    give_track(p, 0, 0, {ev(0x90, 60, 90, song_start), ev(0x80, 60, 64, song_start + 96)});
    command_table table;
    add_editor_commands(table);
    add_processing_commands(table);
    const auto enabled = [&] {
        std::vector<std::int64_t> on;
        for (int id : {cmd::reverse_pitches, cmd::quantize_note, cmd::insert_note,
                       cmd::insert_other, cmd::insert_measures})
            on.push_back(is_enabled(p, *table.find(id)));
        return on;
    };
    open(editor_kind::signature_list);
    EXPECT_EQ(enabled(), nums(0, 0, 1, 1, 1));
    // The lists have no notes: Insert alone adds what Shift+Insert adds, a bar later.
    ASSERT_EQ(run_command(p, *table.find(cmd::insert_note), {}), outcome::done);
    EXPECT_TRUE(
        holds(list(p.d.signature_track), {sig(4, 4, song_start), sig(4, 4, song_start + bar44)}));
    open(editor_kind::event_list);  // Insert Measures is the lists' own among the editors
    EXPECT_EQ(enabled(), nums(1, 1, 1, 1, 0));
    // The "pw" button shows or hides the pitch wheel's rows alone.
    const row_filters before = p.editor.filters;
    for (int id = cmd::filter_first; id <= cmd::filter_last; ++id)
        if (table.find(id)->text == "pw") run_command(p, *table.find(id), {});
    EXPECT_EQ(nums(p.editor.filters.pw, p.editor.filters.aft), nums(!before.pw, before.aft));
    open(editor_kind::grid);  // Qua works on the grid's notes
    EXPECT_TRUE(is_enabled(p, *table.find(cmd::quantize_note)));
}

TEST_F(TempoLists, ProcessTempoTrackScalesByAPercentageOrRampsTheChangesInARange) {
    use_tempo_track(p, {tempo(12000, 0), tempo(6000, song_start)});
    EXPECT_EQ(nums(tempo_percent_limits(p).lower, tempo_percent_limits(p).upper), nums(-98, 732));
    open(editor_kind::tempo_list);
    command_table table;
    add_editor_commands(table);
    const command_record& c = *table.find(cmd::process_tempo);
    field_values v = initial_values(p, c);
    ASSERT_EQ(v.size(), 6u);
    v[1].number = 999;  // held to 732
    ASSERT_EQ(run_command(p, c, v), outcome::done);
    EXPECT_TRUE(holds(list(p.d.tempo_chain), {tempo(99840, 0), tempo(49920, song_start)}));

    // 100 to 120 over 1920 ticks: a tick short of 111 reads 110, the event at the end is left
    // alone, and none is added.
    const records ramp = {tempo(9000, 0), tempo(9000, song_start), tempo(9000, song_start + 1055),
                          tempo(9000, song_start + 1920)};
    use_tempo_track(p, ramp);
    ramp_tempo_list(p, {100, song_start, 120, song_start});
    EXPECT_TRUE(holds(list(p.d.tempo_chain), ramp));
    v = initial_values(p, c);
    EXPECT_EQ(nums(v[1].number, v[2].number, v[3].number, v[4].number, v[5].number),
              nums(0, 100, song_start, 120, 2 * song_start));
    v[0].number = 1;
    v[5].number = song_start + 1920;
    ASSERT_EQ(run_command(p, c, v), outcome::done);
    EXPECT_TRUE(holds(list(p.d.tempo_chain),
                      {tempo(9000, 0), tempo(10000, song_start), tempo(11000, song_start + 1055),
                       tempo(9000, song_start + 1920)}));
    expect_sound(p.d.tempo_chain);
}

}  // namespace
}  // namespace kestrune
