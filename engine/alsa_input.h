// The program's MIDI input on the ALSA sequencer: the port "In" of a client "Kestrune", there from
// start to end, so that whatever another program (aconnect, a patchbay) connects to it is heard.
// The sequencer stamps each event with the time it arrived; the sink gets that time on the
// engine's clock, however long the event waited to be read.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "engine/midi_backend.h"

typedef struct _snd_seq snd_seq_t;
typedef struct snd_midi_event snd_midi_event_t;
struct snd_seq_event;

namespace kestrune {

// A sequencer port: client and port number.
struct seq_address {
    int client = -1;
    int port = -1;
    bool operator==(const seq_address&) const = default;
};

class alsa_input {
  public:
    // Opens the client and its port and starts reading; ok() is false where that fails.
    alsa_input();
    ~alsa_input();
    alsa_input(const alsa_input&) = delete;
    alsa_input& operator=(const alsa_input&) = delete;

    bool ok() const { return reader_ != nullptr; }
    // From the reading thread on, every message goes to `sink`; null returns once none is handed
    // to the old one any more.
    void listen(midi_input_sink* sink);
    bool connect(seq_address from);
    void disconnect(seq_address from);
    // The ports connected to the input now.
    std::vector<seq_address> sources() const;
    // A port of the machine's own hardware (a keyboard, an interface), not a program's.
    bool hardware(seq_address a) const;

  private:
    bool open_port();
    void release();
    bool subscribe(seq_address from, bool on);
    void read_events();
    // The engine's time of an event the sequencer stamped on the input's queue.
    std::int64_t arrival(const snd_seq_event* ev) const;

    snd_seq_t* reader_ = nullptr;   // the client itself: the port, its queue, the events
    snd_seq_t* control_ = nullptr;  // connections and queries, from other threads than the reader
    int client_ = -1;
    int port_ = -1;
    int queue_ = -1;
    snd_midi_event_t* decoder_ = nullptr;
    std::vector<std::uint8_t> bytes_;  // one decoded event
    midi_input_sink* sink_ = nullptr;  // changed only with the gate closed
    port_gate listening_;
    std::atomic<bool> quit_{false};
    int wake_[2] = {-1, -1};
    std::thread thread_;
};

}  // namespace kestrune
