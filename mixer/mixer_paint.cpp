// Painting the mixer: the row labels, then each strip's controls where the clip reaches them.
#include <cmath>
#include <numbers>
#include <string>

#include "core/clip.h"
#include "core/midi_names.h"
#include "mixer/mixer_view.h"

namespace kestrune {

namespace {

constexpr std::string_view port_letters = "ABCD";

// The fader row's label: three letters of the controller's name, else its number.
std::string fader_label(int controller) {
    const char* name = controller_name(controller);
    if (!name) return std::to_string(controller);
    std::string s(name);
    s.erase(0, s.find_first_not_of(' '));
    return s.substr(0, 3);
}

// A name wider than its field keeps its beginning, cut where it still fits: centred and clipped
// it would lose both ends. Never cut inside a UTF-8 character.
std::string fitted(canvas& c, std::string s, int width, font_kind f) {
    if (c.text_width(s, f) <= width) return s;
    std::size_t fits = 0, over = s.size();
    while (over - fits > 1) {
        const std::size_t mid = (fits + over) / 2;
        (c.text_width(std::string_view(s).substr(0, mid), f) <= width ? fits : over) = mid;
    }
    while (fits > 0 && (static_cast<unsigned char>(s[fits]) & 0xC0) == 0x80) --fits;
    s.resize(fits);
    return s;
}

}  // namespace

void mixer_view::paint(canvas& c, const rect& clip) {
    // Only what meets the clip: the tick repaints a knob or a field at a time.
    const rect f = frame();
    if (!f.intersects(clip)) return;
    c.fill_rect(clipped(f, clip), colour_role::window);
    paint_labels(c, clip);
    for (int ch = 0; ch < mixer_channels; ++ch)
        if (strip_place(ch).intersects(clip)) paint_strip(c, clip, ch);
    const int port = std::clamp(p_.app.mixer.shown_port, 0, 3);
    if (place(mixer_part::port, 0).intersects(clip))
        paint_value(c, place(mixer_part::port, 0), std::string(1, port_letters[static_cast<std::size_t>(port)]),
                    text_align::centre);
    if (place(mixer_part::snapshot, 0).intersects(clip))
        paint_value(c, place(mixer_part::snapshot, 0), std::to_string(p_.app.mixer.snapshot_slot + 1),
                    text_align::centre);
}

void mixer_view::paint_labels(canvas& c, const rect& clip) const {
    const int left = xq(1), right = xq(15);
    auto at = [&](int top_q, std::string_view text) {
        const rect r{left, yq(top_q), right, yq(top_q + 4)};
        if (r.intersects(clip)) c.text(r, text, font_kind::small, colour_role::dim_text);
    };
    using namespace mixer_layout;
    at(pan_top + 3, "Pan");
    at(reverb_top, "Rev");
    at(chorus_top, "Chor");
    at(fader_top + fader_height / 2 - 2, fader_label(p_.d.mixer_define_controller & 0x7F));
    at(solo_top, "Solo");
    at(mute_top, "Mute");
    at(group_top, "Grp");
    at(bank_top, "Bank");
    at((program_tops[0] + program_tops[1]) / 2, "Prg");
    const rect port = place(mixer_part::port, 0), snap = place(mixer_part::snapshot, 0);
    for (const auto& [r, text] : {std::pair{rect{xq(4), port.top, port.left - xq(1), port.bottom}, "Port"},
                                  {rect{snap.left - xq(40), snap.top, snap.left - xq(1), snap.bottom}, "Snapshot"}})
        if (r.intersects(clip)) c.text(r, text, font_kind::small, colour_role::dim_text, text_align::right);
}

void mixer_view::paint_strip(canvas& c, const rect& clip, int ch) {
    strip_shown& s = shown_[static_cast<std::size_t>(ch)];
    s = shown_now(ch);
    const auto v = [&](mixer_control k) { return s.value[static_cast<std::size_t>(k)]; };
    const auto reaches = [&](mixer_part part) { return place(part, ch).intersects(clip); };
    if (reaches(mixer_part::pan)) paint_dial(c, ch, v(mixer_control::pan));
    if (reaches(mixer_part::reverb))
        paint_value(c, place(mixer_part::reverb, ch), std::to_string(v(mixer_control::reverb)), text_align::right);
    if (reaches(mixer_part::chorus))
        paint_value(c, place(mixer_part::chorus, ch), std::to_string(v(mixer_control::chorus)), text_align::right);
    if (reaches(mixer_part::fader)) paint_fader(c, ch, s);
    if (reaches(mixer_part::solo)) paint_switch(c, place(mixer_part::solo, ch), s.solo);
    if (reaches(mixer_part::mute)) paint_switch(c, place(mixer_part::mute, ch), s.mute);
    if (reaches(mixer_part::group))
        c.text(place(mixer_part::group, ch), std::to_string(ch + 1), font_kind::normal,
               s.group ? colour_role::control_on : colour_role::text, text_align::centre);
    if (reaches(mixer_part::bank))
        paint_value(c, place(mixer_part::bank, ch), std::to_string(v(mixer_control::bank)), text_align::centre);
    if (reaches(mixer_part::program)) {
        const rect r = place(mixer_part::program, ch);
        c.bevel(r, true);
        c.fill_rect(r.inset(2), colour_role::field);
        const rect inside = r.inset(2);
        c.text(inside, fitted(c, s.program_text, inside.width(), font_kind::small), font_kind::small,
               colour_role::field_text, text_align::centre);
    }
}

void mixer_view::paint_value(canvas& c, const rect& r, const std::string& text, text_align a) const {
    c.fill_rect(r, colour_role::field);
    c.frame_rect(r, colour_role::shadow);
    c.text(r.inset(2), text, font_kind::list, colour_role::field_text, a);
}

void mixer_view::paint_dial(canvas& c, int ch, int value) const {
    const rect r = place(mixer_part::pan, ch);
    c.fill_rect(r, colour_role::window);
    c.ellipse(r, colour_role::field, colour_role::shadow);
    // The pointer's angle: (154 - value) x 2 degrees, 180 straight up.
    const double a = (154 - value) * 2 * std::numbers::pi / 180.0;
    const int cx = (r.left + r.right) / 2, cy = (r.top + r.bottom) / 2, radius = r.width() / 2 - 1;
    c.line(cx, cy, cx + static_cast<int>(std::lround(radius * std::sin(a))),
           cy + static_cast<int>(std::lround(radius * std::cos(a))), colour_role::text);
}

void mixer_view::paint_fader(canvas& c, int ch, const strip_shown& s) {
    const rect f = place(mixer_part::fader, ch);
    const int mid = (f.left + f.right) / 2;
    c.fill_rect({mid - 2, f.top + h_ / 2, mid + 2, f.bottom - h_ / 2}, colour_role::shadow);
    const rect knob = knob_rect(ch, s.value[static_cast<std::size_t>(mixer_control::fader)]);
    c.fill_rect(knob, s.lamp ? colour_role::lamp : colour_role::control_on);
    c.frame_rect(knob, colour_role::text);
    shown_[static_cast<std::size_t>(ch)].knob = knob;
}

void mixer_view::paint_switch(canvas& c, const rect& r, bool on) const {
    const rect box{r.left, r.top + h_ / 8, r.right, r.bottom - h_ / 8};
    c.fill_rect(box, on ? colour_role::text : colour_role::field);
    c.frame_rect(box, colour_role::shadow);
}

}  // namespace kestrune
