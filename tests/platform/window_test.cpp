// The program's window against the real widgets, offscreen: start-up, drops, keys.
#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QKeyEvent>
#include <QTest>
#include <QTimer>
#include <filesystem>

#include "files/file_messages.h"
#include "files/file_state.h"
#include "platform/key_map.h"
#include "platform/main_window.h"
#include "platform/qt_ui.h"
#include "shell/screen/main_layout.h"
#include "shell/screen/region_tree.h"
#include "shell/startup.h"
#include "tests/platform/song_maker.h"
#include "tests/platform/window_fixture.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune::testing {
namespace {

TEST_F(window_fixture, start_file_rules) {
    EXPECT_EQ(command_line_file({"\"my song.sng\""}), "my song.sng");
    EXPECT_EQ(command_line_file({"my", "song.sng"}), "my song.sng");
    EXPECT_EQ(command_line_file({}), "");
}

TEST_F(window_fixture, one_dropped_file_loads_and_two_are_refused) {
    main_window w(*s);
    screen_ui.set_parent(&w);
    w.show();

    // Two files dropped: the message, with the program's title as caption, and no change.
    QString caption, text;
    answer_box(&caption, &text);
    drop(w, {"a.sng", "b.sng"});
    EXPECT_EQ(text.toStdString(), msg_drop_one_file);
    EXPECT_EQ(caption.toStdString(), program_title);
    EXPECT_EQ(s->files.current_file_title, untitled_title);

    // One dropped MIDI file loads into the window's title and the recent files.
    write_midi_song((dir / "drop.mid").string(), 2, 8);
    drop(w, {QString::fromStdString((dir / "drop.mid").string())});
    EXPECT_EQ(w.windowTitle().toStdString(), std::string(program_title) + " - drop.sng");
    EXPECT_EQ(nums(s->recent_files().size(), s->prog.slot(0, 1).in_use), nums(1, 1));
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
    QTest::mouseDClick(w.view_widget(), Qt::LeftButton, Qt::NoModifier,
                       QPoint(name.left + 4, name.top + 4));
    EXPECT_EQ(std::string(s->prog.slot(0, 0).name, 4), "Bass");
    EXPECT_EQ(QApplication::focusWidget(), w.view_widget());
    // The window paints the screen: the name's cell holds more than its face.
    const QImage cell = w.view_widget()
                            ->grab({name.left, name.top, name.width(), s->screen->cell_height()})
                            .toImage();
    QImage face(cell.size(), cell.format());
    face.fill(cell.pixel(0, 0));
    EXPECT_NE(cell, face);

    QString caption, text;
    answer_box(&caption, &text);
    s->prog.message("A word");
    ASSERT_TRUE(QTest::qWaitForWindowActive(&w));
    ASSERT_EQ(QApplication::focusWidget(), w.view_widget());
    QTest::keyClick(w.view_widget(), Qt::Key_0, Qt::KeypadModifier);
    EXPECT_TRUE(s->prog.running());
    s->trans.stop();
}

// A key as the window reads it: letters and digits by their place whatever the layout (by the
// key itself where no place is given), the keypad apart from the keys it shares with the rest of
// the keyboard. Which command each key runs is the headless command tests' part.
TEST(shortcuts, keys_by_their_place_whatever_the_layout) {
    const struct {
        int qt_key;
        Qt::KeyboardModifiers mods;
        int scan;  // evdev + 8, or 0
        key_code code;
        char character;
    } table[] = {
        {0x0421, Qt::ControlModifier, 46 + 8, key_code::character, 'C'},  // Cyrillic Es
        {Qt::Key_Ampersand, Qt::ShiftModifier, 8 + 8, key_code::character, '7'},
        {Qt::Key_Insert, Qt::KeypadModifier, 82 + 8, key_code::pad_0, 0},
        {Qt::Key_Insert, {}, 110 + 8, key_code::insert, 0},
        {Qt::Key_Delete, Qt::KeypadModifier, 83 + 8, key_code::pad_dot, 0},
        {Qt::Key_Enter, Qt::KeypadModifier, 96 + 8, key_code::pad_enter, 0},
        {Qt::Key_Return, {}, 28 + 8, key_code::enter, 0},
        {Qt::Key_Asterisk, Qt::KeypadModifier, 55 + 8, key_code::pad_star, 0},
        {Qt::Key_Slash, Qt::KeypadModifier, 98 + 8, key_code::pad_slash, 0},
        {Qt::Key_Plus, Qt::KeypadModifier, 78 + 8, key_code::pad_plus, 0},
        {Qt::Key_Minus, Qt::KeypadModifier, 74 + 8, key_code::pad_minus, 0},
        {Qt::Key_Down, {}, 108 + 8, key_code::down, 0},
        {Qt::Key_Backspace, {}, 14 + 8, key_code::backspace, 0},
        {Qt::Key_Escape, {}, 1 + 8, key_code::escape, 0},
        {Qt::Key_Space, {}, 57 + 8, key_code::space, 0},
        {Qt::Key_Left, {}, 105 + 8, key_code::left, 0},
        {Qt::Key_F12, {}, 88 + 8, key_code::f12, 0},
        {Qt::Key_F5, Qt::ShiftModifier, 63 + 8, key_code::f5, 0},
        {Qt::Key_Z, Qt::ShiftModifier | Qt::ControlModifier, 0, key_code::character, 'Z'},
    };
    for (const auto& row : table) {
        const key_event k =
            to_key_event(QKeyEvent(QEvent::KeyPress, row.qt_key, row.mods, row.scan, 0, 0));
        EXPECT_EQ(
            nums(static_cast<int>(k.code), k.character, k.mods.shift, k.mods.ctrl),
            nums(static_cast<int>(row.code), row.character, row.mods.testFlag(Qt::ShiftModifier),
                 row.mods.testFlag(Qt::ControlModifier)))
            << std::hex << row.qt_key;
    }
}

}  // namespace
}  // namespace kestrune::testing

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
