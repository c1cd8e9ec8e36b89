#include "platform/dialog_host.h"

#include <QApplication>
#include <QGuiApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QEventLoop>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QPainter>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>

#include "platform/help_window.h"
#include "platform/qt_ui.h"
#include "shell/dialogs/dialog_frame.h"

namespace kestrune {

namespace {

QString qt_text(const std::string& s) { return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size())); }

int button_code(Qt::MouseButton b) {
    return b == Qt::LeftButton ? 1 : b == Qt::RightButton ? 2 : 0;
}

// Widgets with a natural height sit in the middle of their cells rather than stretch.
QRect centred(const QRect& r, int natural_height) {
    const int h = std::min(r.height(), natural_height);
    return QRect(r.left(), r.top() + (r.height() - h) / 2, r.width(), h);
}

// A dialog larger than the screen that shows its owner takes smaller cells, so that all of it
// shows; the owner's frame tells what the desktop adds around a window.
void hold_to_screen(const QWidget* parent, dialog& d) {
    const QScreen* screen = parent ? parent->screen() : QGuiApplication::primaryScreen();
    if (!screen) return;
    QSize room = screen->availableGeometry().size();
    if (parent && parent->isVisible())
        room -= parent->window()->frameGeometry().size() - parent->window()->geometry().size();
    const int width = d.width_cells() * d.cell_width(), height = d.height_cells() * d.cell_height();
    if (width <= room.width() && height <= room.height()) return;
    const double scale = std::min(static_cast<double>(room.width()) / width,
                                  static_cast<double>(room.height()) / height);
    d.set_cells(static_cast<int>(d.cell_width() * scale), static_cast<int>(d.cell_height() * scale));
}

}  // namespace

dialog_host::dialog_host(QWidget* parent, dialog& d) : QDialog(parent), d_(d) {
    hold_to_screen(parent, d);
    setWindowTitle(qt_text(d.title()));
    setFixedSize(d.width_cells() * d.cell_width(), d.height_cells() * d.cell_height());
    // Fields, labels and buttons alike take the dialog's font at the height of a cell, so that
    // each fits its cells at every zoom.
    QFont f = font();
    f.setPixelSize(std::max(6, d.cell_height() * 3 / 4));
    setFont(f);
    fonts_.small = fonts_.normal = fonts_.list = f;
    build_controls();
    d_.set_entry([this](const double_click_box& box) { return entry_over(box); });
    timer_.setInterval(dialog_tick_ms);
    connect(&timer_, &QTimer::timeout, this, [this] { tick(); });
    start_timer();
}

void dialog_host::start_timer() {
    // Without the timer the dialog still works; its fields only do not repeat.
    for (;;) {
        timer_.start();
        if (timer_.isActive()) return;
        if (QMessageBox::warning(this, program_title, msg_too_many_timers,
                                 QMessageBox::Retry | QMessageBox::Cancel) != QMessageBox::Retry)
            return;
    }
}

void dialog_host::build_controls() {
    QPushButton* ok = nullptr;
    QPushButton* cancel = nullptr;
    QButtonGroup* radios = nullptr;  // consecutive radio buttons make one group
    for (const dialog_control& c : d_.controls()) {
        const kestrune::rect px = d_.to_pixels(c.cells);
        const QRect place(px.left, px.top, px.width(), px.height());
        if (c.kind != control_kind::radio_button) radios = nullptr;
        switch (c.kind) {
        case control_kind::label:
        case control_kind::group_box: add_label(c, place); break;
        case control_kind::ok_button:
        case control_kind::cancel_button:
        case control_kind::help_button:
        case control_kind::push_button:
            if (QPushButton* b = add_button(c, place); c.kind == control_kind::ok_button && !c.pressed)
                ok = b;
            else if (c.kind == control_kind::cancel_button)
                cancel = b;
            break;
        case control_kind::check_box:
        case control_kind::radio_button: add_toggle(c, place, radios); break;
        case control_kind::combo_box: add_combo(c, place); break;
        case control_kind::text_box: add_text_box(c, place); break;
        case control_kind::multi_list: add_list(c, place); break;
        case control_kind::value: break;  // painted by the frame
        }
    }
    // A faulty entry's box takes the focus; where each group has its own OK, none is the
    // dialog's: the focus waits on Cancel.
    if (selected_box_)
        selected_box_->setFocus();
    else if (QPushButton* first = ok ? ok : cancel)
        first->setFocus();
}

