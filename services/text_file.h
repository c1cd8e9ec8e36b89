// Show Text File: a file from the program's folder in a small modal viewer, titled with the
// file's stem. Plain text for ".txt", formatted for ".htm" and ".html"; a file that cannot be
// read shows "File is missing.".
#pragma once

#include <string>

namespace kestrune {

inline constexpr const char* msg_file_missing = "File is missing.";
inline constexpr const char* history_file_name = "History.txt";

enum class text_format { plain, html };

struct text_file_view {
    std::string title;  // "History" for ".../History.txt"
    std::string text;
    text_format format = text_format::plain;
};

text_file_view read_text_file(const std::string& path);

}  // namespace kestrune
