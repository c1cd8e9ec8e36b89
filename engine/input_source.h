// The source of the MIDI input as a backend's device watch follows it. The input port takes what
// is connected to it, however the connection was made; the source is the device it was given, or
// the one found connected to it, and what became of that device.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "engine/midi_backend.h"

namespace kestrune {

struct input_source {
    std::string name;  // the backend's own name of the device; empty for none
    device_state state = device_state::closed;
};

struct input_watch {
    input_source next;
    bool reconnect = false;  // the lost device is back: connect it again
};

// What the watch makes of the source, from whether its device is still there and what is
// connected to the input now. A device that went away is lost until it is back. A connection
// taken away while the device stays was the user's doing: whatever else is connected, or nothing,
// is the source from then on. A connection made elsewhere becomes the source.
inline input_watch follow_input(const input_source& s, bool there,
                                const std::vector<std::string>& connected) {
    const bool linked =
        !s.name.empty() && std::find(connected.begin(), connected.end(), s.name) != connected.end();
    if (linked) return {{s.name, device_state::connected}, false};
    if (lost(s.state)) return {s, there};
    if (s.state == device_state::connected && !there) return {{s.name, device_state::gone}, false};
    if (connected.empty()) return {{"", device_state::closed}, false};
    return {{connected.front(), device_state::connected}, false};
}

}  // namespace kestrune
