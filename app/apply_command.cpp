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
#include "processing/undo.h"
#include "shell/command_ids.h"
#include "shell/entry_parsers.h"
#include "shell/processing_commands.h"
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

// Shows every message as the console does and counts the ones that refuse a command: a plain
// box with a warning or stop sign. The undo warning lets the command go on.
class apply_ui final : public ui {
  public:
    explicit apply_ui(msg_answer answer) : console_(answer) {}
    msg_answer message(const std::string& text, msg_icon icon, msg_buttons buttons, msg_answer def,
                       const std::string& caption) override {
        if (buttons == msg_buttons::ok && (icon == msg_icon::warning || icon == msg_icon::stop) &&
            text != msg_undo_no_memory)
            ++refusals;
        if (buttons != msg_buttons::ok) ++questions;
        return console_.message(text, icon, buttons, def, caption);
    }
    std::optional<std::string> open_file_dialog(const file_dialog_request&) override { return {}; }
    std::optional<std::string> save_file_dialog(const file_dialog_request&) override { return {}; }
    void wait_cursor() override {}
    void arrow_cursor() override {}
    void repaint(int) override {}

    int refusals = 0;
    int questions = 0;

  private:
    console_ui console_;
};

bool same_text(std::string_view a, std::string_view b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return std::tolower(static_cast<unsigned char>(x)) ==
                      std::tolower(static_cast<unsigned char>(y));
           });
}

bool is_popup(int id) {
    return id >= cmd::quantize_popup_first && id <= cmd::quantize_popup_last;
}

void list_commands(const command_table& table, const std::vector<field_command>& fielded) {
    for (const field_command& f : fielded) {
        std::printf("%s\n", f.name.c_str());
        for (const command_field& x : f.fields)
            std::printf("  %s=%s\n", x.name.c_str(), x.kind.c_str());
    }
    std::vector<std::string> listed;
    for (const field_command& f : fielded) listed.push_back(f.name);
    for (const command& c : table.all()) {
        const std::string name = command_name(c.text);
        const bool seen = std::any_of(listed.begin(), listed.end(),
                                      [&](const std::string& n) { return same_text(n, name); });
        if (seen || is_popup(c.id)) continue;
        std::printf("%s\n", name.c_str());
        listed.push_back(name);
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
    int v = 0;
    if (!parse_field_number(text, low, high, v)) return std::nullopt;
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
    const bool ticks = text.find_first_of(",. /") == std::string::npos;
    const auto v = ticks ? parse_integer(text) : parse_position(p, text);
    return v && *v >= 0 && *v <= last_position ? *v : -1;
}

int apply_command(const std::vector<std::string>& args, apply_loader load) {
    engine eng;
    apply_options o;
    const bool list = args.size() == 1 && args[0] == "--list";
    if (!list) {
        if (const std::string why = read_options(args, o); !why.empty()) return usage(why);
    }
    apply_ui screen(o.answer);
    system_clock clk;
    program prog(eng, screen, clk);
    command_table table;
    add_processing_commands(table, prog);
    const std::vector<field_command> fielded = processing_field_commands(prog);
    if (list) {
        list_commands(table, fielded);
        return exit_ok;
    }

    const field_command* fc = nullptr;
    for (const field_command& f : fielded)
        if (same_text(f.name, o.command)) fc = &f;
    const command* plain = fc ? nullptr : table.find_by_name(o.command);
    if (!fc && (!plain || is_popup(plain->id))) return usage("no command named " + o.command);

    prog.write_defaults();
    prog.d.memory_units = max_memory_units;  // any song the program can hold also loads here
    if (start_program(prog) != 0) return exit_failed;
    int result = exit_failed;
    if (load(prog, o.input)) result = exit_ok;
    if (result == exit_ok && o.pattern >= 0) select_pattern(prog, o.pattern);
    if (result == exit_ok && o.track >= 0) select_track(prog, o.track);
    if (result == exit_ok && !o.left.empty()) {
        const std::int32_t l = locator_position(prog, o.left), r = locator_position(prog, o.right);
        if (l < 0 || r < 0 || l > r) {
            prog.shut_down();
            return usage(locators_refusal(o, l, r));
        }
        prog.d.left_locator = std::min(l, last_locator_position);
        prog.d.right_locator = std::min(r, last_locator_position);
    }
    for (const auto& [name, value] : o.fields) {
        if (result != exit_ok) break;
        const command_field* field = nullptr;
        if (fc)
            for (const command_field& x : fc->fields)
                if (x.name == name) field = &x;
        if (!field || !field->set(value)) {
            prog.shut_down();
            return usage(field ? name + " takes " + field->kind
                               : o.command + " has no field " + name);
        }
    }
    if (result == exit_ok) {
        const int id = fc ? fc->command() : plain->id;
        if (id != 0 && !table.run(id)) {
            std::fprintf(stderr, "%s is not available\n", o.command.c_str());
            result = exit_failed;
        } else if (screen.refusals > 0) {
            result = exit_failed;
        }
        if (result == exit_ok && o.answer_given && screen.questions == 0)
            std::fprintf(stderr, "%s asked no question: --answer was not used\n",
                         o.command.c_str());
    }
    if (result == exit_ok) {
        const bool saved = extension_upper(o.output) == ".SNG" ? write_song_file(prog, o.output)
                                                               : write_midi_file(prog, o.output);
        if (!saved) result = exit_failed;
    }
    prog.shut_down();
    return result;
}

}  // namespace kestrune
