#include "app/apply_command.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <optional>

#include "app/command_line.h"
#include "app/console_ui.h"
#include "engine/engine.h"
#include "files/file_state.h"
#include "files/smf_writer.h"
#include "files/song_file.h"
#include "shell/main_commands.h"
#include "song/entry_parsers.h"
#include "song/field_text.h"
#include "song/patterns.h"
#include "song/song_start.h"

namespace kestrune {

namespace {

constexpr int exit_ok = 0;
constexpr int exit_failed = 1;
constexpr int exit_usage = 2;

int usage(const std::string& why) {
    std::fprintf(stderr, "kestrune-tool: %s\n", why.c_str());
    std::fputs(
        "usage: kestrune-tool apply INPUT OUTPUT COMMAND [--pattern P] [--track T] [--locators L "
        "R]\n"
        "                           [--answer yes|no] [FIELD=VALUE ...]\n"
        "       kestrune-tool apply --list\n",
        stderr);
    return exit_usage;
}

// Every command of the table that runs without a window, with its dialog's fields.
void list_commands(const command_table& table) {
    for (const command_record& c : table.all()) {
        if (!c.run || !c.views.main_screen) continue;
        std::printf("%s\n", command_name(c.text).c_str());
        for (const field_spec& f : c.fields)
            std::printf("  %s=%s\n", field_name(f.label).c_str(), field_kind_text(f).c_str());
    }
}

struct apply_options {
    std::string input, output, command;
    int pattern = -1;
    int track = -1;
    std::string left, right;
    msg_answer answer = msg_answer::yes;
    bool answer_given = false;
    std::vector<std::pair<std::string, std::string>> fields;
};

std::optional<int> number_in(const std::string& text, int low, int high) {
    const auto v = parse_integer(text);
    if (!v || *v < low || *v > high) return std::nullopt;
    return v;
}

// Reads the options; an error text when they do not parse.
std::string read_options(const std::vector<std::string>& a, apply_options& o) {
    if (a.size() < 3) return "apply needs INPUT, OUTPUT and COMMAND";
    o.input = a[0];
    o.output = a[1];
    o.command = a[2];
    for (std::size_t i = 3; i < a.size(); ++i) {
        const std::string& s = a[i];
        const std::size_t values_left = a.size() - i - 1;
        if (s == "--pattern" || s == "--track") {
            if (values_left == 0) return needs_value(s);
            const bool pattern = s == "--pattern";
            const int last = pattern ? parallel_pattern : tracks_per_pattern - 1;
            const std::string& v = a[++i];
            const auto n = number_in(v, 0, last);
            if (!n) return s + " takes a number from 0 to " + std::to_string(last) + ", not " + v;
            int& chosen = pattern ? o.pattern : o.track;
            chosen = *n;
        } else if (s == "--answer") {
            if (values_left == 0) return needs_value(s);
            const std::string& v = a[++i];
            if (v != "yes" && v != "no") return "--answer takes yes or no, not " + v;
            o.answer = v == "yes" ? msg_answer::yes : msg_answer::no;
            o.answer_given = true;
        } else if (s == "--locators") {
            if (values_left < 2) return needs_value(s, "two values, L and R");
            o.left = a[++i];
            o.right = a[++i];
        } else if (const auto eq = s.find('='); eq != std::string::npos && eq > 0 && s[0] != '-') {
            o.fields.emplace_back(s.substr(0, eq), s.substr(eq + 1));
        } else if (s.starts_with("-")) {
            return refused_option("apply", s);
        } else {
            return "apply takes FIELD=VALUE after COMMAND, not " + s;
        }
    }
    const std::string ext = extension_upper(o.output);
    if (ext != ".SNG" && ext != ".MID") return "OUTPUT must end in .sng or .mid";
    return {};
}

// Why the locators, as positions, are refused: one unreadable, or the left after the right.
std::string locators_refusal(const apply_options& o, std::int32_t left, std::int32_t right) {
    if (left < 0 || right < 0)
        return "--locators takes positions as ticks or bar.beat.unit.tick, not " +
               (left < 0 ? o.left : o.right);
    return "--locators " + o.left + " " + o.right + ": the left locator comes after the right one";
}

}  // namespace

std::int32_t locator_position(const program& p, const std::string& text) {
    static const field_spec locator{.label = "Locator", .kind = field_kind::position, .low = 0,
                                    .high = last_position};
    const auto v = parse_field_argument(p, locator, text);
    return v ? v->number : -1;
}

namespace {

// The command's values: its dialog's as they would open, with FIELD=VALUE on top. An error text
// when a field is not the command's or a value is not one it takes.
std::string set_fields(const program& p, const command_record& c, const apply_options& o,
                       field_values& values) {
    values = initial_values(p, c);
    for (const auto& [name, value] : o.fields) {
        const auto f = std::find_if(c.fields.begin(), c.fields.end(),
                                    [&](const field_spec& x) { return field_name(x.label) == name; });
        if (f == c.fields.end()) return o.command + " has no field " + name;
        const auto v = parse_field_argument(p, *f, value);
        if (!v) return name + " takes " + field_kind_text(*f);
        values[static_cast<std::size_t>(f - c.fields.begin())] = *v;
    }
    return {};
}

// Pattern, track and locators as the options give them; an error text when a locator is unread.
std::string set_place(program& p, const apply_options& o) {
    if (o.pattern >= 0) select_pattern(p, o.pattern);
    if (o.track >= 0) select_track(p, o.track);
    if (o.left.empty()) return {};
    const std::int32_t l = locator_position(p, o.left), r = locator_position(p, o.right);
    if (l < 0 || r < 0 || l > r) return locators_refusal(o, l, r);
    p.d.left_locator = std::min(l, last_locator_position);
    p.d.right_locator = std::min(r, last_locator_position);
    return {};
}

bool save_output(program& p, const std::string& output) {
    return extension_upper(output) == ".SNG" ? write_song_file(p, output)
                                             : write_midi_file(p, output);
}

// Loads, runs and saves; the exit status.
int apply_to_file(program& p, const console_ui& screen, const command_record& c,
                  const apply_options& o, apply_loader load) {
    if (!load(p, o.input)) return exit_failed;
    field_values values;
    std::string why = set_place(p, o);
    if (why.empty()) why = set_fields(p, c, o, values);
    if (!why.empty()) return usage(why);
    // A refusal or a No leaves the song as it was: nothing is written.
    if (run_command(p, c, std::move(values)) != outcome::done) return exit_failed;
    if (o.answer_given && screen.questions() == 0)
        std::fprintf(stderr, "%s asked no question: --answer was not used\n", o.command.c_str());
    return save_output(p, o.output) ? exit_ok : exit_failed;
}

}  // namespace

int apply_command(const std::vector<std::string>& args, apply_loader load) {
    apply_options o;
    const bool list = args.size() == 1 && args[0] == "--list";
    if (!list) {
        if (const std::string why = read_options(args, o); !why.empty()) return usage(why);
    }
    command_table table;
    add_program_commands(table);
    if (list) {
        list_commands(table);
        return exit_ok;
    }
    const command_record* c = table.find_by_name(o.command);
    if (!c || !c->run || !c->views.main_screen) return usage("no command named " + o.command);

    engine eng;
    console_ui screen(o.answer);
    system_clock clk;
    program prog(eng, screen, clk);
    prog.write_defaults();
    prog.d.memory_units = max_memory_units;  // any song the program can hold also loads here
    if (start_program(prog) != 0) return exit_failed;
    const int result = apply_to_file(prog, screen, *c, o, load);
    prog.shut_down();
    return result;
}

}  // namespace kestrune
