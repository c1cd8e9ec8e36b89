#include "shell/synth_commands.h"

#include "engine/synth_backend.h"
#include "files/synth_settings.h"
#include "shell/audio_export.h"
#include "shell/startup.h"

namespace kestrune {

bool take_soundfont(synth_backend& synth, const std::string& path, std::string* why) {
    if (!synth.set_soundfont(path, why)) return false;
    save_synth_settings({synth.soundfont()});
    return true;
}

void add_synth_commands(session& s, synth_backend& synth) {
    add_audio_export(s);
    s.setup.soundfont.in_use = synth.soundfont_in_use();
    s.setup.soundfont.choose = [&synth](const std::string& path, std::string* why) {
        return take_soundfont(synth, path, why);
    };
}

}  // namespace kestrune
