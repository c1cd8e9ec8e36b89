#include "song/mouse_model.h"

#include <algorithm>

namespace kestrune {

void mouse_model::down(int button, std::int64_t ms) {
    if (idle()) repeat_.reset();
    button_state& b = side(button);
    b.held = true;
    b.latched = true;
    b.down_ms = ms;
}

void mouse_model::up(int button) {
    side(button).held = false;
}

void mouse_model::clear() {
    left_ = {};
    right_ = {};
    repeat_.reset();
}

int mouse_model::code() const {
    const bool l = left_.held || left_.latched, r = right_.held || right_.latched;
    if (left_.held && right_.held) return both_buttons;
    if (left_.held) return 1;
    if (right_.held) return 2;
    return l ? 1 : r ? 2 : 0;
}

int mouse_model::act() {
    const int c = code();
    left_.latched = right_.latched = false;
    return c;
}

int mouse_model::tick(std::int64_t ms, bool takes_double_click, int double_click_ms) {
    if (idle()) return 0;
    const bool both = left_.held && right_.held;
    if (takes_double_click && !both) {
        const button_state& b = left_.held || (left_.latched && !right_.held) ? left_ : right_;
        if (ms - b.down_ms <= double_click_ms) return 0;
        return act();
    }
    // A button that just went down acts at once; the held ones follow the repeat delay.
    if (left_.latched || right_.latched) {
        repeat_.allow(code(), ms);
        return act();
    }
    return any_held() && repeat_.allow(code(), ms) ? code() : 0;
}

}  // namespace kestrune
