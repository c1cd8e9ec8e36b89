// Modify Track: the family of changes of the track parameters, written straight into the events of
// a whole track or of the span between the locators.
#include <optional>

#include "core/command_ids.h"
#include "processing/chain_transforms.h"
#include "processing/commands.h"
#include "processing/quantize.h"
#include "processing/track_edit.h"
#include "processing/track_span.h"
#include "services/help_pages.h"

namespace kestrune {

namespace {

// The fields: each setting's switch before its value, then the locators and the range.
enum field {
    channel_on, channel, transpose_on, transpose, velocity_on, velocity, compress_on, compress,
    quantize_on, quantize, left, right, range, field_count
};
constexpr std::int32_t dequantize_only = 3;  // Quantize "NO": notes back where they were played

std::vector<field_spec> fields() {
    const auto on = [](const char* label) { return check_field(std::string(label) + " On"); };
    return {
        on("MIDI Channel"),
        {.label = "MIDI Channel", .kind = field_kind::one_based, .low = 0, .high = 15, .entry_length = 2},
        on("Transpose"),
        {.label = "Transpose", .low = -64, .high = 64, .neutral = 0, .entry_length = 3},
        on("Velocity"),
        {.label = "Velocity", .low = -99, .high = 127, .neutral = 0, .entry_length = 4},
        on("Compress"),
        {.label = "Compress", .low = -1, .high = 5, .neutral = 0, .entry_length = 2},
        on("Quantize"),
        {.label = "Quantize", .kind = field_kind::series, .low = dequantize_only, .high = 48,
         .entry_length = 2, .named = {{dequantize_only, "NO"}}},
        left_locator_field(),
        right_locator_field(),
        range_field("Part Modify"),
    };
}

dialog_layout layout() {
    constexpr int width = 40, height = 21;
    dialog_layout d{.title = "Modify Track", .width = width, .height = height};
    d.items = {group_box("Settings", {1, 1, 39, 12})};
    const char* rows[] = {"MIDI Channel", "Transpose", "Velocity", "Compress", "Quantize"};
    for (int r = 0; r < 5; ++r) {
        const int y = 2 + 2 * r;
        d.items.push_back(label(rows[r], {2, y, 18, y + 1}));
        d.items.push_back(value_box(2 * r, {19, y, 24, y + 1}));
        d.items.push_back(value_box(2 * r + 1, {26, y, 33, y + 1}));
    }
    d.items.insert(d.items.end(), {
        group_box("Locators", {1, 13, 39, 18}),
        value_box(left, {2, 14, 16, 15}), value_box(right, {18, 14, 32, 15}),
        combo_box(range, {2, 16, 20, 17}),
    });
    for (dialog_item& i : ok_cancel(width, height, true)) d.items.push_back(std::move(i));
    return d;
}

field_values initial(const program& p) {
    field_values v = kept_values(p, cmd::modify_track,
                                 {{}, {0}, {}, {0}, {}, {0}, {}, {0}, {}, {dequantize_only}, {}, {}, {0}});
    // The switches start off at every opening; the locators are the song's.
    for (int f : {channel_on, transpose_on, velocity_on, compress_on, quantize_on}) v[f].number = 0;
    const field_values loc = locator_values(p);
    v[left] = loc[0];
    v[right] = loc[1];
    return v;
}

class modify_pass {
public:
    modify_pass(program& p, int pattern, const field_values& v) : p_(p), v_(v) {
        if (on(quantize_on) && value(quantize) != dequantize_only) quantize_.emplace(p, pattern, value(quantize));
    }

    void run(event_store& s, ref32 first, const track_span& span) {
        for (ref32 e = first; is_event_status(s.status(e)); e = s.next_event(e)) {
            const std::int32_t pos = s.position(e);
            if (pos < span.from || pos >= span.to) continue;
            if (s.at(e).is_note_on())
                note(s, e);
            else if (s.status(e) >= 0xA0 && s.status(e) <= 0xEF)
                other(s.at(e));
        }
    }

private:
    bool on(int f) const { return v_[f].number != 0; }
    int value(int f) const { return v_[f].number; }

    // A note-off is changed only with its note-on.
    void note(event_store& s, ref32 e) {
        const ref32 found = s.find_note_off(e);
        midi_event* off = is_event_status(s.status(found)) ? &s.at(found) : nullptr;
        midi_event& ev = s.at(e);
        if (on(channel_on)) both(ev, off, [this](midi_event& x) { set_channel(x, value(channel)); });
        if (on(quantize_on)) {
            dequantize_note(p_, e);
            if (quantize_) quantize_->quantize_note(e);
        }
        if (on(compress_on) && value(compress) != 0) compress_velocity(ev, value(compress));
        if (on(velocity_on)) add_velocity(ev, value(velocity));
        if (on(transpose_on)) both(ev, off, [this](midi_event& x) { transpose_key(x, value(transpose)); });
    }

    void other(midi_event& ev) {
        if (on(channel_on)) set_channel(ev, value(channel));
        if (ev.status() < 0xB0 && on(transpose_on)) transpose_key(ev, value(transpose));
    }

    template <class F>
    static void both(midi_event& on_event, midi_event* off, F f) {
        f(on_event);
        if (off) f(*off);
    }

    program& p_;
    const field_values& v_;
    std::optional<quantize_pass> quantize_;
};

outcome modify(program& p, const field_values& v) {
    return run_on_span(p, v, cmd::modify_track, {range, left, right}, [&p, &v](track_edit& g, const track_span& span) {
        event_store s = g.store();
        modify_pass(p, g.pattern(), v).run(s, g.slot().first, span);
    });
}

}  // namespace

command_record modify_track_command() {
    return {
        .id = cmd::modify_track,
        .text = "&Modify Track...",
        .changes_song = true,
        .undo = undo_kind::track,
        .needs = command_needs::track_data,
        .help = std::string(help_page::modify_track),
        .fields = fields(),
        .dialog = layout(),
        .initial = initial,
        .run = modify,
    };
}

}  // namespace kestrune
