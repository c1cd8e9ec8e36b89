// The mixer's mouse: drags of faders and dials, switches on the press, value fields that step
// with the held-button model and take a typed value on a double click, and the program pop-ups.
#include <algorithm>
#include <cctype>
#include <charconv>

#include "mixer/mixer_view.h"
#include "song/value_step.h"

namespace kestrune {

namespace {

std::optional<int> number_in(const std::string& s) {
    std::size_t at = s.find_first_not_of(' ');
    if (at == std::string::npos) return std::nullopt;
    int v = 0;
    const auto r = std::from_chars(s.data() + at, s.data() + s.size(), v);
    if (r.ec == std::errc::result_out_of_range) return s[at] == '-' ? 0 : 1 << 30;
    if (r.ec != std::errc()) return std::nullopt;
    return v;
}

}  // namespace

void mixer_view::mouse_down(int x, int y, int button, key_mods mods, std::int64_t ms) {
    const mixer_hit h = hit(x, y);
    press_ = h;
    press_mods_ = mods;
    if (h.part == mixer_part::none) return;
    if (is_value_field(h.part) && !(h.part == mixer_part::program && names_shown(h.channel))) {
        mouse_.down(button, ms);
        return;
    }
    click(h, button, mods);
    if ((h.part == mixer_part::fader || h.part == mixer_part::pan) && button == left_button) {
        drag_ = h.part;
        drag_channel_ = h.channel;
        if (h.part == mixer_part::fader) begin_fader_drag(p_);
        drag_to(x, y, mods);
    }
    refresh();
}

void mixer_view::click(const mixer_hit& h, int button, key_mods mods) {
    switch (h.part) {
    case mixer_part::solo: toggle_solo(p_, h.channel, mods.ctrl || button == right_button); break;
    case mixer_part::mute: toggle_mute(p_, h.channel); break;
    case mixer_part::group: toggle_group(p_, h.channel); break;
    case mixer_part::program: {
        // With the port's names: a menu of them instead of a step.
        const int port = std::clamp(p_.app.mixer.shown_port, 0, 3);
        const int now = shown_mixer(p_).program_view[h.channel];
        p_.app.mixer.popup_channel = h.channel;
        const rect r = place(mixer_part::program, h.channel);
        popup_ = program_popup_request{
            r.left, r.bottom,
            p_.d.transpose_exempt[port][h.channel]
                ? drum_menu(now)
                : program_menu(*names_.names[static_cast<std::size_t>(port)], gm_port(port), now)};
        break;
    }
    default: break;
    }
}

void mixer_view::drag_to(int x, int y, key_mods mods) {
    const int c = drag_channel_;
    if (drag_ == mixer_part::fader) {
        const rect f = place(mixer_part::fader, c);
        const int held_y = std::clamp(y, f.top + h_ / 2, f.bottom - h_ / 2);
        drag_fader(p_, c, (f.bottom - held_y - h_ / 2) * 64 / (3 * h_), mods);
    } else if (drag_ == mixer_part::pan) {
        const rect r = place(mixer_part::pan, c);
        set_pan(p_, c, mods.ctrl ? control_centre : pan_at(x - (r.left + r.right) / 2, y - (r.top + r.bottom) / 2));
    }
}

void mixer_view::mouse_move(int x, int y, key_mods mods) {
    if (drag_ == mixer_part::none) return;
    drag_to(x, y, mods);
    refresh();
}

void mixer_view::mouse_up(int button) {
    mouse_.up(button);
    drag_ = mixer_part::none;
}

void mixer_view::double_click(int x, int y, int button) {
    // Elsewhere the pair's second press has already acted.
    const mixer_hit h = hit(x, y);
    if (button != left_button || !takes_double_click(h)) return;
    mouse_.clear();
    press_ = {};
    type_into(h);
    refresh();
}

void mixer_view::step(const mixer_hit& h, int code, key_mods mods) {
    if (h.part == mixer_part::port) {
        show_mixer_port(p_, p_.app.mixer.shown_port + step_amount(p_, code));
    } else if (h.part == mixer_part::snapshot) {
        choose_snapshot(p_, p_.app.mixer.snapshot_slot + step_amount(p_, code));
    } else {
        const mixer_control k = control_of(h.part);
        const int now = view_of(shown_mixer(p_), k, h.channel);
        const int next = stepped_mixer_value(p_, k, now, code, mods);
        if (next != now) set_mixer_value(p_, k, h.channel, next);
    }
}

void mixer_view::type_into(const mixer_hit& h) {
    const rect r = place(h.part, h.channel);
    const bool port = h.part == mixer_part::port, snap = h.part == mixer_part::snapshot;
    const mixer_control k = control_of(h.part);
    std::string now = port   ? std::string(1, static_cast<char>('A' + p_.app.mixer.shown_port))
                      : snap ? std::to_string(p_.app.mixer.snapshot_slot + 1)
                             : std::to_string(view_of(shown_mixer(p_), k, h.channel));
    const int length = port || snap ? 1 : k == mixer_control::bank ? 5 : 3;
    const auto typed = p_.screen.edit_in_place(r.left, r.top, r.width(), r.height(), now, length);
    if (!typed || typed->empty()) return;
    if (port) {
        const char letter = static_cast<char>(std::toupper(static_cast<unsigned char>(typed->front())));
        if (letter >= 'A' && letter <= 'Z') show_mixer_port(p_, letter - 'A');
        return;
    }
    const auto v = number_in(*typed);
    if (!v) return;
    if (snap)
        choose_snapshot(p_, *v - 1);
    else
        set_mixer_value(p_, k, h.channel, *v);
}

void mixer_view::tick(std::int64_t ms) {
    if (is_value_field(press_.part)) {
        if (const int code = mouse_.tick(ms, takes_double_click(press_), double_click_ms_))
            step(press_, code, press_mods_);
    }
    mixer_timer(p_, buttons_down(), ms);
    refresh();
}

}  // namespace kestrune
