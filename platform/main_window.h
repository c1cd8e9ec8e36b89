// The main window: the menu bar from the command table, the screen model painted in the central
// widget, its child buttons and scroll bar, the 25 ms tick, drag and drop and the title.
#pragma once

#include <QImage>
#include <QMainWindow>
#include <QTimer>
#include <map>
#include <vector>

#include "platform/qt_canvas.h"
#include "shell/main_commands.h"
#include "mixer/mixer_view.h"
#include "shell/screen/main_screen.h"

class QAction;
class QMenu;
class QPushButton;
class QScrollBar;

namespace kestrune {

class session;
class screen_view;

class main_window final : public QMainWindow {
public:
    explicit main_window(session& s);
    ~main_window() override;

    // Lays the window out at a zoom row; `resize_to_row` gives the window that row's size, held
    // to the screen's available area.
    void apply_zoom(int zoom_index, bool resize_to_row);
    // The first zoom: the stored one, else the largest row whose window fits the screen.
    int starting_zoom();
    // The zoom row's window size, at least what the screen model needs.
    QSize zoom_size() const;
    // The zoom's size held to the screen, centred, its corner not above or left of -4.
    void default_place();
    // A stored place, held to the available area of its screen (the primary one when it is on
    // none): never larger than that area, and wholly inside it.
    void restore_place(int left, int top, int width, int height);
    // One tick of the 25 ms timer: the shell's tick, then what changed on screen.
    void tick();
    // What changed on screen: repaints, buttons, pop-ups, the scroll bar.
    void follow_screen();
    // Starts the 25 ms timer.
    void start_timer();
    // The whole window as it shows now, at the screen's device pixel ratio.
    QImage screenshot();
    // Ends the program without the closing question (a signal from the system): the transport
    // stops, which ends every sounding note, and the window closes, also while the closing
    // question is up.
    void close_without_question();
    // Menus, check marks, enabled items and the recent files as the session has them.
    void refresh_menus();

    QWidget* view_widget() const;
    const std::vector<QPushButton*>& child_buttons() const { return buttons_; }

protected:
    void closeEvent(QCloseEvent* e) override;
    void dragEnterEvent(QDragEnterEvent* e) override;
    void dropEvent(QDropEvent* e) override;
    void changeEvent(QEvent* e) override;

private:
    // The screen's available area for the window itself, its frame taken off.
    QRect room() const;
    void build_menus();
    void fill_menu(QMenu* m, const std::vector<menu_item>& items);
    void sync_buttons();
    void show_quantize_popup(const quantize_popup_request& r);
    void show_program_popup(const program_popup_request& r);
    void store_window_place();
    // Back to the full tick rate: input came, or a tick found something moving.
    void wake();

    session& s_;
    screen_view* view_ = nullptr;
    QScrollBar* scroll_ = nullptr;
    QTimer timer_;
    std::vector<QPushButton*> buttons_;
    std::map<int, QAction*> actions_;
    std::vector<QAction*> recent_actions_;
    qt_fonts fonts_;
    QObject* menu_help_ = nullptr;
    bool ask_before_closing_ = true;
    int rest_ticks_ = 0;  // ticks in a row that found the screen at rest
};

}  // namespace kestrune
