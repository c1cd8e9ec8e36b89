#include "realtime/setup_dialogs.h"

#include <algorithm>
#include <cstdio>

namespace kestrune {

namespace {

std::string formatted(const char* fmt, int v) {
    char buf[64];
    std::snprintf(buf, sizeof buf, fmt, v);
    return buf;
}

}  // namespace

midi_setup_dialog::midi_setup_dialog(program& p, setup_settings& s) : p_(p), s_(s) {
    // Devices plugged in or connected since are shown; the input shows what is connected to it.
    p.eng.refresh_devices();
    const dll_data& d = p.d;
    // Stored choices show only if they lie within the device lists.
    input_choice = d.midi_in_device > 0 && d.midi_in_device <= d.midi_in_count ? d.midi_in_device : 0;
    shown_input_ = input_choice;
    for (int i = 0; i < 4; ++i) {
        const int c = d.midi_out_device[i];
        output_choice[static_cast<std::size_t>(i)] = c > 0 && c <= d.midi_out_count ? c : 0;
        shown_output_[static_cast<std::size_t>(i)] = output_choice[static_cast<std::size_t>(i)];
        sync_ports[static_cast<std::size_t>(i)] = d.sync_out_ports[i] != 0;
    }
    delay_index = std::clamp(s.sync_delay_value, -7, 7) + 7;
    spp_index = std::clamp(s.spp_offset, 1, 8) - 1;
    patch_names = s.patch_name_ports;
}

std::vector<std::string> midi_setup_dialog::output_entries() const {
    std::vector<std::string> v{no_device_text};
    for (const auto& n : p_.eng.output_device_names()) v.push_back(n);
    return v;
}

std::vector<std::string> midi_setup_dialog::input_entries() const {
    std::vector<std::string> v{no_device_text};
    for (const auto& n : p_.eng.input_device_names()) v.push_back(n);
    return v;
}

std::vector<std::string> midi_setup_dialog::delay_entries() {
    std::vector<std::string> v;
    for (int i = -7; i <= 7; ++i) v.push_back(formatted("%3d Ticks", i));
    return v;
}

std::vector<std::string> midi_setup_dialog::spp_entries() {
    std::vector<std::string> v;
    for (int i = 1; i <= 8; ++i) v.push_back(formatted("%3d MIDI Clocks", i * 6));
    return v;
}

int midi_setup_dialog::ok() {
    dll_data& d = p_.d;
    int failures = 0;
    {
        program::park parked(p_);
        p_.wait_request(d.all_notes_off_request);
        p_.wait_request(d.reset_request);
        s_.sync_delay_value = std::clamp(delay_index, 0, 14) - 7;
        s_.spp_offset = std::clamp(spp_index, 0, 7) + 1;
        for (int i = 0; i < 4; ++i) d.sync_out_ports[i] = sync_ports[static_cast<std::size_t>(i)] ? 1 : 0;
        s_.patch_name_ports = patch_names;
        const device_names awaited = p_.eng.chosen_devices();
        for (int i = 0; i < 4; ++i) {
            const auto at = static_cast<std::size_t>(i);
            // A port left at "No device" while it awaits its device goes on waiting.
            if (output_choice[at] == 0 && shown_output_[at] == 0 && !awaited.outputs[at].empty()) continue;
            d.midi_out_device[i] = static_cast<std::int16_t>(std::max(0, output_choice[at]));
            if (!p_.eng.open_output_port(i)) {
                ++failures;
                char text[64];
                std::snprintf(text, sizeof text, "Can't open the requested device for port %c!", 'A' + i);
                const std::string why = p_.eng.output_failure(i);
                p_.message(why.empty() ? std::string(text) : text + ("\n" + why));
            }
        }
        // A new choice replaces what was connected to the input; the one shown leaves it be.
        d.midi_in_device = static_cast<std::int16_t>(std::max(0, input_choice));
        if (input_choice != shown_input_ && !p_.eng.open_input_port()) {
            ++failures;
            p_.message(msg_cant_open_input);
        }
        bool any = false;
        for (int i = 0; i < 4; ++i) any |= d.midi_out_handle[i] != 0;
        d.midi_not_configured = any ? 0 : 1;
    }
    return failures;
}

memory_setup_dialog::memory_setup_dialog(program& p) : units(p.d.memory_units), timer(p.d.timer_resolution), p_(p) {
    units = std::clamp(units, min_units(), max_units());
    timer = std::clamp(timer, 1, 20);
}

int memory_setup_dialog::max_units() const {
    return std::clamp<int>(p_.d.memory_max_units > 0 ? p_.d.memory_max_units : 50, 10, 50);
}

std::string memory_setup_dialog::units_text() const { return std::to_string(units * 10) + ".000"; }
std::string memory_setup_dialog::timer_text() const { return std::to_string(timer); }

void memory_setup_dialog::step_units(int delta) { units = std::clamp(units + delta, min_units(), max_units()); }
void memory_setup_dialog::step_timer(int delta) { timer = std::clamp(timer + delta, 1, 20); }

bool memory_setup_dialog::ok() {
    dll_data& d = p_.d;
    if (units != d.memory_units) p_.message(msg_restart_for_memory, msg_icon::information);
    if (units >= 11 &&
        p_.screen.message(msg_many_events, msg_icon::question, msg_buttons::yes_no, msg_answer::no) != msg_answer::yes)
        return false;
    d.memory_units = static_cast<std::int16_t>(units);
    if (timer != d.timer_resolution) p_.eng.set_timer_resolution(timer);
    return true;
}

overall_settings_dialog::overall_settings_dialog(program& p, setup_settings& s) : p_(p), s_(s) {
    for (int port = 0; port < 4; ++port)
        for (int c = 0; c < 16; ++c)
            transpose_exempt[static_cast<std::size_t>(port)][static_cast<std::size_t>(c)] = p.d.transpose_exempt[port][c] != 0;
}

void overall_settings_dialog::set_filter_controller_from(int v) {
    p_.d.filter_controller_from = static_cast<std::int8_t>(std::clamp(v, -1, 127));
}
void overall_settings_dialog::set_filter_controller_to(int v) {
    p_.d.filter_controller_to = static_cast<std::int8_t>(std::clamp(v, -1, 127));
}

void overall_settings_dialog::sound_click() {
    // A changed click field sounds the click at once.
    dll_data& d = p_.d;
    d.send_port = d.click_port;
    d.send_status = static_cast<std::uint8_t>(0x90 + (d.click_channel & 0x0F));
    d.send_data1 = d.click_note;
    d.send_data2 = d.click_velocity;
    p_.raise_request(d.send_request);
    if (!p_.eng.runs_on_own_thread()) p_.eng.serve_requests();
    const std::int64_t end = p_.clk.now_ms() + 3;
    while (p_.clk.now_ms() < end) p_.clk.sleep_ms(1);
}

void overall_settings_dialog::set_click_port(int v) {
    p_.d.click_port = static_cast<std::uint8_t>(std::clamp(v, 0, 3));
    sound_click();
}
void overall_settings_dialog::set_click_channel(int v) {
    p_.d.click_channel = static_cast<std::uint8_t>(std::clamp(v, 0, 15));
    sound_click();
}
void overall_settings_dialog::set_click_note(int v) {
    p_.d.click_note = static_cast<std::uint8_t>(std::clamp(v, 0, 127));
    sound_click();
}
void overall_settings_dialog::set_click_velocity(int v) {
    p_.d.click_velocity = static_cast<std::uint8_t>(std::clamp(v, 1, 127));
    sound_click();
}
void overall_settings_dialog::set_thru_off_channel(int v) {
    p_.d.thru_off_channel = static_cast<std::int8_t>(std::clamp(v, -1, 15));
}

void overall_settings_dialog::set_left_button_increases(bool left) {
    s_.mouse_increase = left ? 1 : 2;
    s_.mouse_decrease = left ? 2 : 1;
}

void overall_settings_dialog::ok() {
    for (int port = 0; port < 4; ++port)
        for (int c = 0; c < 16; ++c)
            p_.d.transpose_exempt[port][c] = transpose_exempt[static_cast<std::size_t>(port)][static_cast<std::size_t>(c)] ? 1 : 0;
}

std::string overall_settings_dialog::controller_text(int v, const char* (*name_of)(int)) {
    if (v < 0) return " Control -- ";
    if (name_of)
        if (const char* n = name_of(v)) return n;
    return formatted(" Control %d", v);
}

std::string overall_settings_dialog::channel_text(int v) {
    if (v < 0) return " -- ";
    return formatted("%d", v + 1);
}

std::string overall_settings_dialog::transpose_entry(int channel) { return formatted("MIDI Channel %2d", channel + 1); }

}  // namespace kestrune
