// The canvas on a QPainter: colours from the desktop palette (light or dark), the three fonts
// made from the cell sizes, and the transport icons drawn as shapes so they stay sharp at any
// device pixel ratio.
#pragma once

#include <QFont>
#include <QPainter>
#include <QPalette>
#include <QStaticText>
#include <string>
#include <unordered_map>

#include "core/canvas.h"

namespace kestrune {

class main_screen;

// The screen's three fonts at the heights the layout asks for, and the texts laid out in them:
// the same few hundred texts come back on every repaint, and laying one out costs more than
// drawing it.
struct qt_fonts {
    QFont small;
    QFont normal;
    QFont list;
    static qt_fonts for_screen(const main_screen& screen);
    const QFont& of(font_kind f) const;
    const QStaticText& laid_out(std::string_view s, font_kind f) const;

private:
    mutable std::unordered_map<std::string, QStaticText> laid_out_;
};

class qt_canvas final : public canvas {
public:
    qt_canvas(QPainter& painter, const qt_fonts& fonts, const QPalette& palette);

    void fill_rect(const rect& r, colour_role c) override;
    void frame_rect(const rect& r, colour_role c) override;
    void line(int x1, int y1, int x2, int y2, colour_role c) override;
    void ellipse(const rect& r, colour_role fill, colour_role frame) override;
    void bevel(const rect& r, bool pressed) override;
    void text(const rect& r, std::string_view s, font_kind f, colour_role c, text_align a) override;
    int text_width(std::string_view s, font_kind f) override;
    void invert(const rect& r) override;
    void icon(const rect& r, int number) override;

    QColor colour(colour_role c) const;

private:
    QPainter& p_;
    const qt_fonts& fonts_;
    QPalette palette_;
    QColor label_ink_;  // worked out once: both take a few hundred steps
    QColor highlight_;
};

// The system font the cells are measured from.
class qt_font_source final : public font_source {
public:
    font_metrics system_font() override;
};

}  // namespace kestrune
