// The program's help window: the pages of the help folder shown by page path and anchor, with
// Back, Forward, Contents and a search through all pages. It is not modal: it stays open beside
// the main window, and beside a dialog that asked for it.
#pragma once

#include <QString>
#include <QWidget>
#include <string>
#include <string_view>

class QDialog;
class QLabel;
class QLineEdit;
class QTextBrowser;

namespace kestrune {

class help_window final : public QWidget {
  public:
    // `root` is the help folder, the one that holds html/.
    explicit help_window(QString root, QWidget* parent = nullptr);

    // Shows a page ("html/func8hpf.htm#menu_del_keep_topic"); false, with a note in the window
    // instead, when the page is not there.
    bool open(std::string_view page);
    // The next place of `text`, further on in this page, else in the pages after it.
    bool find(const QString& text);

    QTextBrowser* browser() const { return browser_; }
    QLineEdit* search_field() const { return search_; }

  private:
    QString file_path(const QString& file) const;
    QString current_file() const;

    QString root_;
    QTextBrowser* browser_ = nullptr;
    QLineEdit* search_ = nullptr;
    QLabel* status_ = nullptr;
};

// Opens a page in the program's one help window, made on first use. Over a modal dialog the
// window is seated with the dialog, so that both take input, and goes back to the main window
// when the dialog closes.
help_window* show_help(QWidget* from, std::string_view page);

// The help folder: "help/" beside the program or in its installed data folder. Tests may point
// it elsewhere before the window is made.
QString help_root();
void set_help_root(const QString& root);

// Show Text File: a modal viewer of a file titled with its stem, "File is missing." when the
// file cannot be read. make_ builds it for a caller that runs it itself.
QDialog* make_text_viewer(QWidget* parent, const std::string& path);
void show_text_file(QWidget* parent, const std::string& path);

}  // namespace kestrune
