#include "files/song_file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "files/file_messages.h"
#include "song/locate.h"
#include "song/patterns.h"
#include "song/position.h"
#include "song/event_store.h"

namespace kestrune {

namespace {

constexpr std::uint8_t reserved_fill = 0x00;
constexpr int song_patterns = 16;

void put_fill(file_buffer& f, std::size_t n, std::uint8_t value = reserved_fill) {
    std::uint8_t block[256];
    std::memset(block, value, sizeof block);
    while (n > 0) {
        std::size_t k = std::min(n, sizeof block);
        f.file_put(block, k);
        n -= k;
    }
}

std::uint16_t signature_byte(const program& p, int which) {
    const midi_event& e = p.store().at(p.d.signature_chain.first);
    return which == 0 ? e.data1() : e.data2();
}

void write_tracks(file_buffer& f, const program& p, int pattern, int from, int to) {
    for (int t = from; t < to; ++t) {
        const std::uint8_t in_use = p.slot(pattern, t).in_use;
        f.put(in_use);
        if (in_use) write_track_chunk(f, p, pattern, t);
    }
}

void write_tracks_of_all(file_buffer& f, const program& p, int from, int to) {
    for (int pat = 0; pat < song_patterns; ++pat) write_tracks(f, p, pat, from, to);
    write_tracks(f, p, parallel_pattern, from, to);
}

// The head: the song's settings and its song list, as the oldest files have them.
std::unique_ptr<song_file_head> song_head(const program& p) {
    const dll_data& d = p.d;
    const app_state& a = p.app;
    const song_settings& ss = p.song;
    const std::uint16_t denominator = signature_byte(p, 1);

    auto h = std::make_unique<song_file_head>();
    std::memset(h.get(), reserved_fill, sizeof *h);
    h->magic = song_magic;
    int total = 0;
    for (int pat = 0; pat <= parallel_pattern; ++pat)
        for (int t = 0; t < tracks_per_pattern; ++t)
            if (p.slot(pat, t).in_use) total += p.slot(pat, t).blocks;
    h->block_total = static_cast<std::uint16_t>(total);
    h->current_pattern = p.step(std::clamp<int>(d.current_step, 0, song_steps - 1)).pattern;
    h->current_step = static_cast<std::uint8_t>(d.current_step);
    h->numerator = signature_byte(p, 0);
    h->denominator = denominator;
    h->edit_grid = a.edit_grid;
    h->tempo_whole = static_cast<std::uint16_t>(std::clamp(a.song_tempo / 100, 0, 325));
    h->song_mode = d.song_mode;
    h->thru_off_channel = d.thru_off_channel;
    h->click_channel = d.click_channel;
    h->click_velocity = d.click_velocity;
    h->click_note = d.click_note;
    std::memcpy(h->transpose_exempt_a, d.transpose_exempt[0], 16);
    h->filter_notes = d.filter_notes;
    h->filter_controller_from = d.filter_controller_from;
    h->filter_pitch_wheel = d.filter_pitch_wheel;
    h->filter_poly_press = d.filter_poly_press;
    h->filter_channel_press = d.filter_channel_press;
    h->filter_program = d.filter_program;
    h->remap_on = d.remap_on;
    h->remap_from = d.remap_from;
    h->remap_to = d.remap_to;
    h->filter_controller_to = d.filter_controller_to;
    h->left_locator = d.left_locator;
    h->right_locator = d.right_locator;
    h->cycle_on = d.cycle_on;
    h->filter_sysex = d.filter_sysex;
    h->tempo_track_on = d.tempo_track_on;
    h->click_port = d.click_port;
    std::memcpy(h->transpose_exempt_b, d.transpose_exempt[1], 16);
    h->snap_to_grid = ss.snap_to_grid;
    for (int i = 0; i < song_steps; ++i) {
        const song_step& s = p.step(i);
        stored_step& o = h->steps[i];
        o.end = static_cast<std::uint32_t>(s.end);
        o.pattern = s.pattern;
        o.stop_here = s.stop_here;
        o.transpose = s.transpose;
        o.denominator = denominator;
        o.pickup = s.pickup;
        o.track_mask = s.track_mask;
    }
    return h;
}

// After the signature list: the step names, the tempo, the note pad and the quantize settings.
std::unique_ptr<song_file_tail> song_tail(const program& p) {
    const std::uint16_t denominator = signature_byte(p, 1);
    auto tail = std::make_unique<song_file_tail>();
    std::memset(tail.get(), reserved_fill, sizeof *tail);
    for (int i = 0; i < song_steps; ++i) {
        std::memcpy(tail->step_names[i].name, p.step(i).name, 10);
        tail->step_names[i].denominator = denominator;
    }
    tail->tempo = static_cast<std::uint16_t>(std::clamp(p.app.song_tempo, 0, 32500));
    std::memcpy(tail->note_pad_text, p.song.note_pad_text.data(), note_pad_bytes);
    tail->quantize_strength = static_cast<std::int16_t>(p.app.quantize_strength);
    tail->swing_factor = static_cast<std::int16_t>(p.app.quantize_swing);
    return tail;
}

// The grid editor's section, with the last two ports' song mode transposition lists.
grid_section grid_of(const program& p) {
    const dll_data& d = p.d;
    const song_settings& ss = p.song;
    grid_section g{};
    std::memset(&g, reserved_fill, sizeof g);
    g.grid_split = ss.grid_split;
    g.grid_mode_flag = ss.grid_mode_flag;
    g.grid_lane = ss.grid_lane;
    g.grid_zoom_y = ss.grid_zoom_y;
    g.grid_zoom_x = ss.grid_zoom_x;
    std::memcpy(g.transpose_exempt_c, d.transpose_exempt[2], 16);
    std::memcpy(g.transpose_exempt_d, d.transpose_exempt[3], 16);
    if (ss.grid_pane_height > 0)
        g.split_percent = static_cast<std::int16_t>(
            std::clamp(ss.grid_split * 100 / ss.grid_pane_height, 0, 100));
    else
        g.split_percent = std::clamp<std::int16_t>(ss.grid_split_percent, 0, 100);
    return g;
}

// The sections added by marker after the oldest layout.
void write_marked_sections(file_buffer& f, const program& p, song_file_map* map) {
    auto marker = [&](std::uint32_t m) {
        if (map) map->markers.push_back(f.counter_a);
        f.put(m);
    };
    marker(marker_reserved);
    put_fill(f, reserved_section_bytes);

    marker(marker_tracks_16);
    put_fill(f, 50);
    write_tracks_of_all(f, p, 16, 24);

    marker(marker_snapshots);
    for (const mixer_snapshot& s : p.song.mixer_snapshots) f.file_put(s.data(), snapshot_bytes);
    put_fill(f, 50);
    put_fill(f, 450);

    marker(marker_grid);
    f.put(grid_of(p));

    marker(marker_tracks_24);
    write_tracks_of_all(f, p, 24, 32);
    put_fill(f, 200);

    marker(marker_closing);
    write_list(f, p, p.d.tempo_chain.first, p.d.tempo_chain.blocks);
    f.put(p.app.song_tempo);
    put_fill(f, 100, 0x00);
    put_fill(f, 100, 0x01);
    f.put(marker_closing);
}

void write_song(file_buffer& f, const program& p, song_file_map* map) {
    const dll_data& d = p.d;
    const song_settings& ss = p.song;
    f.put(*song_head(p));
    for (int pat = 0; pat < song_patterns; ++pat) {
        f.file_put(p.pattern(pat).name, 10);
        write_tracks(f, p, pat, 0, 16);
    }
    write_list(f, p, d.tempo_chain.first, d.tempo_chain.blocks, true);
    f.put(ss.increase_button);
    f.put(ss.decrease_button);
    f.file_put(p.pattern(parallel_pattern).name, 10);
    write_tracks(f, p, parallel_pattern, 0, 16);
    f.file_put(ss.position_memory.data(), 60);
    put_fill(f, 64);
    write_list(f, p, d.signature_track.first, d.signature_track.blocks);
    f.put(d.signature_track_on);
    f.put(*song_tail(p));
    if (map) map->oldest_end = f.counter_a;
    write_marked_sections(f, p, map);
    if (map) map->size = f.counter_a;
}

// A song file as read, checked whole before the song is touched.
struct song_image {
    song_file_head head{};
    std::array<std::array<char, 10>, parallel_pattern + 1> pattern_names{};
    std::array<std::array<std::uint8_t, tracks_per_pattern>, parallel_pattern + 1> used{};
    std::array<std::array<stored_track, tracks_per_pattern>, parallel_pattern + 1> tracks;
    std::vector<midi_event> tempo;
    std::int16_t increase_button = 0;
    std::int16_t decrease_button = 0;
    std::array<std::uint32_t, position_memories> position_memory{};
    std::vector<midi_event> signature;
    std::int16_t signature_track_on = 0;
    song_file_tail tail{};
    bool has_snapshots = false;
    std::array<mixer_snapshot, mixer_snapshot_count> snapshots{};
    bool has_grid = false;
    grid_section grid{};
    bool has_closing = false;
    std::int32_t closing_tempo = 0;
};

bool read_tracks(file_buffer& f, song_image& im, int pattern, int from, int to) {
    for (int t = from; t < to; ++t) {
        std::uint8_t in_use = 0;
        f.get(in_use);
        if (f.past_end()) return false;
        im.used[pattern][t] = in_use != 0;
        if (in_use && !read_track_chunk(f, im.tracks[pattern][t])) return false;
    }
    return true;
}

bool read_tracks_of_all(file_buffer& f, song_image& im, int from, int to) {
    for (int pat = 0; pat < song_patterns; ++pat)
        if (!read_tracks(f, im, pat, from, to)) return false;
    return read_tracks(f, im, parallel_pattern, from, to);
}

// The next marker, or 0 where the file ends; fewer than 4 bytes left are no marker either.
std::uint32_t next_marker(file_buffer& f) {
    if (f.remaining() < 4) return 0;
    std::uint32_t v = 0;
    f.get(v);
    return v;
}

// Reads everything after the magic. False when the file is damaged.
bool parse_song(file_buffer& f, song_image& im) {
    f.file_get(reinterpret_cast<std::uint8_t*>(&im.head) + 4, sizeof im.head - 4);
    if (f.past_end()) return false;
    for (int pat = 0; pat < song_patterns; ++pat) {
        f.file_get(im.pattern_names[pat].data(), 10);
        if (!read_tracks(f, im, pat, 0, 16)) return false;
    }
    if (!read_list(f, list_kind::tempo, im.tempo)) return false;
    // This copy was written for readers of 8-bit whole beats.
    for (midi_event& e : im.tempo) e.clear_top_nibble();
    f.get(im.increase_button);
    f.get(im.decrease_button);
    f.file_get(im.pattern_names[parallel_pattern].data(), 10);
    if (f.past_end() || !read_tracks(f, im, parallel_pattern, 0, 16)) return false;
    f.file_get(im.position_memory.data(), 60);
    f.skip(64);
    if (f.past_end() || !read_list(f, list_kind::signature, im.signature)) return false;
    f.get(im.signature_track_on);
    f.get(im.tail);
    if (f.past_end()) return false;

    // Later sections, each accepted only after the one before it; see the marker walk.
    std::uint32_t v = next_marker(f);
    bool past = false;
    if (v == marker_reserved) {
        f.skip(reserved_section_bytes);
        v = next_marker(f);
    } else {
        past = true;
    }
    if (v == marker_tracks_16) {
        f.skip(50);
        if (!read_tracks_of_all(f, im, 16, 24)) return false;
        if (!past) v = next_marker(f);
    } else {
        past = true;
    }
    if (v == marker_snapshots) {
        for (mixer_snapshot& s : im.snapshots) f.file_get(s.data(), snapshot_bytes);
        f.skip(500);
        im.has_snapshots = true;
        if (!past) v = next_marker(f);
    } else {
        past = true;
    }
    if (v == marker_grid) {
        f.get(im.grid);
        im.has_grid = true;
        if (!past) v = next_marker(f);
    } else {
        past = true;
    }
    if (v == marker_tracks_24) {
        if (!read_tracks_of_all(f, im, 24, 32)) return false;
        f.skip(200);
        if (!past) v = next_marker(f);
    }
    if (v == marker_closing) {
        std::vector<midi_event> full;
        if (!read_list(f, list_kind::tempo, full)) return false;
        im.tempo = std::move(full);
        f.get(im.closing_tempo);
        f.skip(200);
        im.has_closing = true;
    }
    return !f.past_end();
}

// Blocks the image's chains take, and whether the pool holds them with one block to spare.
bool fits_in_pool(const program& p, const song_image& im) {
    std::int64_t need =
        1 + blocks_for_records(im.tempo.size()) + blocks_for_records(im.signature.size());
    for (int pat = 0; pat <= parallel_pattern; ++pat)
        for (int t = 0; t < tracks_per_pattern; ++t)
            if (im.used[pat][t]) need += blocks_for_records(im.tracks[pat][t].records.size());
    // The default tempo and signature track chains are given back before the lists are built.
    const std::int64_t have =
        std::int64_t{p.d.free_blocks} + p.d.tempo_chain.blocks + p.d.signature_track.blocks;
    return need <= have;
}

// A file cut at a section boundary reads as an older file; only the stored total of the tracks'
// blocks, which counts every section, tells the two apart.
bool block_total_agrees(const song_image& im) {
    std::uint32_t total = 0;
    for (int pat = 0; pat <= parallel_pattern; ++pat)
        for (int t = 0; t < tracks_per_pattern; ++t)
            if (im.used[pat][t]) total += im.tracks[pat][t].head.blocks;
    return static_cast<std::uint16_t>(total) == im.head.block_total;
}

template <class Cursor>
bool seat_list(program& p, Cursor& c, const std::vector<midi_event>& records) {
    std::uint16_t blocks = 0;
    ref32 first = build_chain(p, records, &blocks);
    if (first == null_ref) return false;
    c.first = c.play = c.left_event = first;
    c.blocks = blocks;
    return true;
}

std::int32_t clamp_locator(std::int32_t v) {
    return std::clamp(v, 0, last_locator_position);
}

// Puts a checked image into a cleared song. Plain values are held in their ranges. False only
// if a chain could not be built after all, which fits_in_pool rules out.
// The settings of the head, each held in its range, and the song list.
void take_head(program& p, const song_file_head& h) {
    dll_data& d = p.d;
    app_state& a = p.app;
    song_settings& ss = p.song;
    event_store s = p.store();
    d.current_step = static_cast<std::int8_t>(at_most<int>(h.current_step, song_steps - 1));
    midi_event& sig = s.at(d.signature_chain.first);
    sig.set_data1(static_cast<std::uint8_t>(h.numerator));
    sig.set_data2(static_cast<std::uint8_t>(h.denominator));
    a.edit_grid = held<std::int16_t>(h.edit_grid, 16, 192);
    d.song_mode = h.song_mode;
    d.thru_off_channel = held<std::int8_t>(h.thru_off_channel, -1, 15);
    d.click_channel = at_most<std::uint8_t>(h.click_channel, 15);
    d.click_velocity = held<std::uint8_t>(h.click_velocity, 1, 127);
    d.click_note = at_most<std::uint8_t>(h.click_note, 127);
    std::memcpy(d.transpose_exempt[0], h.transpose_exempt_a, 16);
    d.filter_notes = h.filter_notes;
    d.filter_controller_from = at_least<std::int8_t>(h.filter_controller_from, -1);
    d.filter_pitch_wheel = h.filter_pitch_wheel;
    d.filter_poly_press = h.filter_poly_press;
    d.filter_channel_press = h.filter_channel_press;
    d.filter_program = h.filter_program;
    d.remap_on = h.remap_on;
    d.remap_from = at_most<std::uint8_t>(h.remap_from, 127);
    d.remap_to = at_most<std::uint8_t>(h.remap_to, 127);
    d.filter_controller_to = at_least<std::int8_t>(h.filter_controller_to, -1);
    d.left_locator = clamp_locator(h.left_locator);
    d.right_locator = clamp_locator(h.right_locator);
    d.cycle_on = h.cycle_on;
    d.filter_sysex = h.filter_sysex;
    if (d.external_sync == 0) d.tempo_track_on = h.tempo_track_on;
    d.click_port = at_most<std::uint8_t>(h.click_port, 3);
    std::memcpy(d.transpose_exempt[1], h.transpose_exempt_b, 16);
    ss.snap_to_grid = h.snap_to_grid;
    for (int i = 0; i < song_steps; ++i) {
        const stored_step& o = h.steps[i];
        song_step& st = p.step(i);
        st.end = static_cast<std::int32_t>(
            at_most<std::uint32_t>(o.end, static_cast<std::uint32_t>(past_last_step)));
        st.pattern = held<std::int8_t>(o.pattern, 0, song_patterns - 1);
        st.stop_here = o.stop_here;
        st.transpose = o.transpose;
        st.pickup = o.pickup;
        st.track_mask = o.track_mask;
    }
    rebuild_step_pointers(p);
}

// The tempo and signature lists; false, with default lists in their place, when the pool
// cannot hold them.
bool take_lists(program& p, const song_image& im) {
    dll_data& d = p.d;
    event_store s = p.store();
    {
        program::park parked(p);
        if (!seat_list(p, d.tempo_chain, im.tempo) ||
            !seat_list(p, d.signature_track, im.signature)) {
            // Default chains, so that the song stays whole.
            if (d.tempo_chain.first == null_ref) replace_tempo_chain(p);
            if (d.signature_track.first == null_ref) replace_signature_chain(p, d.signature_track);
            return false;
        }
        const time_signature first = signature_of(s.at(d.signature_track.first));
        d.signature_track.ticks_per_beat = static_cast<std::int16_t>(first.beat_ticks());
        d.signature_track.beats_per_bar = static_cast<std::int16_t>(first.numerator);
        d.signature_track.tick_in_beat = d.signature_track.beat_in_bar = 0;
    }
    return true;
}

// What follows the lists: buttons, position memories, step names, note pad, quantize settings,
// mixer snapshots and the grid editor's section.
void take_tail(program& p, const song_image& im) {
    dll_data& d = p.d;
    app_state& a = p.app;
    song_settings& ss = p.song;
    ss.increase_button = im.increase_button;
    ss.decrease_button = im.decrease_button;
    ss.position_memory = im.position_memory;
    d.signature_track_on = im.signature_track_on;
    d.active_signature = im.signature_track_on ? d.signature_track : d.signature_chain;

    const song_file_tail& tail = im.tail;
    for (int i = 0; i < song_steps; ++i) take_name(p.step(i).name, tail.step_names[i].name);
    std::memcpy(ss.note_pad_text.data(), tail.note_pad_text, note_pad_bytes);
    a.quantize_strength = held<int>(tail.quantize_strength, 0, 100);
    a.quantize_swing = held<int>(tail.swing_factor, -9, 10);

    if (im.has_snapshots) ss.mixer_snapshots = im.snapshots;
    if (im.has_grid) {
        const grid_section& g = im.grid;
        ss.grid_split = g.grid_split;
        ss.grid_mode_flag = g.grid_mode_flag;
        ss.grid_lane = g.grid_lane;
        ss.grid_zoom_y = g.grid_zoom_y != 0 ? g.grid_zoom_y : 8;
        ss.grid_zoom_x = g.grid_zoom_x != 0 ? g.grid_zoom_x : 8;
        std::memcpy(d.transpose_exempt[2], g.transpose_exempt_c, 16);
        std::memcpy(d.transpose_exempt[3], g.transpose_exempt_d, 16);
        ss.grid_split_percent = held<std::int16_t>(g.split_percent, 0, 100);
        // The split comes back at the same share of the pane as it stands now, in 16 bits.
        if (ss.grid_split_percent != 0 && ss.grid_pane_height > 0)
            ss.grid_split =
                static_cast<std::int16_t>(ss.grid_split_percent * ss.grid_pane_height) / 100;
    }
}

bool apply_song(program& p, const song_image& im) {
    dll_data& d = p.d;
    event_store s = p.store();
    {
        program::park parked(p);
        s.free_chain(d.tempo_chain.first);
        s.free_chain(d.signature_track.first);
        d.tempo_chain.first = d.tempo_chain.play = d.tempo_chain.left_event = null_ref;
        d.signature_track.first = d.signature_track.play = d.signature_track.left_event = null_ref;
        d.tempo_chain.blocks = d.signature_track.blocks = 0;
    }

    take_head(p, im.head);
    bool built = true;
    for (int pat = 0; pat <= parallel_pattern; ++pat) {
        take_name(p.pattern(pat).name, im.pattern_names[pat].data());
        for (int t = 0; t < tracks_per_pattern; ++t)
            if (im.used[pat][t]) built = seat_track(p, pat, t, im.tracks[pat][t]) && built;
    }
    if (!take_lists(p, im)) return false;
    take_tail(p, im);
    // The closing section's tempo, else the tail's.
    const std::int32_t tempo = im.has_closing ? im.closing_tempo : im.tail.tempo;
    p.app.song_tempo = std::clamp(tempo, min_tempo, max_tempo);
    set_tempo_increment(d, p.app.song_tempo);
    select_pattern(p, held<int>(im.head.current_pattern, 0, parallel_pattern), true);
    return built;
}

}  // namespace

bool write_song_file(program& p, const std::string& path, song_file_map* map) {
    file_buffer f;
    if (!create_for_save(p, f, path)) return false;
    write_song(f, p, map);
    return finish_save(p, f, path);
}

load_result read_song_file(program& p, const std::string& path, bool report_open_failure) {
    file_buffer f;
    if (!f.open_read(path)) {
        if (report_open_failure) show_open_failure(p, f, path);
        return load_result::not_opened;
    }
    std::uint32_t magic = 0;
    f.get(magic);
    if (f.past_end() || magic != song_magic) {
        p.message(msg_no_kestrune_file);
        return load_result::not_song;
    }
    auto im = std::make_unique<song_image>();
    const bool sound = parse_song(f, *im);
    f.close();

    p.screen.wait_cursor();
    // Clearing resets the mixer, its snapshots too; a file that ends before its snapshots
    // leaves them as they were before loading, as the file format has it.
    const auto snapshots = p.song.mixer_snapshots;
    clear_song(p);
    p.song.mixer_snapshots = snapshots;
    load_result r = load_result::loaded;
    // The stored total is read as a signed number, as it always was; the real need is then
    // counted from the events themselves.
    if (static_cast<std::int16_t>(im->head.block_total) + 2 > p.d.free_blocks) {
        p.message(msg_file_too_big);
        r = load_result::too_big;
    } else if (!sound) {
        p.message(msg_file_damaged);
        r = load_result::damaged;
    } else if (!fits_in_pool(p, *im)) {
        p.message(msg_file_too_big);
        r = load_result::too_big;
    } else if (!block_total_agrees(*im)) {
        p.message(msg_file_damaged);
        r = load_result::damaged;
    } else if (!apply_song(p, *im)) {
        clear_song(p);
        p.message(msg_file_too_big);
        r = load_result::too_big;
    }
    p.screen.arrow_cursor();
    return r;
}

namespace {

void set_title(file_state& fs, const std::string& title) {
    fs.current_file_title = title;
    call(fs.title_changed);
}

void after_load(program& p, file_state& fs) {
    if (fs.rewind)
        fs.rewind();
    else
        locate(p, song_start);
}

}  // namespace

int save_song(program& p, file_state& fs) {
    if (p.refuse_while_recording()) return 0;
    p.wait_request(p.d.thru_notes_off_request);
    file_dialog_request request =
        make_file_dialog(p, fs, dialog_song, "sng", fs.current_file_title, folder_save_song);
    // A song that has a file of its own is offered where that file lies.
    if (std::string own = folder_of(fs.current_file_name); !own.empty())
        request.folder = std::move(own);
    auto path = p.screen.save_file_dialog(request);
    if (!path || path->empty()) return 0;
    remember_folder(fs, folder_save_song, *path);
    fs.current_file_title = file_name_of(*path);
    if (!write_song_file(p, *path)) return 0;
    fs.current_file_name = *path;
    set_title(fs, fs.current_file_title);
    add_recent_file(fs, *path);
    return 1;
}

int load_song(program& p, file_state& fs, bool quiet) {
    if (!quiet) {
        auto path = p.screen.open_file_dialog(
            make_file_dialog(p, fs, dialog_song, "sng", "", folder_load_song));
        if (!path || path->empty()) return 0;
        p.wait_request(p.d.thru_notes_off_request);
        call(fs.stop_transport);
        remember_folder(fs, folder_load_song, *path);
        fs.current_file_name = *path;
        set_title(fs, file_name_of(*path));
        add_recent_file(fs, *path);
    }
    return read_song_file(p, fs.current_file_name, !quiet) == load_result::loaded ? 1 : 0;
}

int load_song_by_type(program& p, file_state& fs) {
    if (p.recording() || p.d.main_screen == 0) return 0;
    if (fs.current_file_name.empty()) fs.current_file_name = default_song_name;
    const std::string ext = extension_upper(fs.current_file_name);
    int r = 0;
    if (ext == ".SNG") {
        r = load_song(p, fs, true);
        if (r) set_title(fs, file_name_of(fs.current_file_name));
    } else if (ext == ".MID" || ext == ".KAR") {
        clear_song(p);
        r = fs.load_midi && fs.load_midi(p, fs.current_file_name) ? 1 : 0;
        if (r) {
            std::string name = file_name_of(fs.current_file_name);
            set_title(fs, name.substr(0, name.size() - ext.size()) + ".sng");
        }
    } else {
        p.message(msg_unknown_file_type);
        return 0;
    }
    if (!r) {
        set_title(fs, untitled_title);
        return 0;
    }
    after_load(p, fs);
    return 1;
}

int load_recent_file(program& p, file_state& fs, const std::string& path) {
    if (p.refuse_while_recording()) return 0;
    if (p.screen.message(msg_loading_erases, msg_icon::warning, msg_buttons::ok_cancel,
                         msg_answer::ok) != msg_answer::ok)
        return 0;
    file_buffer probe;
    if (!probe.open_read(path)) {
        p.message(msg_file_not_found);
        return 0;
    }
    probe.close();
    p.wait_request(p.d.thru_notes_off_request);
    call(fs.stop_transport);
    fs.current_file_name = path;
    const int r = load_song_by_type(p, fs);
    if (r) add_recent_file(fs, path);
    return r;
}

}  // namespace kestrune
