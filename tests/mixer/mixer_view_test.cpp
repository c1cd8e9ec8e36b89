#include "mixer/mixer_view.h"

#include <gtest/gtest.h>

#include "tests/shell/recording_canvas.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using namespace testing;

// A patch name wider than its field shows its beginning in whole letters, not a clipped middle.
TEST(MixerView, AProgramNameWiderThanItsFieldShowsItsBeginning) {
    test_program t;
    program& p = *t;
    p.app.mixer.shown_port = 1;
    program_names names;
    names[0] = "Acoustic Grand Piano";
    std::array<std::array<std::int16_t, mixer_channels>, mixer_ports> shown{};
    shown[1][0] = 1;
    mixer_names n;
    n.names[1] = &names;
    n.shown = &shown;
    mixer_view v(p);
    v.set_names(n);
    v.layout(8, 16);
    recording_canvas c;
    const rect field = v.place(mixer_part::program, 0);
    v.paint(c, field);
    // Cells of 8 px: the field spans 8.5 cells less 2 px each side, 64 px; 7 px a letter: 9 letters.
    EXPECT_EQ(c.text_in(field), "Acoustic ");
}

}  // namespace
}  // namespace kestrune
