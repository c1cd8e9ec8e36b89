#include "platform/qt_ui.h"

#include <QApplication>
#include <QDialog>
#include <QDir>
#include <QEventLoop>
#include <QFileDialog>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressDialog>
#include <QStandardPaths>
#include <QStringList>
#include <cstdio>

#include "files/settings_file.h"

namespace kestrune {

namespace {

QMessageBox::StandardButton to_qt(msg_answer a) {
    switch (a) {
    case msg_answer::ok: return QMessageBox::Ok;
    case msg_answer::cancel: return QMessageBox::Cancel;
    case msg_answer::yes: return QMessageBox::Yes;
    case msg_answer::no: return QMessageBox::No;
    }
    return QMessageBox::Ok;
}

QMessageBox::StandardButtons to_qt(msg_buttons b) {
    switch (b) {
    case msg_buttons::ok: return QMessageBox::Ok;
    case msg_buttons::ok_cancel: return QMessageBox::Ok | QMessageBox::Cancel;
    case msg_buttons::yes_no: return QMessageBox::Yes | QMessageBox::No;
    case msg_buttons::yes_no_cancel: return QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
    }
    return QMessageBox::Ok;
}

QMessageBox::Icon to_qt(msg_icon i) {
    switch (i) {
    case msg_icon::information: return QMessageBox::Information;
    case msg_icon::warning: return QMessageBox::Warning;
    case msg_icon::stop: return QMessageBox::Critical;
    case msg_icon::question: return QMessageBox::Question;
    }
    return QMessageBox::NoIcon;
}

// Where a file dialog opens: the folder remembered for its kind, else the desktop's music
// folder, else home. Home and the program's own folder are only the stored defaults.
QString start_folder(const std::string& remembered) {
    const QDir asked(QString::fromStdString(remembered));
    if (!remembered.empty() && asked != QDir(QString::fromStdString(program_folder_path(""))) &&
        asked != QDir::home() && asked.exists())
        return asked.path();
    const QString music = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
    if (!music.isEmpty() && QDir(music).exists()) return music;
    return QDir::homePath();
}

// "MIDI Files (*.mid,*.kar)|*.mid;*.kar|All Files (*.*)|*.*" as Qt's name filters. Qt takes the
// patterns from the label's brackets, so they are written there as Qt reads them.
QStringList name_filters(const std::string& filter) {
    QStringList parts = QString::fromStdString(filter).split('|');
    QStringList out;
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        QString patterns = QString(parts[i + 1]).replace(';', ' ');
        if (patterns == "*.*") patterns = "*";
        const QString name = parts[i].left(parts[i].indexOf('(')).trimmed();
        out << name + " (" + patterns + ")";
    }
    return out;
}

}  // namespace

// The keyboard goes back to the main screen when a box closes, so the keypad plays at once.
class qt_ui::focus_back {
public:
    explicit focus_back(const qt_ui& u) : u_(u) {}
    ~focus_back() {
        QWidget* home = u_.field_parent_ ? u_.field_parent_ : u_.parent_;
        if (!home || u_.giving_up_) return;
        home->activateWindow();
        home->setFocus(Qt::OtherFocusReason);
    }
    focus_back(const focus_back&) = delete;
    focus_back& operator=(const focus_back&) = delete;

private:
    const qt_ui& u_;
};

void qt_ui::restore_focus() const { focus_back back(*this); }

qt_ui::qt_ui() = default;
qt_ui::~qt_ui() = default;

bool qt_ui::progress(const std::string& title, const std::string& text, double done) {
    constexpr int steps = 1000;
    if (done >= 1) {
        progress_.reset();
        return true;
    }
    if (!progress_) {
        progress_ = std::make_unique<QProgressDialog>(QString::fromStdString(text), "Cancel", 0, steps,
                                                      parent_ ? parent_ : QApplication::activeWindow());
        progress_->setWindowTitle(QString::fromStdString(title));
        progress_->setWindowModality(Qt::WindowModal);
        progress_->setMinimumDuration(0);
        progress_->setAutoReset(false);
    }
    progress_->setValue(static_cast<int>(done * steps));
    QApplication::processEvents();
    return !progress_->wasCanceled();
}

namespace {

// What Escape, or a box closed without a button, means for these buttons.
msg_answer escape_answer(msg_buttons buttons) {
    switch (buttons) {
    case msg_buttons::ok: return msg_answer::ok;
    case msg_buttons::yes_no: return msg_answer::no;
    default: return msg_answer::cancel;
    }
}

}  // namespace

