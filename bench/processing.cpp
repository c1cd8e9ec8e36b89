// Figures of track processing: quantizing a track of 100,000 events (Smart 16 with swing),
// storing a take of 100,000 events with quantize into a track of 1,000, and the track functions
// run as their commands (undo copy included) on a track of 100,000 events: Freeze Track
// Parameters, Delete Events (a filter that rewrites the chain), Transform Events (with the check
// that follows it), Check Track, Change Note Length, Copy Track Segment, Insert Measures, Double
// Speed, Mixdown and Remix By Channel. Prints `name value` lines; `--quick` uses small input for a
// single CI run.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <vector>

#include "bench/measure.h"
#include "bench/quiet_ui.h"
#include "core/clock.h"
#include "engine/engine.h"
#include "core/command_ids.h"
#include "core/command_table.h"
#include "processing/commands.h"
#include "processing/quantize.h"
#include "realtime/recording.h"
#include "song/event_store.h"
#include "song/locate.h"
#include "song/patterns.h"
#include "song/song_start.h"

namespace kestrune {
namespace {

// Notes as a player leaves them, a little off the grid, each note-off 40 ticks after its note-on.
std::vector<midi_event> played_notes(int events) {
    std::vector<midi_event> v;
    v.reserve(static_cast<std::size_t>(events));
    for (int i = 0; v.size() + 1 < static_cast<std::size_t>(events); ++i) {
        const std::int32_t pos =
            std::min(song_start + i * 20 + (i * 7) % 11 - 5, last_position - 40);
        const auto key = static_cast<std::uint8_t>(36 + i % 48);
        v.push_back(midi_event::make(0x90, key, 100, pos));
        v.push_back(midi_event::make(0x80, key, 0, pos + 40));
    }
    std::stable_sort(v.begin(), v.end(), [](const midi_event& a, const midi_event& b) {
        return a.position() < b.position();
    });
    return v;
}

// Writes the events into the record area as the engine's input path does during a take.
void write_take(program& p, const std::vector<midi_event>& events) {
    event_store s = p.store();
    dll_data& d = p.d;
    ref32 c = d.record_write;
    d.record_block = d.record_first_block;
    for (const midi_event& e : events) {
        s.at(c) = e;
        c += sizeof(midi_event);
        if (s.status(c) == st::forward_link) {
            d.record_block = s.link(c);
            c = event_store::first_slot(d.record_block);
        }
    }
    d.record_cursor = c;
    d.recording = 1;
    d.take_has_data = 1;
}

// A track built in the record area from the events.
void give_track(program& p, int track, const std::vector<midi_event>& events) {
    event_store s = p.store();
    chain_builder b(s);
    for (const midi_event& e : events) b.put(e);
    b.terminate();
    track_slot& sl = p.slot(0, track);
    sl.first = sl.play = b.cut();
    sl.blocks = static_cast<std::uint16_t>(b.count_chain_blocks());
    sl.in_use = 1;
}

// The median time of a command on track 1 of pattern 0 with its dialog's first values (changed
// by `adjust`), `prepare` run before each (untimed).
template <class F>
double command_ms(program& p, int id, int runs, F prepare, const std::function<void(field_values&)>& adjust = {}) {
    command_table table;
    add_processing_commands(table);
    const command_record& c = *table.find(id);
    std::vector<double> ms;
    for (int i = 0; i < runs; ++i) {
        prepare();
        field_values v = initial_values(p, c);
        if (adjust) adjust(v);
        const auto a = stopwatch::now();
        run_command(p, c, v);
        ms.push_back(millis(a, stopwatch::now()));
    }
    return median(ms);
}

void track_functions(program& p, const std::vector<midi_event>& notes, int runs) {
    const auto fresh = [&p, &notes] {
        delete_track_chain(p, 0, 1);
        give_track(p, 1, notes);
    };
    p.d.current_track = 1;
    const double freeze = command_ms(p, cmd::freeze_track_parameters, runs, [&] {
        fresh();
        track_slot& sl = p.slot(0, 1);
        sl.channel = 2;
        sl.transpose = 1;
        sl.velocity = 1;
        sl.compress = 1;
        sl.delay = 1;
    });
    // No controller on the track: the whole chain is copied.
    p.app.dialog_values[cmd::delete_events] = {{5}, {0}, {15}, {0}, {127}, {0}, {127}, {0}, {0}, {0}, {0}, {0}};
    const double filter = command_ms(p, cmd::delete_events, runs, fresh);
    // Note velocities raised by 10.
    p.app.dialog_values[cmd::delete_events][0].number = 3;
    p.app.dialog_values[cmd::transform_events] = {{2}, {-1}, {-1}, {-1}, {-1}, {0}, {10}, {0}};
    const double transform = command_ms(p, cmd::transform_events, runs, fresh);
    const double check = command_ms(p, cmd::check_track, runs, fresh);
    p.app.dialog_values[cmd::change_note_length] = {{2}, {10}, {0}, {0}, {0}};
    const double length = command_ms(p, cmd::change_note_length, runs, fresh);
    std::printf("freeze_100k_ms %.2f\n", freeze);
    std::printf("filter_100k_ms %.2f\n", filter);
    std::printf("transform_100k_ms %.2f\n", transform);
    std::printf("check_track_100k_ms %.2f\n", check);
    std::printf("note_length_100k_ms %.2f\n", length);
}

// The same notes spread over four channels.
std::vector<midi_event> on_four_channels(std::vector<midi_event> v) {
    for (std::size_t i = 0; i < v.size(); ++i)
        v[i].set_status(static_cast<std::uint8_t>((v[i].status() & 0xF0) | ((v[i].data1() / 2) % 4)));
    return v;
}

// Copy Track Segment of half the track onto an empty one, Insert Measures (two bars at bar 2 of
// the current track), Double Speed, Mixdown of 32 tracks and Remix By Channel of four channels.
void copies_and_transforms(program& p, const std::vector<midi_event>& notes, int runs, int per_track) {
    const auto fresh = [&p, &notes] {
        undo_free(p);
        for (int t = 0; t < tracks_per_pattern; ++t) delete_track_chain(p, 0, t);
        give_track(p, 1, notes);
        p.d.current_track = 1;  // a copy leaves its destination current
    };
    // The first half of the track, laid behind itself on another track: the copy needs three
    // times its blocks free.
    const std::int32_t half = (notes.back().position() - song_start) / 2;
    p.d.left_locator = song_start;
    p.d.right_locator = song_start + half;
    const double segment = command_ms(p, cmd::copy_track_segment, runs, fresh, [half](field_values& v) {
        v[4].number = song_start + half;  // target
        v[8].number = 2;                  // destination track
    });
    p.d.right_locator = song_start + 2 * 768 * 4;
    p.d.left_locator = song_start + 768 * 4;
    const double measures = command_ms(p, cmd::insert_measures, runs, fresh, [](field_values& v) {
        v[2].number = 0;  // current track only
        v[3].number = v[4].number = 0;
    });
    const double speed = command_ms(p, cmd::double_speed, runs, fresh);
    const std::vector<midi_event> part(notes.begin(), notes.begin() + per_track);
    const double mixdown = command_ms(p, cmd::mixdown, runs, [&] {
        fresh();
        for (int t = 0; t < tracks_per_pattern; ++t) {
            delete_track_chain(p, 0, t);
            give_track(p, t, part);
        }
    });
    const std::vector<midi_event> channels = on_four_channels(notes);
    const double remix = command_ms(p, cmd::remix_by_channel, runs, [&] {
        fresh();
        delete_track_chain(p, 0, 1);
        give_track(p, 1, channels);
    });
    std::printf("copy_segment_100k_ms %.2f\n", segment);
    std::printf("insert_measures_100k_ms %.2f\n", measures);
    std::printf("speed_100k_ms %.2f\n", speed);
    std::printf("mixdown_32x%d_ms %.2f\n", per_track, mixdown);
    std::printf("remix_100k_ms %.2f\n", remix);
}

int run(bool quick) {
    const int events = quick ? 2000 : 100000;
    const int runs = quick ? 1 : 7;
    engine eng;
    quiet_ui screen;
    system_clock clk;
    program p(eng, screen, clk);
    p.write_defaults();
    p.d.memory_units = max_memory_units;
    if (start_program(p) != 0) return 1;
    transport tr(p);
    recorder rec(p, tr);
    const std::vector<midi_event> notes = played_notes(events);

    p.app.smart_quantize = 1;
    p.app.quantize_swing = 5;
    give_track(p, 0, notes);
    std::vector<double> quantize;
    for (int i = 0; i < runs; ++i) {
        const auto a = stopwatch::now();
        quantize_track(p, 0, p.slot(0, 0).first, 16);
        quantize.push_back(millis(a, stopwatch::now()));
    }

    // The take goes into a track in use: an undo copy, the take quantized, then merged.
    delete_track_chain(p, 0, 0);
    const std::vector<midi_event> old_track(notes.begin(), notes.begin() + events / 100);
    std::vector<double> take;
    for (int i = 0; i < runs; ++i) {
        delete_track_chain(p, 0, 1);
        give_track(p, 1, old_track);
        p.slot(0, 1).quantize = 16;
        p.d.current_track = 1;
        write_take(p, notes);
        const auto a = stopwatch::now();
        rec.store_take(0, 1);
        take.push_back(millis(a, stopwatch::now()));
    }
    std::printf("quantize_100k_ms %.2f\n", median(quantize));
    std::printf("store_take_100k_ms %.2f\n", median(take));
    track_functions(p, notes, runs);
    // A merge holds its new chain beside both old ones: 32 tracks of 7,500 events are the most
    // that the largest pool mixes down.
    copies_and_transforms(p, notes, runs, quick ? 60 : 7500);
    p.shut_down();
    return 0;
}

}  // namespace
}  // namespace kestrune

int main(int argc, char** argv) {
    const bool quick = argc > 1 && std::strcmp(argv[1], "--quick") == 0;
    return kestrune::run(quick);
}
