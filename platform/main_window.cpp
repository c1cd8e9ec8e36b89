#include "platform/main_window.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QHelpEvent>
#include <QKeyEvent>
#include <QMenuBar>
#include <QMimeData>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QToolTip>
#include <functional>

#include "platform/help_window.h"
#include "platform/key_map.h"
#include "core/command_ids.h"
#include "shell/screen/main_screen.h"
#include "shell/dispatch.h"
#include "shell/startup.h"

namespace kestrune {

namespace {

rect to_rect(const QRect& r) { return {r.left(), r.top(), r.right() + 1, r.bottom() + 1}; }
QRect to_qt(const rect& r) { return QRect(r.left, r.top, r.width(), r.height()); }

key_mods mods_of(Qt::KeyboardModifiers m) {
    return {m.testFlag(Qt::ShiftModifier), m.testFlag(Qt::ControlModifier), m.testFlag(Qt::AltModifier)};
}

int button_of(Qt::MouseButton b) {
    return b == Qt::LeftButton ? left_button : b == Qt::RightButton ? right_button : 0;
}

// F1 over a menu item opens the item's help page; the menus close for it.
class menu_help final : public QObject {
public:
    menu_help(QWidget* window, const session& s) : QObject(window), window_(window), s_(s) {}
    bool eventFilter(QObject* o, QEvent* e) override {
        if (e->type() != QEvent::KeyPress || static_cast<QKeyEvent*>(e)->key() != Qt::Key_F1) return false;
        auto* m = static_cast<QMenu*>(o);
        const QAction* a = m->activeAction();
        if (!a || a->menu()) return false;
        for (QWidget* open = QApplication::activePopupWidget(); open; open = QApplication::activePopupWidget())
            open->close();
        show_help(window_, command_help_page(s_.commands, a->data().toInt()));
        return true;
    }

private:
    QWidget* window_;
    const session& s_;
};

// Input anywhere in the program (the window, a dialog, a menu) wakes the tick.
class input_watch final : public QObject {
public:
    input_watch(QObject* parent, std::function<void()> wake)
        : QObject(parent), wake_(std::move(wake)) {}
    bool eventFilter(QObject*, QEvent* e) override {
        switch (e->type()) {
            case QEvent::KeyPress:
            case QEvent::KeyRelease:
            case QEvent::MouseButtonPress:
            case QEvent::MouseButtonRelease:
            case QEvent::MouseButtonDblClick:
            case QEvent::MouseMove:
            case QEvent::Wheel:
            case QEvent::DragEnter:
            case QEvent::Drop:
            case QEvent::WindowActivate:
            case QEvent::Expose:
                wake_();
                break;
            default:
                break;
        }
        return false;
    }

private:
    std::function<void()> wake_;
};

// At rest for a second, the window ticks ten times a second: input and MIDI lamps still show
// within that, and the first tick that finds anything moving brings the full rate back.
constexpr int rest_period_ms = 100;
constexpr int ticks_before_rest = 1000 / tick_period_ms;

}  // namespace

// The central widget: everything it gets goes to the screen model.
class screen_view final : public QWidget {
public:
    screen_view(session& s, const qt_fonts& fonts, QWidget* parent)
        : QWidget(parent), s_(s), fonts_(fonts) {
        setFocusPolicy(Qt::StrongFocus);
        setAttribute(Qt::WA_OpaquePaintEvent);
        setMouseTracking(true);
    }
    int paints = 0;

protected:
    void paintEvent(QPaintEvent* e) override {
        ++paints;
        QPainter painter(this);
        qt_canvas c(painter, fonts_, palette());
        // The tick's small updates come as separate rectangles: paint each alone rather than
        // the box around them all.
        for (const QRect& r : e->region()) {
            painter.setClipRect(r);
            painter.fillRect(r, c.colour(colour_role::window));
            if (s_.screen) s_.screen->paint(c, to_rect(r));
        }
    }
    void mousePressEvent(QMouseEvent* e) override {
        if (const int b = button_of(e->button()))
            s_.screen->mouse_down(x_of(e), y_of(e), b, mods_of(e->modifiers()), now());
    }
    void mouseReleaseEvent(QMouseEvent* e) override {
        if (const int b = button_of(e->button())) s_.screen->mouse_up(x_of(e), y_of(e), b, now());
    }
    void mouseDoubleClickEvent(QMouseEvent* e) override {
        if (const int b = button_of(e->button()))
            s_.screen->double_click(x_of(e), y_of(e), b, mods_of(e->modifiers()), now());
    }
    void mouseMoveEvent(QMouseEvent* e) override {
        s_.screen->mouse_move(x_of(e), y_of(e), mods_of(e->modifiers()), now());
    }
    void wheelEvent(QWheelEvent* e) override {
        const QPoint at = e->position().toPoint();
        if (const int steps = e->angleDelta().y() / 120) s_.screen->wheel(at.x(), at.y(), steps);
    }
    void keyPressEvent(QKeyEvent* e) override {
        if (!press_key(s_, to_key_event(*e))) QWidget::keyPressEvent(e);
    }
    void keyReleaseEvent(QKeyEvent* e) override { s_.screen->key_up(to_key_event(*e)); }
    bool focusNextPrevChild(bool) override { return false; }  // Tab is a key of the screen
    bool event(QEvent* e) override {
        if (e->type() != QEvent::ToolTip) return QWidget::event(e);
        const auto* help = static_cast<QHelpEvent*>(e);
        const std::string tip = header_tip(s_, help->pos().x(), help->pos().y());
        if (tip.empty()) {
            QToolTip::hideText();
            e->ignore();
        } else {
            QToolTip::showText(help->globalPos(), QString::fromStdString(tip), this);
        }
        return true;
    }

private:
    static int x_of(QMouseEvent* e) { return e->position().toPoint().x(); }
    static int y_of(QMouseEvent* e) { return e->position().toPoint().y(); }
    std::int64_t now() { return s_.prog.clk.now_ms(); }

