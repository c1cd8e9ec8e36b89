// The built-in synth as a MIDI device: one output, "Built-in GM", that any of the ports A to D
// may choose. While a JACK server runs its sound leaves through the audio ports
// "Kestrune:synth_out_l" and "_r" of the program's own JACK client, each message rendered at its
// own frame one constant latency after its due time, as the JACK MIDI ports do; otherwise through
// FluidSynth's own audio driver (PipeWire, PulseAudio or ALSA).
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engine/gm_synth.h"
#include "engine/jack_cycle.h"
#include "engine/midi_backend.h"

struct _fluid_audio_driver_t;
struct _fluid_hashtable_t;

namespace kestrune {

inline constexpr const char* synth_port_left = "synth_out_l";
inline constexpr const char* synth_port_right = "synth_out_r";
inline constexpr const char* msg_synth_no_audio =
    "The built-in synth found no audio output!\nStart a JACK server, PipeWire or PulseAudio,\n"
    "or check the sound card.";

class synth_backend final : public midi_backend, private jack_audio_part {
public:
    enum class output { none, jack, driver };

    // `jack` carries the sound while a server runs; without it the audio driver always plays.
    explicit synth_backend(jack_audio_host* jack = nullptr);
    ~synth_backend() override;
    synth_backend(const synth_backend&) = delete;
    synth_backend& operator=(const synth_backend&) = delete;

    // The SoundFont to play, empty for the default one. A running synth changes over at once;
    // on failure it keeps what it had, `why` says so, and the choice is not taken.
    bool set_soundfont(const std::string& path, std::string* why);
    // The SoundFont as the settings keep it, unchecked: it loads when a port first opens, and
    // when it cannot, the port stays closed with the reason in problem().
    void choose_soundfont(const std::string& path) { chosen_ = path; }
    // As chosen: empty means the default.
    const std::string& soundfont() const { return chosen_; }
    // The file that plays or would play; empty when there is none.
    std::string soundfont_in_use() const;
    // Why the device cannot be opened now, empty when it can.
    std::string problem() const { return problem_; }
    output sound_output() const { return output_; }

    // One device, marked unavailable when no SoundFont can be had.
    std::vector<std::string> output_devices() override;
    std::vector<std::string> input_devices() override { return {}; }
    bool open_output(int port, int device) override;
    // What is queued plays, then every voice of the port's channels ends.
    void close_output(int port) override;
    bool output_open(int port) const override;
    std::string open_failure(int) const override { return problem_; }
    void send(int port, const std::uint8_t* bytes, std::size_t n, std::int64_t due_us) override;

    std::uint64_t late_messages() const;

private:
    const char* output_name(int side) const override;
    bool joined(int sample_rate) override;
    void leaving() override;
    // Audio thread: the queued messages of cycle `c` into one cycle of sound.
    void process(float* left, float* right, std::uint32_t frames, const jack_cycle& c,
                 std::int64_t latency_frames) override;
    static int driver_entry(void* self, int len, int nfx, float* fx[], int nout, float* out[]);

    bool start_audio();
    void stop_audio();
    bool audio_running() const;
    // Waits until the audio thread has finished `cycles` more cycles, or there is none.
    void wait_cycles(int cycles) const;
    // Builds a synth at `rate` with the chosen SoundFont; null and problem_ set on failure.
    std::unique_ptr<gm_synth> make_synth(int rate);

    jack_audio_host* jack_;
    std::string chosen_;
    std::string problem_;
    output output_ = output::none;
    std::unique_ptr<gm_synth> synth_;
    std::atomic<gm_synth*> live_{nullptr};  // what the audio thread plays
    std::atomic<bool> open_[output_ports] = {};
    std::atomic<bool> sending_[output_ports] = {};
    std::atomic<bool> sound_off_[output_ports] = {};
    std::unique_ptr<jack_port_queue> queue_[output_ports];
    std::atomic<std::uint64_t> cycles_{0};

    // The audio thread's working space, allocated once.
    class collector;
    std::unique_ptr<collector> collect_;

    _fluid_hashtable_t* driver_settings_ = nullptr;
    _fluid_audio_driver_t* driver_ = nullptr;
};

}  // namespace kestrune
