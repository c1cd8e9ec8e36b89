// Check For Updates: one line "GET <path>\n" to the maker's server over a plain TCP socket,
// answered by a bare five-character version text such as "0.2.0". The request runs on a worker
// thread; the window polls for the outcome on its tick and never waits for the network.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "core/ui.h"

namespace kestrune {

inline constexpr const char* update_caption = "Update check";
inline constexpr const char* msg_new_version =
    "New version available.\nMake sure you quit this application before installing the "
    "update.\nGo to download page?";
inline constexpr const char* msg_no_new_version = "No new updates available at this time.";
inline constexpr const char* msg_update_failed = "Failed to connect to ";

inline constexpr int update_timeout_ms = 5000;

// Where the check asks; the settings may point it anywhere.
struct update_server {
    std::string host = "www.vandrelle.com";
    int port = 0;  // 0: the port of the "http" service, else 80
    std::string path = "/download/versioninfo/kestrune_linux.txt";
    std::string download_page = "https://www.vandrelle.com/download/";
};

// The number of a version text: its characters 0, 2 and 4 as digits, (d0 * 10 + d2) * 10 + d4,
// so "3.3.9" is 339. -1 for a text that is not five characters with digits there.
int version_number(std::string_view text);

enum class update_outcome { pending, newer, up_to_date, failed };

class update_check {
  public:
    explicit update_check(int timeout_ms = update_timeout_ms);
    ~update_check();  // a request still running ends on its own
    update_check(const update_check&) = delete;
    update_check& operator=(const update_check&) = delete;

    // Starts a request on the worker; false while one is in progress.
    bool start(const update_server& server, std::string own_version);
    bool busy() const;
    // The outcome once the request ended, or failed when its time ran out first; pending until
    // then. An outcome is handed out once, and the check is free for the next start.
    update_outcome poll();

  private:
    struct request;
    std::shared_ptr<request> running_;
    int timeout_ms_;
};

// The message of an outcome, captioned "Update check"; Yes to the new version runs
// `open_download_page`.
void report_update(ui& screen, update_outcome outcome, const update_server& server,
                   const std::function<void()>& open_download_page);

}  // namespace kestrune
