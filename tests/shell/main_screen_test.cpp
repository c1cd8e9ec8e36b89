#include "shell/screen/main_screen.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>

#include "core/command_ids.h"
#include "core/command_table.h"
#include "files/song_file.h"
#include "files/track_chunk.h"
#include "mixer/mixer_model.h"
#include "processing/commands.h"
#include "shell/screen/main_layout.h"
#include "shell/screen/region_tree.h"
#include "song/patterns.h"
#include "tests/shell/recording_canvas.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using testing::nums;

struct MainScreen : ::testing::Test {
    testing::test_program t;
    main_screen screen{*t};
    font_metrics font{7, 16, 0};

    std::int64_t now = 10'000;

    MainScreen() { screen.layout(2, font); }
    rect place(int region) const { return screen.regions().place(region); }
    testing::recording_canvas painted() {
        testing::recording_canvas c;
        screen.paint(c, {0, 0, 4000, 4000});
        return c;
    }
    // The centre of a row of a column region.
    std::pair<int, int> at(int region, int row = 0) const {
        const rect r = place(region);
        return {(r.left + r.right) / 2,
                r.top + row * screen.cell_height() + screen.cell_height() / 2};
    }
    void ticks(int n) {
        for (int i = 0; i < n; ++i) screen.tick(now += 25);
    }
    void click_at(int x, int y, int button = left_button, key_mods mods = {}) {
        screen.mouse_down(x, y, button, mods, now);
        screen.mouse_up(x, y, button, now + 10);
        ticks(1);
    }
    void click(int region, int row = 0, int button = left_button, key_mods mods = {}) {
        auto [x, y] = at(region, row);
        click_at(x, y, button, mods);
    }
    track_slot& slot(int track) { return t->slot(t->d.current_pattern, track); }
};

TEST_F(MainScreen, EveryZoomFindsEachRegionAtItsCentre) {
    for (int z = 0; z < zoom_rows; ++z) {
        screen.layout(z, font);
        const int cw = 7 + 1 + zoom_table[z].width_delta, ch = 16 + zoom_table[z].height_delta;
        EXPECT_EQ(
            nums(screen.cell_width(), screen.cell_height(), place(rgn::transport_panel).bottom),
            nums(cw, ch, 27 * ch - 1))
            << z;
        for (const screen_region& r : screen.regions().all()) {
            if (r.number == rgn::root || screen.regions().is_hidden(r.number)) continue;
            const rect& p = r.rectangle;
            const screen_region* hit = screen.regions().find_region_at_point(
                (p.left + p.right) / 2, (p.top + p.bottom) / 2);
            ASSERT_NE(hit, nullptr);
            // A parent's centre may fall on one of its children.
            if (hit->number != r.number && r.child < 0)
                ADD_FAILURE() << "zoom " << z << " region " << r.number << " hit " << hit->number;
        }
        EXPECT_EQ(screen.regions().find_region_at_point(-32001, 0), nullptr);
    }
}

TEST_F(MainScreen, AQuickClickStepsOnceAHeldButtonRepeatsOnTimeAndBothButtonsStepTen) {
    screen.set_allow_double_clicks(false);
    click(rgn::transpose, 2);
    ticks(10);
    EXPECT_EQ(slot(2).transpose, 1);

    auto [x, y] = at(rgn::transpose, 2);
    screen.mouse_down(x, y, left_button, {}, now);
    // At once, then nothing up to 100 ms, then a step each tick from 125 ms.
    std::vector<int> seen;
    screen.tick(now);
    for (int i = 0; i < 8; ++i) {
        seen.push_back(slot(2).transpose);
        if (i < 7) ticks(1);
    }
    EXPECT_EQ(seen, (std::vector<int>{2, 2, 2, 2, 2, 3, 4, 5}));
    // The right button joins: ten in the direction the left one went.
    screen.mouse_down(x, y, right_button, {}, now);
    ticks(1);
    EXPECT_EQ(slot(2).transpose, 15);
    screen.mouse_up(x, y, right_button, now);
    screen.mouse_up(x, y, left_button, now);
    ticks(5);
    EXPECT_EQ(slot(2).transpose, 15);

    // Ctrl gives the neutral value, Shift twelve; the limit clamps without a word.
    click(rgn::transpose, 2, left_button, {false, true, false});
    EXPECT_EQ(slot(2).transpose, 0);
    click(rgn::transpose, 2, right_button, {true, false, false});
    EXPECT_EQ(slot(2).transpose, -12);
    for (int i = 0; i < 6; ++i) click(rgn::transpose, 2, right_button, {true, false, false});
    EXPECT_EQ(slot(2).transpose, -60);
    EXPECT_TRUE(t.screen.messages.empty());
}

