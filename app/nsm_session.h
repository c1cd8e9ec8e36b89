// The program in an NSM session: when NSM_URL is set it announces itself, keeps its song as
// "Song.sng" in the folder the session manager names, opens and saves it when asked, and saves
// with Save Song without a file dialog. Quitting comes as SIGTERM, which the program takes already.
#pragma once

#include <memory>
#include <string>

#include "services/session_manager.h"

namespace kestrune {

class session;

inline constexpr const char* session_song_name = "Song.sng";

class nsm_session {
  public:
    // Announces the program when NSM_URL is set; nothing when it is not, or cannot be used.
    static std::unique_ptr<nsm_session> join(session& s, const std::string& executable);

    // The socket to watch, and the handling of what waits on it.
    int fd() const { return client_->fd(); }
    void poll() { client_->poll(); }
    const nsm_client& client() const { return *client_; }
    // The song's file once the session manager opened the session, else empty.
    const std::string& song_path() const { return song_; }

  private:
    explicit nsm_session(session& s) : s_(s) {}
    nsm_result open(const std::string& folder);
    nsm_result save();
    void bind_file_commands();

    session& s_;
    std::unique_ptr<nsm_client> client_;
    std::string song_;
};

}  // namespace kestrune
