#include "engine/alsa_input.h"

#include <alsa/asoundlib.h>
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

namespace kestrune {

namespace {

constexpr const char* client_name = "Kestrune";
constexpr const char* port_name = "In";
// The largest event passed on whole; a sysex the sender split comes in pieces anyway.
constexpr std::size_t largest_event = 1 << 16;

std::int64_t steady_us() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

std::int64_t micros(const snd_seq_real_time_t& t) {
    return std::int64_t{t.tv_sec} * 1'000'000 + t.tv_nsec / 1000;
}

snd_seq_t* open_sequencer() {
    snd_seq_t* seq = nullptr;
    if (snd_seq_open(&seq, "default", SND_SEQ_OPEN_DUPLEX, SND_SEQ_NONBLOCK) < 0) return nullptr;
    snd_seq_set_client_name(seq, client_name);
    return seq;
}

snd_seq_addr_t address(int client, int port) {
    snd_seq_addr_t a;
    a.client = static_cast<unsigned char>(client);
    a.port = static_cast<unsigned char>(port);
    return a;
}

}  // namespace

alsa_input::alsa_input() : bytes_(largest_event) {
    reader_ = open_sequencer();
    control_ = open_sequencer();
    if (reader_ && control_ && pipe2(wake_, O_CLOEXEC) == 0 && open_port()) {
        thread_ = std::thread([this] { read_events(); });
        return;
    }
    release();
}

bool alsa_input::open_port() {
    if (snd_midi_event_new(largest_event, &decoder_) < 0) return false;
    // Every message with its status byte: the engine reads each on its own.
    snd_midi_event_no_status(decoder_, 1);
    client_ = snd_seq_client_id(reader_);
    queue_ = snd_seq_alloc_named_queue(reader_, "Kestrune input");
    if (client_ < 0 || queue_ < 0) return false;
    // The port stamps what it receives with the real time of the queue, whoever connected it.
    snd_seq_port_info_t* info;
    snd_seq_port_info_alloca(&info);
    snd_seq_port_info_set_name(info, port_name);
    snd_seq_port_info_set_capability(info, SND_SEQ_PORT_CAP_WRITE | SND_SEQ_PORT_CAP_SUBS_WRITE);
    snd_seq_port_info_set_type(info,
                               SND_SEQ_PORT_TYPE_MIDI_GENERIC | SND_SEQ_PORT_TYPE_APPLICATION);
    snd_seq_port_info_set_timestamping(info, 1);
    snd_seq_port_info_set_timestamp_real(info, 1);
    snd_seq_port_info_set_timestamp_queue(info, queue_);
    if (snd_seq_create_port(reader_, info) < 0) return false;
    port_ = snd_seq_port_info_get_port(info);
    return snd_seq_start_queue(reader_, queue_, nullptr) >= 0 && snd_seq_drain_output(reader_) >= 0;
}

void alsa_input::release() {
    if (thread_.joinable()) {
        quit_.store(true);
        const char stop = 1;
        while (write(wake_[1], &stop, 1) < 0 && errno == EINTR) {
        }
        thread_.join();
    }
    if (decoder_) snd_midi_event_free(decoder_);
    if (reader_) snd_seq_close(reader_);
    if (control_) snd_seq_close(control_);
    for (int& fd : wake_)
        if (fd >= 0) close(fd);
    decoder_ = nullptr;
    reader_ = control_ = nullptr;
    wake_[0] = wake_[1] = -1;
}

alsa_input::~alsa_input() {
    release();
}

void alsa_input::listen(midi_input_sink* sink) {
    listening_.close();
    sink_ = sink;
    if (sink) listening_.open();
}

bool alsa_input::subscribe(seq_address from, bool on) {
    if (!control_) return false;
    snd_seq_port_subscribe_t* sub;
    snd_seq_port_subscribe_alloca(&sub);
    const snd_seq_addr_t sender = address(from.client, from.port), dest = address(client_, port_);
    snd_seq_port_subscribe_set_sender(sub, &sender);
    snd_seq_port_subscribe_set_dest(sub, &dest);
    if (!on) return snd_seq_unsubscribe_port(control_, sub) == 0;
    const int r = snd_seq_subscribe_port(control_, sub);
    return r == 0 || r == -EBUSY;  // busy: connected already
}

bool alsa_input::connect(seq_address from) {
    return subscribe(from, true);
}

void alsa_input::disconnect(seq_address from) {
    subscribe(from, false);
}

std::vector<seq_address> alsa_input::sources() const {
    std::vector<seq_address> v;
    if (!control_) return v;
    snd_seq_query_subscribe_t* q;
    snd_seq_query_subscribe_alloca(&q);
    const snd_seq_addr_t root = address(client_, port_);
    snd_seq_query_subscribe_set_root(q, &root);
    snd_seq_query_subscribe_set_type(q, SND_SEQ_QUERY_SUBS_WRITE);  // the ports writing to ours
    snd_seq_query_subscribe_set_index(q, 0);
    while (snd_seq_query_port_subscribers(control_, q) >= 0) {
        const snd_seq_addr_t* a = snd_seq_query_subscribe_get_addr(q);
        v.push_back({a->client, a->port});
        snd_seq_query_subscribe_set_index(q, snd_seq_query_subscribe_get_index(q) + 1);
    }
    return v;
}

bool alsa_input::hardware(seq_address a) const {
    if (!control_) return false;
    snd_seq_port_info_t* info;
    snd_seq_port_info_alloca(&info);
    if (snd_seq_get_any_port_info(control_, a.client, a.port, info) < 0) return false;
    return (snd_seq_port_info_get_type(info) & SND_SEQ_PORT_TYPE_HARDWARE) != 0;
}

std::int64_t alsa_input::arrival(const snd_seq_event_t* ev) const {
    const std::int64_t now = steady_us();
    if (ev->queue != queue_ || (ev->flags & SND_SEQ_TIME_STAMP_MASK) != SND_SEQ_TIME_STAMP_REAL)
        return now;
    // How long ago the sequencer stamped it, by the queue's own clock.
    snd_seq_queue_status_t* status;
    snd_seq_queue_status_alloca(&status);
    if (snd_seq_get_queue_status(reader_, queue_, status) < 0) return now;
    const std::int64_t waited =
        micros(*snd_seq_queue_status_get_real_time(status)) - micros(ev->time.time);
    return waited > 0 ? now - waited : now;
}

void alsa_input::read_events() {
    const int n = snd_seq_poll_descriptors_count(reader_, POLLIN);
    std::vector<pollfd> fds(static_cast<std::size_t>(n) + 1);
    snd_seq_poll_descriptors(reader_, fds.data(), static_cast<unsigned>(n), POLLIN);
    fds.back() = {wake_[0], POLLIN, 0};
    while (!quit_.load()) {
        if (poll(fds.data(), fds.size(), 500) <= 0) continue;
        if (fds.back().revents != 0) break;
        snd_seq_event_t* ev = nullptr;
        // Non-blocking: -EAGAIN once everything waiting has been read; -ENOSPC after an overrun.
        for (int r; (r = snd_seq_event_input(reader_, &ev)) >= 0 || r == -ENOSPC;) {
            if (r < 0 || !ev) continue;
            // Connections coming and going, and the like, are no MIDI: decoding refuses them.
            snd_midi_event_reset_decode(decoder_);
            const long size = snd_midi_event_decode(decoder_, bytes_.data(),
                                                    static_cast<long>(bytes_.size()), ev);
            if (size <= 0 || !listening_.enter()) continue;
            sink_->midi_in(bytes_.data(), static_cast<std::size_t>(size), arrival(ev));
            listening_.leave();
        }
    }
}

}  // namespace kestrune