TEST_F(MainScreen, TrackColumnsKeepTheirLimitsAndChannelReachesEmptyTracksOfEveryPattern) {
    screen.set_allow_double_clicks(false);
    click(rgn::channel, 3);
    for (int p = 0; p <= parallel_pattern; ++p) EXPECT_EQ(t->slot(p, 3).channel, 4) << p;
    for (int i = 0; i < 20; ++i) click(rgn::channel, 3);
    EXPECT_EQ(slot(3).channel, 16);
    for (int i = 0; i < 5; ++i) click(rgn::compress, 0);
    EXPECT_EQ(slot(0).compress, 5);
    click(rgn::port, 1);
    EXPECT_EQ(slot(1).port, 1);
    // Each click on Loop adds a beat in 4/4.
    for (int i = 0; i < 3; ++i) click(rgn::loop, 0);
    EXPECT_EQ(slot(0).loop_length, 3 * 192 + 3071);
    // Qua asks the platform for its pop-up; the chosen item sets that row's track.
    auto [qx, qy] = at(rgn::quantize, 3);
    screen.mouse_down(qx, qy, left_button, {}, now);
    screen.mouse_up(qx, qy, left_button, now);
    const auto popup = screen.take_quantize_popup();
    ASSERT_TRUE(popup.has_value());
    EXPECT_EQ(nums(popup->track, popup->value), nums(3, 0));
    command_table commands;
    add_processing_commands(commands);
    const command_record& quantize = *commands.find(cmd::quantize_popup);
    t->app.quantize_popup_track = popup->track;
    field_values v = initial_values(*t, quantize);
    v[0].number = 4;  // NO, 48, 32, 24, 16
    EXPECT_EQ(run_command(*t, quantize, v), outcome::done);
    EXPECT_EQ(nums(slot(3).quantize, slot(t->d.current_track).quantize), nums(16, 0));
    click(rgn::mute, 4);
    EXPECT_EQ(slot(4).mute, 1);
}

// A click and a typed entry set a track's value the same way: during a cycle take both reach
// every track of the take, and MIDI thru follows the current track.
TEST_F(MainScreen, ClickedAndTypedTrackValuesReachTheCycleTakeAlike) {
    screen.set_allow_double_clicks(false);
    t->d.recording = 1;
    t->d.cycle_recording = 1;
    click(rgn::velocity, 0);
    EXPECT_EQ(nums(slot(0).velocity, t->slot(take_pattern, 7).velocity, t->d.thru_velocity),
              nums(1, 1, 1));
    t.screen.typed = {"51", "200"};
    auto [x, y] = at(rgn::velocity, 0);
    screen.set_allow_double_clicks(true);
    screen.double_click(x, y, left_button, {}, now);
    EXPECT_EQ(nums(slot(0).velocity, t->slot(take_pattern, 7).velocity, t->d.thru_velocity),
              nums(51, 51, 51));
    screen.double_click(x, y, left_button, {}, now);  // held to the column's range
    EXPECT_EQ(nums(slot(0).velocity, t->slot(take_pattern, 31).velocity), nums(127, 127));
}

// A typed entry into a song, track or transport field, or its clicks, is held to that field's
// range; patterns count from 1, the parallel pattern being the 17th.
TEST_F(MainScreen, SongTrackAndTransportFieldsKeepTheirRanges) {
    const auto step_transpose = [&] { return int{t->step(0).transpose}; };
    const auto pattern = [&] { return int{t->d.current_pattern}; };
    const struct {
        int region, row;  // the song list's row 1 is the current step
        const char* typed;
        std::function<int()> value;
        int expected;
    } rows[] = {
        {rgn::step_transpose, 0, "99", step_transpose, 36},
        {rgn::step_transpose, 0, "-99", step_transpose, -36},
        {rgn::velocity, 2, "-200", [&] { return int{slot(2).velocity}; }, -99},
        {rgn::transpose, 2, "99", [&] { return int{slot(2).transpose}; }, 60},
        {rgn::step_pattern, 1, "17", [&] { return int{t->step(0).pattern}; }, 15},
        {rgn::pattern_number, 0, "6", pattern, 5},
        {rgn::pattern_number, 0, "99", pattern, parallel_pattern},
        {rgn::groove, 0, "2", [&] { return int{t->app.edit_grid}; }, 768 / 4},
        {rgn::tempo, 0, "0", [&] { return int{t->app.song_tempo}; }, 100},
        {rgn::position, 0, "9999", [&] { return int{t->d.position}; }, 0xFF000},
    };
    for (const auto& row : rows) {
        t.screen.typed = {row.typed};
        auto [x, y] = at(row.region, row.row);
        screen.double_click(x, y, left_button, {}, now);
        ticks(1);
        EXPECT_EQ(row.value(), row.expected) << row.region << " " << row.typed;
    }
    // The numerator's clicks stop at 32 beats.
    midi_event& signature = t->store().at(t->d.active_signature.first);
    signature.set_data1(31);
    for (int i = 0; i < 2; ++i) {
        click(rgn::numerator);
        ticks(20);
    }
    EXPECT_EQ(signature.data1(), 32);
}

