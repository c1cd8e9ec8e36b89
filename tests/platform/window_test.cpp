// The program's window against the real widgets, offscreen: start-up, drops, zoom, playing.
#include <gtest/gtest.h>

#include <QApplication>
#include <QDropEvent>
#include <QKeyEvent>
#include <QMessageBox>
#include <QMimeData>
#include <QPainter>
#include <QScreen>
#include <QStyle>
#include <QStyleFactory>
#include <QTest>
#include <QTimer>
#include <QUrl>
#include <QWindow>
#include <cmath>
#include <filesystem>
#include <map>

#include "editors/grid/grid_view.h"
#include "engine/engine.h"
#include "files/file_messages.h"
#include "files/settings_file.h"
#include "platform/key_map.h"
#include "platform/main_window.h"
#include "platform/qt_canvas.h"
#include "platform/qt_ui.h"
#include "core/command_ids.h"
#include "shell/dispatch.h"
#include "shell/file_commands.h"
#include "shell/main_commands.h"
#include "shell/screen/main_layout.h"
#include "shell/screen/region_tree.h"
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

// The grid through the window's own mouse events: the Grid button opens it, the right button
// draws a note on an empty place and a drag transposes it.
TEST_F(window_fixture, the_grid_draws_and_drags_a_note_under_the_mouse) {
    write_midi_song("grid.mid", 2, 16);
    main_window w(*s);
    w.apply_zoom(2, true);
    w.show();
    ASSERT_TRUE(open_start_file(*s, "grid.mid"));
    ASSERT_EQ(dispatch_command(*s, cmd::grid_button), outcome::done);
    w.tick();
    grid_view probe(s->prog);
    probe.layout({s->screen->cell_width(), s->screen->cell_height(), 0});
    const int key = s->prog.editor.grid.first_key + 2;
    const QPoint at(probe.x_of(key) + 1, probe.notes().bottom - 4);
    const grid_point where = probe.point(at.x(), at.y());
    const QPoint to = at + QPoint(probe.key_width(), 0);
    QWidget* view = w.view_widget();
    QMouseEvent press(QEvent::MouseButtonPress, at, view->mapToGlobal(at), Qt::RightButton, Qt::RightButton, {});
    QMouseEvent move(QEvent::MouseMove, to, view->mapToGlobal(to), Qt::NoButton, Qt::RightButton, {});
    QMouseEvent release(QEvent::MouseButtonRelease, to, view->mapToGlobal(to), Qt::RightButton, Qt::NoButton, {});
    QApplication::sendEvent(view, &press);
    QApplication::sendEvent(view, &move);
    QApplication::sendEvent(view, &release);
    w.tick();
    const ref32 made = find_note_on(s->prog, where.tick, key + 1);
    ASSERT_NE(made, null_ref);
    EXPECT_EQ(s->prog.editor.cursor, made);
}

// After the name box and after a message the keyboard is the main screen's again: the keypad
// plays without a click.
TEST_F(window_fixture, the_keyboard_comes_back_after_a_box) {
    write_midi_song("keys.mid", 2, 64);
    main_window w(*s);
    screen_ui.set_parent(&w);
    screen_ui.set_field_parent(w.view_widget());
    w.apply_zoom(2, true);
    w.show();
    w.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&w));
    ASSERT_TRUE(open_start_file(*s, "keys.mid"));
    const kestrune::rect name = s->screen->regions().place(rgn::track_name);
    QTimer::singleShot(0, [] {
        QWidget* box = QApplication::focusWidget();
        QTest::keyClicks(box, "Bass");
        QTest::keyClick(box, Qt::Key_Return);
    });
    QTest::mouseDClick(w.view_widget(), Qt::LeftButton, Qt::NoModifier, QPoint(name.left + 4, name.top + 4));
    EXPECT_EQ(std::string(s->prog.slot(0, 0).name, 4), "Bass");
    EXPECT_EQ(QApplication::focusWidget(), w.view_widget());

    QString caption, text;
    answer_box(&caption, &text);
    s->prog.message("A word");
    ASSERT_TRUE(QTest::qWaitForWindowActive(&w));
    ASSERT_EQ(QApplication::focusWidget(), w.view_widget());
    QTest::keyClick(w.view_widget(), Qt::Key_0, Qt::KeypadModifier);
    EXPECT_TRUE(s->prog.running());
    s->trans.stop();
}

