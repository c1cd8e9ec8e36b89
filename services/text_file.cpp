#include "services/text_file.h"

#include <fstream>
#include <iterator>

namespace kestrune {

namespace {

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    return s;
}

}  // namespace

text_file_view read_text_file(const std::string& path) {
    text_file_view v;
    const auto slash = path.find_last_of('/');
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const auto dot = name.find_last_of('.');
    v.title = name.substr(0, dot);
    const std::string ext = dot == std::string::npos ? std::string() : lower(name.substr(dot));
    if (ext == ".htm" || ext == ".html") v.format = text_format::html;
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        v.text = msg_file_missing;
        v.format = text_format::plain;
        return v;
    }
    v.text.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return v;
}

}  // namespace kestrune
