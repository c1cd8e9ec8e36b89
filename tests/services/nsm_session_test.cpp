// The program in an NSM session against a stand-in session manager on loopback: the announce,
// open of a new and of a saved session, save by the manager and by Save Song.
#include "app/nsm_session.h"

#include <gtest/gtest.h>
#include <lo/lo.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <vector>

#include "core/command_ids.h"
#include "shell/dispatch.h"
#include "shell/main_commands.h"
#include "tests/shell/session_fixture.h"

namespace kestrune {
namespace {

namespace fs = std::filesystem;

// A session manager that records what the client sends and answers its announce.
struct stand_in_manager {
    struct received {
        std::string path;
        std::vector<std::string> texts;
        std::vector<int> numbers;
    };
    lo_server server = lo_server_new_with_proto(nullptr, LO_UDP, nullptr);
    std::vector<received> got;
    lo_address client = nullptr;

    stand_in_manager() {
        lo_server_add_method(server, nullptr, nullptr, &stand_in_manager::take, this);
    }
    ~stand_in_manager() {
        if (client) lo_address_free(client);
        lo_server_free(server);
    }
    static int take(const char* path, const char* types, lo_arg** argv, int argc, lo_message m,
                    void* self) {
        auto* me = static_cast<stand_in_manager*>(self);
        received r{path, {}, {}};
        for (int i = 0; i < argc; ++i) {
            if (types[i] == 's') r.texts.push_back(&argv[i]->s);
            if (types[i] == 'i') r.numbers.push_back(argv[i]->i);
        }
        if (!me->client)
            me->client = lo_address_new_from_url(lo_address_get_url(lo_message_get_source(m)));
        if (r.path == "/nsm/server/announce")
            lo_send_from(me->client, me->server, lo_timetag{0U, 1U}, "/reply", "ssss", path,
                         "Welcome", "Stand-in", ":");
        me->got.push_back(std::move(r));
        return 0;
    }
    // Sends a request to the client and waits for its answer.
    void ask(nsm_session& c, const char* path, std::vector<std::string> args = {}) {
        lo_message m = lo_message_new();
        for (const auto& a : args) lo_message_add_string(m, a.c_str());
        lo_send_message_from(client, server, path, m);
        lo_message_free(m);
        const std::size_t before = got.size();
        pump(c, [&] { return got.size() > before; });
    }
    void pump(nsm_session& c, const std::function<bool()>& done) {
        for (int i = 0; i < 200 && !done(); ++i) {
            lo_server_recv_noblock(server, 10);
            c.poll();
        }
    }
};

struct nsm_fixture : testing::session_fixture {
    stand_in_manager manager;

    void SetUp() override {
        char* url = lo_server_get_url(manager.server);
        ::setenv("NSM_URL", url, 1);
        std::free(url);
        session_fixture::SetUp();
    }
    void TearDown() override {
        session_fixture::TearDown();
        ::unsetenv("NSM_URL");
    }
    void set_note_pad(const char* text) {
        s->prog.song.note_pad_text.fill(0);
        std::strcpy(s->prog.song.note_pad_text.data(), text);
    }
};

TEST_F(nsm_fixture, the_session_opens_saves_and_reopens_its_song) {
    auto nsm = nsm_session::join(*s, "kestrune");
    ASSERT_TRUE(nsm);
    manager.pump(*nsm, [&] { return nsm->client().joined(); });
    ASSERT_TRUE(nsm->client().joined());
    const auto& announce = manager.got.front();
    EXPECT_EQ(announce.path + " " + announce.texts[0] + " " + announce.texts[2],
              "/nsm/server/announce Kestrune kestrune");
    EXPECT_EQ(announce.numbers, (std::vector<int>{1, 2, ::getpid()}));
    EXPECT_EQ(nsm->client().server_name(), "Stand-in");

    // Nothing to save before the manager opens a session.
    manager.ask(*nsm, "/nsm/client/save");
    EXPECT_EQ(manager.got.back().path, "/error");
    EXPECT_EQ(manager.got.back().numbers, (std::vector<int>{nsm_err_not_now}));

    // A new session: an empty song under the session's folder, made at the first save.
    const std::string place = (dir / "Session" / "Kestrune.nABC").string();
    s->prog.d.cycle_on = 1;
    manager.ask(*nsm, "/nsm/client/open", {place, "Kestrune", "nABC"});
    EXPECT_EQ(manager.got.back().path, "/reply");
    EXPECT_EQ(manager.got.back().texts[0], "/nsm/client/open");
    EXPECT_EQ(s->prog.d.cycle_on, 0) << "the song is cleared";
    EXPECT_EQ(s->files.current_file_title, session_song_name);

    set_note_pad("kept");
    manager.ask(*nsm, "/nsm/client/save");
    EXPECT_EQ(manager.got.back().texts[0], "/nsm/client/save");
    ASSERT_TRUE(fs::exists(place + "/Song.sng"));

    // Save Song saves there without a dialog; Load Song is not offered in a session.
    set_note_pad("by menu");
    dispatch_command(*s, cmd::save_song);
    EXPECT_TRUE(script.dialogs.empty());
    EXPECT_FALSE(command_enabled(*s, cmd::load_song));

    set_note_pad("changed");
    manager.ask(*nsm, "/nsm/client/open", {place, "Kestrune", "nABC"});
    EXPECT_EQ(manager.got.back().path, "/reply");
    EXPECT_EQ(std::string(s->prog.song.note_pad_text.data()), "by menu");

    // A song that does not load is the manager's error, not a silent empty song.
    std::ofstream(place + "/Song.sng") << "not a song";
    manager.ask(*nsm, "/nsm/client/open", {place, "Kestrune", "nABC"});
    EXPECT_EQ(manager.got.back().path, "/error");
    EXPECT_EQ(manager.got.back().numbers, (std::vector<int>{nsm_err_bad_project}));

    ::unsetenv("NSM_URL");
    EXPECT_FALSE(nsm_session::join(*s, "kestrune")) << "no session manager";
}

}  // namespace
}  // namespace kestrune
