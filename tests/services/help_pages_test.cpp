// The help pages against the program: every page path it asks for has its page and anchor.
#include "services/help_pages.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

#include "shell/main_commands.h"
#include "tests/shell/every_dialog.h"
#include "tests/shell/session_fixture.h"

namespace kestrune {
namespace {

namespace fs = std::filesystem;

// Why a page path leads nowhere, or empty when it leads to its page and anchor.
std::string missing(std::string_view page) {
    const fs::path file = fs::path(KESTRUNE_HELP_DIR) / help_page::file_of(page);
    if (!fs::is_regular_file(file)) return "no file " + file.string();
    const std::string anchor(help_page::anchor_of(page));
    std::ifstream in(file, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    if (!anchor.empty() && text.find("id=\"" + anchor + "\"") == std::string::npos &&
        text.find("name=\"" + anchor + "\"") == std::string::npos)
        return "no anchor " + anchor + " in " + file.string();
    return {};
}

using HelpPages = testing::session_fixture;

TEST_F(HelpPages, EveryPagePathTheProgramUsesHasItsPage) {
    std::set<std::string> paths(std::begin(help_page::all_help_pages),
                                std::end(help_page::all_help_pages));
    for (const command_record& c : s->commands.all())
        paths.emplace(command_help_page(s->commands, c.id));
    setup_settings setup;
    testing::every_dialog every(s->prog, s->commands, setup);
    for (const auto& d : every.dialogs) {
        EXPECT_FALSE(d->help_topic.empty()) << d->title() << " has no help page";
        paths.insert(d->help_topic);
    }
    for (const std::string& page : paths) EXPECT_EQ(missing(page), "") << page;
}

}  // namespace
}  // namespace kestrune
