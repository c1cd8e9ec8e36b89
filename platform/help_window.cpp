#include "platform/help_window.h"

#include <QAction>
#include <QApplication>
#include <QDialog>
#include <QDialogButtonBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QTextBrowser>
#include <QToolBar>
#include <QVBoxLayout>

#include "files/settings_file.h"
#include "services/help_pages.h"
#include "services/text_file.h"

namespace kestrune {

namespace {

constexpr const char* window_title = "Kestrune Help";
constexpr int help_width = 720, help_height = 560;

QString qt_text(std::string_view s) {
    return QString::fromUtf8(s.data(), static_cast<qsizetype>(s.size()));
}

QString& root_override() {
    static QString root;
    return root;
}

bool file_holds(const QString& path, const QString& text) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) &&
           QString::fromUtf8(f.readAll()).contains(text, Qt::CaseInsensitive);
}

}  // namespace

QString help_root() {
    if (!root_override().isEmpty()) return root_override();
    return QString::fromStdString(program_data_path("help/"));
}

void set_help_root(const QString& root) {
    root_override() = root;
}

help_window::help_window(QString root, QWidget* parent)
    : QWidget(parent, Qt::Window), root_(std::move(root)) {
    setWindowTitle(window_title);
    browser_ = new QTextBrowser(this);
    browser_->setOpenExternalLinks(true);
    browser_->setSearchPaths({file_path("html")});
    search_ = new QLineEdit(this);
    search_->setPlaceholderText("Search all pages");
    search_->setClearButtonEnabled(true);
    status_ = new QLabel(this);

    auto* bar = new QToolBar(this);
    QAction* back = bar->addAction("Back", browser_, &QTextBrowser::backward);
    back->setShortcut(QKeySequence::Back);
    QAction* forward = bar->addAction("Forward", browser_, &QTextBrowser::forward);
    forward->setShortcut(QKeySequence::Forward);
    bar->addAction("Contents", this, [this] { open(help_page::index); });
    bar->addSeparator();
    bar->addWidget(search_);
    bar->addWidget(status_);
    connect(browser_, &QTextBrowser::backwardAvailable, back, &QAction::setEnabled);
    connect(browser_, &QTextBrowser::forwardAvailable, forward, &QAction::setEnabled);
    back->setEnabled(false);
    forward->setEnabled(false);
    connect(browser_, &QTextBrowser::sourceChanged, this, [this] {
        const QString t = browser_->documentTitle();
        setWindowTitle(t.isEmpty() ? QString(window_title) : t + " - " + window_title);
    });
    connect(search_, &QLineEdit::returnPressed, this, [this] { find(search_->text()); });
    auto* again = new QAction(this);
    again->setShortcut(QKeySequence::FindNext);
    connect(again, &QAction::triggered, this, [this] { find(search_->text()); });
    addAction(again);
    auto* to_search = new QAction(this);
    to_search->setShortcut(QKeySequence::Find);
    connect(to_search, &QAction::triggered, search_, [this] { search_->setFocus(); });
    addAction(to_search);

    auto* lay = new QVBoxLayout(this);
    lay->setContentsMargins(0, 0, 0, 0);
    lay->setSpacing(0);
    lay->addWidget(bar);
    lay->addWidget(browser_);
    resize(help_width, help_height);
}

QString help_window::file_path(const QString& file) const {
    return QDir(root_).filePath(file);
}

QString help_window::current_file() const {
    return QFileInfo(browser_->source().toLocalFile()).fileName();
}

bool help_window::open(std::string_view page) {
    const QString file = qt_text(help_page::file_of(page));
    const QString path = file_path(file);
    status_->clear();
    if (!QFileInfo(path).isFile()) {
        browser_->setHtml("<h2>Help page missing</h2><p>The page <b>" + file.toHtmlEscaped() +
                          "</b> is not in the help folder <b>" + root_.toHtmlEscaped() +
                          "</b>. Installing the program again puts it back.</p>");
        return false;
    }
    QUrl url = QUrl::fromLocalFile(path);
    if (const auto anchor = help_page::anchor_of(page); !anchor.empty())
        url.setFragment(qt_text(anchor));
    browser_->setSource(url);
    return true;
}

bool help_window::find(const QString& text) {
    status_->clear();
    if (text.isEmpty()) return false;
    if (browser_->find(text)) return true;
    // Not further on this page: the next page that holds it, from its top, and round to this
    // page's top last.
    const QStringList pages = QDir(file_path("html")).entryList({"*.htm"}, QDir::Files, QDir::Name);
    const qsizetype here = pages.indexOf(current_file());
    for (qsizetype i = 1; i <= pages.size(); ++i) {
        const QString name = pages[(here + i) % pages.size()];
        if (!file_holds(file_path("html/" + name), text)) continue;
        if (name != current_file()) open(("html/" + name).toStdString());
        browser_->moveCursor(QTextCursor::Start);
        if (browser_->find(text)) return true;
    }
    status_->setText("  Not found");
    return false;
}

namespace {

QPointer<help_window> the_help;

// Puts the help window under `owner` as a window of its own, where it was and as it was.
void seat(help_window* w, QWidget* owner) {
    if (w->parentWidget() == owner) return;
    const QRect place = w->geometry();
    const bool shown = w->isVisible();
    w->setParent(owner, Qt::Window);
    w->setGeometry(place);
    if (shown) w->show();
}

// While a modal dialog runs the help window is its child, so that it takes input beside it;
// when the dialog hides, the window goes back to the dialog's owner.
class return_on_hide final : public QObject {
  public:
    using QObject::QObject;
    bool eventFilter(QObject* o, QEvent* e) override {
        if (e->type() == QEvent::Hide && the_help && the_help->parentWidget() == o) {
            auto* dialog = static_cast<QWidget*>(o);
            QWidget* owner = dialog->parentWidget() ? dialog->parentWidget()->window() : nullptr;
            seat(the_help, owner);
        }
        return false;
    }
};

}  // namespace

help_window* show_help(QWidget* from, std::string_view page) {
    QWidget* modal = QApplication::activeModalWidget();
    QWidget* owner = modal ? modal : from ? from->window() : nullptr;
    if (!the_help) {
        the_help = new help_window(help_root(), owner);
    } else {
        seat(the_help, owner);
    }
    if (modal) {
        static return_on_hide watcher;
        modal->removeEventFilter(&watcher);
        modal->installEventFilter(&watcher);
    }
    the_help->open(page);
    the_help->show();
    the_help->raise();
    the_help->activateWindow();
    return the_help;
}

QDialog* make_text_viewer(QWidget* parent, const std::string& path) {
    const text_file_view v = read_text_file(path);
    auto* dlg = new QDialog(parent);
    dlg->setWindowTitle(QString::fromStdString(v.title));
    auto* text = new QTextBrowser(dlg);
    if (v.format == text_format::html)
        text->setHtml(QString::fromStdString(v.text));
    else
        text->setPlainText(QString::fromStdString(v.text));
    auto* box = new QDialogButtonBox(QDialogButtonBox::Ok, dlg);
    QObject::connect(box, &QDialogButtonBox::accepted, dlg, &QDialog::accept);
    QObject::connect(box, &QDialogButtonBox::rejected, dlg, &QDialog::reject);
    auto* lay = new QVBoxLayout(dlg);
    lay->addWidget(text);
    lay->addWidget(box);
    dlg->resize(help_width, help_height);
    text->setFocus();
    return dlg;
}

void show_text_file(QWidget* parent, const std::string& path) {
    QDialog* dlg = make_text_viewer(parent, path);
    dlg->exec();
    delete dlg;
}

}  // namespace kestrune