TEST_F(MainScreen, TransportFieldsRefuseWithTheirMessages) {
    t->d.tempo_track_on = 1;
    click(rgn::tempo);
    ticks(20);
    EXPECT_EQ(t.screen.last_text(),
              "The Tempo Track is active!\nChange value in the Tempo Editor.");
    t->d.signature_track_on = 1;
    click(rgn::numerator);
    ticks(20);
    EXPECT_EQ(t.screen.last_text(),
              "The Time Signature Track is active!\nChange value in the Time Signature Editor.");
    t->d.internal_record = 1;
    click(rgn::midi_thru);
    EXPECT_EQ(t.screen.last_text(), "Can't do this while\nInternal Record is active!");
    // Thru off empties the input meter's mailbox.
    t->d.internal_record = 0;
    t->d.midi_thru = 1;
    t->d.input_activity = 90;
    click(rgn::midi_thru);
    EXPECT_EQ(nums(t->d.midi_thru, t->d.input_activity), nums(0, 0xFF));
    // The tempo's left part steps whole beats per minute, the right part hundredths.
    t->d.tempo_track_on = 0;
    const rect tempo = place(rgn::tempo);
    screen.set_allow_double_clicks(false);
    click_at(tempo.left + 1, tempo.top + 2);
    click_at(tempo.right - 1, tempo.top + 2);
    EXPECT_EQ(t->app.song_tempo, 12101);
}

// The list scrolls with the current track; the Record button's mouse button is the mode.
TEST_F(MainScreen, TheListFollowsTheTrackKeysAndTheRecordButtonsMouseButtonIsTheMode) {
    for (int i = 0; i < 20; ++i) screen.key_down({key_code::down, 0, {}, false});
    EXPECT_EQ(nums(t->d.current_track, screen.scroll_value()), nums(20, 5));
    std::vector<int> modes;
    screen.set_recording_actions({[&](int m) { modes.push_back(m); },
                                  [&](bool shift) { modes.push_back(shift ? -1 : 0); },
                                  {}});
    click(rgn::record, 0, right_button);
    click(rgn::record, 0, left_button);
    click(rgn::drop_in, 0, left_button, {true, false, false});  // with Shift: an instant punch
    click(rgn::drop_in);
    EXPECT_EQ(modes, (std::vector<int>{2, 1, -1, 0}));
    // Escape makes an empty track editable.
    EXPECT_TRUE(screen.key_down({key_code::escape, 0, {}, false}));
    EXPECT_EQ(nums(slot(20).in_use, std::string(slot(20).name, 10) == " editable "), nums(1, 1));
    // Closing the mixer during a take shows the take's pattern and track.
    t->d.record_pattern = 3;
    for (const bool take : {false, true}) {
        screen.scroll_to(0);
        open_mixer(*t);
        ticks(1);
        t->d.recording = take;
        close_mixer(*t);
        ticks(1);
        EXPECT_EQ(nums(t->d.current_pattern, screen.scroll_value()),
                  take ? nums(3, 5) : nums(0, 0));
    }
}

