#include "engine/gm_synth.h"

#include <fluidsynth.h>
#include <glib.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <mutex>

namespace kestrune {

namespace {

constexpr int channels_per_port = 16;
constexpr int synth_channels = channels_per_port * 4;
constexpr int drum_channel = 9;
constexpr int cc_all_sound_off = 120;
constexpr int cc_all_notes_off = 123;

// FluidSynth reports on stderr; what matters reaches the user as the program's own message.
void quiet_fluid() {
    static std::once_flag once;
    std::call_once(once, [] {
        for (int level : {FLUID_PANIC, FLUID_ERR, FLUID_WARN, FLUID_INFO, FLUID_DBG})
            fluid_set_log_function(level, nullptr, nullptr);
    });
}

// GM System On/Off, GS Reset, XG System On: the messages that put an instrument back to its start.
bool is_system_reset(const std::uint8_t* body, std::size_t n) {
    static constexpr std::uint8_t gs[] = {0x41, 0x10, 0x42, 0x12, 0x40, 0x00, 0x7F};
    static constexpr std::uint8_t xg[] = {0x43, 0x10, 0x4C, 0x00, 0x00, 0x7E};
    const auto starts = [&](const std::uint8_t* head, std::size_t len) {
        if (n < len) return false;
        for (std::size_t i = 0; i < len; ++i)
            if (i != 1 && body[i] != head[i]) return false;  // byte 1 is the device number
        return true;
    };
    return (n >= 3 && body[0] == 0x7E && body[2] == 0x09) || starts(gs, sizeof gs) ||
           starts(xg, sizeof xg);
}

}  // namespace

std::vector<std::string> soundfont_places() {
    // The link the Debian packages keep for the General MIDI set in use comes first.
    return {"/usr/share/sounds/sf2/default-GM.sf2", "/usr/share/sounds/sf2/FluidR3_GM.sf2",
            "/usr/share/sounds/sf2/TimGM6mb.sf2",   "/usr/share/sounds/sf3/default-GM.sf3",
            "/usr/share/sounds/sf3/FluidR3_GM.sf3", "/usr/share/soundfonts/default.sf2",
            "/usr/share/soundfonts/FluidR3_GM.sf2"};
}

std::string default_soundfont() {
    for (const std::string& p : soundfont_places())
        if (soundfont_file(p)) return p;
    return {};
}

bool soundfont_file(const std::string& path) {
    struct stat st {};
    return !path.empty() && stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

std::string soundfont_error(const std::string& path) {
    return "Can't load the SoundFont\n" + path;
}

gm_synth::gm_synth(int sample_rate, int cpu_cores) : rate_(std::clamp(sample_rate, 8000, 96000)) {
    quiet_fluid();
    settings_ = new_fluid_settings();
    fluid_settings_setnum(settings_, "synth.sample-rate", rate_);
    fluid_settings_setint(settings_, "synth.midi-channels", synth_channels);
    // The program's own timing decides; FluidSynth must not stretch short notes.
    fluid_settings_setint(settings_, "synth.min-note-length", 0);
    fluid_settings_setint(settings_, "synth.cpu-cores", std::clamp(cpu_cores, 1, 256));
    synth_ = new_fluid_synth(settings_);
}

gm_synth::~gm_synth() {
    if (synth_) delete_fluid_synth(synth_);
    if (settings_) delete_fluid_settings(settings_);
}

bool gm_synth::load(const std::string& path, std::string* why) {
    // The SoundFont readers complain on stderr about a file that is none; the message is ours.
    const GLogFunc complaints = g_log_set_default_handler(
        +[](const gchar*, GLogLevelFlags, const gchar*, gpointer) {}, nullptr);
    const int id =
        synth_ && soundfont_file(path) ? fluid_synth_sfload(synth_, path.c_str(), 0) : -1;
    g_log_set_default_handler(complaints, nullptr);
    if (id < 0) {
        if (why) *why = path.empty() ? msg_no_soundfont : soundfont_error(path);
        return false;
    }
    if (font_id_ >= 0) fluid_synth_sfunload(synth_, font_id_, 0);
    font_id_ = id;
    font_ = path;
    set_drum_channels();
    fluid_synth_program_reset(synth_);
    return true;
}

void gm_synth::set_drum_channels() {
    // Channel 10 of every port plays drums, as on a General MIDI instrument of its own.
    for (int c = 0; c < synth_channels; ++c)
        fluid_synth_set_channel_type(
            synth_, c,
            c % channels_per_port == drum_channel ? CHANNEL_TYPE_DRUM : CHANNEL_TYPE_MELODIC);
}

void gm_synth::play(int port, const std::uint8_t* b, std::size_t n) {
    if (!synth_ || port < 0 || port > 3 || n == 0) return;
    const std::uint8_t status = b[0];
    if (status == 0xF0) {
        // FluidSynth takes the body without F0 and F7. A reset it acts on touches all 64
        // channels, which undoes the drum channels of the ports B to D.
        const std::size_t body = n >= 2 && b[n - 1] == 0xF7 ? n - 2 : n - 1;
        int handled = 0;
        fluid_synth_sysex(synth_, reinterpret_cast<const char*>(b + 1), static_cast<int>(body),
                          nullptr, nullptr, &handled, 0);
        if (handled && is_system_reset(b + 1, body)) {
            set_drum_channels();
            fluid_synth_program_reset(synth_);
        }
        return;
    }
    if (status < 0x80 || status >= 0xF0)
        return;  // clock and other system messages: nothing to play
    const int ch = port * channels_per_port + (status & 0x0F);
    const int d1 = n > 1 ? b[1] & 0x7F : 0;
    const int d2 = n > 2 ? b[2] & 0x7F : 0;
    switch (status & 0xF0) {
        case 0x80:
            fluid_synth_noteoff(synth_, ch, d1);
            break;
        case 0x90:
            d2 ? fluid_synth_noteon(synth_, ch, d1, d2) : fluid_synth_noteoff(synth_, ch, d1);
            break;
        case 0xA0:
            fluid_synth_key_pressure(synth_, ch, d1, d2);
            break;
        case 0xB0:
            fluid_synth_cc(synth_, ch, d1, d2);
            // The reset ends with all-notes-off on every channel: a synth that is told to be quiet
            // cuts the releases too, or a panic would ring on.
            if (d1 == cc_all_notes_off) fluid_synth_all_sounds_off(synth_, ch);
            break;
        case 0xC0:
            fluid_synth_program_change(synth_, ch, d1);
            break;
        case 0xD0:
            fluid_synth_channel_pressure(synth_, ch, d1);
            break;
        case 0xE0:
            fluid_synth_pitch_bend(synth_, ch, d1 | (d2 << 7));
            break;
        default:
            break;
    }
}

void gm_synth::sound_off(int port) {
    if (!synth_ || port < 0 || port > 3) return;
    for (int c = 0; c < channels_per_port; ++c)
        fluid_synth_cc(synth_, port * channels_per_port + c, cc_all_sound_off, 0);
}

void gm_synth::render_plain(float* left, float* right, std::uint32_t frames) {
    if (frames == 0) return;
    if (synth_) {
        fluid_synth_write_float(synth_, static_cast<int>(frames), left, 0, 1, right, 0, 1);
    } else {
        std::fill(left, left + frames, 0.0f);
        std::fill(right, right + frames, 0.0f);
    }
    rendered_ += frames;
}

void gm_synth::render(float* left, float* right, std::uint32_t frames,
                      const timed_message* messages, std::size_t count) {
    const std::uint64_t start = rendered_;
    std::uint32_t done = 0;
    for (std::size_t i = 0; i < count; ++i) {
        const timed_message& m = messages[i];
        const std::uint64_t at = start + std::min(m.frame, frames);
        const std::uint64_t block = at - at % synth_block_frames;
        if (block > rendered_) {
            const auto upto = static_cast<std::uint32_t>(block - start);
            render_plain(left + done, right + done, upto - done);
            done = upto;
        }
        play(m.port, m.bytes, m.size);
    }
    render_plain(left + done, right + done, frames - done);
}

int gm_synth::active_voices() const {
    return synth_ ? fluid_synth_get_active_voice_count(synth_) : 0;
}

}  // namespace kestrune
