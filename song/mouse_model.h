// The held-button model of value fields: which button code a 25 ms tick acts with, if any.
// A quick click acts once from its latch; a held button acts at once and again from 101 ms on;
// both buttons act as code 3. On a field that takes a double click a single button waits out
// the double-click time, so that a double click never steps.
#pragma once

#include <cstdint>

#include "song/value_step.h"

namespace kestrune {

inline constexpr int default_double_click_ms = 400;
// Mouse button codes as the screens count them.
inline constexpr int left_button = 1;
inline constexpr int right_button = 2;

class mouse_model {
  public:
    void down(int button, std::int64_t ms);
    void up(int button);
    // Forgets every button: a double click, a message box, the end of a single action.
    void clear();
    // The button code to act with on this tick, 0 for none.
    int tick(std::int64_t ms, bool takes_double_click, int double_click_ms);

    bool held(int button) const { return side(button).held; }
    bool any_held() const { return left_.held || right_.held; }
    bool idle() const { return !any_held() && !left_.latched && !right_.latched; }
    // The button held or latched, 1, 2 or 3.
    int code() const;

  private:
    struct button_state {
        bool held = false;
        bool latched = false;
        std::int64_t down_ms = 0;
    };
    button_state& side(int button) { return button == 2 ? right_ : left_; }
    const button_state& side(int button) const { return button == 2 ? right_ : left_; }
    int act();

    button_state left_, right_;
    repeat_limiter repeat_;
};

}  // namespace kestrune
