#include "files/pattern_file.h"

#include <array>
#include <cstring>
#include <memory>

#include "files/file_messages.h"
#include "song/locate.h"

namespace kestrune {

namespace {

bool pattern_empty(const program& p, int pattern) {
    for (int t = 0; t < tracks_per_pattern; ++t)
        if (p.slot(pattern, t).in_use) return false;
    return true;
}

// Opens a file and checks its magic; says why when it cannot.
load_result open_checked(program& p, file_buffer& f, const std::string& path, std::uint32_t magic) {
    if (!f.open_read(path)) {
        show_open_failure(p, f, path);
        return load_result::not_opened;
    }
    std::uint32_t m = 0;
    f.get(m);
    if (f.past_end() || m != magic) {
        p.message(msg_no_kestrune_file);
        return load_result::not_song;
    }
    return load_result::loaded;
}

std::int64_t blocks_needed(const stored_track& t) {
    return blocks_for_records(t.records.size());
}

}  // namespace

bool write_pattern_file(program& p, int pattern, const std::string& path) {
    file_buffer f;
    if (!create_for_save(p, f, path)) return false;
    pattern_file_head h{};
    h.magic = pattern_magic;
    int total = 0;
    for (int t = 0; t < tracks_per_pattern; ++t)
        if (p.slot(pattern, t).in_use) total += p.slot(pattern, t).blocks;
    h.block_total = static_cast<std::uint16_t>(total);
    std::memcpy(h.name, p.pattern(pattern).name, 10);
    f.put(h);
    for (int t = 0; t < tracks_per_pattern; ++t) {
        const std::uint8_t in_use = p.slot(pattern, t).in_use;
        f.put(in_use);
        if (in_use) write_track_chunk(f, p, pattern, t);
    }
    return finish_save(p, f, path);
}

bool write_track_file(program& p, int pattern, int track, const std::string& path) {
    if (p.slot(pattern, track).in_use != 1) {
        p.message(msg_no_data);
        return false;
    }
    file_buffer f;
    if (!create_for_save(p, f, path)) return false;
    track_file_head h{track_magic, p.slot(pattern, track).blocks};
    f.put(h);
    write_track_chunk(f, p, pattern, track);
    return finish_save(p, f, path);
}

load_result read_pattern_file(program& p, int pattern, const std::string& path) {
    if (!pattern_empty(p, pattern)) {
        p.message(msg_pattern_not_empty);
        return load_result::occupied;
    }
    file_buffer f;
    if (auto r = open_checked(p, f, path, pattern_magic); r != load_result::loaded) return r;
    pattern_file_head h{};
    f.file_get(reinterpret_cast<std::uint8_t*>(&h) + 4, sizeof h - 4);
    auto tracks = std::make_unique<std::array<stored_track, tracks_per_pattern>>();
    std::array<bool, tracks_per_pattern> used{};
    bool sound = !f.past_end();
    std::int64_t need = 1;
    for (int t = 0; sound && t < tracks_per_pattern; ++t) {
        std::uint8_t in_use = 0;
        f.get(in_use);
        used[t] = in_use != 0;
        sound = !f.past_end() && (!used[t] || read_track_chunk(f, (*tracks)[t]));
        if (used[t]) need += blocks_needed((*tracks)[t]);
    }
    f.close();
    // The total is unsigned here, unlike the song file's.
    if (std::int64_t{h.block_total} + 2 > p.d.free_blocks) {
        p.message(msg_file_too_big);
        return load_result::too_big;
    }
    if (!sound) {
        p.message(msg_file_damaged);
        return load_result::damaged;
    }
    if (need > p.d.free_blocks) {
        p.message(msg_file_too_big);
        return load_result::too_big;
    }
    p.screen.wait_cursor();
    take_name(p.pattern(pattern).name, h.name);
    for (int t = 0; t < tracks_per_pattern; ++t) {
        if (!used[t]) continue;
        seat_track(p, pattern, t, (*tracks)[t]);
        locate_track(p, pattern, t);
    }
    p.screen.arrow_cursor();
    return load_result::loaded;
}

load_result read_track_file(program& p, int pattern, int track, const std::string& path) {
    if (p.slot(pattern, track).in_use) {
        p.message(msg_track_not_empty);
        return load_result::occupied;
    }
    file_buffer f;
    if (auto r = open_checked(p, f, path, track_magic); r != load_result::loaded) return r;
    std::uint16_t blocks = 0;
    f.get(blocks);
    stored_track t;
    const bool sound = !f.past_end() && read_track_chunk(f, t);
    f.close();
    if (std::int64_t{blocks} + 2 > p.d.free_blocks) {
        p.message(msg_file_too_big);
        return load_result::too_big;
    }
    if (!sound) {
        p.message(msg_file_damaged);
        return load_result::damaged;
    }
    if (1 + blocks_needed(t) > p.d.free_blocks) {
        p.message(msg_file_too_big);
        return load_result::too_big;
    }
    p.screen.wait_cursor();
    seat_track(p, pattern, track, t);
    locate_track(p, pattern, track);
    p.screen.arrow_cursor();
    return load_result::loaded;
}

namespace {

bool command_start(program& p) {
    if (p.refuse_while_recording()) return false;
    p.wait_request(p.d.thru_notes_off_request);
    return true;
}

}  // namespace

int save_pattern(program& p, file_state& fs) {
    if (!command_start(p)) return 0;
    const int pattern = p.d.current_pattern;
    auto path = p.screen.save_file_dialog(make_file_dialog(
        p, fs, dialog_pattern, "pat", suggested_file_name(p.pattern(pattern).name)));
    if (!path || path->empty()) return 0;
    return write_pattern_file(p, pattern, *path) ? 1 : 0;
}

int load_pattern(program& p, file_state& fs) {
    if (!command_start(p)) return 0;
    const int pattern = p.d.current_pattern;
    if (!pattern_empty(p, pattern)) {
        p.message(msg_pattern_not_empty);
        return 0;
    }
    auto path = p.screen.open_file_dialog(make_file_dialog(p, fs, dialog_pattern, "pat", ""));
    if (!path || path->empty()) return 0;
    return read_pattern_file(p, pattern, *path) == load_result::loaded ? 1 : 0;
}

int save_track(program& p, file_state& fs) {
    if (!command_start(p)) return 0;
    const int pattern = p.d.current_pattern;
    const int track = p.d.current_track;
    if (p.slot(pattern, track).in_use != 1) {
        p.message(msg_no_data);
        return 0;
    }
    auto path = p.screen.save_file_dialog(make_file_dialog(
        p, fs, dialog_track, "trk", suggested_file_name(p.slot(pattern, track).name)));
    if (!path || path->empty()) return 0;
    return write_track_file(p, pattern, track, *path) ? 1 : 0;
}

int load_track(program& p, file_state& fs) {
    if (!command_start(p)) return 0;
    const int pattern = p.d.current_pattern;
    const int track = p.d.current_track;
    if (p.slot(pattern, track).in_use) {
        p.message(msg_track_not_empty);
        return 0;
    }
    auto path = p.screen.open_file_dialog(make_file_dialog(p, fs, dialog_track, "trk", ""));
    if (!path || path->empty()) return 0;
    return read_track_file(p, pattern, track, *path) == load_result::loaded ? 1 : 0;
}

}  // namespace kestrune