    session& s_;
    const qt_fonts& fonts_;
};

main_window::main_window(session& s) : s_(s) {
    setWindowTitle(QString::fromStdString(s_.window_title()));
    setAcceptDrops(true);
    s_.screen = std::make_unique<main_screen>(s_.prog, s_.trans);
    s_.screen->set_recording_actions(recorder_actions(s_.rec));
    view_ = new screen_view(s_, fonts_, this);
    // A window held smaller than its zoom by the screen scrolls rather than cuts the screen off.
    auto* area = new QScrollArea(this);
    area->setFrameShape(QFrame::NoFrame);
    area->setFocusPolicy(Qt::NoFocus);
    area->setWidgetResizable(true);
    area->setWidget(view_);
    setCentralWidget(area);
    scroll_ = new QScrollBar(Qt::Vertical, view_);
    scroll_->setRange(0, 16);
    scroll_->setSingleStep(1);
    scroll_->setPageStep(8);
    scroll_->setFocusPolicy(Qt::NoFocus);
    connect(scroll_, &QScrollBar::valueChanged, this, [this](int v) {
        s_.screen->scroll_to(v);
        view_->update();
    });
    s_.screen->set_double_click_time(QApplication::doubleClickInterval());
    mixer_names names;
    for (std::size_t port = 0; port < names.names.size(); ++port) {
        names.names[port] = &s_.patches[port].names;
        names.gm[port] = &s_.patches[port].gm;
    }
    names.shown = &s_.settings.show_patch_names;
    s_.screen->mixer().set_names(names);
    s_.screen->set_patch_names(&s_.patches, &s_.settings.show_patch_names);
    build_menus();

    window_hooks& w = s_.window;
    w.title_changed = [this] { setWindowTitle(QString::fromStdString(s_.window_title())); };
    w.menus_changed = [this] { refresh_menus(); };
    w.relayout = [this] { apply_zoom(s_.settings.zoom_index, true); };
    w.default_window_place = [this] { default_place(); };
    w.bring_to_front = [this] {
        raise();
        activateWindow();
    };
    w.close = [this] { close(); };
    w.focus = [this] { view_->setFocus(); };
    timer_.setInterval(tick_period_ms);
    connect(&timer_, &QTimer::timeout, this, [this] { tick(); });
    qApp->installEventFilter(new input_watch(this, [this] { wake(); }));
}

main_window::~main_window() {
    s_.window = {};
}

QWidget* main_window::view_widget() const { return view_; }

QSize main_window::zoom_size() const {
    // The row's size, but never smaller than what the screen model needs.
    const zoom_row& row = zoom_table[s_.screen->zoom_index()];
    return {std::max(row.window_width, s_.screen->client_width()),
            std::max(row.window_height, s_.screen->client_height() + menuBar()->sizeHint().height())};
}

QRect main_window::room() const {
    const QScreen* screen = isVisible() ? this->screen() : QGuiApplication::primaryScreen();
    if (!screen) return QRect(0, 0, 1024, 768);
    // Less the window's frame, once the desktop has given it one.
    const QSize frame = isVisible() ? frameGeometry().size() - geometry().size() : QSize(0, 0);
    const QRect area = screen->availableGeometry();
    return QRect(area.topLeft(), area.size() - frame);
}

int main_window::starting_zoom() {
    const int stored = s_.settings.zoom_index;
    if (stored >= 0 && stored < zoom_rows) return stored;
    // The largest row whose window, laid out, fits the screen's available area.
    const QSize fits = room().size();
    qt_font_source fonts;
    for (int z = zoom_rows - 1; z >= 0; --z) {
        s_.screen->layout(z, fonts.system_font());
        const QSize wanted = zoom_size();
        if (wanted.width() <= fits.width() && wanted.height() <= fits.height()) return z;
    }
    return 2;
}

void main_window::apply_zoom(int zoom_index, bool resize_to_row) {
    s_.settings.zoom_index = std::clamp(zoom_index, 0, zoom_rows - 1);
    qt_font_source fonts;
    s_.screen->layout(s_.settings.zoom_index, fonts.system_font());
    fonts_ = qt_fonts::for_screen(*s_.screen);
    view_->setMinimumSize(s_.screen->client_width(), s_.screen->client_height());
    const kestrune::rect bar = s_.screen->scroll_bar_place();
    scroll_->setGeometry(to_qt(bar));
    scroll_->setValue(s_.screen->scroll_value());
    for (QPushButton* b : buttons_) delete b;
    buttons_.clear();
    for (const child_button& c : s_.screen->buttons()) {
        auto* b = new QPushButton(QString::fromStdString(c.text), view_);
        b->setFocusPolicy(Qt::NoFocus);
        b->setFont(fonts_.small);
        b->setGeometry(to_qt(c.place));
        b->setToolTip(QString::fromStdString(command_tip(s_, c.command)));
        const int id = c.command;
        connect(b, &QPushButton::clicked, this, [this, id] { dispatch_command(s_, id); });
        buttons_.push_back(b);
    }
    sync_buttons();
    if (resize_to_row) resize(zoom_size().boundedTo(room().size()));
    refresh_menus();
    view_->update();
}

void main_window::default_place() {
    resize(zoom_size().boundedTo(room().size()));
    const QRect r = room();
    move(std::max(r.left() - 4, r.left() + (r.width() - width()) / 2),
         std::max(r.top() - 4, r.top() + (r.height() - height()) / 2));
}

void main_window::restore_place(int left, int top, int width, int height) {
    const QRect wanted(left, top, width, height);
    const QScreen* screen = QGuiApplication::screenAt(wanted.center());
    if (!screen) screen = QGuiApplication::primaryScreen();
    if (!screen) {
        setGeometry(wanted);
        return;
    }
    const QRect room = screen->availableGeometry();
    QRect place(wanted.topLeft(), wanted.size().boundedTo(room.size()));
    place.moveLeft(std::clamp(place.left(), room.left(), room.right() + 1 - place.width()));
    place.moveTop(std::clamp(place.top(), room.top(), room.bottom() + 1 - place.height()));
    setGeometry(place);
}

void main_window::start_timer() { timer_.start(); }

void main_window::tick() {
    session_tick(s_, s_.prog.clk.now_ms());
    follow_screen();
    if (!s_.screen || !s_.screen->at_rest()) {
        wake();
        return;
    }
    if (++rest_ticks_ == ticks_before_rest && timer_.isActive()) timer_.start(rest_period_ms);
}

void main_window::wake() {
    rest_ticks_ = 0;
    if (timer_.isActive() && timer_.interval() != tick_period_ms) timer_.start(tick_period_ms);
}

void main_window::follow_screen() {
    if (!s_.screen) return;
    for (const kestrune::rect& r : s_.screen->take_dirty()) view_->update(to_qt(r));
    // Pressed states, places and enabled states, when the screen says they may have moved.
    if (s_.screen->take_buttons_changed()) sync_buttons();
    if (const auto popup = s_.screen->take_quantize_popup()) show_quantize_popup(*popup);
    if (const auto popup = s_.screen->mixer().take_popup()) show_program_popup(*popup);
    // The track list's scroll bar hides while an editor or the mixer has the work area.
    if (scroll_->isVisible() != s_.screen->scroll_bar_shown()) scroll_->setVisible(s_.screen->scroll_bar_shown());
    if (scroll_->value() != s_.screen->scroll_value()) {
        const QSignalBlocker hold(scroll_);
        scroll_->setValue(s_.screen->scroll_value());
    }
}

void main_window::show_quantize_popup(const quantize_popup_request& r) {
    const command_record* c = s_.commands.find(cmd::quantize_popup);
    if (!c || c->fields.empty()) return;
    QMenu menu(this);
    const std::vector<std::string>& values = c->fields.front().choices;
    for (std::size_t i = 0; i < values.size(); ++i) {
        QAction* a = menu.addAction(QString::fromStdString(values[i]));
        a->setCheckable(true);
        a->setChecked(static_cast<int>(i) == r.value);
        a->setData(static_cast<int>(i));
    }
    QAction* chosen = menu.exec(view_->mapToGlobal(QPoint(r.x, r.y)));
    view_->setFocus(Qt::PopupFocusReason);
    if (!chosen) return;
    // The item's value, with the settings as they stand, for the track the pop-up was opened on.
    s_.prog.app.quantize_popup_track = r.track;
    field_values v = initial_values(s_.prog, *c);
    v.front().number = chosen->data().toInt();
    dispatch_command(s_, c->id, std::move(v));
}

void main_window::show_program_popup(const program_popup_request& r) {
    QMenu menu(this);
    int chosen = 0;
    for (const popup_group& g : r.menu) {
        QMenu* in = g.title.empty() ? &menu : menu.addMenu(QString::fromStdString(g.title));
        for (const popup_item& item : g.items) {
            QAction* a = in->addAction(QString::fromStdString(item.text));
            a->setCheckable(true);
            a->setChecked(item.checked);
            // The group that holds the current program shows a mark too.
            if (item.checked && in != &menu) {
                in->menuAction()->setCheckable(true);
                in->menuAction()->setChecked(true);
            }
            connect(a, &QAction::triggered, &menu, [&chosen, id = item.command] { chosen = id; });
        }
    }
    menu.exec(view_->mapToGlobal(QPoint(r.x, r.y)));
    if (chosen) dispatch_command(s_, chosen);
}

void main_window::sync_buttons() {
    const auto& model = s_.screen->buttons();
    for (std::size_t i = 0; i < buttons_.size() && i < model.size(); ++i) {
        QPushButton* b = buttons_[i];
        const child_button& c = model[i];
        if (b->isDown() != c.pressed) b->setDown(c.pressed);
        // Hidden by the model, not by a window not yet shown.
        if (b->isHidden() == c.visible) b->setVisible(c.visible);
        if (b->geometry() != to_qt(c.place)) b->setGeometry(to_qt(c.place));
        if (c.visible) b->setEnabled(command_enabled(s_, c.command));
    }
}

void main_window::build_menus() {
    for (const menu& m : main_menus()) fill_menu(menuBar()->addMenu(QString::fromStdString(m.title)), m.items);
}

void main_window::fill_menu(QMenu* m, const std::vector<menu_item>& items) {
    connect(m, &QMenu::aboutToShow, this, [this] { refresh_menus(); });
    if (!menu_help_) menu_help_ = new menu_help(this, s_);
    m->installEventFilter(menu_help_);
    for (const menu_item& item : items) {
        if (!item.submenu.empty()) {
            fill_menu(m->addMenu(QString::fromStdString(item.submenu)), item.items);
        } else if (item.command == menu_separator) {
            m->addSeparator();
        } else if (item.command == cmd::recent_file_first) {
            for (int i = 0; i < recent_file_count; ++i) {
                QAction* a = m->addAction(QString());
                const int id = cmd::recent_file_first + i;
                connect(a, &QAction::triggered, this, [this, id] { dispatch_command(s_, id); });
                recent_actions_.push_back(a);
            }
        } else if (const command_record* c = s_.commands.find(item.command)) {
            // The shortcut stands after a tab: the menu shows it, the window's key handler acts
            // on it by key position.
            QString text = QString::fromStdString(c->text);
            if (!c->shortcut.empty()) text += '\t' + QString::fromStdString(c->shortcut);
            QAction* a = m->addAction(text);
            a->setCheckable(static_cast<bool>(c->checked));
            const int id = c->id;
            a->setData(id);
            connect(a, &QAction::triggered, this, [this, id] { dispatch_command(s_, id); });
            actions_[id] = a;
        }
    }
}

void main_window::refresh_menus() {
    for (auto& [id, a] : actions_) {
        const command_record* c = s_.commands.find(id);
        a->setEnabled(command_enabled(s_, id));
        if (c && c->checked) a->setChecked(c->checked(s_.prog));
        if (c && c->current_text) {
            QString text = QString::fromStdString(c->current_text(s_.prog));
            if (!c->shortcut.empty()) text += '\t' + QString::fromStdString(c->shortcut);
            if (a->text() != text) a->setText(text);
        }
    }
    if (s_.screen) s_.screen->set_allow_double_clicks(s_.settings.allow_double_clicks != 0);
    const auto& recent = s_.recent_files();
    for (std::size_t i = 0; i < recent_actions_.size(); ++i) {
        QAction* a = recent_actions_[i];
        a->setVisible(i < recent.size());
        if (i < recent.size())
            a->setText(QString::fromStdString(recent_file_item_text(static_cast<int>(i), recent[i])));
    }
}

QImage main_window::screenshot() {
    const qreal ratio = devicePixelRatioF();
    QImage image(size() * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(palette().color(QPalette::Window));
    render(&image);
    return image;
}

void main_window::store_window_place() {
    user_settings& u = s_.settings;
    const QRect g = geometry();
    u.window_left = static_cast<std::int16_t>(g.left());
    u.window_top = static_cast<std::int16_t>(g.top());
    u.window_width = static_cast<std::int16_t>(g.width());
    u.window_height = static_cast<std::int16_t>(g.height());
}

void main_window::close_without_question() {
    if (s_.prog.running()) s_.trans.stop();
    ask_before_closing_ = false;
    close();
}

void main_window::closeEvent(QCloseEvent* e) {
    // A signal that comes while the question is up closes the window all the same.
    if (ask_before_closing_ && !confirm_close(s_) && ask_before_closing_) {
        e->ignore();
        return;
    }
    timer_.stop();
    store_window_place();
    e->accept();
}

void main_window::dragEnterEvent(QDragEnterEvent* e) {
    if (e->mimeData()->hasUrls()) e->acceptProposedAction();
}

void main_window::dropEvent(QDropEvent* e) {
    std::vector<std::string> paths;
    for (const QUrl& u : e->mimeData()->urls()) paths.push_back(u.toLocalFile().toStdString());
    e->acceptProposedAction();
    open_dropped_files(s_, paths);
    view_->update();
}

void main_window::changeEvent(QEvent* e) {
    // A new desktop palette (light to dark) repaints with it.
    if (e->type() == QEvent::PaletteChange || e->type() == QEvent::ApplicationPaletteChange) view_->update();
    QMainWindow::changeEvent(e);
}

}  // namespace kestrune
