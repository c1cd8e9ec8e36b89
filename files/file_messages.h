// The texts the file commands show.
#pragma once

namespace kestrune {

inline constexpr const char* msg_invalid_handle = "Invalid file handle!!";
inline constexpr const char* msg_open_failed = "Failed to open the selected file.";
inline constexpr const char* caption_error = "Error";
inline constexpr const char* msg_no_kestrune_file = "No KESTRUNE file!";
inline constexpr const char* msg_file_too_big = "Can't load!\nFile to big!";
inline constexpr const char* msg_pattern_not_empty = "Destination pattern must be empty!";
inline constexpr const char* msg_track_not_empty = "Track not empty!";
inline constexpr const char* msg_not_syx = "Not a valid syx file!";
inline constexpr const char* msg_patch_file_too_big =
    "Patch file is to big!\n Max file size is 65500 bytes!\nContact programmer!";
inline constexpr const char* msg_unknown_file_type = "Unknown file type";
inline constexpr const char* msg_loading_erases = "Loading will erase old song!";
inline constexpr const char* msg_file_not_found = "File not found!";
inline constexpr const char* msg_dialog_kind = "Error in set_file_dialog_extension()!";
// Where the original trusted its files and disks, these say what went wrong.
inline constexpr const char* msg_file_damaged = "Can't load!\nFile is damaged!";
inline constexpr const char* msg_write_failed = "Error writing file!";
inline constexpr const char* msg_old_file_kept = "The old file is kept.";

}  // namespace kestrune
