#include "platform/dialog_host.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QTest>
#include <QTimer>

#include "editors/tempo/tempo_process.h"
#include "shell/dialogs/command_dialog.h"
#include "shell/dialogs/setup_dialog_views.h"
#include "shell/main_commands.h"
#include "tests/shell/every_dialog.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

QApplication& offscreen_app() {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    static int argc = 1;
    static char name[] = "platform_dialog_tests";
    static char* argv[] = {name, nullptr};
    // Never destroyed: Qt's own statics may be gone by the time static destructors run.
    static auto* app = new QApplication(argc, argv);
    return *app;
}

template <class W>
W* child_with_text(QWidget* host, const char* text) {
    for (W* w : host->findChildren<W*>())
        if (w->text() == text) return w;
    return nullptr;
}

// Runs `act` on the dialog once it is up, then the dialog itself.
template <class Act>
bool run_with(dialog& d, Act act) {
    QTimer::singleShot(0, [&] {
        auto* host = dynamic_cast<dialog_host*>(QApplication::activeModalWidget());
        ASSERT_NE(host, nullptr);
        act(*host);
    });
    return run_dialog_window(nullptr, d);
}

TEST(DialogWindow, AClickOnAFieldStepsItAndOkAppliesWhileCancelKeepsWhatTookEffect) {
    offscreen_app();
    testing::test_program t;
    const int timer = t->d.timer_resolution;
    memory_setup_view memory(*t);
    memory.set_cells(8, 18);
    // A click steps the field; a double click types over it and Return takes the entry.
    EXPECT_TRUE(run_with(memory, [&](dialog_host& host) {
        const rect r = memory.field_rect(1);
        QTest::mouseClick(&host, Qt::LeftButton, {}, QPoint(r.left + 4, r.top + 4));
        host.tick();
        EXPECT_EQ(memory.model.timer, timer + 1);
        QTimer::singleShot(0, [&] {
            auto* edit = host.findChild<QLineEdit*>();
            ASSERT_NE(edit, nullptr);
            QTest::keyClicks(edit, "12");
            QTest::keyClick(edit, Qt::Key_Return);
        });
        QTest::mouseDClick(&host, Qt::LeftButton, {}, QPoint(r.left + 4, r.top + 4));
        QTest::mouseClick(child_with_text<QPushButton>(&host, "OK"), Qt::LeftButton);
    }));
    EXPECT_EQ(t->d.timer_resolution, 12);

    setup_settings s;
    overall_settings_view overall(*t, s);
    const bool notes = t->d.filter_notes != 0;
    EXPECT_FALSE(run_with(overall, [&](dialog_host& host) {
        child_with_text<QCheckBox>(&host, "Notes")->click();
        QTest::mouseClick(child_with_text<QPushButton>(&host, "Cancel"), Qt::LeftButton);
    }));
    EXPECT_EQ(t->d.filter_notes != 0, !notes);

    midi_setup_view midi(*t, s);
    EXPECT_FALSE(run_with(midi, [&](dialog_host& host) { host.reject(); }));
}

// Process Tempo Track: each group has its own OK; Return in a field takes the entry and applies
// no group.
TEST(DialogWindow, AGroupsOwnOkChoosesThatGroupAndReturnInAFieldChoosesNone) {
    offscreen_app();
    testing::test_program t;
    testing::use_tempo_track(*t, {testing::tempo(12000, 0), testing::tempo(6000, song_start)});
    t->editor.kind = editor_kind::tempo_list;
    const command_record c = process_tempo_command();
    field_values v = initial_values(*t, c);
    command_dialog d(*t, c, v);
    d.set_cells(8, 18);
    EXPECT_TRUE(run_with(d, [&](dialog_host& host) {
        QTimer::singleShot(0, [&] {
            auto* edit = host.findChild<QLineEdit*>();
            ASSERT_NE(edit, nullptr);
            QTest::keyClicks(edit, "50");
            QTest::keyClick(edit, Qt::Key_Return);
        });
        const rect r = d.field_rect(0);
        QTest::mouseDClick(&host, Qt::LeftButton, {}, QPoint(r.left + 4, r.top + 4));
        EXPECT_TRUE(host.isVisible());
        std::vector<QPushButton*> oks;
        for (QPushButton* b : host.findChildren<QPushButton*>())
            if (b->text() == "OK") oks.push_back(b);
        ASSERT_EQ(oks.size(), 2u);
        QTest::mouseClick(oks[1], Qt::LeftButton);
    }));
    EXPECT_EQ(testing::nums(v[0].number, v[1].number), testing::nums(1, 50));
}

TEST(DialogWindow, ATextBoxOpensWithTheFaultsCharacterSelected) {
    offscreen_app();
    testing::test_program t;
    command_record c{.fields = {{.label = "Text", .kind = field_kind::text, .entry_length = 40}},
                     .dialog = {.title = "Text", .width = 30, .height = 10}};
    c.dialog.items = {text_box(0, {1, 1, 29, 6})};
    for (dialog_item& b : ok_cancel(30, 10)) c.dialog.items.push_back(std::move(b));
    field_values v{{4, "F0,80,F7"}};
    command_dialog d(*t, c, v);
    run_with(d, [&](dialog_host& host) {
        auto* box = host.findChild<QPlainTextEdit*>();
        ASSERT_NE(box, nullptr);
        EXPECT_EQ(box->textCursor().selectedText(), "8");
        host.reject();
    });
}

// What of a widget's text or height its place cuts off, or empty.
std::string cut_off(const QWidget* w) {
    const QFontMetrics m = w->fontMetrics();
    int text = 0;
    if (const auto* l = qobject_cast<const QLabel*>(w)) text = m.horizontalAdvance(l->text());
    if (const auto* b = qobject_cast<const QPushButton*>(w))
        text = m.horizontalAdvance(b->text()) + 4;
    if (qobject_cast<const QCheckBox*>(w) || qobject_cast<const QRadioButton*>(w))
        text = w->sizeHint().width();
    const int height = m.height();
    if (text > w->width())
        return "width " + std::to_string(text) + " > " + std::to_string(w->width());
    if (height > w->height())
        return "height " + std::to_string(height) + " > " + std::to_string(w->height());
    return {};
}

// Every dialog reads whole at the cells of the smallest and of the largest zoom, and shows on
// the screen whole.
TEST(DialogWindow, EveryDialogReadsWholeOnTheScreenAtEveryZoom) {
    offscreen_app();
    testing::test_program t;
    command_table table;
    add_program_commands(table);
    setup_settings setup;
    const QSize room = QGuiApplication::primaryScreen()->availableGeometry().size();
    for (const auto& [cell_width, cell_height] : {std::pair{5, 10}, std::pair{19, 38}}) {
        const testing::every_dialog all(*t, table, setup);
        for (const auto& d : all.dialogs) {
            d->set_cells(cell_width, cell_height);
            dialog_host host(nullptr, *d);
            EXPECT_TRUE(host.width() <= room.width() && host.height() <= room.height())
                << d->title();
            for (const QWidget* w : host.findChildren<QWidget*>()) {
                if (!qobject_cast<const QLabel*>(w) && !qobject_cast<const QAbstractButton*>(w) &&
                    !qobject_cast<const QComboBox*>(w))
                    continue;
                EXPECT_EQ(cut_off(w), "") << d->title() << ": " << w->metaObject()->className()
                                          << " " << w->property("text").toString().toStdString()
                                          << " at " << cell_width << "x" << cell_height;
            }
        }
    }
}

}  // namespace
}  // namespace kestrune
