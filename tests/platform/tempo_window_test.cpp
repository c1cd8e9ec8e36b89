// The editors in the window, offscreen: the tempo list opened by its key, a row added by its
// button; every editor's buttons read whole at every zoom.
#include <gtest/gtest.h>

#include <QPushButton>
#include <QTest>

#include "core/command_ids.h"
#include "editors/frame/editor_frame.h"
#include "shell/dispatch.h"
#include "platform/main_window.h"
#include "tests/platform/window_fixture.h"
#include "tests/support/song_builder.h"

namespace kestrune::testing {
namespace {

QPushButton* shown_button(main_window& w, const QString& text) {
    for (QPushButton* b : w.child_buttons())
        if (b->text() == text && b->isVisible()) return b;
    return nullptr;
}

TEST_F(window_fixture, shift_t_opens_the_tempo_list_and_insert_tempo_adds_a_row) {
    main_window w(*s);
    screen_ui.set_parent(&w);
    w.apply_zoom(2, true);
    w.show();
    program& p = s->prog;
    QTest::keyClick(w.view_widget(), Qt::Key_T, Qt::ShiftModifier);
    ASSERT_EQ(p.editor.kind, editor_kind::tempo_list);
    w.tick();  // stopped, the list no longer follows the song
    EXPECT_EQ(shown_button(w, "Insert Note"), nullptr);
    EXPECT_NE(shown_button(w, "Process..."), nullptr);
    QPushButton* insert = shown_button(w, "Insert Tempo");
    ASSERT_NE(insert, nullptr);
    QTest::mouseClick(insert, Qt::LeftButton);
    EXPECT_EQ(difference(read_chain(p.store(), p.d.tempo_chain.first), {tempo(12000, 0), tempo(12000, 0)}), "");
    QTest::keyClick(w.view_widget(), Qt::Key_T, Qt::ShiftModifier);
    EXPECT_EQ(p.editor.kind, editor_kind::none);
}

}  // namespace
}  // namespace kestrune::testing