TEST_F(MainScreen, TheNameDragCopiesMovesSwapsAndDeletes) {
    testing::test_program& tp = t;
    seat_track(*tp, 0, 0, {{}, testing::notes(3, song_start, 96)});
    put_name(slot(0).name, "Piano");
    // From a name row onto a row of `region`, a little left of its centre.
    auto drag = [&](int from_row, int region, int to_row, key_mods mods) {
        auto [x, y] = at(rgn::track_name, from_row);
        auto [to_x, to_y] = at(region, to_row);
        screen.mouse_down(x, y, left_button, {}, now);
        ticks(7);
        screen.mouse_move(to_x - 2, to_y, mods, now);
        screen.mouse_up(to_x - 2, to_y, left_button, now);
        ticks(1);
    };
    drag(0, rgn::track_name, 2, {});
    EXPECT_EQ(nums(slot(0).in_use, slot(2).in_use, t->d.current_track), nums(1, 1, 2));
    EXPECT_EQ(std::string(slot(2).name, 5), "Piano");
    drag(2, rgn::track_name, 5, {false, true, false});
    EXPECT_EQ(nums(slot(2).in_use, slot(5).in_use), nums(0, 1));
    drag(5, rgn::track_name, 1, {true, false, false});
    EXPECT_EQ(nums(slot(5).in_use, slot(1).in_use), nums(0, 1));
    t->d.recording = 1;  // a take keeps the tracks as they are
    drag(1, rgn::track_name, 6, {});
    EXPECT_EQ(nums(slot(6).in_use, t.screen.last_text() == msg_while_recording), nums(0, 1));
    t->d.recording = 0;
    const int free_before = t->d.free_blocks;
    drag(1, rgn::step_pattern, 3, {});
    EXPECT_EQ(slot(1).in_use, 0);
    EXPECT_GT(t->d.free_blocks, free_before);
    // With solo on, the clicked name's track is the one that sounds.
    t->app.solo_on = true;
    click(rgn::track_name, 3);
    EXPECT_EQ(nums(t->d.track_enable[0], t->d.track_enable[3]), nums(0, 1));
}

TEST_F(MainScreen, TheSongListInsertsDeletesAndStepsItsRows) {
    screen.set_allow_double_clicks(false);
    click(rgn::step_pattern, 1);
    EXPECT_EQ(t->step(0).pattern, 1);
    EXPECT_EQ(t->d.current_pattern, 1);
    // The next row's pattern shows too; the first step's start stays.
    click(rgn::step_pattern, 2);
    click(rgn::step_bar, 1);
    EXPECT_EQ(nums(t->d.current_pattern, t->step_start(0)), nums(2, song_start));
    click(rgn::step_insert);
    EXPECT_EQ(t->step(1).pattern, 1);
    click(rgn::step_down);
    EXPECT_EQ(t->d.current_step, 1);
    click(rgn::step_delete);
    click(rgn::track_numbers, 3);
    EXPECT_EQ(t->step(1).track_mask, 1U << 3);
    click(rgn::master_mute);
    EXPECT_EQ(t->step(song_steps).track_mask, ~0U);
    click(rgn::step_transpose, 0, left_button, {});
    EXPECT_EQ(t->step(1).transpose, 1);
    click(rgn::mode_line);
    EXPECT_EQ(t->d.song_mode, 1);
    // The right button steps with the locators: step 2 runs from 15360 to 21504.
    click(rgn::step_down, 0, right_button);
    EXPECT_EQ(nums(t->d.current_step, t->d.left_locator, t->d.right_locator),
              nums(2, 15360, 21504));
    // Bar clicks stop a bar before the step's end; from one tick a bar click gives one bar.
    for (int i = 0; i < 10; ++i) click(rgn::step_bar, 1);
    EXPECT_EQ(t->step_start(2), 21504 - 768);
    set_step_length(*t, 2, 1);
    const rect length = place(rgn::step_length);
    click_at(length.left + 1, length.top + 2);
    EXPECT_EQ(step_length(*t, 2), 768);
    t->d.recording = 1;
    click(rgn::step_up);
    EXPECT_EQ(t.screen.last_text(), "Can't do this while recording!");
    EXPECT_EQ(t->d.current_step, 2);
}

