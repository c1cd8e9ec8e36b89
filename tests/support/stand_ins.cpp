#include "tests/support/stand_ins.h"

#include <utility>

#include "song/song_start.h"

namespace kestrune::testing {

msg_answer scripted_ui::message(const std::string& text, msg_icon icon, msg_buttons buttons,
                                msg_answer default_answer, const std::string& caption) {
    messages.push_back({text, icon, buttons, caption});
    if (while_shown) std::exchange(while_shown, nullptr)();
    if (buttons == msg_buttons::ok) return msg_answer::ok;
    if (answers.empty()) return default_answer;
    msg_answer a = answers.front();
    answers.pop_front();
    return a;
}

std::optional<std::string> scripted_ui::open_file_dialog(const file_dialog_request& r) {
    dialogs.push_back(r);
    if (file_names.empty()) return std::nullopt;
    auto f = file_names.front();
    file_names.pop_front();
    return f;
}

std::optional<std::string> scripted_ui::save_file_dialog(const file_dialog_request& r) {
    return open_file_dialog(r);
}

test_program::test_program(int memory_units) {
    eng.attach(clk, &midi);
    prog = std::make_unique<program>(eng, screen, clk);
    prog->write_defaults();
    prog->d.memory_units = static_cast<std::int16_t>(memory_units);
    // Every port on its own capture device, and the capture input.
    for (int p = 0; p < 4; ++p) prog->d.midi_out_device[p] = static_cast<std::int16_t>(p + 1);
    prog->d.midi_in_device = 1;
    start_program(*prog);
}

void test_program::run_ms(double ms) {
    clk.advance_us(static_cast<std::int64_t>(ms * 1000));
    eng.run_until(clk.now_us());
}

void test_program::feed(const std::vector<std::uint8_t>& bytes, double after_ms) {
    clk.advance_us(static_cast<std::int64_t>(after_ms * 1000));
    midi.inject(bytes.data(), bytes.size(), clk.now_us());
    eng.run_until(clk.now_us());
}

std::vector<sent_message> sent_messages(const capture_backend& midi, std::int64_t t0,
                                        bool with_clock) {
    std::vector<sent_message> v;
    for (const auto& m : midi.messages()) {
        if (!with_clock && m.bytes[0] == 0xF8) continue;
        v.push_back({m.port, m.bytes[0], m.size > 1 ? m.bytes[1] : -1, m.size > 2 ? m.bytes[2] : -1,
                     m.due_us - t0});
    }
    return v;
}

std::vector<std::vector<int>> sent_bytes(const capture_backend& midi, int port) {
    std::vector<std::vector<int>> v;
    for (const auto& m : midi.messages())
        if (m.port == port) v.emplace_back(m.bytes, m.bytes + m.size);
    return v;
}

}  // namespace kestrune::testing
