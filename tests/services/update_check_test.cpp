// Check For Updates against a small server on loopback that answers, and against none at all.
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

// A server on 127.0.0.1 that takes one connection, reads the request line and answers.
struct loopback_server {
    explicit loopback_server(std::string reply) {
        fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(fd, reinterpret_cast<sockaddr*>(&a), sizeof a);
        ::listen(fd, 1);
        socklen_t len = sizeof a;
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &len);
        port = ntohs(a.sin_port);
        worker = std::thread([this, reply] {
            const int c = ::accept(fd, nullptr, nullptr);
            if (c < 0) return;
            for (char ch = 0; ch != '\n' && ::recv(c, &ch, 1, 0) == 1;) line += ch;
            ::send(c, reply.data(), reply.size(), MSG_NOSIGNAL);
            ::close(c);
        });
    }
    ~loopback_server() {
        request();
        ::close(fd);
    }
    // The request line as it came, once the server is done with it.
    std::string request() {
        ::shutdown(fd, SHUT_RDWR);
        if (worker.joinable()) worker.join();
        return line;
    }
    int fd = -1;
    int port = 0;
    std::string line;
    std::thread worker;
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
                       {"3x4y0", update_outcome::newer},
                       {"3.4.01", update_outcome::failed}};
    for (const auto& c : cases) {
        loopback_server server(c.reply);
        update_check check;
        ASSERT_TRUE(check.start(server_at(server.port), "3.3.9"));
        EXPECT_FALSE(check.start(server_at(server.port), "3.3.9")) << "busy while it runs";
        EXPECT_EQ(wait_for_outcome(check), c.expected) << c.reply;
        // One line, and nothing else: no version, no host line, no blank line.
        EXPECT_EQ(server.request(), "GET /download/versioninfo/kestrune_linux.txt\n");
        EXPECT_FALSE(check.busy());
    }
    int gone = 0;
    {
        loopback_server closed("");
        gone = closed.port;
    }
    update_check check;
    ASSERT_TRUE(check.start(server_at(gone), "3.3.9"));
    EXPECT_EQ(wait_for_outcome(check), update_outcome::failed) << "no server";
}

TEST(UpdateCheck, EachOutcomeShowsItsMessage) {
    testing::scripted_ui screen;
    const update_server server = server_at(80);
    int opened = 0;
    const auto open_page = [&opened] { ++opened; };
    screen.answers = {msg_answer::no, msg_answer::yes};  // only Yes opens the page
    for (update_outcome o : {update_outcome::newer, update_outcome::newer,
                             update_outcome::up_to_date, update_outcome::failed})
        report_update(screen, o, server, open_page);
    EXPECT_EQ(opened, 1);
    ASSERT_EQ(screen.messages.size(), 4u);
    EXPECT_EQ(screen.messages[1].text,
              "New version available.\nMake sure you quit this application before installing "
              "the update.\nGo to download page?");
    EXPECT_EQ(screen.messages[1].buttons, msg_buttons::yes_no);
    EXPECT_EQ(screen.messages[2].text, "No new updates available at this time.");
    EXPECT_EQ(screen.messages[3].text, "Failed to connect to 127.0.0.1");
    for (const auto& m : screen.messages) EXPECT_EQ(m.caption, "Update check");
}

}  // namespace
}  // namespace kestrune
