#include <gtest/gtest.h>

#include "core/command_ids.h"
#include "editors/frame/editor_frame.h"
#include "editors/grid/grid_view.h"
#include "shell/screen/main_layout.h"
#include "shell/screen/main_screen.h"
#include "shell/screen/region_tree.h"
#include "song/event_store.h"
#include "tests/shell/recording_canvas.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

// The event list in the main window, driven by mouse and keys as the window drives it.
struct EditorPane : ::testing::Test {
    test_program t;
    program& p = *t;
    main_screen screen{p};
    std::int64_t now = 10'000;

    EditorPane() {
        screen.layout(2, {7, 16, 0});
        give_track(p, 0, 0,
                   {ev(0x90, 60, 90, 3072), ev(0x80, 60, 64, 3168), ev(0x90, 62, 90, 3264),
                    ev(0x80, 62, 64, 3360)});
        EXPECT_EQ(toggle_editor(p, editor_kind::event_list), outcome::done);
        ticks(1);
    }
    void ticks(int n) {
        for (int i = 0; i < n; ++i) screen.tick(now += 25);
    }
    std::pair<int, int> at(int region, int row) const {
        const rect r = screen.regions().place(region);
        return {(r.left + r.right) / 2,
                r.top + row * screen.cell_height() + screen.cell_height() / 2};
    }
    void click(int region, int row, int button = left_button) {
        auto [x, y] = at(region, row);
        screen.mouse_down(x, y, button, {}, now);
        screen.mouse_up(x, y, button, now + 10);
        ticks(30);  // past the double-click time
    }
    const midi_event& row_event(int row) const {
        return p.store().at(list_rows_of(p)[static_cast<std::size_t>(row)]);
    }
};

TEST_F(EditorPane, TheListTakesThePanesPlaceAndPaintsItsRows) {
    EXPECT_TRUE(screen.regions().is_hidden(rgn::track_pane));
    EXPECT_FALSE(screen.regions().is_hidden(erg::list));
    recording_canvas c;
    screen.paint(c, {0, 0, 4000, 4000});
    EXPECT_TRUE(c.has_text("Note    "));
    EXPECT_TRUE(c.has_text(" D 4"));
    // The shown buttons that run these commands, by their texts.
    auto shown = [&](std::initializer_list<int> commands) {
        std::string texts;
        for (int command : commands)
            for (const child_button& b : screen.buttons())
                if (b.command == command && b.visible) texts += b.text + ";";
        return texts;
    };
    EXPECT_EQ(shown({cmd::editor_ok, cmd::unlock, cmd::mixer_recall, cmd::insert_other}),
              "OK;Unlock;Insert Other;");
    // Straight from the list into the tempo list, which shows its own buttons.
    ASSERT_EQ(toggle_editor(p, editor_kind::tempo_list), outcome::done);
    ticks(1);
    EXPECT_EQ(shown({cmd::insert_other, cmd::process_tempo}), "Insert Tempo;Process...;");
    EXPECT_EQ(shown({cmd::insert_note, cmd::snap_to_grid, cmd::quantize_note}), "");
    // Leaving gives the panes back.
    leave_editor(p);
    ticks(1);
    EXPECT_FALSE(screen.regions().is_hidden(rgn::track_pane));
    EXPECT_TRUE(screen.regions().is_hidden(erg::list));
    // A program change names its patch from the track's port (C here) where the Mixer shows
    // names for the event's channel.
    patch_tables names;
    names[2].names[5] = "Warm Pad";
    names[2].from_file = true;
    patch_name_flags named{};
    named[2][0] = 1;
    screen.set_patch_names(&names, &named);
    track_slot& pad = give_track(p, 0, 1, {ev(0xC0, 5, 0, 3072)});
    pad.port = 2;
    pad.channel = channel_as_recorded;
    p.d.current_track = 1;
    ASSERT_EQ(toggle_editor(p, editor_kind::event_list), outcome::done);
    ticks(1);
    recording_canvas list;
    screen.paint(list, {0, 0, 4000, 4000});
    EXPECT_TRUE(list.has_text(" Warm Pad      "));
}

