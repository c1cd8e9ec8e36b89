// The program's entry point: `kestrune [FILE]`. Until the main window exists it runs the start-up
// order headless: settings, engine and MIDI ports, the start file (FILE, else "Default.sng" in
// the current folder), reports what it holds, and shuts down writing the settings.
#include <cstdio>
#include <string>

#include "app/console_ui.h"
#include "engine/engine.h"
#include "engine/synth_backend.h"
#include "engine/system_backend.h"
#include "files/file_state.h"
#include "files/settings_file.h"
#include "files/smf_reader.h"
#include "files/synth_settings.h"
#include "files/song_file.h"
#include "song/locate.h"
#include "song/position.h"
#include "core/program.h"
#include "song/song_start.h"

int main(int argc, char** argv) {
    using namespace kestrune;
    console_ui screen(msg_answer::no);
    system_clock clk;
    system_backend midi;
    engine eng;
    eng.attach(clk, &midi);
    eng.set_own_thread(true);
    program prog(eng, screen, clk);
    prog.write_defaults();
    user_settings settings;
    file_state files;
    load_settings(prog, settings, files);
    synth_backend& synth = *midi.find<synth_backend>();
    synth.choose_soundfont(load_synth_settings().soundfont);
    if (start_program(prog) != 0) return 1;

    // One file name on the command line, in quotes or not.
    std::string name = argc > 1 ? argv[1] : "";
    if (name.size() >= 2 && name.front() == '"' && name.back() == '"') name = name.substr(1, name.size() - 2);
    files.current_file_name = name;
    files.load_midi = load_midi_into_cleared_song;
    load_song_by_type(prog, files);
    locate(prog, song_start);

    std::printf("Kestrune — %s\n", files.current_file_title.c_str());
    std::printf("free events %d\n", prog.d.free_blocks * block_slots);
    int tracks = 0;
    for (int p = 0; p <= parallel_pattern; ++p)
        for (int t = 0; t < tracks_per_pattern; ++t) tracks += prog.slot(p, t).in_use;
    std::printf("tracks with data %d\n", tracks);
    std::printf("tempo %s  signature %s/%s\n", tempo_text(prog.app.song_tempo).c_str(),
                signature_cell_text(prog.d.beats_per_bar).c_str(),
                signature_cell_text(768 / prog.d.ticks_per_beat).c_str());
    const auto outputs = eng.output_device_names();
    for (int p = 0; p < 4; ++p)
        if (prog.d.midi_out_handle[p])
            std::printf("port %c %s\n", 'A' + p, outputs[static_cast<std::size_t>(prog.d.midi_out_device[p] - 1)].c_str());
    if (prog.d.midi_not_configured) std::printf("no MIDI output is set up\n");

    save_settings(prog, settings, files);
    save_synth_settings({synth.soundfont()});
    prog.shut_down();
    return 0;
}
