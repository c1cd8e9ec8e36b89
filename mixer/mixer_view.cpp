#include "mixer/mixer_view.h"

#include <algorithm>

#include "core/command_ids.h"
#include "song/value_step.h"

namespace kestrune {

using namespace mixer_layout;

bool is_value_field(mixer_part p) {
    return p == mixer_part::reverb || p == mixer_part::chorus || p == mixer_part::bank ||
           p == mixer_part::program || p == mixer_part::port || p == mixer_part::snapshot;
}

mixer_control control_of(mixer_part p) {
    switch (p) {
    case mixer_part::reverb: return mixer_control::reverb;
    case mixer_part::chorus: return mixer_control::chorus;
    case mixer_part::program: return mixer_control::program;
    case mixer_part::pan: return mixer_control::pan;
    case mixer_part::fader: return mixer_control::fader;
    default: return mixer_control::bank;
    }
}

mixer_view::mixer_view(program& p) : p_(p) {}

void mixer_view::layout(int cell_width, int cell_height) {
    w_ = std::max(2, cell_width);
    h_ = std::max(4, cell_height);
    redraw_all();
}

rect mixer_view::frame() const { return {0, 0, xq(frame_width_q), yq(frame_height_q)}; }

std::array<mixer_button_place, mixer_button_count> mixer_view::buttons() const {
    // From the right edge of the last strip leftwards.
    const int top = yq(bottom_row - 1), bottom = yq(bottom_row + 4), width = 24, gap = 2;
    std::array<mixer_button_place, mixer_button_count> b{{{cmd::mixer_button, "OK", {}},
                                                          {cmd::mixer_help, "Help", {}},
                                                          {cmd::mixer_store, "Store", {}},
                                                          {cmd::mixer_recall, "Recall", {}},
                                                          {cmd::define_mixer_control, "Define...", {}}}};
    int right = strip_start_q + mixer_channels * strip_width_q;
    for (mixer_button_place& place : b) {
        place.place = {xq(right - width), top, xq(right), bottom};
        right -= width + gap;
    }
    return b;
}

rect mixer_view::place(mixer_part part, int c) const {
    const int left = strip_start_q + c * strip_width_q;
    auto row = [&](int top, int height, int inset) {
        return rect{xq(left + inset), yq(top), xq(left + strip_width_q - inset), yq(top + height)};
    };
    switch (part) {
    case mixer_part::pan: {
        const int across = std::min(yq(9), xq(16));
        const int cx = xq(left + strip_width_q / 2);
        return {cx - across / 2, yq(pan_top), cx + across / 2, yq(pan_top) + across};
    }
    case mixer_part::reverb: return row(reverb_top, 4, 2);
    case mixer_part::chorus: return row(chorus_top, 4, 2);
    case mixer_part::fader: return row(fader_top, fader_height, 3);
    case mixer_part::solo: return row(solo_top, 4, 3);
    case mixer_part::mute: return row(mute_top, 4, 3);
    case mixer_part::group: return row(group_top, 4, 2);
    case mixer_part::bank: return row(bank_top, 4, 1);
    case mixer_part::program: {
        // Twice a strip's width, centred on it; neighbours take turns above and below.
        const int centre = left + strip_width_q / 2;
        const int top = program_tops[c % 2];
        return {xq(centre - strip_width_q + 1), yq(top), xq(centre + strip_width_q - 1), yq(top + 4)};
    }
    case mixer_part::port: return {xq(24), yq(bottom_row), xq(32), yq(bottom_row + 4)};
    case mixer_part::snapshot: return {xq(164), yq(bottom_row), xq(172), yq(bottom_row + 4)};
    case mixer_part::none: break;
    }
    return {};
}

rect mixer_view::strip_place(int c) const {
    const rect program = place(mixer_part::program, c);
    return {program.left, yq(pan_top), program.right, program.bottom};
}

mixer_hit mixer_view::hit(int x, int y) const {
    for (mixer_part part : {mixer_part::port, mixer_part::snapshot})
        if (place(part, 0).contains(x, y)) return {part, 0};
    for (int c = 0; c < mixer_channels; ++c)
        for (mixer_part part : {mixer_part::pan, mixer_part::reverb, mixer_part::chorus, mixer_part::fader,
                                mixer_part::solo, mixer_part::mute, mixer_part::group, mixer_part::bank,
                                mixer_part::program})
            if (place(part, c).contains(x, y)) return {part, c};
    return {};
}

bool mixer_view::names_shown(int channel) const {
    const int port = std::clamp(p_.app.mixer.shown_port, 0, 3);
    return names_.shown && (*names_.shown)[static_cast<std::size_t>(port)][static_cast<std::size_t>(channel)] &&
           names_.names[static_cast<std::size_t>(port)];
}

bool mixer_view::takes_double_click(const mixer_hit& h) const {
    if (h.part == mixer_part::program) return !names_shown(h.channel);
    return is_value_field(h.part);
}

std::string mixer_view::program_text(int channel, int value) const {
    if (!names_shown(channel)) return std::to_string(value);
    const int port = std::clamp(p_.app.mixer.shown_port, 0, 3);
    if (p_.d.transpose_exempt[port][channel]) return drum_kit_name(value);
    return (*names_.names[static_cast<std::size_t>(port)])[static_cast<std::size_t>(std::clamp(value, 0, 127))];
}

mixer_view::strip_shown mixer_view::shown_now(int c) const {
    const mixer_port& m = shown_mixer(p_);
    strip_shown s;
    for (int k = 0; k < mixer_control_count; ++k)
        s.value[static_cast<std::size_t>(k)] = view_of(m, static_cast<mixer_control>(k), c);
    s.solo = m.solo[c] != 0;
    s.mute = m.mute[c] != 0;
    s.group = m.group[c] != 0;
    s.lamp = p_.d.mixer_lamps[std::clamp(p_.app.mixer.shown_port, 0, 3)].lamp_on[c] != 0;
    s.program_text = program_text(c, m.program_view[c]);
    s.knob = shown_[static_cast<std::size_t>(c)].knob;
    return s;
}

rect mixer_view::knob_rect(int c, int value) const {
    const rect f = place(mixer_part::fader, c);
    // The inverse of the drag: v = (bottom - y - h/2) * 64 / (3 h).
    const int y = f.bottom - h_ / 2 - value * 3 * h_ / 64;
    return {f.left, y - h_ / 4, f.right, y + h_ / 4};
}

void mixer_view::redraw_all() {
    for (strip_shown& s : shown_) s.knob = {};
    dirty_.assign(1, frame());
}

void mixer_view::refresh() {
    auto mark = [this](mixer_part part, int c) { dirty_.push_back(place(part, c)); };
    const int port = p_.app.mixer.shown_port, snap = p_.app.mixer.snapshot_slot;
    const int controller = p_.d.mixer_define_controller & 0x7F;
    if (port != shown_port_ || controller != shown_controller_) {
        shown_port_ = port;
        shown_controller_ = controller;
        redraw_all();
    }
    if (snap != shown_snapshot_) {
        shown_snapshot_ = snap;
        mark(mixer_part::snapshot, 0);
    }
    for (int c = 0; c < mixer_channels; ++c) {
        strip_shown now = shown_now(c);
        strip_shown& was = shown_[static_cast<std::size_t>(c)];
        if (now == was) continue;
        const auto v = [](const strip_shown& s, mixer_control k) { return s.value[static_cast<std::size_t>(k)]; };
        if (v(now, mixer_control::pan) != v(was, mixer_control::pan)) mark(mixer_part::pan, c);
        if (v(now, mixer_control::reverb) != v(was, mixer_control::reverb)) mark(mixer_part::reverb, c);
        if (v(now, mixer_control::chorus) != v(was, mixer_control::chorus)) mark(mixer_part::chorus, c);
        if (v(now, mixer_control::bank) != v(was, mixer_control::bank)) mark(mixer_part::bank, c);
        if (now.program_text != was.program_text) mark(mixer_part::program, c);
        if (now.solo != was.solo) mark(mixer_part::solo, c);
        if (now.mute != was.mute) mark(mixer_part::mute, c);
        if (now.group != was.group) mark(mixer_part::group, c);
        // Only the knob's old and new places.
        if (v(now, mixer_control::fader) != v(was, mixer_control::fader) || now.lamp != was.lamp) {
            if (!was.knob.empty()) dirty_.push_back(was.knob);
            dirty_.push_back(knob_rect(c, v(now, mixer_control::fader)));
        }
        was = std::move(now);
    }
}

std::vector<rect> mixer_view::take_dirty() {
    std::vector<rect> out;
    out.swap(dirty_);
    return out;
}

std::optional<program_popup_request> mixer_view::take_popup() {
    std::optional<program_popup_request> r;
    r.swap(popup_);
    return r;
}

}  // namespace kestrune