msg_answer qt_ui::message(const std::string& text, msg_icon icon, msg_buttons buttons,
                          msg_answer default_answer, const std::string& caption) {
    ++messages_;
    std::fprintf(stderr, "%s\n", message_line(text).c_str());
    if (giving_up_) return escape_answer(buttons);
    // A message interrupts a wait: it shows the arrow.
    while (QApplication::overrideCursor()) QApplication::restoreOverrideCursor();
    const focus_back back(*this);
    QMessageBox box(to_qt(icon), QString::fromStdString(caption), QString::fromStdString(text),
                    to_qt(buttons), parent_);
    box.setDefaultButton(to_qt(default_answer));
    const int r = box.exec();
    if (wait_depth_ > 0) QApplication::setOverrideCursor(Qt::WaitCursor);
    if (giving_up_) return escape_answer(buttons);
    switch (r) {
    case QMessageBox::Yes: return msg_answer::yes;
    case QMessageBox::No: return msg_answer::no;
    case QMessageBox::Ok: return msg_answer::ok;
    default: return escape_answer(buttons);
    }
}

void qt_ui::give_up() {
    giving_up_ = true;
    for (QWidget* w : QApplication::topLevelWidgets())
        if (auto* d = qobject_cast<QDialog*>(w); d && d->isVisible()) d->reject();
}

void qt_ui::forget_window() {
    parent_ = nullptr;
    field_parent_ = nullptr;
    on_repaint = nullptr;
    dialog_runner = nullptr;
}

std::optional<std::string> qt_ui::open_file_dialog(const file_dialog_request& r) {
    if (giving_up_) return std::nullopt;
    const focus_back back(*this);
    QFileDialog dlg(parent_, QString::fromStdString(r.title), start_folder(r.folder));
    dlg.setAcceptMode(QFileDialog::AcceptOpen);
    dlg.setFileMode(QFileDialog::ExistingFile);
    dlg.setNameFilters(name_filters(r.filter));
    if (!r.file_name.empty()) dlg.selectFile(QString::fromStdString(r.file_name));
    if (dlg.exec() != QDialog::Accepted || dlg.selectedFiles().isEmpty()) return std::nullopt;
    return dlg.selectedFiles().front().toStdString();
}

std::optional<std::string> qt_ui::save_file_dialog(const file_dialog_request& r) {
    if (giving_up_) return std::nullopt;
    const focus_back back(*this);
    QFileDialog dlg(parent_, QString::fromStdString(r.title), start_folder(r.folder));
    dlg.setAcceptMode(QFileDialog::AcceptSave);
    dlg.setFileMode(QFileDialog::AnyFile);
    dlg.setNameFilters(name_filters(r.filter));
    dlg.setDefaultSuffix(QString::fromStdString(r.extension));
    if (!r.file_name.empty()) dlg.selectFile(QString::fromStdString(r.file_name));
    if (dlg.exec() != QDialog::Accepted || dlg.selectedFiles().isEmpty()) return std::nullopt;
    return dlg.selectedFiles().front().toStdString();
}

bool qt_ui::run_dialog(dialog& d) {
    if (giving_up_ || !dialog_runner) return false;
    const focus_back back(*this);
    return dialog_runner(d);
}

void qt_ui::wait_cursor() {
    ++wait_depth_;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    // Shown at once, and the window repaints while the file loads.
    QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

void qt_ui::arrow_cursor() {
    if (wait_depth_ > 0) --wait_depth_;
    while (QApplication::overrideCursor()) QApplication::restoreOverrideCursor();
    if (wait_depth_ > 0) QApplication::setOverrideCursor(Qt::WaitCursor);
}

void qt_ui::repaint(int region) {
    if (on_repaint) on_repaint(region);
}

std::optional<std::string> qt_ui::edit_in_place(int x, int y, int width, int height,
                                                const std::string& text, int max_length) {
    QWidget* over = field_parent_ ? field_parent_ : parent_;
    if (!over || giving_up_) return std::nullopt;
    const focus_back back(*this);
    return line_edit_over(over, over->font(), QRect(x, y, width, height), QString::fromStdString(text),
                          max_length);
}

std::optional<std::string> line_edit_over(QWidget* over, const QFont& font, const QRect& place,
                                          const QString& text, int max_length) {
    QLineEdit edit(over);
    edit.setFont(font);
    edit.setFrame(false);
    edit.setGeometry(place);
    edit.setMaxLength(max_length);
    edit.setText(text);
    edit.selectAll();
    QEventLoop loop;
    bool taken = false;
    QObject::connect(&edit, &QLineEdit::editingFinished, &loop, &QEventLoop::quit);
    // Escape drops the entry and Return takes it; neither goes on to the window or the dialog
    // (whose default button Return would press).
    struct key_filter : QObject {
        QEventLoop* loop;
        bool* taken;
        bool eventFilter(QObject*, QEvent* e) override {
            if (e->type() != QEvent::KeyPress) return false;
            const int key = static_cast<QKeyEvent*>(e)->key();
            if (key != Qt::Key_Escape && key != Qt::Key_Return && key != Qt::Key_Enter) return false;
            *taken = key != Qt::Key_Escape;
            loop->quit();
            return true;
        }
    } filter;
    filter.loop = &loop;
    filter.taken = &taken;
    edit.installEventFilter(&filter);
    edit.show();
    edit.setFocus();
    loop.exec();
    if (!taken) return std::nullopt;
    return edit.text().toStdString();
}

}  // namespace kestrune
