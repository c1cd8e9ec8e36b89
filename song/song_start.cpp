#include "song/song_start.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "song/locate.h"
#include "song/patterns.h"
#include "song/position.h"

namespace kestrune {

int start_program(program& p) {
    int err = p.eng.init_func_in_dll();
    if (err == 0 && !format_song(p)) err = 3;
    if (err != 0) {
        p.screen.message(init_error_message(err), msg_icon::stop);
        p.eng.cleanup_func_in_dll();
    }
    return err;
}

bool format_song(program& p) {
    dll_data& d = p.d;
    if (!replace_tempo_chain(p) || !replace_signature_chain(p, d.signature_chain) ||
        !replace_signature_chain(p, d.signature_track))
        return false;
    d.active_signature = d.signature_chain;
    set_pattern_defaults(p);
    set_song_list_defaults(p);
    std::memset(d.track_enable, 1, sizeof d.track_enable);
    std::memset(d.parallel_enable, 1, sizeof d.parallel_enable);
    std::memset(d.take_enable, 1, sizeof d.take_enable);
    d.position = d.play_position = song_start;
    d.fine_position = song_start * 4096;
    d.left_locator = song_start;
    d.right_locator = song_start + 4 * 768;
    d.play_step_ptr = p.step_ref(0);
    d.cycle_step_ptr = p.step_ref(0);
    set_tempo_increment(d, p.app.song_tempo);
    d.ticks_per_beat = 192;
    d.beats_per_bar = 4;
    return true;
}

namespace {

// What the user is told once when a port's device goes away; the port is connected again
// without a word when the device comes back.
std::string device_lost_text(const program& p, int port, int loss) {
    const dll_data& d = p.d;
    const bool input = port == device_lost_input;
    if (!input && (port < 0 || port >= 4)) return "";
    const int choice = input ? d.midi_in_device : d.midi_out_device[port];
    const int device = choice - ((input ? d.midi_in_has_mapper : d.midi_out_has_mapper) ? 2 : 1);
    const std::vector<std::string> names =
        input ? p.eng.input_device_names() : p.eng.output_device_names();
    std::string text = input ? "The MIDI input has lost its device"
                             : std::string("Port ") + static_cast<char>('A' + port) +
                                   " has lost its MIDI device";
    if (device >= 0 && device < static_cast<int>(names.size()))
        text += " \"" + names[static_cast<std::size_t>(device)] + "\"";
    return text + (loss == midi_system_stopped ? ":\nthe JACK server has stopped!" : "!");
}

}  // namespace

void handle_engine_messages(program& p) {
    int id;
    std::int32_t w, l;
    while (p.eng.poll_message(&id, &w, &l)) {
        if (id == 0x403) {
            locate(p, l);
        } else if (id == 0x404) {
            char text[64];
            std::snprintf(text, sizeof text, "Error %d !", static_cast<int>(w));
            p.screen.message(text, msg_icon::warning);
        } else if (id == msg_device_lost) {
            const std::string text = device_lost_text(p, w, l);
            if (!text.empty()) p.screen.message(text, msg_icon::warning);
        }
    }
}

}  // namespace kestrune
