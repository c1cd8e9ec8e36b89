// The program: `kestrune [--zoom N] [FILE]` opens the main window on FILE, else on "Default.sng"
// in the current folder. `kestrune --screenshot PNG [--zoom N] [FILE]` starts the same way, paints
// the window into PNG and exits: 0 when done, 1 when FILE could not be loaded, 2 on a usage error.
// With --help-page PAGE the screenshot is of the help window on that page, 1 when it is missing;
// with --mixer it shows the mixer open.
// Under an NSM session (NSM_URL set) the song comes from the session instead of FILE.
#include <QApplication>
#include <QImage>
#include <QImageWriter>
#include <QSocketNotifier>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "app/command_line.h"
#include "core/command_ids.h"
#include "app/console_ui.h"
#include "app/nsm_session.h"
#include "app/quit_signals.h"
#include "engine/engine.h"
#include "engine/synth_backend.h"
#include "engine/system_backend.h"
#include "files/synth_settings.h"
#ifdef KESTRUNE_DIALOGS
#include "platform/dialog_host.h"
#include "shell/dialogs/dialog_frame.h"
#endif
#include "platform/help_commands.h"
#include "platform/help_window.h"
#include "platform/main_window.h"
#include "platform/qt_ui.h"
#include "shell/dispatch.h"
#include "shell/synth_commands.h"
#include "shell/screen/main_screen.h"
#include "shell/startup.h"
#include "shell/dispatch.h"
#include "song/patterns.h"
#include "core/command_ids.h"

