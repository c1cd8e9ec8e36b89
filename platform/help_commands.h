// The Help menu on the window: Help Index, Key Commands, Tutorial and Version History in the
// help window and the text viewer, and Check For Updates on its worker, polled on the window's
// 25 ms timer so that the window never waits for the network.
#pragma once

class QWidget;

namespace kestrune {

class session;
struct update_server;

// Where Check For Updates asks: the defaults, over which Kestrune_update.conf (beside the
// settings file) may set `host`, `port`, `path` and `download_page`.
update_server update_server_from_settings();

// Binds the Help menu's commands of the session to windows over `window`.
void add_help_commands(session& s, QWidget* window);

}  // namespace kestrune
