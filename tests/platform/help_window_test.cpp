// The help window against the real widgets, offscreen: the Help menu, F1 in a dialog and over a
// menu item, Back and Forward, the search through all pages, and the text viewer.
#include "platform/help_window.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QKeyEvent>
#include <QMenuBar>
#include <QPushButton>
#include <QTest>
#include <QTextBrowser>
#include <QTimer>

#include "core/command_ids.h"
#include "platform/dialog_host.h"
#include "platform/help_commands.h"
#include "platform/main_window.h"
#include "services/help_pages.h"
#include "shell/dialogs/setup_dialog_views.h"
#include "shell/dispatch.h"
#include "shell/main_commands.h"
#include "shell/startup.h"
#include "tests/platform/window_fixture.h"

namespace kestrune::testing {
namespace {

help_window* the_help_window() {
    for (QWidget* w : QApplication::allWidgets())
        if (auto* h = dynamic_cast<help_window*>(w)) return h;
    return nullptr;
}

std::string page_shown() {
    const help_window* h = the_help_window();
    if (!h || !h->isVisible()) return "(no help window)";
    const QUrl u = h->browser()->source();
    const std::string anchor = u.fragment().isEmpty() ? "" : "#" + u.fragment().toStdString();
    return "html/" + fs::path(u.toLocalFile().toStdString()).filename().string() + anchor;
}

TEST_F(window_fixture, help_menu_f1_in_a_dialog_and_over_a_menu_item_open_their_pages) {
    set_help_root(KESTRUNE_HELP_DIR);
    main_window w(*s);
    w.show();
    add_help_commands(*s, &w);
    dispatch_command(*s, cmd::key_commands_help);
    EXPECT_EQ(page_shown(), help_page::key_commands);

    // F1 and Help in a modal dialog: the page beside the dialog, taking input with it; the
    // window stays open with the main window once the dialog closes.
    memory_setup_view memory(s->prog);
    QTimer::singleShot(0, [&] {
        auto* host = dynamic_cast<dialog_host*>(QApplication::activeModalWidget());
        ASSERT_NE(host, nullptr);
        // The Help menu's page while the dialog is up is seated with the dialog as well.
        dispatch_command(*s, cmd::help_index);
        EXPECT_EQ(the_help_window()->parentWidget(), host);
        QTest::keyClick(host, Qt::Key_F1);
        EXPECT_EQ(page_shown(), help_page::memory_setup);
        EXPECT_EQ(the_help_window()->parentWidget(), host);
        the_help_window()->browser()->backward();
        EXPECT_EQ(page_shown(), help_page::index);
        for (QPushButton* b : host->findChildren<QPushButton*>())
            if (b->text() == "Help") b->click();
        EXPECT_EQ(page_shown(), help_page::memory_setup);
        host->reject();
    });
    run_dialog_window(&w, memory);
    EXPECT_EQ(the_help_window()->parentWidget(), &w);
    EXPECT_EQ(page_shown(), help_page::memory_setup);

    // F1 over an item of an open menu: that item's page, and the menu closes.
    QMenu* options = nullptr;
    for (QAction* a : w.menuBar()->actions())
        if (a->text() == "&Options") options = a->menu();
    ASSERT_NE(options, nullptr);
    options->popup(QPoint(0, 0));
    for (QAction* a : options->actions())
        if (a->data().toInt() == cmd::midi_click) options->setActiveAction(a);
    QKeyEvent f1(QEvent::KeyPress, Qt::Key_F1, Qt::NoModifier);
    QApplication::sendEvent(options, &f1);
    EXPECT_EQ(page_shown(), help_page::preferences);
    EXPECT_FALSE(options->isVisible());
}

TEST_F(window_fixture, anchors_the_search_through_all_pages_and_a_missing_page) {
    help_window h(KESTRUNE_HELP_DIR);
    ASSERT_TRUE(h.open(help_page::delete_events));
    EXPECT_EQ(h.browser()->source().fragment(), "menu_del_keep_topic");

    // A word of another page only: the search goes on to that page.
    ASSERT_TRUE(h.open(help_page::memory_setup));
    EXPECT_TRUE(h.find("Tight Quantize"));
    EXPECT_TRUE(h.browser()->textCursor().hasSelection());
    EXPECT_FALSE(h.browser()->source().toLocalFile().endsWith("memory_setup.htm"));
    EXPECT_FALSE(h.find("no page says xyzzy"));

    EXPECT_FALSE(h.open("html/nosuch.htm"));
    EXPECT_TRUE(h.browser()->toPlainText().contains("nosuch.htm"));
}

TEST_F(window_fixture, the_text_viewer_shows_the_history_or_says_it_is_missing) {
    std::unique_ptr<QDialog> missing(make_text_viewer(nullptr, (dir / "History.txt").string()));
    EXPECT_EQ(missing->windowTitle(), "History");
    EXPECT_EQ(missing->findChild<QTextBrowser*>()->toPlainText(), "File is missing.");
    std::unique_ptr<QDialog> history(make_text_viewer(nullptr, KESTRUNE_HELP_DIR "/History.txt"));
    EXPECT_TRUE(history->findChild<QTextBrowser*>()->toPlainText().startsWith(
        "Kestrune MIDI Sequencer - Version History"));
}

}  // namespace
}  // namespace kestrune::testing
