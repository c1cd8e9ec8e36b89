// The help pages against the program: every page path it asks for has its page and anchor.
#include "services/help_pages.h"

#include <gtest/gtest.h>

#include <algorithm>
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

std::string read_all(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Why a page path leads nowhere, or empty when it leads to its page and anchor.
std::string missing(std::string_view page) {
    const fs::path file = fs::path(KESTRUNE_HELP_DIR) / help_page::file_of(page);
    if (!fs::is_regular_file(file)) return "no file " + file.string();
    const std::string anchor(help_page::anchor_of(page));
    const std::string text = read_all(file);
    if (!anchor.empty() && text.find("id=\"" + anchor + "\"") == std::string::npos &&
        text.find("name=\"" + anchor + "\"") == std::string::npos)
        return "no anchor " + anchor + " in " + file.string();
    return {};
}

// A started session has every command of the window in its table.
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
        const bool has_button =
            std::any_of(d->controls().begin(), d->controls().end(),
                        [](const auto& c) { return c.kind == control_kind::help_button; });
        EXPECT_TRUE(has_button) << d->title() << " has no Help button";
        paths.insert(d->help_topic);
    }
    for (const std::string& page : paths) EXPECT_EQ(missing(page), "") << page;
}

}  // namespace
}  // namespace kestrune
