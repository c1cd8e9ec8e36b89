// On a JACK server of the test's own: a source a patchbay connects to the program's input after
// the start is not in the device lists read then, yet it is what Record asks about.
#include <gtest/gtest.h>

#include "song/song_start.h"
#include "tests/engine/jack_fixture.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

using JackRecording = jack_fixture;

TEST_F(JackRecording, ASourceConnectedAfterTheStartIsTheInput) {
    jack_backend jack;
    ASSERT_TRUE(jack.running());
    engine eng;
    scripted_ui screen;
    system_clock clk;
    program p{eng, screen, clk};
    eng.attach(clk, &jack);
    p.write_defaults();
    ASSERT_EQ(start_program(p), 0);
    EXPECT_FALSE(p.eng.input_connected());

    jack_client_t* late = jack_client_open("late-keys", JackNoStartServer, nullptr);
    ASSERT_NE(late, nullptr);
    jack_port_t* out = jack_port_register(late, "out", JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput, 0);
    ASSERT_TRUE(out && jack_activate(late) == 0);
    EXPECT_EQ(jack_connect(late, jack_port_name(out), jack.port_name(-1).c_str()), 0);
    EXPECT_TRUE(p.eng.input_connected());
    jack_client_close(late);
    p.shut_down();
}

}  // namespace
}  // namespace kestrune
