// Recording. `record_position_error_ticks_<period>`: the largest distance, in ticks, between the
// beat on which a sample-accurate JACK keyboard played each of 64 notes, in time with the
// program's click at 120 bpm, and the position the take stores it at; on a dummy JACK server of
// its own at 48 kHz with periods of 256 and 1024 frames. `--quick` plays 4 notes at 1024.
#include "realtime/recording.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "bench/quiet_ui.h"
#include "engine/engine.h"
#include "engine/jack_backend.h"
#include "song/event_store.h"
#include "song/song_start.h"
#include "tests/support/dummy_jackd.h"
#include "bench/jack_keys.h"

namespace kestrune {
namespace {

constexpr int rate = 48000;
constexpr std::int64_t beat_frames = rate / 2;  // 120 bpm
constexpr std::uint8_t first_key = 36;
constexpr int beat_ticks = 192;

void sleep_ms(int ms) {
    std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

int index_of(const std::vector<std::string>& v, const std::string& name) {
    for (std::size_t i = 0; i < v.size(); ++i)
        if (v[i] == name) return static_cast<int>(i);
    return -1;
}

// The largest distance of a stored note from its beat; -1 when the take could not be made.
int position_error(int period, int notes) {
    testing::dummy_jack_server server(rate, period);
    jack_backend jack;
    if (!server.running() || !jack.running()) return -1;
    engine eng;
    quiet_ui screen;
    system_clock clk;
    eng.attach(clk, &jack);
    eng.set_own_thread(true);
    program p(eng, screen, clk);
    p.write_defaults();
    testing::jack_keys keys(static_cast<std::uint8_t>(0x90 | p.d.click_channel), beat_frames);
    if (!keys.ok()) return -1;
    // The click to the keyboard's ear on port A; the keyboard into the input as a patchbay would.
    p.d.midi_out_device[0] =
        static_cast<std::int16_t>(index_of(jack.output_devices(), keys.ear()) + 1);
    p.d.midi_thru = 0;
    if (start_program(p) != 0 || !keys.connect_hand(jack.port_name(-1))) return -1;
    transport tr(p);
    recorder rec(p, tr);
    // A bar of count-in, then a note on every beat.
    keys.start(4, notes, beat_frames / 2, first_key);
    rec.record_start(record_mode::replace);
    for (int i = 0; i < notes * 100 + 1000 && !keys.done(); ++i) sleep_ms(10);
    sleep_ms(50);
    tr.stop();

    int worst = 0, stored = 0;
    const event_store s = p.store();
    const track_slot& t = p.slot(0, 0);
    for (ref32 e = t.first; t.in_use && is_event_status(s.status(e)); e = s.next_event(e)) {
        const midi_event& ev = s.at(e);
        if (!ev.is_note_on()) continue;
        const int beat = ev.data1() - first_key;
        worst = std::max(worst, std::abs(ev.position() - (song_start + beat * beat_ticks)));
        ++stored;
    }
    if (stored != notes || keys.late() != 0)
        std::fprintf(stderr,
                     "record_position_error_ticks_%d: %d of %d notes stored, %d played late\n",
                     period, stored, notes, keys.late());
    p.shut_down();
    return worst;
}

}  // namespace
}  // namespace kestrune

int main(int argc, char** argv) {
    const bool quick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    const std::vector<int> periods = quick ? std::vector<int>{1024} : std::vector<int>{256, 1024};
    for (int period : periods) {
        const int error = kestrune::position_error(period, quick ? 4 : 64);
        if (error < 0)
            std::fprintf(stderr,
                         "record_position_error_ticks_%d: no JACK server could be started\n",
                         period);
        else
            std::printf("record_position_error_ticks_%d %d\n", period, error);
    }
    return 0;
}
