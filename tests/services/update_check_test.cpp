// Check For Updates against small servers on loopback: one that answers, one that never does,
// one that closes at once, and none at all.
#include "services/update_check.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

enum class behaviour { answer, silent, close_at_once };

// A server on 127.0.0.1 that takes one connection, reads the request line and then behaves.
class loopback_server {
  public:
    loopback_server(behaviour b, std::string reply = {}) {
        fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a);
        ::listen(fd_, 1);
        socklen_t len = sizeof a;
        ::getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len);
        port_ = ntohs(a.sin_port);
        worker_ = std::thread([this, b, reply] {
            const int c = ::accept(fd_, nullptr, nullptr);
            if (c < 0) return;
            if (b != behaviour::close_at_once) {
                for (char ch = 0; ch != '\n' && ::recv(c, &ch, 1, 0) == 1;) request_ += ch;
                if (b == behaviour::answer) ::send(c, reply.data(), reply.size(), MSG_NOSIGNAL);
                // The silent one holds the line until the client lets go.
                if (b == behaviour::silent)
                    for (char ch; ::recv(c, &ch, 1, 0) > 0;) {
                    }
            }
            ::close(c);
        });
    }
    ~loopback_server() {
        request();
        ::close(fd_);
    }
    int port() const { return port_; }
    // The request line as it came, once the server is done with it.
    std::string request() {
        ::shutdown(fd_, SHUT_RDWR);
        if (worker_.joinable()) worker_.join();
        return request_;
    }

  private:
    int fd_ = -1;
    int port_ = 0;
    std::string request_;
    std::thread worker_;
};

update_server server_at(int port) {
    return {.host = "127.0.0.1", .port = port};
}

update_outcome wait_for_outcome(update_check& check) {
    for (;;) {
        const update_outcome o = check.poll();
        if (o != update_outcome::pending) return o;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

TEST(UpdateCheck, AVersionTextIsComparedByItsThreeDigits) {
    struct {
        const char* reply;
        update_outcome expected;
    } const cases[] = {{"3.4.0", update_outcome::newer},
                       {"3.3.9", update_outcome::up_to_date},
                       {"3.2.9", update_outcome::up_to_date},
                       // The dots are not looked at.
                       {"3x4y0", update_outcome::newer}};
    for (const auto& c : cases) {
        loopback_server server(behaviour::answer, c.reply);
        update_check check;
        ASSERT_TRUE(check.start(server_at(server.port()), "3.3.9"));
        EXPECT_FALSE(check.start(server_at(server.port()), "3.3.9")) << "busy while it runs";
        EXPECT_EQ(wait_for_outcome(check), c.expected) << c.reply;
        // One line, and nothing else: no version, no host line, no blank line.
        EXPECT_EQ(server.request(), "GET /download/versioninfo/kestrune_linux.txt\n");
        EXPECT_FALSE(check.busy());
    }
}

TEST(UpdateCheck, NoServerASilentOneAndOneThatClosesEarlyAllFailWithinTheTime) {
    const int short_wait_ms = 300;
    int refused_port = 0;
    {
        loopback_server gone(behaviour::close_at_once);
        refused_port = gone.port();
    }
    loopback_server silent(behaviour::silent), closing(behaviour::close_at_once),
        too_long(behaviour::answer, "3.10.0");
    for (int port : {refused_port, silent.port(), closing.port(), too_long.port()}) {
        update_check check(short_wait_ms);
        ASSERT_TRUE(check.start(server_at(port), "3.3.9"));
        EXPECT_EQ(wait_for_outcome(check), update_outcome::failed) << port;
    }
    // The window's tick asks and goes on while the server says nothing.
    loopback_server quiet(behaviour::silent);
    update_check check;
    check.start(server_at(quiet.port()), "3.3.9");
    EXPECT_EQ(check.poll(), update_outcome::pending);
}

TEST(UpdateCheck, EachOutcomeShowsItsMessage) {
    testing::scripted_ui screen;
    const update_server server = server_at(80);
    int opened = 0;
    const auto open_page = [&opened] { ++opened; };

    screen.answers = {msg_answer::no, msg_answer::yes};
    report_update(screen, update_outcome::newer, server, open_page);
    EXPECT_EQ(opened, 0);
    report_update(screen, update_outcome::newer, server, open_page);
    EXPECT_EQ(opened, 1);
    ASSERT_EQ(screen.messages.size(), 2u);
    EXPECT_EQ(screen.messages[1].text,
              "New version available.\nMake sure you quit this application before installing "
              "the update.\nGo to download page?");
    EXPECT_EQ(screen.messages[1].buttons, msg_buttons::yes_no);

    report_update(screen, update_outcome::up_to_date, server, open_page);
    EXPECT_EQ(screen.last_text(), "No new updates available at this time.");
    report_update(screen, update_outcome::failed, server, open_page);
    EXPECT_EQ(screen.last_text(), "Failed to connect to 127.0.0.1");
    for (const auto& m : screen.messages) EXPECT_EQ(m.caption, "Update check");
    EXPECT_EQ(opened, 1);
}

}  // namespace
}  // namespace kestrune
