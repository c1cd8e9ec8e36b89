// The built-in General MIDI synth: FluidSynth playing one SoundFont, with 16 channels for each of
// the ports A to D. FluidSynth renders in blocks of 64 frames and takes a message at the start of
// a block, so a message is fed just before the block that holds its frame: never later than one
// block early, whatever the caller's period.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

struct _fluid_hashtable_t;
struct _fluid_synth_t;

namespace kestrune {

inline constexpr int synth_block_frames = 64;
inline constexpr const char* synth_device_name = "Built-in GM";

// Where General MIDI SoundFonts are installed; the first that exists is the default.
std::vector<std::string> soundfont_places();
// The default SoundFont, empty when none is installed.
std::string default_soundfont();

// The message shown when no SoundFont can be had.
inline constexpr const char* msg_no_soundfont =
    "The built-in synth finds no SoundFont in /usr/share/sounds/sf2/!\n"
    "Install one there (Debian: timgm6mb-soundfont or\n"
    "fluid-soundfont-gm) or choose one in MIDI Setup.";
// A file is there; whether it is a SoundFont shows when it loads.
bool soundfont_file(const std::string& path);
// "Can't load the SoundFont\n<path>": the file is missing or is not a SoundFont.
std::string soundfont_error(const std::string& path);

// A message for the block being rendered: `frame` counts from the first frame of the call.
struct timed_message {
    std::uint32_t frame;
    std::uint8_t port;
    std::uint32_t size;
    const std::uint8_t* bytes;
};

class gm_synth {
public:
    // `cpu_cores` above 1 renders voices on that many threads: for exports, not for live play.
    explicit gm_synth(int sample_rate, int cpu_cores = 1);
    ~gm_synth();
    gm_synth(const gm_synth&) = delete;
    gm_synth& operator=(const gm_synth&) = delete;

    int sample_rate() const { return rate_; }
    // Replaces the SoundFont. On failure the synth keeps the one it had and `why` says so.
    bool load(const std::string& path, std::string* why);
    bool loaded() const { return font_id_ >= 0; }
    const std::string& soundfont() const { return font_; }

    // Takes one complete message from port 0 to 3 at the start of the next block.
    void play(int port, const std::uint8_t* bytes, std::size_t n);
    // Ends every voice of a port's channels at once, release and all.
    void sound_off(int port);
    // Renders `frames` frames, feeding each message (in frame order) just before the block that
    // holds its frame; a message behind the blocks already rendered goes in at once.
    void render(float* left, float* right, std::uint32_t frames, const timed_message* messages,
                std::size_t count);
    int active_voices() const;

private:
    void render_plain(float* left, float* right, std::uint32_t frames);
    void set_drum_channels();

    int rate_;
    _fluid_hashtable_t* settings_ = nullptr;
    _fluid_synth_t* synth_ = nullptr;
    int font_id_ = -1;
    std::string font_;
    std::uint64_t rendered_ = 0;  // frames since the synth was made; its blocks count from 0
};

}  // namespace kestrune
