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

// One editor follows another without the track list between them: each shows its own buttons,
// and each button its whole text, at every zoom.
TEST_F(window_fixture, each_editor_shows_its_own_buttons_whole_at_every_zoom) {
    main_window w(*s);
    screen_ui.set_parent(&w);
    w.show();
    program& p = s->prog;
    build_track(p, 0, 0, notes(4, 3072, 192));
    const auto shown_in_editor = [&](const QString& text) {
        return std::any_of(editor_buttons().begin(), editor_buttons().end(), [&](const editor_button& b) {
            return text == b.text && button_shown(b, p.editor.kind);
        });
    };
    for (int zoom = 1; zoom < 8; ++zoom) {
        w.apply_zoom(zoom, true);
        for (int editor : {cmd::event_editor, cmd::grid_editor, cmd::tempo_track_editor,
                           cmd::signature_track_editor}) {
            dispatch_command(*s, editor);
            w.tick();
            for (const editor_button& b : editor_buttons()) {
                const QString text = QString::fromStdString(b.text);
                EXPECT_EQ(shown_button(w, text) != nullptr, shown_in_editor(text)) << b.text << " in " << editor;
            }
            for (QPushButton* b : w.child_buttons()) {
                if (!b->isVisible()) continue;
                EXPECT_LE(b->fontMetrics().horizontalAdvance(b->text()), b->width() - 4)
                    << b->text().toStdString() << " at zoom " << zoom;
            }
        }
        dispatch_command(*s, cmd::signature_track_editor);
        w.tick();
    }
}

}  // namespace
}  // namespace kestrune::testing
