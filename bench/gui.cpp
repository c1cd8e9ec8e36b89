// The window's figures, offscreen: startup_ms (the whole program from its start to the first
// paint of a 32-track song, written out as a screenshot), tick_p99_us (the 25 ms tick while that
// song plays, with the repaints it causes), repaint_ms (a full repaint at zoom 7) and
// help_open_ms (F1 in a dialog to its help page painted, the slowest of several, the first of
// which makes the help window); with the event list open on one dense track at zoom 7,
// list_repaint_ms (its 16 rows painted) and list_follow_tick_us (the tick while the list follows
// the song playing); with the grid open on that track at zoom 7, grid_repaint_ms (the whole grid
// painted) and grid_drag_us (the work of one pointer move while 100 selected notes are dragged);
// with the mixer open, mixer_repaint_ms (all 16 strips at zoom 7; _names_ with a patch name too
// long for its field on every strip) and mixer_move_to_wire_us (a
// fader's mouse press to its message in the capture backend). The _cpu_ figures are the same work
// in the thread's CPU time, for a machine that others share.
#include <QApplication>
#include <QElapsedTimer>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>
#include <QKeyEvent>
#include <QTextBrowser>

#include "engine/engine.h"
#include "platform/dialog_host.h"
#include "platform/help_window.h"
#include "core/command_ids.h"
#include "processing/commands.h"
#include "shell/dialogs/command_dialog.h"
#include "shell/dialogs/setup_dialog_views.h"
#include "mixer/mixer_view.h"
#include "platform/main_window.h"
#include "editors/frame/editor_frame.h"
#include "editors/grid/grid_view.h"
#include "shell/dispatch.h"
#include "song/event_store.h"
#include "song/patterns.h"
#include "shell/screen/region_tree.h"
#include "shell/dispatch.h"
#include "shell/screen/main_screen.h"
#include "shell/startup.h"
#include "bench/measure.h"
#include "bench/quiet_ui.h"
#include "tests/platform/song_maker.h"

namespace {

namespace fs = std::filesystem;
using namespace kestrune;

double startup_ms(const fs::path& song, const fs::path& dir, int runs) {
    const std::string cmd = std::string("QT_QPA_PLATFORM=offscreen '") + KESTRUNE_PROGRAM +
                            "' --screenshot '" + (dir / "first.png").string() + "' --zoom 2 '" +
                            song.string() + "' 2>/dev/null";
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        const auto t0 = std::chrono::steady_clock::now();
        if (std::system(cmd.c_str()) != 0) return -1;
        times.push_back(std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count());
    }
    return percentile(times, 0.5);
}

// F1 in a dialog to the help window painted on the dialog's page, for dialogs of two pages in turn.
double help_open_ms(program& p, QWidget* window, int runs) {
    set_help_root(QString::fromStdString((fs::path(KESTRUNE_PROGRAM).parent_path() / "help").string()));
    memory_setup_view memory(p);
    command_table table;
    add_processing_commands(table);
    const command_record& settings = *table.find(cmd::quantize_settings);
    field_values values = initial_values(p, settings);
    command_dialog quantize(p, settings, values);
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        dialog& d = i % 2 ? static_cast<dialog&>(quantize) : memory;
        dialog_host host(window, d);
        host.show();
        QApplication::processEvents();
        QElapsedTimer t;
        t.start();
        QKeyEvent f1(QEvent::KeyPress, Qt::Key_F1, Qt::NoModifier);
        QApplication::sendEvent(&host, &f1);
        help_window* h = nullptr;
        for (QWidget* w : host.findChildren<QWidget*>())
            if (auto* found = dynamic_cast<help_window*>(w)) h = found;
        if (!h) return -1;
        h->browser()->viewport()->repaint();
        times.push_back(static_cast<double>(t.nsecsElapsed()) / 1e6);
        host.close();
    }
    return *std::max_element(times.begin(), times.end());
}

// The window's ticks while the song plays, each with the repaints it causes, in µs; `cpu` gets
// the same ticks in the thread's CPU time.
std::vector<double> playing_ticks(session& s, main_window& w, int n, std::vector<double>* cpu = nullptr) {
    s.trans.play();
    std::vector<double> ticks;
    for (int i = 0; i < n; ++i) {
        QElapsedTimer t;
        const double cpu0 = thread_cpu_us();
        t.start();
        w.tick();
        QApplication::processEvents();
        ticks.push_back(static_cast<double>(t.nsecsElapsed()) / 1e3);
        if (cpu) cpu->push_back(thread_cpu_us() - cpu0);
        std::this_thread::sleep_for(std::chrono::milliseconds(tick_period_ms));
    }
    s.trans.stop();
    return ticks;
}

