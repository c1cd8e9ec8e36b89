// A canvas that records what was drawn, for the screen tests.
#pragma once

#include <string>
#include <vector>

#include "core/canvas.h"

namespace kestrune::testing {

class recording_canvas final : public canvas {
  public:
    struct drawn_text {
        rect place;
        std::string text;
    };

    void fill_rect(const rect& r, colour_role c) override { fills.push_back({r, c}); }
    void frame_rect(const rect&, colour_role) override {}
    void line(int, int, int, int, colour_role) override {}
    void ellipse(const rect&, colour_role, colour_role) override {}
    void bevel(const rect&, bool) override {}
    void text(const rect& r, std::string_view s, font_kind, colour_role, text_align) override {
        texts.push_back({r, std::string(s)});
    }
    // Seven pixels a character.
    int text_width(std::string_view s, font_kind) override {
        return static_cast<int>(s.size()) * 7;
    }
    void invert(const rect&) override {}
    void icon(const rect&, int) override {}

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

    std::vector<std::pair<rect, colour_role>> fills;
    std::vector<drawn_text> texts;
};

}  // namespace kestrune::testing
