// The mixer in the window, offscreen: opened by its button, its controls moved by the mouse and
// what that sends in the capture backend.
#include <gtest/gtest.h>

#include <QLineEdit>
#include <QMenu>
#include <QPushButton>
#include <QTest>
#include <QTimer>

#include "mixer/mixer_view.h"
#include "platform/main_window.h"
#include "tests/platform/window_fixture.h"
#include "tests/support/song_builder.h"

namespace kestrune::testing {
namespace {

QPoint centre(const rect& r) {
    return {(r.left + r.right) / 2, (r.top + r.bottom) / 2};
}

struct mixer_window : window_fixture {
    std::unique_ptr<main_window> w;
    mixer_port* m = nullptr;

    void open() {
        w = std::make_unique<main_window>(*s);
        screen_ui.set_parent(w.get());
        screen_ui.set_field_parent(w->view_widget());
        w->apply_zoom(3, true);
        w->show();
        for (QPushButton* b : w->child_buttons())
            if (b->text() == "Mixer") QTest::mouseClick(b, Qt::LeftButton);
        w->tick();
        m = &s->prog.d.mixer[0];
    }
    rect at(mixer_part part, int channel) { return s->screen->mixer().place(part, channel); }
    // Pulls channel 2's fader up to `to_y`.
    void pull_fader(int to_y) {
        QWidget* v = w->view_widget();
        const QPoint from = centre(at(mixer_part::fader, 2)), to(from.x(), to_y);
        QTest::mousePress(v, Qt::LeftButton, {}, from);
        QMouseEvent move(QEvent::MouseMove, to, v->mapToGlobal(to), Qt::NoButton, Qt::LeftButton,
                         {});
        QApplication::sendEvent(v, &move);
        QTest::mouseRelease(v, Qt::LeftButton, {}, to);
    }
    // Types into the box a double click opens; gives what the box offered.
    std::string type_into(const rect& part, const char* text) {
        std::string offered;
        QTimer::singleShot(0, [&] {
            auto* edit = w->view_widget()->findChild<QLineEdit*>();
            ASSERT_NE(edit, nullptr);
            offered = edit->text().toStdString();
            QTest::keyClicks(edit, text);
            QTest::keyClick(edit, Qt::Key_Return);
        });
        QTest::mouseDClick(w->view_widget(), Qt::LeftButton, {}, centre(part));
        return offered;
    }
    // What port A was sent since the last look, once the engine has served a request made after
    // the moves and finished that step: however late its thread runs.
    std::vector<std::vector<int>> sent() {
        QApplication::processEvents();
        s->prog.wait_request(s->prog.d.spare_request);
        eng.wait_idle();
        auto v = sent_bytes(midi, 0);
        midi.clear();
        return v;
    }
};

TEST_F(mixer_window, faders_dials_and_switches_follow_the_mouse_and_reach_the_wire) {
    open();
    ASSERT_TRUE(mixer_open(s->prog));
    EXPECT_EQ(sent(), (std::vector<std::vector<int>>{}));
    // A fader pulled above the top of its slot.
    pull_fader(at(mixer_part::fader, 2).top - 50);
    const auto pulled = sent();
    ASSERT_FALSE(pulled.empty());
    EXPECT_EQ(pulled.back(), (std::vector<int>{0xB2, 7, 127}));
    // The dial by angle: left of its centre; with Ctrl the centre.
    const rect dial = at(mixer_part::pan, 5);
    const QPoint left_of_centre(dial.left + 1, centre(dial).y());
    QTest::mouseClick(w->view_widget(), Qt::LeftButton, {}, left_of_centre);
    EXPECT_EQ(m->pan_view[5], 18);
    QTest::mouseClick(w->view_widget(), Qt::LeftButton, Qt::ControlModifier, left_of_centre);
    EXPECT_EQ(m->pan_view[5], 64);
    // Solo is exclusive; Ctrl or the right button adds.
    for (int c : {6, 7})
        QTest::mouseClick(w->view_widget(), Qt::LeftButton, {}, centre(at(mixer_part::solo, c)));
    QTest::mouseClick(w->view_widget(), Qt::LeftButton, Qt::ControlModifier,
                      centre(at(mixer_part::solo, 8)));
    QTest::mouseClick(w->view_widget(), Qt::RightButton, {}, centre(at(mixer_part::solo, 9)));
    EXPECT_EQ(nums(m->solo[6], m->solo[7], m->solo[8], m->solo[9], m->any_solo),
              nums(0, 1, 1, 1, 1));
    sent();
    // A double click types a value in place; snapshots count from 1.
    type_into(at(mixer_part::reverb, 4), "40");
    EXPECT_EQ(m->reverb_view[4], 40);
    EXPECT_EQ(sent(), (std::vector<std::vector<int>>{{0xB4, 91, 40}}));
    EXPECT_EQ(type_into(at(mixer_part::snapshot, 0), "2"), "1");
    EXPECT_EQ(s->prog.app.mixer.snapshot_slot, 1);
}

TEST_F(mixer_window, the_program_field_opens_the_named_menu) {
    s->settings.show_patch_names[0][1] = 1;
    s->patches[0].names[42] = "Cello";
    s->patches[0].gm = 1;
    open();
    m->program_view[1] = 41;
    QTimer::singleShot(0, [&] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        ASSERT_NE(menu, nullptr);
        EXPECT_EQ(menu->actions().at(5)->text(), "Strings");
        // The group of the current program is marked, and no other.
        EXPECT_EQ(nums(menu->actions().at(4)->isChecked(), menu->actions().at(5)->isChecked()),
                  nums(0, 1));
        menu->actions().at(5)->menu()->actions().at(2)->trigger();
        menu->close();
    });
    QTest::mouseClick(w->view_widget(), Qt::LeftButton, {}, centre(at(mixer_part::program, 1)));
    w->tick();
    EXPECT_EQ(m->program_view[1], 42);
    sent();
    w->tick();
    EXPECT_EQ(sent(), (std::vector<std::vector<int>>{{0xC1, 42}}));
}

}  // namespace
}  // namespace kestrune::testing
