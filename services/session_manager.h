// Joining a session of the Non Session Manager (NSM) protocol, over OSC with liblo: when NSM_URL
// is set the program announces itself, opens and saves its song where the session manager says,
// and quits on its SIGTERM. The window polls the client's socket on its own loop.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace kestrune {

inline constexpr const char* nsm_url_variable = "NSM_URL";

// The protocol's error codes this client sends.
inline constexpr int nsm_err_general = -1;
inline constexpr int nsm_err_not_now = -8;
inline constexpr int nsm_err_bad_project = -9;

// What a request of the session manager led to: done, or refused with a code and the reason.
struct nsm_result {
    int code = 0;  // 0 done
    std::string message;
};

struct nsm_handlers {
    // Open (or make) the song kept under `path`, the session's place for this client.
    std::function<nsm_result(const std::string& path, const std::string& display_name,
                             const std::string& client_id)>
        open;
    std::function<nsm_result()> save;
};

class nsm_client {
  public:
    // Nothing when the URL cannot be used.
    static std::unique_ptr<nsm_client> connect(const std::string& url, nsm_handlers handlers);
    ~nsm_client();
    nsm_client(const nsm_client&) = delete;
    nsm_client& operator=(const nsm_client&) = delete;

    // "/nsm/server/announce" with the program's name, its executable and process id.
    bool announce(const std::string& executable, int pid);
    // The socket to watch, and the handling of every message that waits on it.
    int fd() const;
    void poll();

    // The server took the announce; or the reason it gave for refusing it.
    bool joined() const { return joined_; }
    const std::string& refusal() const { return refusal_; }
    const std::string& server_name() const { return server_name_; }
    // After the first open: the session's place for this client.
    const std::string& path() const { return path_; }

  private:
    struct link;
    explicit nsm_client(std::unique_ptr<link> l, nsm_handlers handlers);
    void answer(const char* request, const nsm_result& r);
    void on_message(const std::string& path, const std::string& a, const std::string& b,
                    const std::string& c);

    std::unique_ptr<link> link_;
    nsm_handlers handlers_;
    bool joined_ = false;
    std::string refusal_;
    std::string server_name_;
    std::string path_;
};

}  // namespace kestrune
