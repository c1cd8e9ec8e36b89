#include "mixer/program_menus.h"

#include <algorithm>

#include "core/command_ids.h"

namespace kestrune {

namespace {

constexpr int group_size = 8;
constexpr int programs = 128;

constexpr const char* gm_groups[] = {"Piano",      "Chromatic Perc", "Organ",         "Guitar",
                                     "Bass",       "Strings",        "Ensemble",      "Brass",
                                     "Reed",       "Pipe",           "Synth Lead",    "Synth Pad",
                                     "Synth Effects", "Ethnic",      "Percussive",    "Sound Effects"};
// Two of these as they always stood: "87-95" and "111-119".
constexpr const char* numbered_groups[] = {"0-7",   "8-15",  "16-23",   "24-31",   "32-39",  "40-47",
                                           "48-55", "56-63", "64-71",   "72-79",   "80-87",  "87-95",
                                           "96-103", "104-111", "111-119", "120-127"};

struct drum_kit {
    const char* name;
    int program;
};
constexpr drum_kit drum_kits[] = {{"Standard", 0}, {"Room", 8},     {"Power", 16},     {"Electronic", 24},
                                  {"TR-808", 25},  {"Jazz", 32},    {"Brush", 40},     {"Orchestra", 48},
                                  {"SFX", 56},     {"CM-64/32", 127}};
constexpr int drum_kit_count = static_cast<int>(std::size(drum_kits));
static_assert(cmd::gm_drum_first + drum_kit_count - 1 == cmd::gm_drum_last);

}  // namespace

program_popup program_menu(const program_names& names, bool gm, int program) {
    program_popup menu;
    for (int g = 0; g < programs / group_size; ++g) {
        popup_group group{.title = gm ? gm_groups[g] : numbered_groups[g], .items = {}};
        for (int i = g * group_size; i < (g + 1) * group_size; ++i)
            group.items.push_back({cmd::mixer_program_first + i, names[static_cast<std::size_t>(i)], i == program});
        menu.push_back(std::move(group));
    }
    return menu;
}

program_popup drum_menu(int program) {
    popup_group kits;
    const char* shown = drum_kit_name(program);
    for (int i = 0; i < drum_kit_count; ++i)
        kits.items.push_back({cmd::gm_drum_first + i, drum_kits[i].name, drum_kits[i].name == shown});
    return {kits};
}

int program_of_command(int command) {
    if (command >= cmd::mixer_program_first && command < cmd::mixer_program_first + programs)
        return command - cmd::mixer_program_first;
    if (command >= cmd::gm_drum_first && command <= cmd::gm_drum_last)
        return drum_kits[command - cmd::gm_drum_first].program;
    return -1;
}

const char* drum_kit_name(int program) {
    const char* name = drum_kits[0].name;
    for (const drum_kit& k : drum_kits)
        if (k.program <= program) name = k.name;
    return name;
}

}  // namespace kestrune