TEST_F(EditorPane, AClickMovesTheHighlightThenStepsTheFieldAndADoubleClickTypesIntoIt) {
    p.editor.position_follow = false;
    click(erg::data1, 1);
    EXPECT_EQ(nums(p.editor.cursor_row, row_event(1).data1()), nums(1, 62));
    click(erg::data1, 1);
    EXPECT_EQ(row_event(1).data1(), 63);
    click(erg::data1, 1, right_button);
    click(erg::data1, 1, right_button);
    EXPECT_EQ(row_event(1).data1(), 61);
    t.screen.typed = {"77"};
    auto [x, y] = at(erg::data2, 1);
    screen.double_click(x, y, left_button, {}, now);
    ticks(1);
    EXPECT_EQ(row_event(1).data2(), 77);
    // A click on the bar's last digit steps a whole bar: the note at beat 2 moves to bar 2.
    const rect pos = screen.regions().place(erg::position);
    const int digit_x = pos.right - 9 * screen.cell_width() - screen.cell_width() / 2;
    screen.mouse_down(digit_x, y, left_button, {}, now);
    screen.mouse_up(digit_x, y, left_button, now + 10);
    ticks(30);
    EXPECT_EQ(p.store().position(p.editor.cursor), 3264 + 768);
}

TEST_F(EditorPane, TheGridTakesTheMouseOverItselfToDrawAndDragANote) {
    ASSERT_EQ(toggle_editor(p, editor_kind::grid), outcome::done);
    ticks(1);
    // The screen's grid stands where a grid of the same cells stands.
    grid_view probe(p);
    probe.layout({screen.cell_width(), screen.cell_height(), 0});
    const int x = probe.x_of(70) + 1, y = probe.y_of(3472), two_keys = 2 * probe.key_width();
    screen.mouse_down(x, y, right_button, {}, now);
    screen.mouse_move(x + two_keys / 2, y, {}, now);
    screen.mouse_move(x + two_keys, y, {}, now);
    // The key the drag reached sounds on the tick, and ends with the drag.
    ticks(1);
    EXPECT_EQ(sent_bytes(t.midi, 0).back(), (std::vector<int>{0x90, 72, 64}));
    screen.mouse_up(x + two_keys, y, right_button, now);
    EXPECT_EQ(sent_bytes(t.midi, 0).back(), (std::vector<int>{0x80, 72, 64}));
    ticks(1);
    // Drawn at key 70, dragged sideways two keys; the list's one row shows it.
    const ref32 made = find_note_on(p, 3472, 72);
    ASSERT_NE(made, null_ref);
    EXPECT_EQ(list_rows_of(p)[0], made);
    // A press on an empty place taps the key for 200 ms, though the button stays down for a band.
    const int empty_x = probe.x_of(66) + 1, empty_y = probe.y_of(3700);
    screen.mouse_down(empty_x, empty_y, left_button, {}, now);
    EXPECT_EQ(sent_bytes(t.midi, 0).back(), (std::vector<int>{0x90, 66, 0x51}));
    ticks(8);
    EXPECT_EQ(sent_bytes(t.midi, 0).back()[0], 0x90);
    ticks(1);
    EXPECT_EQ(sent_bytes(t.midi, 0).back(), (std::vector<int>{0x80, 66, 64}));
    screen.mouse_up(empty_x, empty_y, left_button, now);
    // A drag held below the grid scrolls it on each tick, and the note drawn goes along.
    const int free_x = probe.x_of(76) + 1, below = probe.notes().bottom + 40;
    const std::int32_t first_shown = p.editor.grid.first_tick,
                       pointed = probe.point(free_x, below).tick;
    screen.mouse_down(free_x, y, right_button, {}, now);
    screen.mouse_move(free_x, below, {}, now);
    ticks(10);
    const std::int32_t scrolled = p.editor.grid.first_tick - first_shown;
    EXPECT_GE(scrolled, 10 * (probe.notes().height() / 20) * probe.row_ticks())
        << probe.notes().height();
    screen.mouse_up(free_x, below, right_button, now);
    ticks(1);
    EXPECT_EQ(p.store().at(p.editor.cursor).data1(), 76);
    EXPECT_GT(p.store().position(p.editor.cursor), pointed + scrolled / 2);
    // A double click types into the zooms, held to their range, and into the lane's title, where
    // a kind other than a controller goes by its name.
    t.screen.typed = {"24", "200", "pitchwh"};
    for (const rect& r :
         {probe.zoom_field(false), probe.zoom_field(true), probe.lane_title_field()})
        screen.double_click((r.left + r.right) / 2, (r.top + r.bottom) / 2, left_button, {}, now);
    EXPECT_EQ(nums(p.song.grid_zoom_y, p.song.grid_zoom_x, p.song.grid_lane),
              nums(24, grid_zoom_x_max, lane::pitch_wheel));
}

}  // namespace
}  // namespace kestrune
