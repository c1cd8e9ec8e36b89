#include "platform/dialog_host.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include "shell/dialogs/setup_dialog_views.h"
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
}

}  // namespace
}  // namespace kestrune