void dialog_host::add_label(const dialog_control& c, const QRect& place) {
    QWidget* w = c.kind == control_kind::label ? static_cast<QWidget*>(new QLabel(qt_text(c.text), this))
                                               : new QGroupBox(qt_text(c.text), this);
    // Presses on the fields beneath reach the dialog.
    w->setAttribute(Qt::WA_TransparentForMouseEvents);
    // A group's frame line, below its title, meets the top of its first cell row.
    w->setGeometry(c.kind == control_kind::group_box ? place.adjusted(0, -d_.cell_height() / 2, 0, 0)
                                                     : place);
}

QPushButton* dialog_host::add_button(const dialog_control& c, const QRect& place) {
    auto* b = new QPushButton(qt_text(c.text), this);
    if (c.kind == control_kind::ok_button) {
        // A group's own OK is pressed, never reached by Return from a field.
        if (c.pressed) {
            b->setAutoDefault(false);
            connect(b, &QPushButton::clicked, this, [f = c.pressed] { f(); });
        } else {
            b->setDefault(true);
        }
        connect(b, &QPushButton::clicked, this, &QDialog::accept);
    } else if (c.kind == control_kind::cancel_button) {
        connect(b, &QPushButton::clicked, this, &QDialog::reject);
    } else if (c.kind == control_kind::help_button) {
        b->setAutoDefault(false);
        connect(b, &QPushButton::clicked, this, &dialog_host::show_page);
    } else if (c.pressed) {
        connect(b, &QPushButton::clicked, this, [this, f = c.pressed] {
            f();
            update();
        });
    }
    b->setGeometry(centred(place, b->sizeHint().height()));
    return b;
}

void dialog_host::add_toggle(const dialog_control& c, const QRect& place, QButtonGroup*& radios) {
    QAbstractButton* b;
    if (c.kind == control_kind::check_box) {
        b = new QCheckBox(qt_text(c.text), this);
    } else {
        b = new QRadioButton(qt_text(c.text), this);
        if (!radios) radios = new QButtonGroup(this);
        radios->addButton(b);
    }
    if (c.get) b->setChecked(c.get() != 0);
    if (c.set)
        connect(b, &QAbstractButton::toggled, this, [this, f = c.set](bool on) {
            f(on ? 1 : 0);
            update();
        });
    b->setGeometry(centred(place, b->sizeHint().height()));
}

void dialog_host::add_combo(const dialog_control& c, const QRect& place) {
    auto* box = new QComboBox(this);
    for (const auto& e : c.entries) box->addItem(qt_text(e));
    if (c.get) box->setCurrentIndex(c.get());
    // A choice may change how the fields look.
    if (c.set)
        connect(box, &QComboBox::currentIndexChanged, this, [this, f = c.set](int i) {
            f(i);
            update();
        });
    box->setGeometry(centred(place, box->sizeHint().height()));
}

