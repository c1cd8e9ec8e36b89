#include "app/nsm_session.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "files/file_state.h"
#include "files/song_file.h"
#include "core/command_ids.h"
#include "shell/startup.h"
#include "song/patterns.h"

namespace kestrune {

std::unique_ptr<nsm_session> nsm_session::join(session& s, const std::string& executable) {
    const char* url = std::getenv(nsm_url_variable);
    if (!url || !*url) return nullptr;
    std::unique_ptr<nsm_session> joined(new nsm_session(s));
    nsm_session* self = joined.get();
    joined->client_ =
        nsm_client::connect(url, {.open = [self](const std::string& path, const std::string&,
                                                 const std::string&) { return self->open(path); },
                                  .save = [self] { return self->save(); }});
    if (!joined->client_ || !joined->client_->announce(executable, ::getpid())) return nullptr;
    return joined;
}

nsm_result nsm_session::open(const std::string& folder) {
    program& p = s_.prog;
    std::error_code made;
    std::filesystem::create_directories(folder, made);
    if (made) return {nsm_err_bad_project, "Can't make the folder " + folder};
    if (s_.editor_open()) call(s_.close_editor);
    if (p.running()) s_.trans.stop();
    p.reset_mixer();
    // Until the session manager opens a session, the File menu works as always.
    if (song_.empty()) bind_file_commands();
    song_ = folder + "/" + session_song_name;
    s_.files.current_file_name = song_;
    if (std::filesystem::exists(song_)) {
        if (!load_song_by_type(p, s_.files)) return {nsm_err_bad_project, "Can't load " + song_};
    } else {
        // A new session starts with an empty song that its first save makes.
        clear_song(p);
        s_.files.current_file_title = session_song_name;
        call(s_.files.title_changed);
    }
    s_.trans.rewind(1);
    s_.mark_song_saved();
    p.screen.repaint(-1);
    return {};
}

nsm_result nsm_session::save() {
    program& p = s_.prog;
    if (p.recording()) return {nsm_err_not_now, msg_while_recording};
    if (!write_song_file(p, song_)) return {nsm_err_general, "Can't save " + song_};
    s_.mark_song_saved();
    return {};
}

void nsm_session::bind_file_commands() {
    // The session's song is the only song: Save Song saves it, and Load Song stays out.
    if (command_record* save = s_.commands.find(cmd::save_song))
        save->run = [this](program& p, const field_values&) {
            if (song_.empty() || p.refuse_while_recording() || !write_song_file(p, song_)) return outcome::refused;
            s_.mark_song_saved();
            return outcome::done;
        };
    if (command_record* load = s_.commands.find(cmd::load_song))
        load->enabled = [](const program&) { return false; };
}

}  // namespace kestrune
