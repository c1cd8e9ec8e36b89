#include <gtest/gtest.h>

#include "shell/command_table.h"
#include "shell/main_layout.h"
#include "shell/main_screen.h"
#include "shell/region_tree.h"
#include "tests/shell/recording_canvas.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

struct MainScreen : ::testing::Test {
    testing::test_program t;
    command_table commands;
    main_screen screen{*t, commands};
    font_metrics font{7, 16, 0};

    rect place(int region) const { return screen.regions().place(region); }
    void paint(testing::recording_canvas& c) { screen.paint(c, {0, 0, 4000, 4000}); }
};

TEST_F(MainScreen, EveryZoomFindsEachRegionAtItsCentreAndZoomZeroIsTheSmallWindow) {
    EXPECT_EQ(zoom_table[0].window_width, 325);
    EXPECT_EQ(zoom_table[0].window_height, 283);
    EXPECT_STREQ(zoom_table[0].menu_text, "&1  325*265");
    EXPECT_STREQ(zoom_table[7].menu_text, "&8  1600*1200");
    for (int z = 0; z < zoom_rows; ++z) {
        screen.layout(z, font);
        const int cw = 7 + 1 + zoom_table[z].width_delta, ch = 16 + zoom_table[z].height_delta;
        EXPECT_EQ(screen.cell_width(), cw);
        EXPECT_EQ(screen.cell_height(), ch);
        EXPECT_EQ(place(rgn::transport_panel).bottom, 27 * ch - 1) << z;
        EXPECT_EQ(place(rgn::channel), (rect{73 * cw, 3 * ch, 76 * cw, 19 * ch})) << z;
        EXPECT_EQ(place(rgn::numerator), (rect{52 * cw + cw / 2, 23 * ch + ch / 4, 55 * cw, 24 * ch + ch / 4})) << z;
        for (const screen_region& r : screen.regions().all()) {
            if (r.number == rgn::root || r.number == rgn::time) continue;
            const rect& p = r.rectangle;
            const screen_region* hit = screen.regions().find_region_at_point((p.left + p.right) / 2, (p.top + p.bottom) / 2);
            ASSERT_NE(hit, nullptr);
            // A parent's centre may fall on one of its children.
            if (hit->number != r.number && r.child < 0) ADD_FAILURE() << "zoom " << z << " region " << r.number << " hit " << hit->number;
        }
        EXPECT_EQ(screen.regions().find_region_at_point(-32001, 0), nullptr);
    }
}

TEST_F(MainScreen, PaintsThePanelFrameTheTransportIconsAndTheSongPane) {
    screen.layout(2, font);
    testing::recording_canvas c;
    paint(c);
    EXPECT_FALSE(c.frames.empty());
    EXPECT_EQ(c.frames.front(), place(rgn::transport_panel));
    EXPECT_TRUE(c.has_text("PATTERN MODE"));
    EXPECT_EQ(c.text_in(place(rgn::position)), "   1  1  1  1");
    EXPECT_EQ(c.text_in(place(rgn::pattern_name)), " PATTERN  ");
    ASSERT_GE(c.icons.size(), 6U);
}

}  // namespace
}  // namespace kestrune
