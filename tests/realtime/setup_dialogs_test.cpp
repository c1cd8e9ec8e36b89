#include "realtime/setup_dialogs.h"

#include <gtest/gtest.h>

#include "song/song_start.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using testing::nums;

TEST(MidiSetup, AFailedDeviceIsReportedAndLeftClosedWhileTheOthersOpen) {
    testing::test_program t;
    setup_settings s;
    midi_setup_dialog dlg(*t, s);
    EXPECT_EQ(dlg.output_entries().size(), 5u);
    EXPECT_EQ(dlg.output_entries()[0], "No device");
    EXPECT_EQ(midi_setup_dialog::delay_entries().front(), " -7 Ticks");
    EXPECT_EQ(midi_setup_dialog::spp_entries().back(), " 48 MIDI Clocks");
    t.midi.refuse_devices = {1};
    dlg.output_choice = {1, 2, 0, 4};
    dlg.delay_index = 10;
    dlg.spp_index = 3;
    dlg.sync_ports = {false, true, false, false};
    EXPECT_EQ(dlg.ok(), 1);
    EXPECT_EQ(t.screen.messages[0].text,
              "Can't open the requested device for port B!\nThe device refused to open.");
    const dll_data& d = t->d;
    EXPECT_EQ(nums(d.midi_out_device[0], d.midi_out_device[1], d.midi_out_handle[1],
                   d.midi_out_handle[2], d.midi_out_handle[3] != 0, d.sync_out_ports[1],
                   s.sync_delay_value, s.spp_offset, d.midi_not_configured),
              nums(1, 0, 0, 0, 1, 1, 3, 4, 0));
    // Nothing goes to the closed port, clock included.
    t.midi.clear();
    t->d.send_port = 1;
    t->d.send_status = 0xF8;
    t->wait_request(t->d.send_request);
    EXPECT_EQ(t.midi.size(), 0u);
    // Nothing open at all: the program will ask for MIDI Setup.
    midi_setup_dialog none(*t, s);
    EXPECT_EQ(nums(none.delay_index, none.spp_index, midi_setup_dialog::delay_entries().size()),
              nums(10, 3, 15));
    none.output_choice = {0, 0, 0, 0};
    none.ok();
    EXPECT_EQ(t->d.midi_not_configured, 1);
}

TEST(MidiSetup, SavedDeviceNamesOpenWhereTheDevicesNowStandAndAMissingOneOnceItAppears) {
    testing::virtual_clock clk;
    capture_backend midi;
    midi.outputs = {"Synth (no SoundFont)", "Keys", "Pads"};
    midi.inputs = {"Through", "Keys"};
    testing::scripted_ui screen;
    engine eng;
    eng.attach(clk, &midi);
    program p(eng, screen, clk);
    p.write_defaults();
    p.d.midi_out_device[0] = 2;  // a number from another day: the name stands
    const device_names saved{{"Pads", "", "Drums", "Synth"}, "Keys"};
    eng.choose_devices_by_name(saved);
    ASSERT_EQ(start_program(p), 0);
    const dll_data& d = p.d;
    EXPECT_EQ(nums(d.midi_out_device[0], d.midi_out_device[1], d.midi_out_device[2],
                   d.midi_out_device[3], d.midi_in_device, d.midi_out_handle[2] != 0),
              nums(3, 0, 0, 1, 2, 1));
    EXPECT_EQ(midi.output_state(2), device_state::gone);
    // MIDI Setup left as it was: the port still waits for its device.
    setup_settings s;
    midi_setup_dialog(p, s).ok();
    EXPECT_EQ(eng.chosen_devices(), saved);
    // Plugged in: the watch connects it; the lists, read again, show it on its port.
    midi.outputs.insert(midi.outputs.begin() + 1, "Drums");
    eng.watch_devices();
    midi_setup_dialog again(p, s);
    EXPECT_EQ(nums(again.output_choice[0], again.output_choice[2]), nums(4, 2));
    EXPECT_EQ(midi.output_state(2), device_state::connected);
    EXPECT_EQ(eng.chosen_devices(), saved);
    // Unplugged: said once, however often the watch looks; plugged back, the port is no longer
    // lost.
    for (const device_state now :
         {device_state::gone, device_state::gone, device_state::connected}) {
        midi.set_output_state(2, now);
        eng.watch_devices();
        eng.run_until(clk.now_us());
        handle_engine_messages(p);
        EXPECT_EQ(eng.output_lost(2), now == device_state::gone);
    }
    ASSERT_EQ(screen.messages.size(), 1u);
    EXPECT_EQ(screen.messages[0].text, "Port C has lost its MIDI device \"Drums\"!");
}

