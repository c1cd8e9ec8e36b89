#include "platform/qt_canvas.h"

#include <QApplication>
#include <QFontDatabase>
#include <QFontMetrics>
#include <QPainterPath>
#include <QStringDecoder>
#include <algorithm>
#include <cmath>

#include "shell/screen/main_screen.h"

namespace kestrune {

namespace {

QRect to_qt(const rect& r) { return QRect(r.left, r.top, r.width(), r.height()); }

// Names in song files are bytes: UTF-8 where they are valid, Latin-1 otherwise.
QString to_qt(std::string_view s) {
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString out = utf8(QByteArrayView(s.data(), static_cast<qsizetype>(s.size())));
    if (utf8.hasError()) out = QString::fromLatin1(s.data(), static_cast<qsizetype>(s.size()));
    return out;
}

// A font of the layout's height whose digits are its width wide, so that texts keep to the cells.
QFont made_font(QFont f, const font_spec& want) {
    f.setPixelSize(std::max(6, want.height));
    f.setWeight(want.weight >= 700 ? QFont::Bold : QFont::Normal);
    f.setFixedPitch(want.fixed_pitch);
    f.setHintingPreference(QFont::PreferFullHinting);
    const int natural = QFontMetrics(f).horizontalAdvance(QLatin1Char('0'));
    if (natural > 0 && want.width > 0) f.setStretch(std::clamp(100 * want.width / natural, 50, 150));
    return f;
}


// Relative luminance and the contrast of two colours, 1 to 21.
double luminance(const QColor& c) {
    const auto channel = [](double v) { return v <= 0.03928 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4); };
    return 0.2126 * channel(c.redF()) + 0.7152 * channel(c.greenF()) + 0.0722 * channel(c.blueF());
}

double contrast(const QColor& a, const QColor& b) {
    const double la = luminance(a), lb = luminance(b);
    return (std::max(la, lb) + 0.05) / (std::min(la, lb) + 0.05);
}

constexpr double readable_contrast = 4.5;

QColor mixed(const QColor& a, const QColor& b, int percent_of_b) {
    const auto m = [&](int x, int y) { return x + (y - x) * percent_of_b / 100; };
    return QColor(m(a.red(), b.red()), m(a.green(), b.green()), m(a.blue(), b.blue()));
}

// A label's ink: the text colour eased toward the face as far as it stays readable on every
// face a label stands on.
QColor label_ink(const QPalette& pal) {
    const QColor ink = pal.color(QPalette::WindowText);
    const QColor faces[] = {pal.color(QPalette::Window), pal.color(QPalette::Button)};
    for (int eased = 45; eased > 0; eased -= 5) {
        const QColor c = mixed(ink, faces[0], eased);
        if (std::all_of(std::begin(faces), std::end(faces),
                        [&](const QColor& f) { return contrast(c, f) >= readable_contrast; }))
            return c;
    }
    return ink;
}

// A face darkened or lightened, away from its ink, until the ink reads on it.
QColor face_for(QColor face, const QColor& ink) {
    const QColor away = luminance(ink) > luminance(face) ? QColor(Qt::black) : QColor(Qt::white);
    for (int step = 0; step < 20 && contrast(face, ink) < readable_contrast; ++step) face = mixed(face, away, 10);
    return face;
}

}  // namespace

qt_fonts qt_fonts::for_screen(const main_screen& screen) {
    const QFont system = QApplication::font();
    qt_fonts f;
    f.small = made_font(system, screen.font(font_kind::small));
    f.normal = made_font(system, screen.font(font_kind::normal));
    f.list = made_font(QFontDatabase::systemFont(QFontDatabase::FixedFont), screen.font(font_kind::list));
    return f;
}

const QFont& qt_fonts::of(font_kind k) const {
    return k == font_kind::small ? small : k == font_kind::list ? list : normal;
}

const QStaticText& qt_fonts::laid_out(std::string_view s, font_kind f) const {
    constexpr std::size_t most = 4096;
    std::string key(1, static_cast<char>(f));
    key.append(s);
    if (const auto found = laid_out_.find(key); found != laid_out_.end()) return found->second;
    if (laid_out_.size() >= most) laid_out_.clear();
    QStaticText t(to_qt(s));
    t.setTextFormat(Qt::PlainText);
    t.prepare(QTransform(), of(f));
    return laid_out_.emplace(std::move(key), std::move(t)).first->second;
}

