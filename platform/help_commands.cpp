#include "platform/help_commands.h"

#include <QDesktopServices>
#include <QTimer>
#include <QUrl>
#include <cstdlib>

#include "core/version.h"
#include "editors/frame/editor_frame.h"
#include "files/conf_file.h"
#include "files/settings_file.h"
#include "platform/help_window.h"
#include "services/help_pages.h"
#include "services/text_file.h"
#include "services/update_check.h"
#include "core/command_ids.h"
#include "shell/startup.h"

namespace kestrune {

namespace {

constexpr const char* update_settings_file_name = "Kestrune_update.conf";

// The check and the timer that polls it, owned by the window.
class update_poller final : public QObject {
  public:
    update_poller(session& s, QObject* parent) : QObject(parent), s_(s) {
        timer_.setInterval(tick_period_ms);
        connect(&timer_, &QTimer::timeout, this, [this] { poll(); });
    }
    void start() {
        server_ = update_server_from_settings();
        if (check_.start(server_, program_version)) timer_.start();
    }

  private:
    void poll() {
        const update_outcome o = check_.poll();
        if (o == update_outcome::pending) return;
        timer_.stop();
        const std::string page = server_.download_page;
        report_update(s_.prog.screen, o, server_,
                      [page] { QDesktopServices::openUrl(QUrl(QString::fromStdString(page))); });
    }

    session& s_;
    update_check check_;
    update_server server_;
    QTimer timer_;
};

// The Help menu's items stand greyed in the table until the window gives them their run.
void bind(session& s, int id, std::function<void()> run) {
    if (command_record* c = s.commands.find(id))
        c->run = [run = std::move(run)](program&, const field_values&) {
            run();
            return outcome::done;
        };
}

}  // namespace

update_server update_server_from_settings() {
    update_server server;
    const conf_values v = load_conf_file(update_settings_file_name);
    const auto take = [&v](const char* key, std::string& into) {
        if (const auto it = v.find(key); it != v.end() && !it->second.empty()) into = it->second;
    };
    take("host", server.host);
    take("path", server.path);
    take("download_page", server.download_page);
    if (const auto it = v.find("port"); it != v.end()) server.port = std::atoi(it->second.c_str());
    return server;
}

void add_help_commands(session& s, QWidget* window) {
    const auto page = [window](std::string_view p) {
        return [window, p] { show_help(window, p); };
    };
    bind(s, cmd::help_index, page(help_page::index));
    bind(s, cmd::key_commands_help, page(help_page::key_commands));
    bind(s, cmd::tutorial, page(help_page::tutorial));
    // The editor's Help button: the page of the editor in use.
    bind(s, cmd::editor_context_help, [window, &s] {
        show_help(window, editor_help_page(s.prog.editor.kind));
    });
    bind(s, cmd::mixer_help, page(help_page::mixer));
    bind(s, cmd::version_history,
         [window] { show_text_file(window, program_data_path(history_file_name)); });
    auto* updates = new update_poller(s, window);
    bind(s, cmd::check_for_updates, [updates] { updates->start(); });
}

}  // namespace kestrune
