// The window of a modal dialog on the frame: the model's widgets laid out at its cells, value
// fields painted through the Qt canvas, mouse presses and double clicks forwarded, the 50 ms tick.
#pragma once

#include <QDialog>
#include <QTimer>

class QButtonGroup;
class QPushButton;

#include <optional>
#include <string>

#include "platform/qt_canvas.h"

namespace kestrune {

class dialog;
struct dialog_control;
struct double_click_box;

class dialog_host final : public QDialog {
public:
    dialog_host(QWidget* parent, dialog& d);

    void accept() override;
    void reject() override;
    // One tick of the frame; the timer calls it every 50 ms.
    void tick();

protected:
    void paintEvent(QPaintEvent* e) override;
    // F1 opens the dialog's help page, as its Help button does.
    void keyPressEvent(QKeyEvent* e) override;
    void mousePressEvent(QMouseEvent* e) override;
    void mouseReleaseEvent(QMouseEvent* e) override;
    void mouseDoubleClickEvent(QMouseEvent* e) override;

private:
    // The dialog's widgets at their cells, one kind each.
    void build_controls();
    void add_label(const dialog_control& c, const QRect& place);
    QPushButton* add_button(const dialog_control& c, const QRect& place);
    void add_toggle(const dialog_control& c, const QRect& place, QButtonGroup*& radios);
    void add_combo(const dialog_control& c, const QRect& place);
    void add_text_box(const dialog_control& c, const QRect& place);
    void add_list(const dialog_control& c, const QRect& place);
    void show_page();
    void start_timer();
    std::optional<std::string> entry_over(const double_click_box& box);

    dialog& d_;
    qt_fonts fonts_;
    QTimer timer_;
    QWidget* selected_box_ = nullptr;  // a text box that opens with a character selected
};

// Runs the dialog modally over `parent`, at the cells the dialog was given (else measured from
// the system font); true when it ends with OK.
bool run_dialog_window(QWidget* parent, dialog& d);

}  // namespace kestrune