qt_canvas::qt_canvas(QPainter& painter, const qt_fonts& fonts, const QPalette& palette)
    : p_(painter),
      fonts_(fonts),
      palette_(palette),
      label_ink_(label_ink(palette)),
      highlight_(face_for(palette.color(QPalette::Highlight), palette.color(QPalette::HighlightedText))) {}

QColor qt_canvas::colour(colour_role c) const {
    const bool dark = palette_.color(QPalette::Window).lightness() < 128;
    switch (c) {
    case colour_role::window: return palette_.color(QPalette::Window);
    case colour_role::panel: return palette_.color(QPalette::Button);
    case colour_role::dialog: return palette_.color(QPalette::Window);
    case colour_role::field: return palette_.color(QPalette::Base);
    case colour_role::text: return palette_.color(QPalette::WindowText);
    case colour_role::field_text: return palette_.color(QPalette::Text);
    case colour_role::dim_text: return label_ink_;
    case colour_role::highlight: return highlight_;
    case colour_role::highlight_text: return palette_.color(QPalette::HighlightedText);
    case colour_role::light: return palette_.color(QPalette::Light);
    case colour_role::shadow: return palette_.color(QPalette::Dark);
    case colour_role::lit: return dark ? QColor(0x4c, 0xd0, 0x5a) : QColor(0x1f, 0x9d, 0x36);
    case colour_role::activity: return dark ? QColor(0x3d, 0xc4, 0x4d) : QColor(0x2a, 0xa0, 0x3a);
    case colour_role::activity_off: return palette_.color(QPalette::Mid);
    case colour_role::peak: return QColor(0xe0, 0x3c, 0x31);
    case colour_role::note_row: return palette_.color(QPalette::Text);
    case colour_role::control_row: return dark ? QColor(0x6c, 0xb4, 0xff) : QColor(0x1a, 0x4f, 0xa8);
    case colour_role::program_row: return dark ? QColor(0xe8, 0x9c, 0x4a) : QColor(0xa4, 0x52, 0x00);
    case colour_role::pressure_row: return dark ? QColor(0x4c, 0xd0, 0x5a) : QColor(0x1f, 0x7d, 0x2e);
    case colour_role::wheel_row: return dark ? QColor(0xd0, 0x7c, 0xe0) : QColor(0x7a, 0x2a, 0x8c);
    case colour_role::own_row: return dark ? QColor(0xe0, 0x60, 0x60) : QColor(0xa8, 0x1c, 0x1c);
    case colour_role::control_on: return dark ? QColor(0x3c, 0xc8, 0xc0) : QColor(0x00, 0x80, 0x80);
    case colour_role::lamp: return QColor(0xf0, 0xd0, 0x20);
    }
    return palette_.color(QPalette::Window);
}

void qt_canvas::fill_rect(const rect& r, colour_role c) {
    if (!r.empty()) p_.fillRect(to_qt(r), colour(c));
}

// Each drawing sets the pen and brush it needs, so none saves the painter's state: a saved
// state costs more than the line it would guard.
void qt_canvas::frame_rect(const rect& r, colour_role c) {
    if (r.empty()) return;
    p_.setPen(QPen(colour(c), 0));
    p_.setBrush(Qt::NoBrush);
    p_.drawRect(QRect(r.left, r.top, r.width() - 1, r.height() - 1));
}

void qt_canvas::line(int x1, int y1, int x2, int y2, colour_role c) {
    p_.setPen(QPen(colour(c), 0));
    p_.drawLine(x1, y1, x2, y2);
}

void qt_canvas::ellipse(const rect& r, colour_role fill, colour_role frame) {
    p_.setRenderHint(QPainter::Antialiasing);
    p_.setPen(QPen(colour(frame), 1));
    p_.setBrush(colour(fill));
    p_.drawEllipse(QRectF(to_qt(r)).adjusted(0.5, 0.5, -0.5, -0.5));
    p_.setRenderHint(QPainter::Antialiasing, false);
}

void qt_canvas::bevel(const rect& r, bool pressed) {
    if (r.empty()) return;
    fill_rect(r, colour_role::panel);
    const colour_role top_left = pressed ? colour_role::shadow : colour_role::light;
    const colour_role bottom_right = pressed ? colour_role::light : colour_role::shadow;
    line(r.left, r.top, r.right - 1, r.top, top_left);
    line(r.left, r.top, r.left, r.bottom - 1, top_left);
    line(r.left, r.bottom - 1, r.right - 1, r.bottom - 1, bottom_right);
    line(r.right - 1, r.top, r.right - 1, r.bottom - 1, bottom_right);
}

