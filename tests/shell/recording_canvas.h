// A canvas that records what was drawn, for the screen tests.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "core/canvas.h"

namespace kestrune::testing {

class recording_canvas final : public canvas {
  public:
    struct drawn_text {
        rect place;
        std::string text;
        font_kind font;
        bool inverted;
    };

    void fill_rect(const rect& r, colour_role c) override { fills.push_back({r, c}); }
    void frame_rect(const rect& r, colour_role) override { frames.push_back(r); }
    void line(int, int, int, int, colour_role) override {}
    void ellipse(const rect&, colour_role, colour_role) override {}
    void bevel(const rect& r, bool) override { bevels.push_back(r); }
    void text(const rect& r, std::string_view s, font_kind f, colour_role c, text_align) override {
        texts.push_back({r, std::string(s), f, c == colour_role::highlight_text});
    }
    int text_width(std::string_view s, font_kind f) override {
        return measure ? measure(s, f) : static_cast<int>(s.size()) * 7;
    }
    void invert(const rect& r) override { inverted.push_back(r); }
    void icon(const rect& r, int number) override { icons.push_back({r, number}); }

    // The first text drawn inside `r`, or "" when none.
    std::string text_in(const rect& r) const {
        for (const drawn_text& t : texts)
            if (r.contains(t.place.left, t.place.top)) return t.text;
        return {};
    }
    bool has_text(const std::string& s) const {
        for (const drawn_text& t : texts)
            if (t.text == s) return true;
        return false;
    }

    // Widths as a real font gives them; unset, seven pixels a character.
    std::function<int(std::string_view, font_kind)> measure;
    std::vector<std::pair<rect, colour_role>> fills;
    std::vector<rect> frames;
    std::vector<rect> bevels;
    std::vector<drawn_text> texts;
    std::vector<rect> inverted;
    std::vector<std::pair<rect, int>> icons;
};

}  // namespace kestrune::testing