// A new song whose first track holds `notes` notes of 20 ticks each, back to back: far denser
// than anyone plays, and as many events as the default pool holds.
bool dense_track(program& p, int notes) {
    clear_song(p);
    event_store st = p.store();
    chain_builder b(st);
    for (int n = 0; n < notes; ++n) {
        const auto key = static_cast<std::uint8_t>(48 + n % 24);
        b.put(midi_event::make(0x90, key, 100, song_start + 20 * n));
        b.put(midi_event::make(0x80, key, 64, song_start + 20 * n + 19));
    }
    if (!b.terminate() || !b.ok()) return false;
    track_slot& sl = p.slot(0, 0);
    sl.first = sl.play = b.cut();
    sl.blocks = static_cast<std::uint16_t>(b.count_chain_blocks());
    sl.in_use = 1;
    return true;
}

// The event list's figures: a repaint of its rows, and the tick while it follows the song.
bool list_figures(session& s, main_window& w, bool quick) {
    if (!dense_track(s.prog, quick ? 2000 : 48000)) return false;
    select_pattern(s.prog, 0);
    select_track(s.prog, 0);
    if (dispatch_command(s, cmd::event_editor) != outcome::done) return false;
    w.tick();
    QApplication::processEvents();
    const kestrune::rect list = s.screen->regions().place(erg::list);
    std::vector<double> repaints;
    for (int i = 0; i < (quick ? 5 : 50); ++i) {
        QElapsedTimer t;
        t.start();
        w.view_widget()->repaint(list.left, list.top, list.width(), list.height());
        repaints.push_back(static_cast<double>(t.nsecsElapsed()) / 1e6);
    }
    std::vector<double> cpu;
    const std::vector<double> ticks = playing_ticks(s, w, quick ? 40 : 800, &cpu);
    std::printf("list_repaint_ms %.2f\n", percentile(repaints, 0.5));
    std::printf("list_follow_tick_us %.1f\n", percentile(ticks, 0.99));
    std::printf("list_follow_tick_cpu_us %.1f\n", percentile(cpu, 0.99));
    return true;
}

// The grid on the dense track: its area repainted whole, then a drag of 100 selected notes, each
// pointer move timed in the screen's own handling (what a move costs before the next paint).
bool grid_figures(session& s, main_window& w, bool quick) {
    if (dispatch_command(s, cmd::grid_editor) != outcome::done) return false;
    w.tick();
    QApplication::processEvents();
    // The same geometry as the screen's grid, to find the notes' pixels.
    grid_view probe(s.prog);
    probe.layout({s.screen->cell_width(), s.screen->cell_height(), 0});
    const kestrune::rect area = probe.area();
    std::vector<double> repaints;
    for (int i = 0; i < (quick ? 5 : 50); ++i) {
        QElapsedTimer t;
        t.start();
        w.view_widget()->repaint(area.left, area.top, area.width(), area.height());
        repaints.push_back(static_cast<double>(t.nsecsElapsed()) / 1e6);
    }
    const std::int32_t from = s.prog.editor.grid.first_tick;
    mark_notes(s.prog, [from](const midi_event& on, const midi_event&, bool) {
        return on.position() >= from && on.position() < from + 100 * 20;
    });
    const int key = 48 + static_cast<int>(((from - song_start) / 20) % 24);
    const int x = probe.x_of(key) + probe.key_width() / 2;
    const int y = probe.y_of(from + 5);
    // Down the time axis first, then across the keys, where each new key is also heard (a
    // round trip through the engine's send request).
    const auto drag = [&](bool across) {
        s.screen->mouse_down(x, y, left_button, {}, 0);
        std::vector<double> moves;
        for (int i = 0; i < (quick ? 20 : 400); ++i) {
            const int dx = across ? (1 + i % 7) * probe.key_width() : 0;
            const int dy = across ? 0 : (1 + i % 5) * 3;
            const auto t0 = stopwatch::now();
            s.screen->mouse_move(x + dx, y + dy, {}, 0);
            moves.push_back(micros(t0, stopwatch::now()));
        }
        // Back where it began: the release moves nothing.
        s.screen->mouse_move(x, y, {}, 0);
        s.screen->mouse_up(x, y, left_button, 0);
        return percentile(moves, 0.99);
    };
    const double in_time = drag(false);
    const double across_keys = drag(true);
    std::printf("grid_repaint_ms %.2f\n", percentile(repaints, 0.5));
    std::printf("grid_drag_us %.1f\n", in_time);
    std::printf("grid_drag_heard_us %.1f\n", across_keys);
    return true;
}

