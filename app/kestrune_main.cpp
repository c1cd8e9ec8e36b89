// The program's entry point. Until the main window exists it starts the program state headless
// and reports what the engine built.
#include <cstdio>

#include "app/console_ui.h"
#include "engine/engine.h"
#include "song/position.h"
#include "song/program.h"

int main() {
    using namespace kestrune;
    engine eng;
    console_ui screen;
    system_clock clk;
    program prog(eng, screen, clk);
    prog.write_defaults();
    if (int err = prog.start(); err != 0) return 1;
    std::printf("Kestrune %s\n", "0.1");
    std::printf("free events %d\n", prog.d.free_blocks * block_slots);
    std::printf("position %s  tempo %s  signature %s/%s\n",
                position_text(prog, prog.d.position).c_str(),
                tempo_text(prog.app.song_tempo).c_str(),
                signature_cell_text(prog.d.beats_per_bar).c_str(),
                signature_cell_text(768 / prog.d.ticks_per_beat).c_str());
    prog.shut_down();
    return 0;
}
