#include "services/update_check.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <optional>
#include <string>
#include <system_error>
#include <thread>

namespace kestrune {

namespace {

using steady = std::chrono::steady_clock;

constexpr std::size_t reply_buffer = 1024;
constexpr std::size_t version_length = 5;

int ms_left(steady::time_point deadline) {
    const auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - steady::now());
    return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

// Waits for the socket to be ready for `events` until the deadline.
bool wait_for(int fd, short events, steady::time_point deadline) {
    pollfd p{fd, events, 0};
    for (;;) {
        const int n = ::poll(&p, 1, ms_left(deadline));
        if (n > 0) return true;
        if (n == 0 || errno != EINTR) return false;
    }
}

class socket_fd {
  public:
    explicit socket_fd(int fd) : fd_(fd) {}
    ~socket_fd() {
        if (fd_ >= 0) ::close(fd_);
    }
    socket_fd(const socket_fd&) = delete;
    socket_fd& operator=(const socket_fd&) = delete;
    int get() const { return fd_; }

  private:
    int fd_;
};

// A non-blocking connection to the first address that takes one before the deadline, or -1.
int connect_to(const update_server& server, steady::time_point deadline) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_protocol = IPPROTO_TCP;
    const std::string service = server.port > 0 ? std::to_string(server.port) : "http";
    addrinfo* found = nullptr;
    if (::getaddrinfo(server.host.c_str(), service.c_str(), &hints, &found) != 0) {
        // No "http" in the services list: the web's own port.
        if (server.port > 0 || ::getaddrinfo(server.host.c_str(), "80", &hints, &found) != 0)
            return -1;
    }
    int fd = -1;
    for (addrinfo* a = found; a && fd < 0 && ms_left(deadline) > 0; a = a->ai_next) {
        fd = ::socket(a->ai_family, a->ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, a->ai_protocol);
        if (fd < 0) continue;
        int err = 0;
        socklen_t len = sizeof err;
        const bool connected =
            ::connect(fd, a->ai_addr, a->ai_addrlen) == 0 ||
            (errno == EINPROGRESS && wait_for(fd, POLLOUT, deadline) &&
             ::getsockopt(fd, SOL_SOCKET, SO_ERROR, &err, &len) == 0 && err == 0);
        if (!connected) {
            ::close(fd);
            fd = -1;
        }
    }
    ::freeaddrinfo(found);
    return fd;
}

bool send_all(int fd, const std::string& text, steady::time_point deadline) {
    for (std::size_t sent = 0; sent < text.size();) {
        if (!wait_for(fd, POLLOUT, deadline)) return false;
        const ssize_t n = ::send(fd, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno != EAGAIN && errno != EINTR) return false;
        if (n > 0) sent += static_cast<std::size_t>(n);
    }
    return true;
}

// The reply: what came before the server closed, the buffer filled or the time ran out.
// Nothing when reading failed.
std::optional<std::string> receive_reply(int fd, steady::time_point deadline) {
    std::string reply;
    char buf[reply_buffer];
    while (reply.size() < reply_buffer && wait_for(fd, POLLIN, deadline)) {
        const ssize_t n = ::recv(fd, buf, reply_buffer - reply.size(), 0);
        if (n == 0) break;
        if (n < 0) {
            if (errno == EAGAIN || errno == EINTR) continue;
            return std::nullopt;
        }
        reply.append(buf, static_cast<std::size_t>(n));
    }
    return reply;
}

update_outcome ask(const update_server& server, const std::string& own_version,
                   steady::time_point deadline) {
    const socket_fd fd(connect_to(server, deadline));
    if (fd.get() < 0 || !send_all(fd.get(), "GET " + server.path + "\n", deadline))
        return update_outcome::failed;
    const auto reply = receive_reply(fd.get(), deadline);
    // Anything but a version text is no answer: the check failed.
    const int theirs = reply ? version_number(*reply) : -1;
    if (theirs < 0) return update_outcome::failed;
    return version_number(own_version) < theirs ? update_outcome::newer
                                                : update_outcome::up_to_date;
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

}  // namespace

int version_number(std::string_view text) {
    if (text.size() != version_length || !is_digit(text[0]) || !is_digit(text[2]) ||
        !is_digit(text[4]))
        return -1;
    return ((text[0] - '0') * 10 + (text[2] - '0')) * 10 + (text[4] - '0');
}

struct update_check::request {
    update_server server;
    std::string own_version;
    steady::time_point deadline;
    std::atomic<update_outcome> outcome{update_outcome::pending};
};

update_check::update_check(int timeout_ms) : timeout_ms_(timeout_ms) {}

update_check::~update_check() = default;

bool update_check::busy() const {
    return running_ != nullptr;
}

bool update_check::start(const update_server& server, std::string own_version) {
    if (running_) return false;
    auto r = std::make_shared<request>();
    r->server = server;
    r->own_version = std::move(own_version);
    r->deadline = steady::now() + std::chrono::milliseconds(timeout_ms_);
    // The worker keeps its request alive: a check given up leaves it to end alone.
    try {
        std::thread([r] { r->outcome = ask(r->server, r->own_version, r->deadline); }).detach();
    } catch (const std::system_error&) {
        r->outcome = update_outcome::failed;  // no thread to be had: the check failed
    }
    running_ = std::move(r);
    return true;
}

update_outcome update_check::poll() {
    if (!running_) return update_outcome::pending;
    update_outcome o = running_->outcome;
    // A name lookup may hang past the deadline: the window does not wait for it.
    if (o == update_outcome::pending && steady::now() >= running_->deadline)
        o = update_outcome::failed;
    if (o != update_outcome::pending) running_.reset();
    return o;
}

void report_update(ui& screen, update_outcome outcome, const update_server& server,
                   const std::function<void()>& open_download_page) {
    switch (outcome) {
        case update_outcome::newer:
            if (screen.message(msg_new_version, msg_icon::question, msg_buttons::yes_no,
                               msg_answer::yes, update_caption) == msg_answer::yes &&
                open_download_page)
                open_download_page();
            break;
        case update_outcome::up_to_date:
            screen.message(msg_no_new_version, msg_icon::information, msg_buttons::ok,
                           msg_answer::ok, update_caption);
            break;
        case update_outcome::failed:
            screen.message(msg_update_failed + server.host, msg_icon::warning, msg_buttons::ok,
                           msg_answer::ok, update_caption);
            break;
        case update_outcome::pending:
            break;
    }
}

}  // namespace kestrune
