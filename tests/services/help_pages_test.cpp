// The help pages against the program: every page path it asks for has its page and anchor, the
// pages' own links lead somewhere, and Key Commands names every shortcut of the command table.
#include "services/help_pages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "core/command_ids.h"
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

TEST_F(HelpPages, LinksBetweenPagesLeadToAPageAndAnchor) {
    const std::regex href("href=\"([^\"]*)\"");
    int links = 0;
    for (const auto& entry : fs::directory_iterator(fs::path(KESTRUNE_HELP_DIR) / "html")) {
        const std::string text = read_all(entry.path());
        EXPECT_NE(text.find("<title>"), std::string::npos) << entry.path();
        for (std::sregex_iterator m(text.begin(), text.end(), href), end; m != end; ++m) {
            std::string target = (*m)[1];
            if (target.rfind("http", 0) == 0) continue;
            if (target.front() == '#') target = entry.path().filename().string() + target;
            EXPECT_EQ(missing("html/" + target), "") << "in " << entry.path();
            ++links;
        }
    }
    EXPECT_GT(links, 0);
}

TEST_F(HelpPages, KeyCommandsNamesEveryShortcut) {
    const std::string keys =
        read_all(fs::path(KESTRUNE_HELP_DIR) / help_page::file_of(help_page::key_commands));
    for (const command_record& c : s->commands.all()) {
        if (c.shortcut.empty()) continue;
        // Each shortcut stands in a cell of its own, beside the command's name; a key the main
        // window and an editor both use has a row for each.
        const std::string cell = "<td>" + c.shortcut + "</td>";
        bool named = false;
        for (auto at = keys.find(cell); at != std::string::npos && !named;
             at = keys.find(cell, at + 1)) {
            const auto row = keys.rfind("<tr>", at);
            named = keys.substr(row, keys.find("</tr>", at) - row).find(command_name(c.text)) !=
                    std::string::npos;
        }
        EXPECT_TRUE(named) << c.shortcut << " of " << c.text;
    }
}

}  // namespace
}  // namespace kestrune