void qt_canvas::text(const rect& r, std::string_view s, font_kind f, colour_role c, text_align a) {
    if (s.empty() || r.empty()) return;
    const QStaticText& laid = fonts_.laid_out(s, f);
    const QSizeF size = laid.size();
    const qreal x = a == text_align::right    ? r.right - size.width()
                    : a == text_align::centre ? r.left + (r.width() - size.width()) / 2
                                              : r.left;
    const QPointF at(std::round(x), std::round(r.top + (r.height() - size.height()) / 2));
    // Only a text larger than its box needs the box as a clip.
    const bool overflows = size.width() > r.width() || size.height() > r.height();
    if (overflows) {
        p_.save();
        p_.setClipRect(to_qt(r), Qt::IntersectClip);
    }
    p_.setFont(fonts_.of(f));
    p_.setPen(colour(c));
    p_.drawStaticText(at, laid);
    if (overflows) p_.restore();
}

int qt_canvas::text_width(std::string_view s, font_kind f) {
    return QFontMetrics(fonts_.of(f)).horizontalAdvance(to_qt(s));
}

void qt_canvas::invert(const rect& r) {
    if (r.empty()) return;
    p_.save();
    p_.setCompositionMode(QPainter::CompositionMode_Difference);
    p_.fillRect(to_qt(r), Qt::white);
    p_.restore();
}

void qt_canvas::icon(const rect& r, int number) {
    const bool down = (number & 1) != 0 && number < icon_step_up;
    const int shape = number < icon_step_up ? number & ~1 : number;
    if (number < icon_step_up) bevel(r, down);
    const QRectF box = QRectF(to_qt(r)).adjusted(r.width() * 0.3, r.height() * 0.28,
                                                 -r.width() * 0.3, -r.height() * 0.28);
    QColor ink = colour(down ? colour_role::lit : colour_role::text);
    if (shape == icon_record) ink = down ? colour(colour_role::peak) : QColor(0xb0, 0x30, 0x28);
    p_.save();
    p_.setRenderHint(QPainter::Antialiasing);
    p_.setPen(Qt::NoPen);
    p_.setBrush(ink);
    const auto triangle = [&](QRectF b, bool right) {
        QPainterPath path;
        if (right) {
            path.moveTo(b.left(), b.top());
            path.lineTo(b.right(), b.center().y());
            path.lineTo(b.left(), b.bottom());
        } else {
            path.moveTo(b.right(), b.top());
            path.lineTo(b.left(), b.center().y());
            path.lineTo(b.right(), b.bottom());
        }
        path.closeSubpath();
        p_.drawPath(path);
    };
    const auto vertical = [&](QRectF b, bool up) {
        QPainterPath path;
        path.moveTo(b.left(), up ? b.bottom() : b.top());
        path.lineTo(b.right(), up ? b.bottom() : b.top());
        path.lineTo(b.center().x(), up ? b.top() : b.bottom());
        path.closeSubpath();
        p_.drawPath(path);
    };
    const qreal side = std::min(box.width(), box.height());
    const QRectF sq(box.center().x() - side / 2, box.center().y() - side / 2, side, side);
    switch (shape) {
    case icon_play: triangle(sq, true); break;
    case icon_stop: p_.drawRect(sq.adjusted(side * 0.08, side * 0.08, -side * 0.08, -side * 0.08)); break;
    case icon_record:
    case icon_overdub: p_.drawEllipse(sq); break;
    case icon_pause:
        p_.drawRect(QRectF(sq.left() + side * 0.1, sq.top(), side * 0.28, side));
        p_.drawRect(QRectF(sq.right() - side * 0.38, sq.top(), side * 0.28, side));
        break;
    case icon_forward:
    case icon_rewind: {
        const QRectF wide(box.center().x() - side, sq.top(), side * 2, side);
        triangle(QRectF(wide.left(), wide.top(), side, side), shape == icon_forward);
        triangle(QRectF(wide.left() + side, wide.top(), side, side), shape == icon_forward);
        break;
    }
    case icon_step_up:
    case icon_row_up: vertical(sq, true); break;
    case icon_step_down:
    case icon_row_down: vertical(sq, false); break;
    default: break;
    }
    p_.restore();
}

font_metrics qt_font_source::system_font() {
    const QFontMetrics m(QApplication::font());
    return {m.averageCharWidth(), m.height(), m.leading() > 0 ? m.leading() : 0};
}

}  // namespace kestrune
