// Patch name files PORT_A.TXT to PORT_D.TXT: the names of 128 programs for each output port.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "core/ui.h"

namespace kestrune {

inline constexpr std::size_t patch_file_limit = 65500;

struct patch_table {
    std::array<std::string, 128> names;  // program 0 to 127
    std::int32_t gm = 0;                 // the file names a General MIDI sound set
    bool from_file = false;
};
using patch_tables = std::array<patch_table, 4>;

// The plain program numbers "0" to "127", and no GM flag.
void set_default_patch_names(patch_table& t);
// Reads the text of one file over the defaults. Lines may end in CR LF or in LF alone.
void parse_patch_names(patch_table& t, std::string_view text);

// The file name of a port, "PORT_A.TXT" to "PORT_D.TXT".
std::string patch_file_name(int port);
// Where patch files are looked for, in order: the user's ($XDG_DATA_HOME/Kestrune/patches/),
// then the program's "patches/" (beside it, or installed with it).
std::vector<std::string> patch_folders();
// Each port takes its file from the first folder that has it, its name in any case. A file over
// the size limit is reported and leaves that port with the defaults.
void load_patch_names(patch_tables& tables, const std::vector<std::string>& folders, ui& screen);

const std::string& program_name(const patch_tables& tables, int port, int program);

}  // namespace kestrune
