#include <gtest/gtest.h>

#include "shell/processing_dialogs.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

TEST(QuantizeSettingsDialog, SwingStepsInTensOfPercentAndTheMethodTakesEffectAtOnce) {
    testing::test_program t;
    quantize_settings_view v(*t);
    v.set_cells(8, 16);
    t->app.quantize_swing = 9;
    const rect r = v.field_rect(1);
    v.press(1, (r.left + r.right) / 2, (r.top + r.bottom) / 2);  // two clicks up
    v.release(1);
    v.tick(0);
    v.press(1, (r.left + r.right) / 2, (r.top + r.bottom) / 2);
    v.release(1);
    v.tick(50);
    EXPECT_EQ(t->app.quantize_swing, 10);  // held at 100 %
    EXPECT_EQ(v.field_text(1), "100");
    for (const dialog_control& c : v.controls())
        if (c.text == "Smart Quantize") c.set(1);
    EXPECT_EQ(t->app.smart_quantize, 1);
}

}  // namespace
}  // namespace kestrune
