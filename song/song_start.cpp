#include "song/song_start.h"

#include <cstdio>
#include <cstring>

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
    d.fine_position = fine_field_of(song_start);
    d.left_locator = song_start;
    d.right_locator = song_start + 4 * 768;
    d.play_step_ptr = p.step_ref(0);
    d.cycle_step_ptr = p.step_ref(0);
    set_tempo_increment(d, p.app.song_tempo);
    d.ticks_per_beat = 192;
    d.beats_per_bar = 4;
    return true;
}

void handle_engine_messages(program& p) {
    int id;
    std::int32_t w, l;
    while (p.eng.poll_message(&id, &w, &l)) {
        if (id == msg_locate) {
            locate(p, l);
        } else if (id == msg_error) {
            char text[64];
            std::snprintf(text, sizeof text, "Error %d !", static_cast<int>(w));
            p.screen.message(text, msg_icon::warning);
        }
    }
}

}  // namespace kestrune