TEST_F(MainScreen, BarButtonsStepAndThePositionFieldFollowsThePlayingTransport) {
    // Forward and Rewind step to the bar lines, ten bars with both buttons.
    click(rgn::forward);
    EXPECT_EQ(t->d.position, song_start + 768);
    auto [fx, fy] = at(rgn::forward);
    screen.mouse_down(fx, fy, left_button, {}, now);
    screen.mouse_down(fx, fy, right_button, {}, now);
    ticks(1);
    screen.mouse_up(fx, fy, right_button, now);
    screen.mouse_up(fx, fy, left_button, now);
    ticks(1);
    EXPECT_EQ(t->d.position, song_start + 11 * 768);
    click(rgn::rewind);
    EXPECT_EQ(t->d.position, song_start + 10 * 768);
    click(rgn::play);
    EXPECT_TRUE(t->running());
    screen.take_dirty();
    t.run_ms(2000);
    ticks(1);
    const auto dirty = screen.take_dirty();
    EXPECT_NE(std::find(dirty.begin(), dirty.end(), place(rgn::position)), dirty.end());
    EXPECT_NE(painted().text_in(place(rgn::position)), "   1  1  1  1");
    // Muting a playing track silences it.
    seat_track(*t, 0, 4, {{}, testing::notes(1, song_start, 96)});
    t->d.silence_track = 0xFF;
    click(rgn::mute, 4);
    EXPECT_EQ(t->d.silence_track, 4);
    // A bar dialled while running waits until the button is up.
    screen.set_allow_double_clicks(false);
    const rect pos = place(rgn::position);
    const std::int32_t before = t->d.position;
    screen.mouse_down(pos.left + 1, pos.top + 2, left_button, {}, now);
    ticks(1);
    t.run_ms(10);
    ticks(1);
    EXPECT_LT(t->d.position, before + 768);
    screen.mouse_up(pos.left + 1, pos.top + 2, left_button, now);
    ticks(1);
    EXPECT_EQ(t->d.position, before + 768);
    click(rgn::stop);
    EXPECT_FALSE(t->running());
    const region_tree& lamps = screen.regions();
    EXPECT_EQ(nums(lamps.is_lit(rgn::play), lamps.is_lit(rgn::stop), lamps.is_lit(rgn::pause)),
              nums(0, 1, 0));
}

TEST_F(MainScreen, ALoadedSongShowsItsTrackNamesAndTheHiddenDataCell) {
    const std::string path =
        (std::filesystem::temp_directory_path() / "kestrune_screen_test.sng").string();
    {
        testing::test_program other;
        seat_track(*other, 0, 1, {{}, testing::notes(2, song_start, 96)});
        put_name(other->slot(0, 1).name, "Bass");
        seat_track(*other, 0, 20, {{}, testing::notes(2, song_start, 96)});
        put_name(other->slot(0, 20).name, "Strings");
        ASSERT_TRUE(write_song_file(*other, path));
    }
    ASSERT_EQ(read_song_file(*t, path, true), load_result::loaded);
    std::remove(path.c_str());
    screen.tick(now += 25);
    const testing::recording_canvas c = painted();
    EXPECT_EQ(c.text_in(row_of(place(rgn::track_name), 1, screen.cell_height())), "Bass      ");
    EXPECT_FALSE(c.has_text("Strings   "));
    const rect cell = hidden_data_cell(make_cells(2, font));
    bool inverted = false;
    for (auto& [r, role] : c.fills) inverted |= r == cell && role == colour_role::highlight;
    EXPECT_TRUE(inverted);
    screen.scroll_to(16);
    EXPECT_TRUE(painted().has_text("Strings   "));
}

// The tick at rest compares no cell, yet a change made around the screen (a command, a dialog)
// to any part of the model it shows still reaches its cell on the next tick, each part alone.
TEST_F(MainScreen, AtRestTheScreenStillFollowsEveryPartOfTheModelItShows) {
    const int h = screen.cell_height();
    const std::vector<std::pair<rect, std::function<void()>>> changes = {
        {row_of(place(rgn::transpose), 2, h), [&] { slot(2).transpose = 5; }},
        {row_of(place(rgn::step_name), 2, h), [&] { put_name(t->step(1).name, "Verse"); }},
        {place(rgn::left_locator), [&] { t->d.left_locator = song_start + 4 * 96; }},
        {place(rgn::groove), [&] { t->app.edit_grid = 24; }},
        {place(rgn::tempo), [&] { t->app.song_tempo = 100; }},
    };
    for (const auto& [cell, change] : changes) {
        ticks(2);
        screen.take_dirty();
        ticks(1);
        EXPECT_TRUE(screen.at_rest());
        change();
        ticks(1);
        EXPECT_FALSE(screen.at_rest());
        const auto dirty = screen.take_dirty();
        EXPECT_NE(std::find(dirty.begin(), dirty.end(), cell), dirty.end());
    }
}

}  // namespace
}  // namespace kestrune
