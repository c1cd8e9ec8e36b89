// Change Speed On Track: positions scaled around the pattern's start, from its dialog or as Half
// and Double Speed.
#include <algorithm>

#include "core/command_ids.h"
#include "processing/commands.h"
#include "processing/track_edit.h"
#include "processing/track_span.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

constexpr const char* msg_change_speed = "Do you want to change\nthe speed on this track?";
constexpr std::int32_t unity = 1000;  // the speed value is in thousandths

}  // namespace

// Position song_start stays; others come closer to it by the factor, truncated, held to the song.
std::int32_t scaled_position(std::int32_t pos, float factor) {
    const auto moved = [factor](std::int32_t d) {
        return static_cast<std::int32_t>(static_cast<float>(d) / factor);
    };
    const std::int32_t p = pos < song_start ? song_start - moved(song_start - pos)
                                            : song_start + moved(pos - song_start);
    return std::clamp(p, 0, last_position);
}

namespace {

void scale_positions(track_edit& g, float factor) {
    event_store s = g.store();
    for (ref32 e = g.slot().first; is_event_status(s.status(e)); e = s.next_event(e))
        s.at(e).set_position(scaled_position(s.position(e), factor));
}

outcome change_speed(program& p, float factor) {
    track_edit g(p, p.d.current_pattern, p.d.current_track);
    if (!g) return outcome::refused;
    g.begin();
    scale_positions(g, factor);
    return outcome::done;
}

command_record fixed_speed(int id, const char* text, const char* shortcut, float factor) {
    return asking_track_command(id, text, shortcut, help_page::change_speed, msg_change_speed,
                                [factor](track_edit& g) { scale_positions(g, factor); });
}

dialog_layout layout() {
    constexpr int width = 34, height = 8;
    dialog_layout d{.title = "Change Speed On Track", .width = width, .height = height};
    d.items = {label("Speed", {2, 2, 12, 3}), value_box(0, {15, 2, 24, 3})};
    for (dialog_item& i : ok_cancel(width, height, true)) d.items.push_back(std::move(i));
    return d;
}

}  // namespace

std::vector<command_record> speed_commands() {
    command_record user = fixed_speed(cmd::change_speed, "&User Defined Speed...", "Shift+O", 1.0F);
    user.fields = {{.label = "Speed",
                    .kind = field_kind::thousandths,
                    .low = 200,
                    .high = 4000,
                    .neutral = unity,
                    .entry_length = 5}};
    user.dialog = layout();
    user.initial = [](const program& p) { return kept_values(p, cmd::change_speed, {{unity}}); };
    user.run = [](program& p, const field_values& v) {
        keep_values(p, cmd::change_speed, v);
        return change_speed(p, static_cast<float>(v[0].number) / unity);
    };
    return {fixed_speed(cmd::half_speed, "&Half Speed", "Shift+J", 0.5F),
            fixed_speed(cmd::double_speed, "D&ouble Speed", "Shift+K", 2.0F), std::move(user)};
}

}  // namespace kestrune
