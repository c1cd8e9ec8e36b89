// The ui on Qt: message boxes with the program's title as caption (each also on standard error,
// one line), the file dialogs, the wait cursor, repaints of the main window and the in-place
// entry box.
#pragma once

#include <functional>
#include <memory>

#include "core/ui.h"

class QFont;
class QProgressDialog;
class QRect;
class QString;
class QWidget;

namespace kestrune {

class qt_ui final : public ui {
public:
    qt_ui();
    ~qt_ui() override;
    // `parent` is the window the boxes belong to; it may be set once the window exists.
    void set_parent(QWidget* parent) { parent_ = parent; }
    // The widget whose coordinates the in-place entry's field is given in (the main screen's).
    void set_field_parent(QWidget* w) { field_parent_ = w; }
    // What a repaint request does; the window sets it.
    std::function<void(int region)> on_repaint;
    // Runs a dialog of the frame in its window; the program sets it when it has the host.
    std::function<bool(dialog&)> dialog_runner;

    msg_answer message(const std::string& text, msg_icon icon, msg_buttons buttons,
                       msg_answer default_answer, const std::string& caption) override;
    std::optional<std::string> open_file_dialog(const file_dialog_request& r) override;
    std::optional<std::string> save_file_dialog(const file_dialog_request& r) override;
    void wait_cursor() override;
    void arrow_cursor() override;
    void repaint(int region) override;
    std::optional<std::string> edit_in_place(int x, int y, int width, int height,
                                             const std::string& text, int max_length) override;
    bool run_dialog(dialog& d) override;
    bool progress(const std::string& title, const std::string& text, double done) override;

    // The keyboard back to the main screen, as after every box and dialog.
    void restore_focus() const;

    // Messages shown so far, for the program's tests.
    int messages_shown() const { return messages_; }

    // The program is ending at the system's request: every box and dialog open now ends as Escape
    // would end it, and later ones are not shown (their messages still go to standard error).
    void give_up();
    // The window is gone: boxes stand alone and nothing is repainted.
    void forget_window();

private:
    class focus_back;
    QWidget* parent_ = nullptr;
    QWidget* field_parent_ = nullptr;
    int wait_depth_ = 0;
    std::unique_ptr<QProgressDialog> progress_;
    int messages_ = 0;
    bool giving_up_ = false;
};

// A borderless line edit over `place` of `over`: Return takes the text, Escape or a click
// elsewhere gives up.
std::optional<std::string> line_edit_over(QWidget* over, const QFont& font, const QRect& place,
                                          const QString& text, int max_length);

}  // namespace kestrune