TEST(MidiSetup, AFirstStartTakesTheFirstKeyboardAndInputFromShowsWhatIsConnected) {
    testing::virtual_clock clk;
    capture_backend midi;
    midi.inputs = {"Through", "Keys", "Pads"};
    midi.hardware_input = 1;
    testing::scripted_ui screen;
    engine eng;
    eng.attach(clk, &midi);
    program p(eng, screen, clk);
    p.write_defaults();
    ASSERT_EQ(start_program(p), 0);
    EXPECT_EQ(nums(p.d.midi_in_device, midi.connected_input()), nums(2, 1));
    // Connected elsewhere (a patchbay): shown, and OK leaves it as it is.
    midi.connect_input(2, true);
    setup_settings s;
    midi_setup_dialog dlg(p, s);
    EXPECT_EQ(dlg.input_choice, 3);
    dlg.ok();
    EXPECT_EQ(nums(p.d.midi_in_device, midi.connected_input()), nums(3, 2));
    p.shut_down();
}

TEST(MemorySetup, ShowsEventsAsUnitsTimesTenAndAsksBeforeALargePool) {
    testing::test_program t;
    // Ten units are 100,000 events in blocks of 32; three blocks hold the tempo and signatures.
    EXPECT_EQ(nums(t.eng.layout().block_count, t->d.free_blocks), nums(3125, 3125 - 3));
    memory_setup_dialog dlg(*t);
    EXPECT_EQ(dlg.units_text(), "100.000");
    dlg.step_units(-1);
    EXPECT_EQ(dlg.units, 10);
    dlg.step_units(10);
    dlg.step_units(100);
    EXPECT_EQ(dlg.units, 50);
    t.screen.answers = {msg_answer::no};
    EXPECT_FALSE(dlg.ok());
    EXPECT_EQ(t->d.memory_units, 10);
    EXPECT_EQ(t.screen.messages[0].text,
              "You must quit and restart KESTRUNE\nto get the requested amount of events!");
    EXPECT_EQ(t.screen.messages[1].text, "Do you really need that many events?");
    t.screen.answers = {msg_answer::yes};
    dlg.step_timer(-4);
    EXPECT_TRUE(dlg.ok());
    EXPECT_EQ(nums(t->d.memory_units, t->d.timer_resolution), nums(50, 2));
    dlg.units = 11;  // the smallest pool that asks
    t.screen.answers = {msg_answer::no};
    EXPECT_FALSE(dlg.ok());
}

TEST(OverallSettings,
     ValuesApplyAtOnceTheClickSoundsTheThruOffChannelHoldsOneBackAndCancelKeepsTheLists) {
    testing::test_program t;
    setup_settings s;
    overall_settings_dialog dlg(*t, s);
    dlg.set_filter_sysex(true);
    dlg.set_filter_controller_from(200);
    EXPECT_EQ(t->d.filter_controller_from, 127);
    dlg.set_click_note(42);
    dlg.set_click_velocity(0);  // held to 1: a click of 0 would be silent
    ASSERT_EQ(t.midi.size(), 2u);
    EXPECT_EQ(nums(t.midi[0].port, t.midi[0].bytes[0], t.midi[0].bytes[1], t.midi[1].bytes[2]),
              nums(t->d.click_port, 0x90 + t->d.click_channel, 42, 1));
    dlg.transpose_exempt[1][9] = true;
    dlg.cancel();
    EXPECT_EQ(nums(t->d.filter_sysex, t->d.transpose_exempt[1][9]), nums(1, 0));
    overall_settings_dialog again(*t, s);
    again.transpose_exempt[1][9] = true;
    again.ok();
    EXPECT_EQ(t->d.transpose_exempt[1][9], 1);
    EXPECT_EQ(overall_settings_dialog::controller_text(-1, nullptr), " Control -- ");
    EXPECT_EQ(overall_settings_dialog::controller_text(3, nullptr), " Control 3");
    EXPECT_EQ(overall_settings_dialog::transpose_entry(0), "MIDI Channel  1");
    again.set_left_button_increases(false);
    EXPECT_EQ(nums(s.mouse_increase, s.mouse_decrease), nums(2, 1));
    // The thru-off channel holds back one channel until it is set back to none.
    t->d.midi_thru = 1;
    auto passed = [&](std::uint8_t status) {
        t.midi.clear();
        t.feed({status, 60, 100});
        return t.midi.size() == 1;
    };
    again.set_thru_off_channel(9);  // shown from 1: channel 10
    EXPECT_EQ(overall_settings_dialog::channel_text(t->d.thru_off_channel), "10");
    EXPECT_EQ(nums(passed(0x98), passed(0x99), passed(0x9A)), nums(1, 0, 1));
    again.set_thru_off_channel(-5);  // below the range: none
    EXPECT_EQ(overall_settings_dialog::channel_text(t->d.thru_off_channel), " -- ");
    EXPECT_EQ(nums(passed(0x99), passed(0x9F), passed(0x90)), nums(1, 1, 1));
}

}  // namespace
}  // namespace kestrune