// The first start takes the largest zoom that fits the screen; every zoom change gives the
// window that zoom's size, held to the screen's available area.
TEST_F(window_fixture, the_window_takes_its_zoom_held_to_the_screen) {
    main_window w(*s);
    const QRect room = QGuiApplication::primaryScreen()->availableGeometry();
    s->settings.zoom_index = -1;
    const int first = w.starting_zoom();
    ASSERT_LT(first, zoom_rows - 1) << "the test wants a screen smaller than the largest zoom";
    w.apply_zoom(first + 1, false);
    EXPECT_FALSE(room.size().expandedTo(w.zoom_size()) == room.size()) << first;
    w.apply_zoom(first, true);
    w.show();
    EXPECT_EQ(w.size(), w.zoom_size());

    dispatch_command(*s, cmd::zoom_first + zoom_rows - 1);
    const QSize frame = w.frameGeometry().size() - w.size();
    EXPECT_TRUE(room.contains(w.frameGeometry()));
    EXPECT_EQ(w.size(), (room.size() - frame).boundedTo(w.zoom_size()));
    dispatch_command(*s, cmd::zoom_first);
    EXPECT_EQ(w.size(), QSize(325, 283));
    EXPECT_TRUE(room.contains(w.frameGeometry()));
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
    // Untouched since it loaded: no question. A mute set by key is an edit.
    EXPECT_TRUE(confirm_close(q));
    EXPECT_TRUE(script.messages.empty());
    q.screen = std::make_unique<main_screen>(q.prog, q.trans);
    press_key(q, key_event{key_code::character, 'Z', {}, false});

    script.answers = {msg_answer::cancel};
    EXPECT_FALSE(confirm_close(q));
    EXPECT_EQ(script.last_text(), ask_save_before_closing);
    script.answers = {msg_answer::yes};  // and the Save dialog given up
    EXPECT_FALSE(confirm_close(q));
    script.answers = {msg_answer::no};
    EXPECT_TRUE(confirm_close(q));
    // Saved: closing asks nothing until the next edit.
    script.file_names = {(dir / "close.sng").string()};
    EXPECT_EQ(dispatch_command(q, cmd::save_song), outcome::done);
    const std::size_t asked = script.messages.size();
    EXPECT_TRUE(confirm_close(q));
    EXPECT_EQ(script.messages.size(), asked);

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

// Every text of the screen reads at 4.5:1 or better on its face, in a light and a dark palette.
TEST(screen_colours, every_text_reads_on_its_face_in_light_and_dark) {
    const auto luminance = [](const QColor& c) {
        const auto lin = [](double v) { return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
        return 0.2126 * lin(c.redF()) + 0.7152 * lin(c.greenF()) + 0.0722 * lin(c.blueF());
    };
    const auto contrast = [&](const QColor& a, const QColor& b) {
        const double x = luminance(a), y = luminance(b);
        return (std::max(x, y) + 0.05) / (std::min(x, y) + 0.05);
    };
    const QPalette light_desktop = QStyleFactory::create("Fusion")->standardPalette();
    QPalette dark_desktop = light_desktop;
    for (auto [role, rgb] : {std::pair{QPalette::Window, 0x202326}, {QPalette::WindowText, 0xfcfcfc},
                             {QPalette::Button, 0x292c30}, {QPalette::Base, 0x141618}, {QPalette::Text, 0xfcfcfc},
                             {QPalette::Highlight, 0x3daee9}, {QPalette::HighlightedText, 0xfcfcfc}})
        dark_desktop.setColor(role, QColor(rgb));
    dark_desktop.setColor(QPalette::Disabled, QPalette::WindowText, QColor(0x6e7175));
    QImage image(1, 1, QImage::Format_ARGB32);
    QPainter painter(&image);
    const qt_fonts fonts;
    using enum colour_role;
    for (const QPalette& palette : {light_desktop, dark_desktop}) {
        const qt_canvas c(painter, fonts, palette);
        for (auto [ink, face] : {std::pair{text, window}, {text, panel}, {dim_text, window}, {dim_text, panel},
                                 {field_text, field}, {highlight_text, highlight}})
            EXPECT_GE(contrast(c.colour(ink), c.colour(face)), 4.5)
                << static_cast<int>(ink) << " on " << static_cast<int>(face) << " in "
                << palette.color(QPalette::Window).name().toStdString();
    }
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
        // The editors' own keys are theirs only while an editor is open.
        if (c.shortcut.empty() || !c.views.main_screen) continue;
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