void dialog_host::add_text_box(const dialog_control& c, const QRect& place) {
    auto* edit = new QPlainTextEdit(c.get_text ? qt_text(c.get_text()) : QString(), this);
    if (c.set_text)
        connect(edit, &QPlainTextEdit::textChanged, this, [edit, c] {
            // Held to the length the song keeps, in bytes.
            QString t = edit->toPlainText();
            if (c.max_length > 0 && t.toUtf8().size() > c.max_length) {
                while (t.toUtf8().size() > c.max_length) t.chop(1);
                const QSignalBlocker hold(edit);
                edit->setPlainText(t);
                edit->moveCursor(QTextCursor::End);
            }
            c.set_text(t.toStdString());
        });
    edit->setGeometry(place);
    if (c.selected > 0 && c.selected <= edit->document()->characterCount()) {
        // The fault's character, selected and scrolled into view, with the box to type in.
        QTextCursor at = edit->textCursor();
        at.setPosition(c.selected - 1);
        at.movePosition(QTextCursor::NextCharacter, QTextCursor::KeepAnchor);
        edit->setTextCursor(at);
        edit->ensureCursorVisible();
        selected_box_ = edit;
    }
}

void dialog_host::add_list(const dialog_control& c, const QRect& place) {
    auto* list = new QListWidget(this);
    list->setSelectionMode(QAbstractItemView::MultiSelection);
    list->setAccessibleName(qt_text(c.text));
    list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    for (std::size_t i = 0; i < c.entries.size(); ++i) {
        auto* item = new QListWidgetItem(qt_text(c.entries[i]), list);
        if (c.get_item) item->setSelected(c.get_item(static_cast<int>(i)));
    }
    if (c.set_item)
        connect(list, &QListWidget::itemSelectionChanged, this, [list, f = c.set_item] {
            for (int i = 0; i < list->count(); ++i) f(i, list->item(i)->isSelected());
        });
    list->setGeometry(place);
}

void dialog_host::accept() {
    timer_.stop();
    if (!d_.ok()) {
        start_timer();
        return;
    }
    QDialog::accept();
}

void dialog_host::reject() {
    timer_.stop();
    d_.cancel();
    QDialog::reject();
}

void dialog_host::tick() {
    // A button let go where the dialog could not see it (over a message box) is up all the same.
    const Qt::MouseButtons held = QApplication::mouseButtons();
    if (!(held & Qt::LeftButton)) d_.release(1);
    if (!(held & Qt::RightButton)) d_.release(2);
    const int changed = d_.tick(d_.prog().clk.now_ms());
    if (changed >= 0) {
        const kestrune::rect r = d_.field_rect(changed);
        update(QRect(r.left, r.top, r.width(), r.height()));
    }
}

void dialog_host::show_page() {
    if (!d_.help_topic.empty()) show_help(this, d_.help_topic);
}

void dialog_host::keyPressEvent(QKeyEvent* e) {
    if (e->key() == Qt::Key_F1 && e->modifiers() == Qt::NoModifier) {
        show_page();
        return;
    }
    QDialog::keyPressEvent(e);
}

void dialog_host::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    qt_canvas c(painter, fonts_, palette());
    d_.paint(c);
}

void dialog_host::mousePressEvent(QMouseEvent* e) {
    if (const int b = button_code(e->button())) {
        const QPoint at = e->position().toPoint();
        d_.press(b, at.x(), at.y());
    }
}

void dialog_host::mouseReleaseEvent(QMouseEvent* e) {
    if (const int b = button_code(e->button())) d_.release(b);
}

void dialog_host::mouseDoubleClickEvent(QMouseEvent* e) {
    if (e->button() != Qt::LeftButton) return mousePressEvent(e);
    const QPoint at = e->position().toPoint();
    if (d_.double_click(at.x(), at.y())) update();
}

std::optional<std::string> dialog_host::entry_over(const double_click_box& box) {
    const kestrune::rect& r = box.field;
    return line_edit_over(this, fonts_.normal, QRect(r.left, r.top, r.width(), r.height()),
                          qt_text(box.text), box.length_limit);
}

bool run_dialog_window(QWidget* parent, dialog& d) {
    if (!d.has_cells()) {
        const QFontMetrics m(parent ? parent->font() : QApplication::font());
        d.set_cells(m.averageCharWidth() + 1, m.height() + m.leading());
    }
    dialog_host host(parent, d);
    return host.exec() == QDialog::Accepted;
}

}  // namespace kestrune
