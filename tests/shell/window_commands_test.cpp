// The window's commands and keys, run on a whole session as the window would, each checked by
// what it did to the song, the transport or the screen.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "core/command_ids.h"
#include "files/file_messages.h"
#include "files/file_state.h"
#include "shell/dispatch.h"
#include "shell/file_commands.h"
#include "shell/main_commands.h"
#include "shell/screen/main_layout.h"
#include "shell/screen/main_screen.h"
#include "shell/screen/region_tree.h"
#include "shell/startup.h"
#include "tests/shell/session_fixture.h"
#include "tests/support/song_builder.h"

namespace kestrune::testing {
namespace {

key_event key(key_code code, key_mods mods = {}) {
    return {code, 0, mods, false};
}
key_event letter(char c, key_mods mods = {}) {
    return {key_code::character, c, mods, false};
}
constexpr key_mods shift{true, false, false};
constexpr key_mods ctrl{false, true, false};

class Keys : public session_fixture {
  protected:
    void SetUp() override {
        session_fixture::SetUp();
        s->screen = std::make_unique<main_screen>(*p, s->trans);
        s->screen->set_recording_actions(recorder_actions(s->rec));
        s->screen->layout(2, {7, 16, 0});
    }
    bool press(const key_event& k) { return press_key(*s, k); }
    dll_data& d() { return p->d; }
};

// The shortcuts as the menus and the transport list them, each reaching its own command.
TEST_F(Keys, EachShortcutOfTheMenusAndTheTransportNamesItsCommand) {
    struct key_row {
        key_event k;
        int id;
    };
    const key_row table[] = {
        {letter('C', shift), cmd::copy_track},
        {letter('Y', shift), cmd::copy_pattern},
        {letter('X', shift), cmd::copy_track_segment},
        {letter('H', shift), cmd::copy_pattern_segment},
        {letter('P', shift), cmd::push_track},
        {letter('D'), cmd::delete_events},
        {letter('K'), cmd::keep_events},
        {letter('H'), cmd::transform_events},
        {letter('V', shift), cmd::mirror_pitches},
        {letter('Z', shift), cmd::reverse_pitches},
        {letter('O', shift), cmd::change_speed},
        {letter('K', shift), cmd::double_speed},
        {letter('J', shift), cmd::half_speed},
        {letter('X'), cmd::check_track},
        {letter('O'), cmd::check_note_overlap},
        {letter('L', shift), cmd::change_note_length},
        {letter('F'), cmd::freeze_quantize},
        {letter('F', shift), cmd::freeze_track_parameters},
        {letter('U', shift), cmd::quantize_settings},
        {letter('I', shift), cmd::insert_measures},
        {letter('D', shift), cmd::delete_measures},
        {letter('M', shift), cmd::mixdown},
        {letter('R', shift), cmd::remix_by_channel},
        {letter('R', {true, true, false}), cmd::remix_by_note},
        {letter('Z', ctrl), cmd::undo},
        {letter('N', ctrl), cmd::clear_song},
        {letter('O', ctrl), cmd::load_song},
        {letter('M', ctrl), cmd::load_midi_file},
        {letter('S', ctrl), cmd::save_song},
        {letter('Q', ctrl), cmd::quit},
        {key(key_code::pad_0), cmd::play},
        {key(key_code::pad_enter), cmd::stop},
        {key(key_code::pad_dot), cmd::pause},
        {key(key_code::f12), cmd::panic},
        {letter('C'), cmd::cycle_button},
        {letter('P'), cmd::punch_button},
        {letter('S'), cmd::solo_button},
        {letter('T'), cmd::tempo_track_button},
        {letter('W'), cmd::signature_track_button},
        {letter('J'), cmd::mixer_button},
        {letter('E'), cmd::event_editor},
        {letter('G'), cmd::grid_editor},
        {letter('T', shift), cmd::tempo_track_editor},
        {letter('W', shift), cmd::signature_track_editor},
        {letter('S', {false, false, true}), -1},  // Alt+S is no Solo
    };
    const auto expect_commands = [&](const auto& rows) {
        for (const key_row& row : rows) {
            const command_record* c = s->commands.for_key(*p, row.k);
            EXPECT_EQ(c ? c->id : -1, row.id);
        }
    };
    expect_commands(table);
    // The event list's own keys, while it is open; P is Cue there.
    build_track(*p, 0, 0, notes(2, song_start, 96));
    ASSERT_EQ(dispatch_command(*s, cmd::event_editor), outcome::done);
    const key_row editor_keys[] = {
        {key(key_code::enter), cmd::editor_ok},
        {letter('U'), cmd::unlock},
        {key(key_code::del), cmd::editor_delete},
        {key(key_code::insert), cmd::insert_note},
        {key(key_code::insert, shift), cmd::insert_other},
        {key(key_code::escape), cmd::edit_long_event},
        {letter('Q'), cmd::quantize_note},
        {letter('Q', shift), cmd::dequantize_note},
        {letter('P'), cmd::cue},
    };
    expect_commands(editor_keys);
    // In song mode Cue dials the event's place in the song: step 2 starts four bars in.
    dispatch_command(*s, cmd::event_editor);
    d().song_mode = 1;
    d().current_step = 1;
    p->step(0).end = song_start + 3072;
    ASSERT_EQ(dispatch_command(*s, cmd::event_editor), outcome::done);
    press(letter('P'));
    EXPECT_EQ(d().position, song_start + 3072);
}

TEST_F(Keys, ColumnHeadersTellTheirColumnAndTheCommandThatWorksOnIt) {
    const int ch = s->screen->cell_height();
    const auto tip_over = [&](int region, int above) {
        const rect r = s->screen->regions().place(region);
        return header_tip(*s, (r.left + r.right) / 2, r.top - above);
    };
    EXPECT_EQ(tip_over(rgn::transpose, ch / 2), "Transpose: Freeze Track Parameters (Shift+F)");
    EXPECT_EQ(tip_over(rgn::quantize, ch / 2), "Quantize: Freeze Quantize (F)");
    EXPECT_EQ(tip_over(rgn::step_pattern, 2), "Pattern of the song step");
    // The pattern's name over the name column, and the rows, have none.
    EXPECT_EQ(tip_over(rgn::track_name, ch / 2), "");
    EXPECT_EQ(tip_over(rgn::transpose, -ch / 2), "");
}

TEST_F(Keys, FunctionKeysGoToStoreAndRecallPositionsAndLocators) {
    press(key(key_code::f2));
    EXPECT_EQ(d().position, 6144);
    press(key(key_code::f4));
    EXPECT_EQ(d().position, 12288);
    press(key(key_code::f3, shift));  // stores 12288 under F3
    press(key(key_code::f1));
    press(key(key_code::f3));
    EXPECT_EQ(d().position, 12288);
    press(key(key_code::f7));
    EXPECT_EQ(nums(d().left_locator, d().right_locator), nums(15360, 18432));
    press(key(key_code::f6, shift));  // stores 15360..18432 under F6
    press(key(key_code::f8));
    EXPECT_EQ(nums(d().left_locator, d().right_locator), nums(21504, 24576));
    // With the cycle on while stopped the recalled left locator is the position.
    d().cycle_on = 1;
    press(key(key_code::f6));
    EXPECT_EQ(nums(d().left_locator, d().right_locator, d().position), nums(15360, 18432, 15360));
    press(key(key_code::f5));
    EXPECT_EQ(nums(d().left_locator, d().right_locator, d().position), nums(3072, 6144, 3072));
}

TEST_F(Keys, TheTransportKeysPlayStopPauseAndSwitchTheModes) {
    for (const auto& [code, running] : {std::pair{key_code::pad_0, true},
                                        {key_code::pad_dot, false},
                                        {key_code::pad_dot, true},
                                        {key_code::pad_enter, false}}) {
        press(key(code));
        EXPECT_EQ(p->running(), running) << static_cast<int>(code);
    }
    press(letter('T'));
    press(letter('W'));
    press(letter('S'));
    EXPECT_EQ(nums(d().tempo_track_on, d().signature_track_on, p->app.solo_on), nums(1, 1, 1));
    // Meanwhile keypad plus says why it does nothing, once however long it is held.
    script.messages.clear();
    key_event plus = key(key_code::pad_plus);
    press(plus);
    plus.auto_repeat = true;
    press(plus);
    EXPECT_EQ(script.messages.size(), 1u);
    press(letter('T'));
    EXPECT_EQ(d().tempo_track_on, 0);
    // Keypad plus and minus step the tempo by 1.00; not under external sync.
    press(key(key_code::pad_plus));
    press(key(key_code::pad_plus));
    press(key(key_code::pad_minus));
    EXPECT_EQ(p->app.song_tempo, 12100);
    d().external_sync = 1;
    press(key(key_code::pad_minus));
    EXPECT_EQ(p->app.song_tempo, 12100);
}

TEST_F(Keys, TheScreenKeysMoveTracksPatternsAndSteps) {
    for (int i = 0; i < 40; ++i) press(key(key_code::down));
    EXPECT_EQ(d().current_track, 31);
    for (int i = 0; i < 30; ++i) press(key(key_code::up));
    EXPECT_EQ(d().current_track, 1);
    press(letter('Z'));
    EXPECT_EQ(p->slot(0, 1).mute, 1);
    // 9, 0, Shift+1, Shift+8 (there is no pattern 18) and Shift+7, the parallel pattern.
    for (const auto& [k, pattern] : {std::pair{letter('9'), 8},
                                     {letter('0'), 9},
                                     {letter('1', shift), 10},
                                     {letter('8', shift), 10},
                                     {letter('7', shift), parallel_pattern}}) {
        press(k);
        EXPECT_EQ(d().current_pattern, pattern) << k.character;
    }
    press(key(key_code::down, shift));
    press(key(key_code::down, shift));
    EXPECT_EQ(d().current_step, 2);
    press(key(key_code::up, shift));
    EXPECT_EQ(d().current_step, 1);
    // Insert doubles the current step; Delete takes it away again.
    p->step(1).pattern = 5;
    press(key(key_code::insert));
    EXPECT_EQ(nums(p->step(1).pattern, p->step(2).pattern), nums(5, 5));
    p->step(2).pattern = 7;
    press(key(key_code::del));
    EXPECT_EQ(p->step(1).pattern, 7);
    // A sets song mode; L in song mode sets the locators to the current step, then the cycle.
    press(letter('A'));
    ASSERT_EQ(d().song_mode, 1);
    press(letter('L'));
    EXPECT_EQ(nums(d().left_locator, d().right_locator, d().cycle_on),
              nums(p->step_start(1), p->step(1).end, 1));
    press(letter('A'));
    EXPECT_EQ(d().song_mode, 0);
}

TEST_F(Keys, RecordKeysTakeInReplaceAndOverdubAndBackspaceClearsTheTrack) {
    build_track(*p, 0, 0, notes(2, song_start, 96));
    press(key(key_code::pad_slash));
    EXPECT_EQ(nums(d().recording, p->slot(0, 0).in_use), nums(1, 1));  // overdub keeps the track
    // While recording Backspace and Ctrl+Z are refused.
    press(key(key_code::backspace));
    EXPECT_EQ(script.last_text(), msg_while_recording);
    press(key(key_code::pad_enter));
    press(key(key_code::pad_star));
    EXPECT_EQ(nums(d().recording, p->slot(0, 0).in_use), nums(1, 0));  // replace empties it first
    press(letter('Z', ctrl));
    EXPECT_EQ(script.last_text(), msg_while_recording);
    EXPECT_EQ(p->slot(0, 0).in_use, 0);
    press(key(key_code::pad_enter));
    press(letter('Z', ctrl));  // the replaced track comes back
    EXPECT_EQ(p->slot(0, 0).in_use, 1);
    press(key(key_code::backspace));
    EXPECT_EQ(p->slot(0, 0).in_use, 0);
    // Space drops in and out while the song plays.
    press(key(key_code::pad_0));
    press(key(key_code::space));
    EXPECT_EQ(nums(d().recording, d().instant_punch), nums(1, 0));  // with Shift a punch
    press(key(key_code::space));
    EXPECT_EQ(nums(d().recording, p->running()), nums(0, 1));
}

// A held key does not run a command again; Punch is the main window's, Cycle every view's.
TEST_F(Keys, HeldKeysRunNoCommandAgainAndPunchBelongsToTheMainWindow) {
    key_event held = letter('C');
    held.auto_repeat = true;
    EXPECT_TRUE(press(held));
    EXPECT_EQ(d().cycle_on, 0);
    d().main_screen = 0;  // an editor has the window
    press(letter('P'));
    EXPECT_EQ(nums(d().punch_on, command_enabled(*s, cmd::punch_button)), nums(0, 0));
    press(letter('C'));
    EXPECT_EQ(d().cycle_on, 1);
    d().main_screen = 1;
    press(letter('P'));
    EXPECT_EQ(nums(d().punch_on, command_enabled(*s, cmd::punch_button)), nums(1, 1));
}

// While a take runs, every command that would change the song is refused with the message and
// changes nothing; saving, the setup dialogs and the preferences stay at hand.
TEST_F(Keys, WhileRecordingTheSongChangingCommandsAreRefusedAndTheRestStayAtHand) {
    build_track(*p, 0, 0, notes(2, song_start, 96));
    s->setup_dialogs = true;
    d().recording = 1;
    std::vector<int> changing = {cmd::clear_song,   cmd::load_song,     cmd::load_midi_file,
                                 cmd::load_pattern, cmd::load_track,    cmd::load_syx_file,
                                 cmd::undo,         cmd::quantize_popup};
    for (const menu& m : main_menus())
        if (m.title == "F&unctions" || m.title == "E&xtra")
            for (const menu_item& i : m.items)
                if (i.command > 0) changing.push_back(i.command);
    EXPECT_EQ(changing.size(), 8u + 15 + 10);  // Undo stands in both lists
    for (int id : changing) {
        const command_record* c = s->commands.find(id);
        ASSERT_NE(c, nullptr) << id;
        EXPECT_TRUE(c->changes_song) << id;
        if (!c->run) continue;
        script.messages.clear();
        EXPECT_EQ(dispatch_command(*s, id), outcome::refused) << id;
        EXPECT_EQ(script.last_text(), msg_while_recording) << id;
    }
    EXPECT_EQ(nums(p->slot(0, 0).in_use, p->changes.commands), nums(1, 0));
    for (int id : {cmd::save_song, cmd::save_midi_file, cmd::midi_setup, cmd::memory_setup,
                   cmd::overall_settings, cmd::quantize_settings, cmd::midi_click})
        EXPECT_FALSE(s->commands.find(id)->changes_song) << id;
    for (int id : {cmd::midi_setup, cmd::memory_setup, cmd::overall_settings})
        EXPECT_TRUE(command_enabled(*s, id)) << id;
}

// The event list keeps references into the chains it shows: a load or a Clear Song given up
// leaves it open, a Clear Song closes it before it could show freed blocks.
TEST_F(Keys, ClearingTheSongAsksFirstAndClosesAnOpenEditor) {
    build_track(*p, 0, 0, notes(2, song_start, 96));
    ASSERT_EQ(dispatch_command(*s, cmd::event_editor), outcome::done);
    script.file_names = {std::nullopt};
    dispatch_command(*s, cmd::load_song);
    script.answers = {msg_answer::cancel};
    dispatch_command(*s, cmd::clear_song);
    EXPECT_EQ(nums(p->editor.open(), p->slot(0, 0).in_use), nums(1, 1));
    script.answers = {msg_answer::ok};
    EXPECT_EQ(dispatch_command(*s, cmd::clear_song), outcome::done);
    EXPECT_EQ(script.last_text(), ask_erase_all);
    EXPECT_EQ(nums(p->editor.open(), d().main_screen, p->slot(0, 0).in_use), nums(0, 1, 0));
    EXPECT_EQ(s->files.current_file_title, untitled_title);
}

// Closing asks to save only after an edit (a mute by key is one); a recent file that is gone is
// said and leaves the list.
TEST_F(Keys, ClosingAsksToSaveOnlyAfterAnEditAndAGoneRecentFileLeavesTheList) {
    build_track(*p, 0, 0, notes(2, song_start, 96));
    script.file_names = {(dir / "close.sng").string()};
    ASSERT_EQ(dispatch_command(*s, cmd::save_song), outcome::done);
    dispatch_command(*s, cmd::stop);  // leaves the song as it was
    EXPECT_TRUE(confirm_close(*s));
    EXPECT_TRUE(script.messages.empty());
    press(letter('Z'));
    script.answers = {msg_answer::cancel};
    EXPECT_FALSE(confirm_close(*s));
    EXPECT_EQ(script.last_text(), ask_save_before_closing);
    script.answers = {msg_answer::yes};  // and the Save dialog given up
    EXPECT_FALSE(confirm_close(*s));
    script.answers = {msg_answer::no};
    EXPECT_TRUE(confirm_close(*s));
    ASSERT_TRUE(open_start_file(*s, (dir / "close.sng").string()));  // nor does a song just loaded
    const std::size_t asked = script.messages.size();
    EXPECT_TRUE(confirm_close(*s));
    EXPECT_EQ(script.messages.size(), asked);

    s->files.recent_files = {(dir / "gone.sng").string()};
    EXPECT_EQ(nums(command_enabled(*s, cmd::recent_file_first),
                   command_enabled(*s, cmd::recent_file_first + 1)),
              nums(1, 0));
    dispatch_command(*s, cmd::recent_file_first);
    EXPECT_EQ(script.last_text(), msg_file_not_found);
    EXPECT_TRUE(s->files.recent_files.empty());
    EXPECT_EQ(recent_file_item_text(0, "gone.sng"), "&1 gone.sng");
}

// A preference item flips its value and its check mark shows it.
TEST_F(Keys, ThePreferenceItemsFlipTheirValues) {
    const struct {
        int id;
        std::function<int()> value;
    } prefs[] = {
        {cmd::midi_click, [&] { return int{d().midi_click}; }},
        {cmd::actual_position, [&] { return int{s->settings.actual_position}; }},
        {cmd::click_always, [&] { return int{d().click_always}; }},
        {cmd::clock_spp_out, [&] { return int{d().sync_out}; }},
        {cmd::reset_on_stop, [&] { return int{p->app.reset_on_stop}; }},
        {cmd::two_bar_count_in, [&] { return int{s->trans.two_bar_count_in}; }},
        {cmd::chase_events, [&] { return int{p->app.chase_events}; }},
        {cmd::show_real_time_clock, [&] { return int{p->app.clock_field_on}; }},
        {cmd::simple_bardisplay, [&] { return int{p->app.simple_bardisplay}; }},
        {cmd::allow_double_clicks, [&] { return int{s->settings.allow_double_clicks}; }},
        {cmd::remember_file_paths, [&] { return int{s->files.remember_file_paths}; }},
    };
    std::vector<int> options;  // each one stands in the Options menu
    for (const menu& m : main_menus())
        for (const menu_item& i : m.items)
            if (m.title == "&Options") options.push_back(i.command);
    for (const auto& pref : prefs) {
        EXPECT_NE(std::find(options.begin(), options.end(), pref.id), options.end()) << pref.id;
        const command_record& c = *s->commands.find(pref.id);
        for (int round = 0; round < 2; ++round) {
            const int before = pref.value() != 0;
            EXPECT_EQ(c.checked(*p), before != 0) << pref.id;
            dispatch_command(*s, pref.id);
            EXPECT_EQ(pref.value() != 0, !before) << pref.id;
        }
    }
    // Full Volume asks the engine for it, on its next turn.
    dispatch_command(*s, cmd::full_volume);
    EXPECT_EQ(nums(d().full_volume_request, d().reset_request), nums(1, 0));
    dispatch_command(*s, cmd::sync_external);
    EXPECT_EQ(nums(d().external_sync, s->commands.find(cmd::sync_internal)->checked(*p)),
              nums(1, 0));
    d().free_blocks = 100;  // About counts 32 events a block
    dispatch_command(*s, cmd::about);
    EXPECT_NE(script.last_text().find("\n\nFree events: 3200"), std::string::npos)
        << script.last_text();
    dispatch_command(*s, cmd::zoom_first + 5);
    EXPECT_EQ(nums(s->settings.zoom_index, s->commands.find(cmd::zoom_first + 5)->checked(*p)),
              nums(5, 1));
}

}  // namespace
}  // namespace kestrune::testing