namespace {

struct options {
    std::string screenshot;  // the PNG to write; empty for the window
    int zoom = -1;           // -1: the stored zoom
    std::string help_page;   // a screenshot of the help window on this page
    std::string editor;      // "list": the screenshot shows the event list of --pattern, --track
    int pattern = 0;         // 0-based, as kestrune-tool dump counts
    int track = 0;
    bool mixer = false;      // a screenshot with the mixer open
    std::vector<std::string> file_words;
};

// The command that opens the editor --editor names; 0 for none.
int editor_command(const std::string& name) {
    if (name == "list") return kestrune::cmd::event_editor;
    if (name == "grid") return kestrune::cmd::grid_editor;
    if (name == "tempo") return kestrune::cmd::tempo_track_editor;
    if (name == "signature") return kestrune::cmd::signature_track_editor;
    return 0;
}

int usage(const std::string& why) {
    std::fprintf(stderr, "kestrune: %s\n", why.c_str());
    std::fprintf(stderr,
                 "usage: kestrune [--zoom 0-7] [FILE]\n"
                 "       kestrune --screenshot PNG [--zoom 0-7] [--help-page PAGE] [--mixer] [FILE]\n"
                 "       kestrune --screenshot PNG --editor list|grid|tempo|signature --pattern P --track T [--zoom 0-7] FILE\n");
    return 2;
}

// Reads the command line; what is wrong with it, or nothing.
std::string parse(const QStringList& args, options& o) {
    using kestrune::needs_value;
    for (qsizetype i = 1; i < args.size(); ++i) {
        const std::string a = args[i].toStdString();
        const bool has_value = i + 1 < args.size();
        if (a == "--screenshot") {
            if (!has_value) return needs_value(a, "a PNG file");
            o.screenshot = args[++i].toStdString();
        } else if (a == "--zoom") {
            if (!has_value) return needs_value(a);
            bool ok = false;
            const QString& value = args[++i];
            o.zoom = value.toInt(&ok);
            if (!ok || o.zoom < 0 || o.zoom >= kestrune::zoom_rows)
                return "--zoom takes 0 to " + std::to_string(kestrune::zoom_rows - 1) + ", not " +
                       value.toStdString();
        } else if (a == "--help-page") {
            if (!has_value) return needs_value(a, "a page such as html/index.htm");
            o.help_page = args[++i].toStdString();
        } else if (a == "--editor") {
            if (!has_value) return needs_value(a, "list, grid, tempo or signature");
            o.editor = args[++i].toStdString();
            if (!editor_command(o.editor)) return "--editor takes list, grid, tempo or signature, not " + o.editor;
        } else if (a == "--pattern" || a == "--track") {
            if (!has_value) return needs_value(a);
            bool ok = false;
            const int v = args[++i].toInt(&ok);
            const int count = a == "--pattern" ? kestrune::pattern_count - 2 : kestrune::tracks_per_pattern;
            if (!ok || v < 0 || v >= count)
                return a + " takes 0 to " + std::to_string(count - 1) + ", not " + args[i].toStdString();
            (a == "--pattern" ? o.pattern : o.track) = v;
        } else if (a == "--mixer") {
            o.mixer = true;
        } else if (a.starts_with("--")) {
            return "unknown option " + a;
        } else {
            o.file_words.push_back(a);
        }
    }
    if (!o.help_page.empty() && o.screenshot.empty()) return "--help-page goes with --screenshot";
    if (!o.editor.empty() && o.screenshot.empty()) return "--editor goes with --screenshot";
    if (o.mixer && o.screenshot.empty()) return "--mixer goes with --screenshot";
    return {};
}

// The help window on a page, into PNG; false with the reason on standard error.
bool help_screenshot(QWidget* over, const std::string& page, const std::string& png) {
    kestrune::help_window* h = kestrune::show_help(over, page);
    QApplication::processEvents();
    if (!h->open(page)) {
        std::fprintf(stderr, "kestrune: help page %s is missing in %s\n", page.c_str(),
                     kestrune::help_root().toStdString().c_str());
        return false;
    }
    return h->grab().save(QString::fromStdString(png), "PNG");
}

// The window's ui and its zoom and place: the zoom given, else the stored one, else the row that
// fits the screen, centred; the stored place held to the screen.
void set_up_window(kestrune::main_window& w, kestrune::qt_ui& window_ui, kestrune::session& s,
                   const options& o, bool screenshot) {
    using namespace kestrune;
    window_ui.set_parent(&w);
    window_ui.set_field_parent(w.view_widget());
    window_ui.on_repaint = [&w](int) { w.view_widget()->update(); };
#ifdef KESTRUNE_DIALOGS
    // A dialog's cells are the main screen's, so it follows the zoom as the window does.
    window_ui.dialog_runner = [&w, &s](dialog& d) {
        if (!d.has_cells()) d.set_cells(s.screen->cell_width(), s.screen->cell_height());
        return run_dialog_window(&w, d);
    };
    s.setup_dialogs = !screenshot;
#endif
    const bool first_start = s.settings.zoom_index < 0 || s.settings.zoom_index >= zoom_rows;
    const bool zoom_given = o.zoom >= 0;
    w.apply_zoom(zoom_given ? o.zoom : w.starting_zoom(), true);
    const user_settings& u = s.settings;
    if (screenshot)
        w.resize(w.zoom_size());  // the whole zoom, whatever screen the picture is taken on
    else if (first_start || zoom_given || u.window_width <= 0 || u.window_height <= 0)
        w.default_place();
    else  // the stored corner with the zoom's size, held to the screen
        w.restore_place(u.window_left, u.window_top, w.width(), w.height());
}

// The window as it shows, or the help page, into the PNG; the exit status.
int take_screenshot(kestrune::main_window& w, kestrune::session& s, const options& o,
                    bool start_file_failed, bool stopped) {
    w.show();
    if (o.mixer) kestrune::dispatch_command(s, kestrune::cmd::mixer_button);
    w.tick();
    QApplication::processEvents();
    if (!o.help_page.empty()) return help_screenshot(&w, o.help_page, o.screenshot) ? 0 : 1;
    if (start_file_failed) return 1;
    if (stopped) {
        std::fprintf(stderr, "kestrune: ended by a signal before the screenshot\n");
        return 1;
    }
    if (!o.editor.empty()) {
        kestrune::select_pattern(s.prog, o.pattern);
        kestrune::select_track(s.prog, o.track);
        // A refusal ("No data on this track!") is on standard error already.
        if (kestrune::dispatch_command(s, editor_command(o.editor)) != kestrune::outcome::done) return 1;
        w.tick();
        QApplication::processEvents();
    }
    QImageWriter png(QString::fromStdString(o.screenshot), "PNG");
    if (png.write(w.screenshot())) return 0;
    std::fprintf(stderr, "Can't write %s: %s\n", o.screenshot.c_str(),
                 png.errorString().toStdString().c_str());
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace kestrune;
    QApplication app(argc, argv);
    QApplication::setApplicationName("Kestrune");
    QApplication::setDesktopFileName("kestrune");
    options o;
    if (const std::string why = parse(QApplication::arguments(), o); !why.empty())
        return usage(why);
    const bool screenshot = !o.screenshot.empty();

    // A screenshot has no one to answer a box: its messages go to standard error.
    qt_ui window_ui;
    console_ui quiet_ui(msg_answer::no);
    ui& screen_ui = screenshot ? static_cast<ui&>(quiet_ui) : window_ui;

    // Ctrl+C, kill or a closed terminal, at any moment from here on: the boxes and dialogs open
    // end as Escape ends them, every sounding note ends, and the program shuts down in order
    // without a question no one is there to answer.
    quit_signals stop_signals;
    bool ending = false;
    main_window* running = nullptr;
    const auto stop_requested = [&] {
        if (!ending && stop_signals.received() != 0) {
            ending = true;
            window_ui.give_up();
        }
        return ending;
    };
    QSocketNotifier notice(stop_signals.fd(), QSocketNotifier::Read);
    QObject::connect(&notice, &QSocketNotifier::activated, [&] {
        if (stop_requested() && running) running->close_without_question();
    });

    system_clock clk;
    system_backend midi;
    engine eng;
    eng.attach(clk, &midi);
    eng.set_own_thread(true);
    synth_backend& synth = *midi.find<synth_backend>();
    synth.choose_soundfont(load_synth_settings().soundfont);
    session s(eng, screen_ui, clk);
    if (start_session(s) != 0) return 1;
    add_synth_commands(s, synth);

    int rc = 0;
    if (!stop_requested()) {
        main_window w(s);
        set_up_window(w, window_ui, s, o, screenshot);

        add_help_commands(s, &w);
        // In a session the session manager names the song; it comes with its open request.
        const std::unique_ptr<nsm_session> nsm = screenshot ? nullptr : nsm_session::join(s, "kestrune");
        std::unique_ptr<QSocketNotifier> nsm_notice;
        if (nsm) {
            nsm_notice = std::make_unique<QSocketNotifier>(nsm->fd(), QSocketNotifier::Read);
            QObject::connect(nsm_notice.get(), &QSocketNotifier::activated, &w, [&nsm] { nsm->poll(); });
        }
        const std::string file = command_line_file(o.file_words);
        const bool loaded = nsm ? false : open_start_file(s, file);
        if (screenshot) {
            rc = take_screenshot(w, s, o, !file.empty() && !loaded, stop_requested());
        } else if (!stop_requested()) {
            running = &w;
            w.show();
            w.activateWindow();  // keys reach it at once, with or without a window manager
            w.start_timer();
            rc = QApplication::exec();
            running = nullptr;
        }
        window_ui.forget_window();
    }
    end_session(s, !screenshot);
    if (!screenshot) save_synth_settings({synth.soundfont()});
    return rc;
}
