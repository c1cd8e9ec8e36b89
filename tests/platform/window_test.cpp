// The program's window against the real widgets, offscreen: start-up, drops, zoom, playing.
#include <gtest/gtest.h>

#include <QApplication>
#include <QFileDialog>
#include <QKeyEvent>
#include <QListView>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QStyle>
#include <QStyleFactory>
#include <QStyleOptionButton>
#include <QTest>
#include <QTimer>
#include <cmath>
#include <filesystem>
#include <fstream>

#include "core/command_ids.h"
#include "files/file_messages.h"
#include "files/file_state.h"
#include "platform/key_map.h"
#include "platform/main_window.h"
#include "platform/qt_canvas.h"
#include "platform/qt_ui.h"
#include "shell/dispatch.h"
#include "shell/screen/main_layout.h"
#include "shell/screen/region_tree.h"
#include "shell/startup.h"
#include "tests/platform/song_maker.h"
#include "tests/platform/window_fixture.h"
#include "tests/shell/recording_canvas.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune::testing {
namespace {

TEST_F(window_fixture, start_file_rules) {
    EXPECT_EQ(command_line_file({"\"my song.sng\""}), "my song.sng");
    EXPECT_EQ(command_line_file({"my", "song.sng"}), "my song.sng");
    EXPECT_EQ(command_line_file({}), "");
    // A MIDI file's title becomes .sng, in the window's title too.
    write_midi_song("tune.mid", 3, 4);
    EXPECT_TRUE(open_start_file(*s, "tune.mid"));
    EXPECT_EQ(s->window_title(), std::string(program_title) + " - tune.sng");
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

// The file dialog lists what its filter names: a Karaoke file under "MIDI Files (*.mid,*.kar)",
// nothing else but under "All Files".
TEST_F(window_fixture, the_file_dialog_lists_the_files_its_filter_names) {
    std::ofstream(dir / "tune.kar") << "x";
    std::ofstream(dir / "notes.txt") << "x";
    file_dialog_request r = make_file_dialog(s->prog, s->files, 1, "mid", "", -1);
    r.folder = dir.string();
    QStringList listed;
    QTimer::singleShot(0, [&] {
        auto* dlg = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
        ASSERT_NE(dlg, nullptr);
        auto* view = dlg->findChild<QListView*>("listView");
        ASSERT_NE(view, nullptr);
        auto names = [&] {
            listed.clear();
            for (int row = 0; row < view->model()->rowCount(view->rootIndex()); ++row)
                listed << view->model()->index(row, 0, view->rootIndex()).data().toString();
            return listed;
        };
        // The folder is read in the background.
        for (int i = 0; i < 100 && !names().contains("tune.kar"); ++i) QTest::qWait(50);
        dlg->reject();
    });
    screen_ui.open_file_dialog(r);
    EXPECT_TRUE(listed.contains("tune.kar")) << listed.join(',').toStdString();
    EXPECT_FALSE(listed.contains("notes.txt"));
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
    // A stored place larger than the screen or beyond it is held to the screen's available area;
    // one that fits stays as it was.
    w.restore_place(30000, 30000, 32767, 32767);
    EXPECT_EQ(w.geometry(), room);
    w.restore_place(-5000, room.top() + 10, 400, 300);
    EXPECT_EQ(w.geometry(), QRect(room.left(), room.top() + 10, 400, 300));
    w.restore_place(room.left() + 20, room.top() + 30, 400, 300);
    EXPECT_EQ(w.geometry(), QRect(room.left() + 20, room.top() + 30, 400, 300));
}

// The texts of the shown child buttons that the style's text room of their button cuts off.
std::vector<std::string> cut_off_texts(const main_window& w, int zoom) {
    std::vector<std::string> cut;
    for (QPushButton* b : w.child_buttons()) {
        if (!b->isVisible()) continue;
        QStyleOptionButton o;
        o.initFrom(b);
        o.text = b->text();
        const QRect room = b->style()->subElementRect(QStyle::SE_PushButtonContents, &o, b);
        if (b->fontMetrics().horizontalAdvance(b->text()) > room.width())
            cut.push_back(b->text().toStdString() + " at zoom " + std::to_string(zoom));
    }
    return cut;
}

// At every zoom, in the window's own fonts, no label of the main screen is cut at the edge of the
// place it is drawn in, and every button of the main window, the editors and the mixer shows its
// whole text; each view is opened straight from the one before, as its key does.
TEST_F(window_fixture, labels_and_button_texts_fit_their_places_at_every_zoom) {
    main_window w(*s);
    screen_ui.set_parent(&w);
    w.show();
    give_track(s->prog, 0, 0, {ev(0x90, 60, 90, 3072), ev(0x80, 60, 64, 3100)});
    std::vector<std::string> cut;
    for (int zoom = 0; zoom < zoom_rows; ++zoom) {
        w.apply_zoom(zoom, false);
        const qt_fonts fonts = qt_fonts::for_screen(*s->screen);
        testing::recording_canvas c;
        c.measure = [&](std::string_view text, font_kind f) {
            return QFontMetrics(fonts.of(f))
                .horizontalAdvance(QString::fromUtf8(text.data(), text.size()));
        };
        s->screen->paint(c, {0, 0, 4000, 4000});
        for (const auto& t : c.texts)
            if (t.font == font_kind::small && c.text_width(t.text, t.font) > t.place.width())
                cut.push_back("\"" + t.text + "\" at zoom " + std::to_string(zoom));
        for (int view : {0, cmd::event_editor, cmd::grid_editor, cmd::tempo_track_editor,
                         cmd::signature_track_editor, cmd::mixer_button}) {
            if (view) {
                ASSERT_EQ(dispatch_command(*s, view), outcome::done) << view;
            }
            w.tick();
            for (std::string& c : cut_off_texts(w, zoom)) cut.push_back(std::move(c));
        }
        dispatch_command(*s, cmd::mixer_button);
        ASSERT_NE(s->prog.d.main_screen, 0);
    }
    EXPECT_EQ(cut, std::vector<std::string>{});
}

// Every text of the screen reads at 4.5:1 or better on its face, in a light and a dark palette.
TEST(screen_colours, every_text_reads_on_its_face_in_light_and_dark) {
    const auto luminance = [](const QColor& c) {
        const auto lin = [](double v) {
            return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
        };
        return 0.2126 * lin(c.redF()) + 0.7152 * lin(c.greenF()) + 0.0722 * lin(c.blueF());
    };
    const auto contrast = [&](const QColor& a, const QColor& b) {
        const double x = luminance(a), y = luminance(b);
        return (std::max(x, y) + 0.05) / (std::min(x, y) + 0.05);
    };
    const QPalette light_desktop = QStyleFactory::create("Fusion")->standardPalette();
    QPalette dark_desktop = light_desktop;
    for (auto [role, rgb] : {std::pair{QPalette::Window, 0x202326},
                             {QPalette::WindowText, 0xfcfcfc},
                             {QPalette::Button, 0x292c30},
                             {QPalette::Base, 0x141618},
                             {QPalette::Text, 0xfcfcfc},
                             {QPalette::Highlight, 0x3daee9},
                             {QPalette::HighlightedText, 0xfcfcfc}})
        dark_desktop.setColor(role, QColor(rgb));
    dark_desktop.setColor(QPalette::Disabled, QPalette::WindowText, QColor(0x6e7175));
    QImage image(1, 1, QImage::Format_ARGB32);
    QPainter painter(&image);
    const qt_fonts fonts;
    using enum colour_role;
    for (const QPalette& palette : {light_desktop, dark_desktop}) {
        const qt_canvas c(painter, fonts, palette);
        for (auto [ink, face] : {std::pair{text, window},
                                 {text, panel},
                                 {dim_text, window},
                                 {dim_text, panel},
                                 {field_text, field},
                                 {highlight_text, highlight}})
            EXPECT_GE(contrast(c.colour(ink), c.colour(face)), 4.5)
                << static_cast<int>(ink) << " on " << static_cast<int>(face) << " in "
                << palette.color(QPalette::Window).name().toStdString();
    }
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
