// The window tests' program: the capture backend with port A on its first device, the Qt ui, and
// a folder of its own for the settings and the current folder.
#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <QDropEvent>
#include <QMessageBox>
#include <QMimeData>
#include <QTimer>
#include <QUrl>
#include <QWindow>
#include <filesystem>

#include "engine/engine.h"
#include "files/settings_file.h"
#include "platform/qt_ui.h"
#include "shell/startup.h"
#include "tests/support/stand_ins.h"

namespace kestrune::testing {

namespace fs = std::filesystem;

struct window_fixture : ::testing::Test {
    fs::path dir = fs::temp_directory_path() / ("kestrune_window_" + std::to_string(::getpid()));
    system_clock clk;
    capture_backend midi;
    engine eng;
    qt_ui screen_ui;
    std::unique_ptr<session> s;

    void SetUp() override {
        fs::create_directories(dir);
        fs::current_path(dir);
        ::setenv("XDG_CONFIG_HOME", dir.c_str(), 1);
        user_settings u;
        u.midi_out_device[0] = 1;
        fs::create_directories(dir / maker_name / product_name);
        write_settings_file((dir / maker_name / product_name / settings_file_name).string(), u);
        eng.attach(clk, &midi);
        eng.set_own_thread(true);
        s = std::make_unique<session>(eng, screen_ui, clk);
        ASSERT_EQ(start_session(*s), 0);
    }
    void TearDown() override {
        end_session(*s, false);
        fs::current_path(fs::temp_directory_path());
        fs::remove_all(dir);
    }
    // Drops files on the window as the desktop does: into its window, entering first.
    static void drop(QWidget& w, const QStringList& paths) {
        QMimeData files;
        QList<QUrl> urls;
        for (const QString& p : paths) urls << QUrl::fromLocalFile(p);
        files.setUrls(urls);
        QDragEnterEvent enter(QPoint(20, 20), Qt::CopyAction, &files, Qt::LeftButton,
                              Qt::NoModifier);
        QApplication::sendEvent(w.windowHandle(), &enter);
        QDropEvent drop(QPointF(20, 20), Qt::CopyAction, &files, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(w.windowHandle(), &drop);
    }
    // Answers the next message box and keeps its caption and text.
    void answer_box(QString* caption, QString* text) {
        QTimer::singleShot(0, [=] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box) return;
            *caption = box->windowTitle();
            *text = box->text();
            box->accept();
        });
    }
};

}  // namespace kestrune::testing
