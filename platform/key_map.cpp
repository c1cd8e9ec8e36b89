#include "platform/key_map.h"

#include <QGuiApplication>
#include <QKeyEvent>

namespace kestrune {

namespace {

// Linux input key codes of the letter and digit keys, as US keyboards label them. X11 and
// Wayland report them plus 8.
constexpr int evdev_offset = 8;
constexpr struct {
    int code;
    char key;
} evdev_keys[] = {
    {2, '1'},  {3, '2'},  {4, '3'},  {5, '4'},  {6, '5'},  {7, '6'},  {8, '7'},  {9, '8'},
    {10, '9'}, {11, '0'}, {16, 'Q'}, {17, 'W'}, {18, 'E'}, {19, 'R'}, {20, 'T'}, {21, 'Y'},
    {22, 'U'}, {23, 'I'}, {24, 'O'}, {25, 'P'}, {30, 'A'}, {31, 'S'}, {32, 'D'}, {33, 'F'},
    {34, 'G'}, {35, 'H'}, {36, 'J'}, {37, 'K'}, {38, 'L'}, {44, 'Z'}, {45, 'X'}, {46, 'C'},
    {47, 'V'}, {48, 'B'}, {49, 'N'}, {50, 'M'},
};

// X11 and Wayland give evdev codes; so does the offscreen platform when a test gives one.
bool scan_codes_are_evdev() {
    const QString p = QGuiApplication::platformName();
    return p == "xcb" || p.startsWith("wayland") || p == "offscreen";
}

char character_of(const QKeyEvent& e) {
    if (e.nativeScanCode() != 0 && scan_codes_are_evdev()) {
        const int code = static_cast<int>(e.nativeScanCode()) - evdev_offset;
        for (const auto& k : evdev_keys)
            if (k.code == code) return k.key;
        return 0;
    }
    const int k = e.key();
    if ((k >= Qt::Key_A && k <= Qt::Key_Z) || (k >= Qt::Key_0 && k <= Qt::Key_9)) return static_cast<char>(k);
    return 0;
}

key_code keypad_code(int k) {
    switch (k) {
    case Qt::Key_0:
    case Qt::Key_Insert: return key_code::pad_0;
    case Qt::Key_Enter:
    case Qt::Key_Return: return key_code::pad_enter;
    case Qt::Key_Period:
    case Qt::Key_Comma:
    case Qt::Key_Delete: return key_code::pad_dot;
    case Qt::Key_Asterisk: return key_code::pad_star;
    case Qt::Key_Slash: return key_code::pad_slash;
    case Qt::Key_Plus: return key_code::pad_plus;
    case Qt::Key_Minus: return key_code::pad_minus;
    default: return key_code::other;
    }
}

key_code plain_code(int k) {
    switch (k) {
    case Qt::Key_Left: return key_code::left;
    case Qt::Key_Right: return key_code::right;
    case Qt::Key_Up: return key_code::up;
    case Qt::Key_Down: return key_code::down;
    case Qt::Key_Insert: return key_code::insert;
    case Qt::Key_Delete: return key_code::del;
    case Qt::Key_Backspace: return key_code::backspace;
    case Qt::Key_Escape: return key_code::escape;
    case Qt::Key_Tab: return key_code::tab;
    case Qt::Key_Return: return key_code::enter;
    case Qt::Key_Enter: return key_code::pad_enter;
    case Qt::Key_Space: return key_code::space;
    default: break;
    }
    if (k >= Qt::Key_F1 && k <= Qt::Key_F12)
        return static_cast<key_code>(static_cast<int>(key_code::f1) + (k - Qt::Key_F1));
    return key_code::other;
}

}  // namespace

key_event to_key_event(const QKeyEvent& e) {
    key_event k;
    const Qt::KeyboardModifiers m = e.modifiers();
    k.mods = {m.testFlag(Qt::ShiftModifier), m.testFlag(Qt::ControlModifier), m.testFlag(Qt::AltModifier)};
    k.auto_repeat = e.isAutoRepeat();
    if (m.testFlag(Qt::KeypadModifier)) {
        k.code = keypad_code(e.key());
        if (k.code != key_code::other) return k;
    }
    k.code = plain_code(e.key());
    if (k.code != key_code::other) return k;
    if (const char c = character_of(e)) {
        k.code = key_code::character;
        k.character = c;
    }
    return k;
}

}  // namespace kestrune
