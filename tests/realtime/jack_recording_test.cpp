// On a JACK server of the test's own: a keyboard a patchbay connects to the program's input after
// the start is not in the device lists read then, yet it is the input, and what it plays is taken.
#include <gtest/gtest.h>

#include "engine/jack_backend.h"
#include "song/event_store.h"
#include "song/locate.h"
#include "song/song_start.h"
#include "tests/engine/jack_fixture.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

using JackRecording = jack_fixture;

TEST_F(JackRecording, AKeyboardConnectedAfterTheStartPlaysIntoTheTake) {
    jack_backend jack;
    ASSERT_TRUE(jack.running());
    system_clock clk;
    scripted_ui screen;
    engine eng;
    program p{eng, screen, clk};
    eng.attach(clk, &jack);
    eng.set_own_thread(true);
    p.write_defaults();
    ASSERT_EQ(start_program(p), 0);
    EXPECT_FALSE(eng.input_connected());
    ASSERT_EQ(jack_connect(pr->client(), pr->out_name().c_str(), jack.port_name(-1).c_str()), 0);
    EXPECT_TRUE(eng.input_connected());

    dll_data& d = p.d;
    locate(p, song_start);
    d.record_cursor = d.record_write;
    d.record_block = d.record_first_block;
    d.recording = d.input_armed = d.record_enable = 1;
    p.run_engine();
    // The note is stamped a latency (9 ticks) before the cycle that carries it: after the start.
    for (int i = 0; i < 5000 && shared_load(d.position) < song_start + 24; ++i) sleep_ms(1);
    ASSERT_TRUE(pr->play_note(480));  // 10 ms: 3.84 ticks at 120 bpm
    const event_store s = p.store();
    auto taken = [&] {
        int n = 0;
        for (ref32 r = d.record_write; r != shared_load(d.record_cursor); r = s.next_record(r)) ++n;
        return n;
    };
    for (int i = 0; i < 5000 && taken() < 2; ++i) sleep_ms(1);
    shared_store(d.stopped, 1);
    p.wait_request(d.all_notes_off_request);
    ASSERT_EQ(taken(), 2);
    const midi_event on = s.at(d.record_write), off = s.at(s.next_record(d.record_write));
    EXPECT_EQ(nums(on.status(), on.data1(), off.status(), off.data1()), nums(0x90, 70, 0x80, 70));
    EXPECT_NEAR(off.position() - on.position(), 4, 1);
    p.shut_down();
}

}  // namespace
}  // namespace kestrune
