// The program's window against the real widgets, offscreen: start-up, drops, zoom, playing.
#include <gtest/gtest.h>

#include <QApplication>
#include <QDropEvent>
#include <QKeyEvent>
#include <QMessageBox>
#include <QMimeData>
#include <QScreen>
#include <QTest>
#include <QTimer>
#include <QUrl>
#include <QWindow>
#include <filesystem>
#include <map>

#include "engine/engine.h"
#include "files/file_messages.h"
#include "files/settings_file.h"
#include "platform/key_map.h"
#include "platform/main_window.h"
#include "platform/qt_ui.h"
#include "core/command_ids.h"
#include "shell/dispatch.h"
#include "shell/file_commands.h"
#include "shell/main_commands.h"
#include "shell/screen/main_layout.h"
#include "shell/startup.h"
#include "tests/platform/song_maker.h"
#include "tests/shell/recording_canvas.h"
#include "tests/platform/window_fixture.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune::testing {
namespace {

TEST_F(window_fixture, start_file_rules) {
    EXPECT_EQ(command_line_file({"\"my song.sng\""}), "my song.sng");
    EXPECT_EQ(command_line_file({"my", "song.sng"}), "my song.sng");
    EXPECT_EQ(command_line_file({}), "");

    // No "Default.sng": an empty song, untitled, and not a word.
    EXPECT_FALSE(open_start_file(*s, ""));
    EXPECT_EQ(s->files.current_file_title, untitled_title);
    EXPECT_EQ(screen_ui.messages_shown(), 0);

    // A named song that is not there says so.
    QString caption, text;
    answer_box(&caption, &text);
    EXPECT_FALSE(open_start_file(*s, "nosuch.sng"));
    EXPECT_EQ(text.toStdString(),
              std::string(msg_open_failed) + "\nnosuch.sng: No such file or directory");

    // A MIDI file's title becomes .sng, in the window's title too.
    write_midi_song("tune.mid", 3, 4);
    EXPECT_TRUE(open_start_file(*s, "tune.mid"));
    EXPECT_EQ(s->window_title(), std::string(program_title) + " - tune.sng");
}

TEST_F(window_fixture, window_zoom_drops_and_track_names) {
    main_window w(*s);
    screen_ui.set_parent(&w);
    w.apply_zoom(0, true);
    w.show();
    EXPECT_EQ(w.size(), QSize(325, 283));

    // Two files dropped: the message, with the program's title as caption, and no change.
    QString caption, text;
    answer_box(&caption, &text);
    drop(w, {"a.sng", "b.sng"});
    EXPECT_EQ(text.toStdString(), msg_drop_one_file);
    EXPECT_EQ(caption.toStdString(), program_title);
    EXPECT_EQ(s->files.current_file_title, untitled_title);

    // One dropped MIDI file loads: its track names are on the screen and in the recent files.
    write_midi_song((dir / "drop.mid").string(), 32, 8);
    drop(w, {QString::fromStdString((dir / "drop.mid").string())});
    EXPECT_EQ(w.windowTitle().toStdString(), std::string(program_title) + " - drop.sng");
    ASSERT_EQ(s->recent_files().size(), 1u);
    w.apply_zoom(7, true);
    w.tick();
    recording_canvas c;
    s->screen->paint(c, {0, 0, 4000, 4000});
    for (int track = 1; track <= 16; ++track) {
        const std::string name = "Track " + std::to_string(track);
        int found = 0;
        for (const auto& t : c.texts) found += t.text.find(name) != std::string::npos;
        EXPECT_GT(found, 0) << name;
    }
}

TEST_F(window_fixture, play_button_plays_into_the_capture_backend) {
    write_midi_song("play.mid", 4, 64);
    main_window w(*s);
    w.apply_zoom(2, true);
    w.show();
    ASSERT_TRUE(open_start_file(*s, "play.mid"));
    w.start_timer();
    const kestrune::rect play = s->screen->regions().place(rgn::play);
    QTest::mouseClick(w.view_widget(), Qt::LeftButton, Qt::NoModifier,
                      QPoint((play.left + play.right) / 2, (play.top + play.bottom) / 2));
    QTest::qWait(400);
    EXPECT_TRUE(s->prog.running());
    int note_ons = 0;
    for (std::size_t i = 0; i < midi.size(); ++i)
        note_ons += midi[i].port == 0 && (midi[i].bytes[0] & 0xF0) == 0x90 && midi[i].bytes[2] > 0;
    EXPECT_GT(note_ons, 4);
    // Num+Enter stops by its key, whatever the keyboard layout.
    QTest::keyClick(w.view_widget(), Qt::Key_Enter, Qt::KeypadModifier);
    EXPECT_FALSE(s->prog.running());
}

// A stored place larger than the screen or beyond it is held to the screen's available area; one
// that fits stays as it was.
TEST_F(window_fixture, a_stored_place_is_held_to_the_screen) {
    main_window w(*s);
    w.apply_zoom(0, false);
    const QRect room = QGuiApplication::primaryScreen()->availableGeometry();
    w.restore_place(30000, 30000, 32767, 32767);
    EXPECT_EQ(w.geometry(), room);
    w.restore_place(-5000, room.top() + 10, 400, 300);
    EXPECT_EQ(w.geometry(), QRect(room.left(), room.top() + 10, 400, 300));
    w.restore_place(room.left() + 20, room.top() + 30, 400, 300);
    EXPECT_EQ(w.geometry(), QRect(room.left() + 20, room.top() + 30, 400, 300));
}

TEST_F(window_fixture, a_tick_during_a_message_box_does_not_run_again) {
    main_window w(*s);
    screen_ui.set_parent(&w);
    w.apply_zoom(2, true);
    w.show();
    w.start_timer();
    s->prog.d.midi_not_configured = 1;
    int shown = 0;
    QTimer::singleShot(300, [&] {
        shown = screen_ui.messages_shown();
        if (auto* box = QApplication::activeModalWidget()) static_cast<QDialog*>(box)->accept();
    });
    QTest::qWait(500);
    EXPECT_EQ(shown, 1);
    EXPECT_EQ(screen_ui.messages_shown(), 1);
}

// The shell's questions and refusals, answered by script.
TEST_F(window_fixture, closing_clearing_and_recent_files) {
    scripted_ui script;
    virtual_clock vclk;
    capture_backend vmidi;
    engine veng;
    veng.attach(vclk, &vmidi);
    session q(veng, script, vclk);
    ASSERT_EQ(start_session(q), 0);
    write_midi_song("close.mid", 2, 4);
    ASSERT_TRUE(open_start_file(q, "close.mid"));

    script.answers = {msg_answer::cancel};
    EXPECT_FALSE(confirm_close(q));
    EXPECT_EQ(script.last_text(), ask_save_before_closing);
    script.answers = {msg_answer::yes};  // and the Save dialog given up
    EXPECT_FALSE(confirm_close(q));
    script.answers = {msg_answer::no};
    EXPECT_TRUE(confirm_close(q));

    script.answers = {msg_answer::cancel};
    dispatch_command(q, cmd::clear_song);
    EXPECT_EQ(q.prog.slot(0, 0).in_use, 1);
    script.answers = {msg_answer::ok};
    dispatch_command(q, cmd::clear_song);
    EXPECT_EQ(script.last_text(), ask_erase_all);
    EXPECT_EQ(q.prog.slot(0, 0).in_use, 0);
    EXPECT_EQ(q.files.current_file_title, untitled_title);

    q.files.recent_files = {(dir / "gone.sng").string()};
    dispatch_command(q, cmd::recent_file_first);
    EXPECT_EQ(script.last_text(), msg_file_not_found);
    EXPECT_TRUE(q.files.recent_files.empty());
    end_session(q, false);
}

TEST(shortcuts, keys_by_their_place_whatever_the_layout) {
    // Ctrl and the key where C stands on a US keyboard, typed on a Russian layout.
    const QKeyEvent cyrillic(QEvent::KeyPress, 0x0421, Qt::ControlModifier, 46 + 8, 0, 0);
    const key_event k = to_key_event(cyrillic);
    EXPECT_EQ(k.code, key_code::character);
    EXPECT_EQ(k.character, 'C');
    EXPECT_TRUE(k.mods.ctrl);
    const QKeyEvent pad_0(QEvent::KeyPress, Qt::Key_Insert, Qt::KeypadModifier, 82 + 8, 0, 0);
    EXPECT_EQ(to_key_event(pad_0).code, key_code::pad_0);
}

// A shortcut text as a key of the keyboard: its Qt key and modifiers.
std::pair<int, Qt::KeyboardModifiers> qt_key_of(std::string_view text) {
    Qt::KeyboardModifiers mods;
    for (auto [prefix, mod] : {std::pair{"Ctrl+", Qt::ControlModifier},
                               std::pair{"Shift+", Qt::ShiftModifier}})
        if (text.starts_with(prefix) && text.size() > std::string_view(prefix).size()) {
            mods |= mod;
            text.remove_prefix(std::string_view(prefix).size());
        }
    if (text.starts_with("Ctrl+")) return qt_key_of(text);  // "Shift+Ctrl+" does not occur
    static const std::map<std::string_view, int> named = {
        {"Num+0", Qt::Key_0}, {"Num+Enter", Qt::Key_Enter}, {"Num+.", Qt::Key_Period},
        {"Left", Qt::Key_Left}, {"Right", Qt::Key_Right}};
    if (auto n = named.find(text); n != named.end()) {
        if (text.starts_with("Num+")) mods |= Qt::KeypadModifier;
        return {n->second, mods};
    }
    if (text.size() > 1 && text[0] == 'F') return {Qt::Key_F1 + std::stoi(std::string(text.substr(1))) - 1, mods};
    return {Qt::Key_A + (text[0] - 'A'), mods};
}

// Every shortcut of the table, sent with its modifiers to the real window, runs its command and
// no other; the key table's plain keys reach the screen and run no command.
TEST_F(window_fixture, every_shortcut_runs_its_command_and_the_plain_keys_reach_the_screen) {
    main_window w(*s);
    w.apply_zoom(2, true);
    w.show();
    std::vector<int> ran;
    // Each command, enabled or not, only notes that it ran: no dialog, no refusal.
    for (const command_record& c : std::vector<command_record>(s->commands.all()))
        s->commands.add({.id = c.id, .text = c.text, .shortcut = c.shortcut, .views = c.views,
                         .run = [&ran, id = c.id](program&, const field_values&) {
                             ran.push_back(id);
                             return outcome::done;
                         }});
    QWidget* view = w.view_widget();
    int sent = 0;
    for (const command_record& c : s->commands.all()) {
        if (c.shortcut.empty()) continue;
        ran.clear();
        const auto [key, mods] = qt_key_of(c.shortcut);
        QTest::keyClick(view, static_cast<Qt::Key>(key), mods);
        EXPECT_EQ(ran, std::vector<int>{c.id}) << c.shortcut;
        ++sent;
    }
    EXPECT_EQ(sent, 60);
    // F1 goes to the first position memory, not to help.
    EXPECT_EQ(s->commands.for_key(s->prog, key_event{key_code::f1, 0, {}, false})->id, cmd::memory_position_first);

    ran.clear();
    program& p = s->prog;
    QTest::keyClick(view, Qt::Key_Down);
    QTest::keyClick(view, Qt::Key_Z);
    EXPECT_EQ(nums(p.d.current_track, p.slot(0, 1).mute), nums(1, 1));
    QTest::keyClick(view, Qt::Key_3);
    EXPECT_EQ(p.d.current_pattern, 2);
    QTest::keyClick(view, Qt::Key_7, Qt::ShiftModifier);
    EXPECT_EQ(p.d.current_pattern, 16);
    QTest::keyClick(view, Qt::Key_A);
    QTest::keyClick(view, Qt::Key_Down, Qt::ShiftModifier);
    QTest::keyClick(view, Qt::Key_Plus, Qt::KeypadModifier);
    EXPECT_EQ(nums(p.d.song_mode, p.d.current_step, p.app.song_tempo), nums(1, 1, 12100));
    QTest::keyClick(view, Qt::Key_Right);
    EXPECT_EQ(p.d.position, p.step_start(1) + 768);
    EXPECT_TRUE(ran.empty());
}

}  // namespace
}  // namespace kestrune::testing

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