// The mixer open at the window's zoom: its frame repainted whole, then faders pressed at the ends
// of their slots in turn, each timed until its controller reaches the backend. Each press moves
// its fader (the top of the slot, then its last row), so each one sends.
bool mixer_figures(session& s, main_window& w, capture_backend& midi, bool quick) {
    dispatch_command(s, cmd::mixer_button);
    w.tick();
    QApplication::processEvents();
    mixer_view& m = s.screen->mixer();
    const kestrune::rect f = m.frame();
    std::vector<double> paints, paints_cpu;
    const auto repaint = [&] {
        paints.clear();
        paints_cpu.clear();
        for (int i = 0; i < (quick ? 5 : 50); ++i) {
            QElapsedTimer t;
            const double cpu0 = thread_cpu_us();
            t.start();
            w.view_widget()->repaint(QRect(f.left, f.top, f.width(), f.height()));
            paints.push_back(static_cast<double>(t.nsecsElapsed()) / 1e6);
            paints_cpu.push_back((thread_cpu_us() - cpu0) / 1e3);
        }
    };
    // With patch names on every strip, each too long for its field: every field is fitted.
    const auto names_shown = s.settings.show_patch_names[0];
    const auto names = s.patches[0].names;
    for (std::int16_t& shown : s.settings.show_patch_names[0]) shown = 1;
    for (std::string& name : s.patches[0].names) name = "Electric Bass (finger)";
    repaint();
    std::printf("mixer_repaint_names_ms %.2f\n", percentile(paints, 0.5));
    std::printf("mixer_repaint_names_cpu_ms %.2f\n", percentile(paints_cpu, 0.5));
    s.settings.show_patch_names[0] = names_shown;
    s.patches[0].names = names;
    repaint();
    std::vector<double> moves;
    for (int i = 0; i < (quick ? 32 : 640); ++i) {
        const kestrune::rect fader = m.place(mixer_part::fader, i % 16);
        const QPointF at((fader.left + fader.right) / 2.0, (i / 16) % 2 ? fader.bottom - 1 : fader.top);
        QMouseEvent press(QEvent::MouseButtonPress, at, at, Qt::LeftButton, Qt::LeftButton, {});
        QMouseEvent release(QEvent::MouseButtonRelease, at, at, Qt::LeftButton, Qt::NoButton, {});
        midi.clear();
        const auto t0 = stopwatch::now();
        QApplication::sendEvent(w.view_widget(), &press);
        while (midi.size() == 0 && micros(t0, stopwatch::now()) < 1e6) {
        }
        if (midi.size() == 0) {
            std::fprintf(stderr, "mixer: press %d on fader %d sent nothing\n", i, i % 16);
            return false;
        }
        moves.push_back(micros(t0, stopwatch::now()));
        QApplication::sendEvent(w.view_widget(), &release);
    }
    std::printf("mixer_repaint_ms %.2f\n", percentile(paints, 0.5));
    std::printf("mixer_repaint_cpu_ms %.2f\n", percentile(paints_cpu, 0.5));
    std::printf("mixer_move_to_wire_us %.1f\n", percentile(moves, 0.99));
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    const bool quick = argc > 1 && std::string(argv[1]) == "--quick";
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const fs::path dir = fs::temp_directory_path() / ("kestrune_gui_bench_" + std::to_string(::getpid()));
    fs::create_directories(dir);
    ::setenv("XDG_CONFIG_HOME", dir.c_str(), 1);
    const fs::path song = dir / "song32.mid";
    // 96,000 events: what the default pool of 100,000 holds.
    testing::write_midi_song(song.string(), 32, quick ? 200 : 1500);
    std::printf("startup_ms %.1f\n", startup_ms(song, dir, quick ? 1 : 5));

    QApplication app(argc, argv);
    system_clock clk;
    capture_backend midi;
    engine eng;
    eng.attach(clk, &midi);
    eng.set_own_thread(true);
    quiet_ui screen_ui;
    {
        session s(eng, screen_ui, clk);
        if (start_session(s) != 0) return 1;
        s.prog.d.midi_out_device[0] = 1;
        eng.open_output_port(0);
        s.prog.d.midi_not_configured = 0;
        {
            main_window w(s);
            w.apply_zoom(7, true);
            w.show();
            if (!open_start_file(s, song.string())) return 1;
            QApplication::processEvents();

            std::vector<double> repaints;
            for (int i = 0; i < (quick ? 5 : 50); ++i) {
                QElapsedTimer t;
                t.start();
                w.view_widget()->repaint();
                repaints.push_back(static_cast<double>(t.nsecsElapsed()) / 1e6);
            }

            const std::vector<double> ticks = playing_ticks(s, w, quick ? 40 : 800);
            std::printf("tick_p99_us %.1f\n", percentile(ticks, 0.99));
            std::printf("repaint_ms %.2f\n", percentile(repaints, 0.5));
            std::printf("help_open_ms %.1f\n", help_open_ms(s.prog, &w, quick ? 3 : 10));
            if (!list_figures(s, w, quick)) return 1;
            if (!grid_figures(s, w, quick)) return 1;
            if (!mixer_figures(s, w, midi, quick)) return 1;
        }
        end_session(s, false);
    }
    fs::remove_all(dir);
    return 0;
}
