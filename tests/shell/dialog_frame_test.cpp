#include "shell/dialogs/dialog_frame.h"

#include <gtest/gtest.h>

#include "core/command_ids.h"
#include "processing/commands.h"
#include "processing/select_events.h"
#include "processing/track_span.h"
#include "realtime/recording_commands.h"
#include "shell/dialogs/command_dialog.h"
#include "shell/dialogs/setup_dialog_views.h"
#include "shell/main_commands.h"
#include "song/entry_parsers.h"
#include "song/field_text.h"
#include "song/position.h"
#include "song/value_step.h"
#include "tests/support/song_builder.h"
#include "tests/support/stand_ins.h"

namespace kestrune {
namespace {

using testing::nums;

struct point {
    int x, y;
};
point middle_of(const dialog& d, int index) {
    const rect r = d.field_rect(index);
    return {(r.left + r.right) / 2, (r.top + r.bottom) / 2};
}
bool double_click_field(dialog& d, int index) {
    const point m = middle_of(d, index);
    return d.double_click(m.x, m.y);
}
// The dialog's controls of one kind, in their order.
std::vector<const dialog_control*> controls_of(const dialog& d, control_kind kind) {
    std::vector<const dialog_control*> found;
    for (const dialog_control& k : d.controls())
        if (k.kind == kind) found.push_back(&k);
    return found;
}
const dialog_control* control_named(const dialog& d, std::string_view text) {
    for (const dialog_control& k : d.controls())
        if (k.text == text) return &k;
    return nullptr;
}
std::vector<std::int64_t> radio_marks(const dialog& d) {
    std::vector<std::int64_t> marked;
    for (const dialog_control* k : controls_of(d, control_kind::radio_button))
        marked.push_back(k->get());
    return marked;
}
std::vector<std::string> ranges_of(const std::vector<field_spec>& fields) {
    std::vector<std::string> v;
    for (const field_spec& f : fields) v.push_back(f.label + ": " + field_kind_text(f));
    return v;
}

TEST(DialogFrame, AClickStepsOnceAHeldButtonRepeatsAfter101MsAndADoubleClickTypesThroughTheParser) {
    testing::test_program t;
    memory_setup_view v(*t);
    v.set_cells(8, 16);
    const point timer = middle_of(v, 1);
    // A double click types into the field through its parser.
    std::string offered;
    std::string typed;
    v.set_entry([&](const double_click_box& box) {
        offered = box.text;
        return std::optional<std::string>(typed);
    });
    typed = "300.000";
    EXPECT_TRUE(double_click_field(v, 0));
    EXPECT_EQ(nums(v.model.units, offered == "100.000"), nums(30, 1));
    typed = "abc";
    EXPECT_FALSE(double_click_field(v, 1));
    typed = "99";
    EXPECT_TRUE(double_click_field(v, 1));
    EXPECT_EQ(v.model.timer, 20);
    EXPECT_FALSE(v.double_click(-5, -5));
    v.model.timer = 5;
    // Both buttons at once, before any direction was used: nothing.
    v.press(1, timer.x, timer.y);
    v.press(2, timer.x, timer.y);
    for (int ms = 0; ms <= 300; ms += 50) v.tick(ms);
    v.release(1);
    v.release(2);
    v.tick(350);
    EXPECT_EQ(v.model.timer, 5);
    v.press(2, timer.x, timer.y);  // a quick click between two ticks
    v.release(2);
    v.tick(400);
    v.tick(450);
    EXPECT_EQ(v.model.timer, 4);
    std::vector<int> seen;
    v.press(1, timer.x, timer.y);
    for (int ms = 500; ms <= 700; ms += 50) {
        v.tick(ms);
        seen.push_back(v.model.timer);
    }
    EXPECT_EQ(seen, (std::vector<int>{5, 5, 5, 6, 7}));
    v.press(2, timer.x, timer.y);  // both now: ten up, clamped at 20
    v.tick(750);
    EXPECT_EQ(v.model.timer, 17);
    v.tick(800);
    EXPECT_EQ(v.model.timer, 20);
}

TEST(DialogFrame, ShowsLocatorsThroughTheSongOffsetAndStepsTheUnitUnderThePointer) {
    testing::test_program t;
    struct locator_dialog : dialog {
        explicit locator_dialog(program& p) : dialog(p, "Locators", 20, 4) {
            add_field({.shape = {.label = "Left Locator",
                                 .kind = field_kind::position,
                                 .low = 0,
                                 .high = last_position,
                                 .locator = true},
                       .cells = {1, 1, 15, 2},
                       .get = [this] { return left; },
                       .set = [this](std::int32_t v) { left = v; }});
        }
        std::int32_t left = 3072;
    } d(*t);
    d.set_cells(10, 16);
    d.offsets.locator = 768;
    EXPECT_EQ(d.field_text(0), "   2  1  1  1");
    const rect r = d.field_rect(0);
    auto click = [&](int button, int x, std::int64_t ms) {
        d.press(button, x, r.top + 2);
        d.release(button);
        d.tick(ms);
        d.tick(ms + 50);
    };
    click(1, r.right - 15, 0);  // the tick part
    EXPECT_EQ(d.left, 3073);
    click(2, r.left + 5, 100);  // the bar part, 4/4 before the value
    EXPECT_EQ(d.left, 3073 - 768);
    d.offsets.locator = 0;
    d.left = 100;
    click(2, r.left + 5, 200);
    EXPECT_EQ(d.left, 0);  // clamped to the range
}

TEST(DialogFrame, ACommandRefusesBeforeItsDialogAndTheMouseSettingReachesTheSteps) {
    testing::test_program t;
    int asked = 0, ran = 0;
    const command_record c{.changes_song = true,
                           .needs = command_needs::track_data,
                           .dialog = {.title = "Some Function"},
                           .run = [&ran](program&, const field_values&) {
                               ++ran;
                               return outcome::done;
                           }};
    const dialog_asker ask = [&asked](const command_record&, field_values&) { return ++asked > 1; };
    EXPECT_EQ(run_command(*t, c, {}, ask), outcome::refused);
    testing::give_track(*t, 0, 0, testing::notes(1, song_start, 96));
    t->d.recording = 1;
    EXPECT_EQ(run_command(*t, c, {}, ask), outcome::refused);
    ASSERT_EQ(t.screen.messages.size(), 2u);
    EXPECT_EQ(nums(t.screen.messages[0].icon == msg_icon::warning,
                   t.screen.messages[1].icon == msg_icon::stop, asked, ran),
              nums(1, 1, 0, 0));
    EXPECT_EQ(t.screen.messages[0].text, "No data on this track!");
    t->d.recording = 0;
    EXPECT_EQ(run_command(*t, c, {}, ask), outcome::cancelled);
    EXPECT_EQ(run_command(*t, c, {}, ask), outcome::done);
    EXPECT_EQ(nums(asked, ran, static_cast<int>(t->changes.commands)), nums(2, 1, 1));
    EXPECT_FALSE(run_memory_setup(*t));  // a ui without dialogs cancels
    setup_settings s;
    overall_settings_view v(*t, s);
    control_named(v, "Right button increases")->set(1);
    EXPECT_EQ(nums(s.mouse_increase, t->song.increase_button, change_value(*t, 5, 2)),
              nums(2, 2, 6));
}

TEST(DialogFrame, MidiSetupTakesASoundFontOnlyWhenTheSynthAcceptsIt) {
    testing::test_program t;
    setup_settings s;
    EXPECT_EQ(control_named(midi_setup_view(*t, s), "SoundFont..."), nullptr);  // no synth
    s.soundfont.in_use = "/sf/Old.sf2";
    s.soundfont.choose = [&](const std::string& path, std::string* why) {
        if (path == "/sf/New.sf3") return true;
        *why = "Can't load the SoundFont " + path;
        return false;
    };
    midi_setup_view v(*t, s);
    ASSERT_NE(control_named(v, "SoundFont..."), nullptr);
    EXPECT_EQ(v.field_text(0), "Old.sf2");
    t.screen.file_names = {std::nullopt, std::string("/sf/Missing.sf2"),
                           std::string("/sf/New.sf3")};
    EXPECT_FALSE(choose_soundfont(*t, s.soundfont));  // the file dialog cancelled
    EXPECT_TRUE(t.screen.messages.empty());
    EXPECT_FALSE(choose_soundfont(*t, s.soundfont));
    EXPECT_EQ(t.screen.last_text(), "Can't load the SoundFont /sf/Missing.sf2");
    EXPECT_EQ(v.field_text(0) + " " + t.screen.dialogs.back().folder, "Old.sf2 /sf");
    EXPECT_TRUE(choose_soundfont(*t, s.soundfont));
    EXPECT_EQ(v.field_text(0), "New.sf3");
}

// Overall Settings: each field's range as its group lists it, channels shown and typed from 1
// (an Off Channel of 0 is none), and each filter box on its own kind of message.
TEST(DialogFrame, OverallSettingsTakeChannelsFromOneAndEachFilterBoxItsOwnKind) {
    testing::test_program t;
    dll_data& d = t->d;
    setup_settings s;
    overall_settings_view v(*t, s);
    v.set_cells(8, 16);
    std::vector<field_spec> shapes;
    for (const value_field& f : v.fields()) shapes.push_back(f.shape);
    EXPECT_EQ(ranges_of(shapes),
              (std::vector<std::string>{"From: number -1..127", "To: number -1..127",
                                        "Port: choice a|b|c|d", "Channel: number 1..16",
                                        "Note: note 0..127 or a name as C#4",
                                        "Velocity: number 1..127", "Off Channel: number -1..15",
                                        "from: number 0..127", "to: number 0..127"}));
    constexpr int click_channel = 3, off_channel = 6;
    d.click_channel = 15;
    d.thru_off_channel = -1;
    EXPECT_EQ(v.field_text(click_channel) + "|" + v.field_text(off_channel), "16| -- ");
    t.screen.typed = {"1", "16", "0"};
    for (const int f : {click_channel, off_channel}) double_click_field(v, f);
    EXPECT_EQ(nums(d.click_channel, d.thru_off_channel), nums(0, 15));
    double_click_field(v, off_channel);
    EXPECT_EQ(d.thru_off_channel, -1);
    const std::pair<const char*, std::uint8_t dll_data::*> filters[] = {
        {"Notes", &dll_data::filter_notes},
        {"Poly Press", &dll_data::filter_poly_press},
        {"Channel Press", &dll_data::filter_channel_press},
        {"Program", &dll_data::filter_program},
        {"Pitch Wheel", &dll_data::filter_pitch_wheel},
        {"Sys Ex", &dll_data::filter_sysex}};
    for (const auto& [text, flag] : filters) {
        for (const auto& other : filters) d.*other.second = 0;
        control_named(v, text)->set(1);
        int on = 0;
        for (const auto& other : filters) on += d.*other.second;
        EXPECT_EQ(nums(d.*flag, on), nums(1, 1)) << text;
    }
}

// A program with every command of its table, Internal Recording's among them.
struct CommandDialog : ::testing::Test {
    testing::test_program t;
    command_table table;
    transport tr{*t};
    recorder rec{*t, tr};
    CommandDialog() {
        add_program_commands(table);
        table.add(internal_recording_command(rec));
    }
};

// The Note Pad's text box gives its text to the song, cut to what the song keeps.
TEST_F(CommandDialog, TheNotePadKeepsItsTextWithTheSong) {
    const command_record c = note_pad_command();
    field_values values = initial_values(*t, c);
    command_dialog v(*t, c, values);
    const auto boxes = controls_of(v, control_kind::text_box);
    ASSERT_EQ(boxes.size(), 1u);
    const dialog_control* box = boxes[0];
    EXPECT_EQ(box->max_length, note_pad_bytes - 1);
    box->set_text(std::string(300, 'x'));
    EXPECT_EQ(run_command(*t, c, values), outcome::done);
    EXPECT_EQ(initial_values(*t, c)[0].text, std::string(note_pad_bytes - 1, 'x'));
}

// The fields of the commands' dialogs: each range, its default on a new song and what it takes;
// Quantize Settings takes effect at once.
TEST_F(CommandDialog, EachFieldHoldsItsRangeAndItsDefault) {
    const command_record& settings = *table.find(cmd::quantize_settings);
    EXPECT_EQ(ranges_of(settings.fields),
              (std::vector<std::string>{"Quantize Method: choice tight_quantize|smart_quantize",
                                        "Quantize Strength: number 0..100",
                                        "Swing Factor: percent -90..100 in steps of 10"}));
    field_values v = initial_values(*t, settings);
    EXPECT_EQ(nums(v[0].number, v[1].number, v[2].number), nums(0, 100, 0));
    command_dialog shown(*t, settings, v);
    EXPECT_EQ(radio_marks(shown), nums(1, 0));  // Tight Quantize
    // The live dialog runs its command as a field steps: two clicks up make the swing 20 %.
    shown.set_cells(8, 16);
    const point swing = middle_of(shown, 1);
    for (std::int64_t ms : {0, 200}) {
        shown.press(1, swing.x, swing.y);
        shown.release(1);
        shown.tick(ms);
    }
    EXPECT_EQ(nums(t->app.quantize_swing, shown.field_text(1) == "20"), nums(2, 1));
    control_named(shown, "Smart Quantize")->set(1);
    EXPECT_EQ(t->app.smart_quantize, 1);
    // Modify Track's values, their switches off at every opening, and User Defined Speed.
    const command_record& modify = *table.find(cmd::modify_track);
    std::vector<std::string> values = ranges_of(modify.fields);
    values.resize(10);
    EXPECT_EQ(values, (std::vector<std::string>{
                          "MIDI Channel On: check on|off", "MIDI Channel: number 1..16",
                          "Transpose On: check on|off", "Transpose: number -64..64",
                          "Velocity On: check on|off", "Velocity: number -99..127",
                          "Compress On: check on|off", "Compress: number -1..5",
                          "Quantize On: check on|off", "Quantize: series 3..48, 3 as no"}));
    v = initial_values(*t, modify);
    std::vector<std::int64_t> initial;
    for (std::size_t i = 0; i < 10; ++i) initial.push_back(v[i].number);
    EXPECT_EQ(initial, nums(0, 0, 0, 0, 0, 0, 0, 0, 0, 3));
    const command_record& speed = *table.find(cmd::change_speed);
    EXPECT_EQ(ranges_of(speed.fields), std::vector<std::string>{"Speed: decimal 0.200..4.000"});
    EXPECT_EQ(initial_values(*t, speed)[0].number, 1000);
    // Patterns and channels count from 1; a segment is copied at least once.
    const std::vector<std::string> segment =
        ranges_of(table.find(cmd::copy_pattern_segment)->fields);
    const std::vector<std::string> events = ranges_of(table.find(cmd::delete_events)->fields);
    EXPECT_EQ((std::vector<std::string>{segment[0], segment[5], events[1], events[2]}),
              (std::vector<std::string>{"Source Pattern: number 1..17", "Copies: number 1..99",
                                        "Chan Low: number 1..16", "Chan High: number 1..16"}));
    // The Qua pop-up offers NO and the values from fine to coarse.
    const command_record& popup = *table.find(cmd::quantize_popup);
    EXPECT_EQ(popup.fields[0].choices,
              (std::vector<std::string>{"NO", "48", "32", "24", "16", "12", "8", "6", "4"}));
    t->slot(0, 0).quantize = 12;
    EXPECT_EQ(initial_values(*t, popup)[0].number, 5);
    const command_record& internal = *table.find(cmd::internal_recording);
    EXPECT_EQ(ranges_of(internal.fields),
              (std::vector<std::string>{"Enable Internal Recording: check on|off",
                                        "Port: choice a|b|c|d"}));
    std::vector<std::string> radios;
    for (const dialog_item& i : internal.dialog.items)
        if (i.kind == control_kind::radio_button)
            radios.push_back(std::to_string(i.choice) + i.text);
    EXPECT_EQ(radios,
              (std::vector<std::string>{
                  "0Channel A1 - A16 to current track", "1Channel B1 - B16 to current track",
                  "2Channel C1 - C16 to current track", "3Channel D1 - D16 to current track"}));
    t->d.internal_record = 3;  // port C
    v = initial_values(*t, internal);
    EXPECT_EQ(nums(v[0].number, v[1].number), nums(1, 2));
}

// The condition's rows show what the chosen event type makes of them; a row the type does not
// use shows its dash and takes no click. Change Note Length opens on Minimum Length, while the
// operation kept stays until another button is pressed.
TEST_F(CommandDialog, FieldsShowWhatTheTypeMakesOfThemAndNoteLengthOpensOnMinimum) {
    const command_record& del = *table.find(cmd::delete_events);
    field_values v = initial_values(*t, del);
    v[0].number = 3;  // Note
    v[5].number = 0;
    command_dialog d(*t, del, v);
    d.set_cells(8, 16);
    const auto texts = [&d] {
        std::vector<std::string> s;
        for (int i = 0; i < 6; ++i) s.push_back(d.field_text(i));
        return s;
    };
    EXPECT_EQ(texts(), (std::vector<std::string>{"1", "16", " C-1", " G 9", "Off", "127"}));
    const dialog_control* type_box = controls_of(d, control_kind::combo_box).at(0);
    type_box->set(5);  // Control
    EXPECT_EQ(texts(), (std::vector<std::string>{"1", "16", "0", "127", "0", "127"}));
    type_box->set(10);  // Sys Ex
    EXPECT_EQ(texts(), (std::vector<std::string>{" - ", " - ", "  - ", "  - ", " - ", " - "}));
    const point chan = middle_of(d, 0);
    d.press(1, chan.x, chan.y);
    d.release(1);
    d.tick(0);
    t.screen.typed = {"5"};
    EXPECT_FALSE(double_click_field(d, 0));
    EXPECT_EQ(v[1].number, 0);
    // Each end of a range stops at the other: Chan Low never passes Chan High, nor it below.
    type_box->set(5);
    t.screen.typed = {"5", "10", "3"};
    for (const int f : {1, 0, 1}) double_click_field(d, f);
    EXPECT_EQ(nums(v[1].number, v[2].number), nums(4, 4));
    EXPECT_EQ(crossed_range_end(del.fields, v), -1);  // equal ends: one channel, not crossed
    // Transform: a result -2- of 0 is "Off" only for a note.
    const command_record& tr = *table.find(cmd::transform_events);
    field_values r = initial_values(*t, tr);
    r[15].number = 0;
    command_dialog shown(*t, tr, r);
    constexpr int result_data2 = 8;
    EXPECT_EQ(shown.field_text(result_data2), "Off");
    controls_of(shown, control_kind::combo_box).at(1)->set(event_type::control - 1);
    EXPECT_EQ(shown.field_text(result_data2), "0");

    const command_record& len = *table.find(cmd::change_note_length);
    field_values kept = initial_values(*t, len);
    kept[0].number = 4;  // Fixed Length, the last one used
    keep_values(*t, cmd::change_note_length, kept);
    field_values l = initial_values(*t, len);
    command_dialog lengths(*t, len, l);
    EXPECT_EQ(radio_marks(lengths), nums(1, 0, 0, 0, 0));
    EXPECT_EQ(l[0].number, 4);
}

// What a typed entry and apply's argument read as, and how the value shows, kind by kind.
TEST_F(CommandDialog, EntriesAndClicksConvertChannelsPercentsBarsAndDecimals) {
    program& p = *t;
    const field_spec track{.label = "Track", .kind = field_kind::one_based, .low = 0, .high = 31};
    const field_spec channel{.label = "Channel", .kind = field_kind::channel, .low = 0, .high = 16};
    const field_spec percent{
        .label = "Swing", .kind = field_kind::percent_x10, .low = -9, .high = 10};
    const field_spec bar{
        .label = "From", .kind = field_kind::position, .low = 0, .high = last_position};
    const auto read = [&](const field_spec& f, const char* text) {
        return parse_field(p, f, text, 7).value_or(-99);
    };
    EXPECT_EQ(nums(read(track, "1"), read(track, "32"), read(track, "40"), read(track, "0")),
              nums(0, 31, 31, 0));
    EXPECT_EQ(field_text(p, track, 0) + field_text(p, track, 31), "132");
    EXPECT_EQ(
        nums(read(channel, "1"), read(channel, "16"), read(channel, "17"), read(channel, "0")),
        nums(0, 15, 16, 16));
    EXPECT_EQ(field_text(p, channel, 0) + field_text(p, channel, 15) + field_text(p, channel, 16),
              "116--");
    EXPECT_EQ(
        nums(read(percent, "-90"), read(percent, "100"), read(percent, "250"), read(percent, "x")),
        nums(-9, 10, 10, -99));
    EXPECT_EQ(field_text(p, percent, -9), "-90");
    // One click: a check box flips on the left button only; a speed steps the digit under the
    // pointer, a tempo whole beats, tenths or hundredths; a denominator doubles; a length a bar.
    const auto click = [&](const field_spec& f, std::int32_t v, int code, int px_from_right) {
        return step_field(p, f, v, code, {}, {100 - px_from_right, 100, 10});
    };
    const field_spec speed{
        .label = "Speed", .kind = field_kind::thousandths, .low = 200, .high = 4000};
    const field_spec tempo{.label = "Tempo", .kind = field_kind::tempo, .low = 1000, .high = 25000};
    const field_spec denominator{
        .label = "Den", .kind = field_kind::power_of_two, .low = 1, .high = 32};
    const field_spec length{
        .label = "Length", .kind = field_kind::time_span, .low = 0, .high = last_position};
    EXPECT_EQ(
        nums(click(check_field("On"), 0, 1, 5), click(check_field("On"), 0, 2, 5),
             click(speed, 1000, 1, 5), click(speed, 1000, 1, 15), click(speed, 1000, 1, 25),
             click(speed, 1000, 1, 45), click(tempo, 12000, 1, 5), click(tempo, 12000, 1, 18),
             click(tempo, 12000, 1, 45), click(denominator, 4, 1, 5), click(length, 768, 1, 95)),
        nums(1, 0, 1001, 1010, 1100, 2000, 12001, 12010, 12100, 8, 1536));
    EXPECT_EQ(nums(read(speed, "1.25"), read(speed, "0.1")), nums(1250, 200));
    // A bar field: bar 2 in 4/4 is 768 ticks after bar 1, which is 3072.
    EXPECT_EQ(nums(read(bar, "2"), read(bar, "1.2")), nums(3072 + 768, 3072 + 192));
    EXPECT_EQ(field_text(p, bar, 3072 + 768 + 192 + 48 + 1), "   2  2  2  2");
    // apply's arguments: a bar as ticks too, a percent only in tens, a check as on or off.
    const auto arg = [&](const field_spec& f, const char* text) {
        const auto v = parse_field_argument(p, f, text);
        return v ? v->number : -99;
    };
    EXPECT_EQ(nums(arg(bar, "3840"), arg(bar, "2.1.1.1"), arg(percent, "-90"), arg(percent, "15"),
                   arg(check_field("On"), "on"), arg(check_field("On"), "off"), arg(track, "33"),
                   arg(channel, "16")),
              nums(3840, 3840, -9, -99, 1, 0, -99, 15));
    const field_spec method = choice_field("Method", {"Tight Quantize", "Smart Quantize"});
    EXPECT_EQ(
        nums(arg(method, "smart_quantize"), arg(method, "Tight Quantize"), arg(method, "smart")),
        nums(1, 0, -99));
}

// 4/4 at 3072, 3/4 from bar 3.
void three_four_from_bar_3(program& p) {
    testing::use_signature_track(
        p, {testing::ev(st::signature, 4, 4, 3072), testing::ev(st::signature, 3, 4, 3072 + 1536)});
}

TEST(ValueStep, BothButtonsFollowTheLastDirectionAndTheSeriesWalksNoteValues) {
    testing::test_program t;
    program& p = *t;
    EXPECT_EQ(change_value(p, 5, both_buttons), 5);  // no direction yet
    EXPECT_EQ(change_value(p, 5, 2), 4);
    EXPECT_EQ(change_value(p, 5, both_buttons), -5);
    p.song.increase_button = 2;  // right button increases
    p.song.decrease_button = 1;
    EXPECT_EQ(change_value(p, 5, 2), 6);
    EXPECT_EQ(change_value(p, 5, both_buttons), 15);
    std::vector<std::int32_t> up{1}, down{192};
    while (up.back() < 192) up.push_back(series_step(up.back(), true));
    while (down.back() > 1) down.push_back(series_step(down.back(), false));
    EXPECT_EQ(up,
              (std::vector<std::int32_t>{1, 2, 3, 4, 6, 8, 12, 16, 24, 32, 48, 64, 96, 128, 192}));
    EXPECT_EQ(std::vector<std::int32_t>(down.rbegin(), down.rend()), up);
    EXPECT_EQ(change_series_value(p, 32, both_buttons, 1, 32), 32);
    EXPECT_EQ(change_series_value(p, 32, 2, 1, 32), 32);  // clamped
    EXPECT_EQ(nums(round_into_series(47), round_into_series(48), round_into_series(5),
                   round_to_power_of_two(31), round_into_series(0)),
              nums(32, 48, 4, 16, 1));
}

TEST(ValueStep, PositionStepsByThePartUnderThePointerAndTheSignatureInForce) {
    testing::test_program t;
    program& p = *t;
    // 3/4 from bar 3 (3072 + 2 * 768).
    three_four_from_bar_3(p);
    const std::int32_t bar3 = 3072 + 1536;
    auto at = [](int chars_from_right) {
        return position_pointer{100 - chars_from_right * 10 - 5, 100, 10, dialog_tick_chars};
    };
    EXPECT_EQ(nums(position_step(p, bar3, at(0), true), position_step(p, bar3, at(4), true),
                   position_step(p, bar3, at(7), true), position_step(p, bar3, at(9), true),
                   position_step(p, bar3, at(9), false)),
              nums(1, 48, 192, 576, 768));
    p.app.simple_bardisplay = true;
    EXPECT_EQ(nums(position_step(p, bar3, at(4), true), position_step(p, bar3, at(7), true)),
              nums(1, 192));
    EXPECT_EQ(step_position(p, bar3, 1, at(9)), bar3 + 576);
    EXPECT_EQ(step_position(p, bar3, both_buttons, at(0)), bar3 + 10);
}

TEST(EntryParsers, ReadWhatTheFieldsShowAndRefuseTheRest) {
    testing::test_program t;
    program& p = *t;
    three_four_from_bar_3(p);
    EXPECT_EQ(parse_position(p, "5.2"), 3072 + 1536 + 2 * 576 + 192);
    EXPECT_EQ(parse_position(p, "1"), 3072);
    EXPECT_EQ(parse_position(p, position_text(p, 9999)), 9999);
    EXPECT_EQ(parse_position(p, "0"), 3072 - 768);
    EXPECT_EQ(parse_time_span(p, "1.1", 3072), 768 + 192);
    EXPECT_EQ(parse_time_span(p, "0 0 1 5", 3072), 53);
    p.app.simple_bardisplay = true;
    EXPECT_EQ(parse_position(p, "1 1 5"), 3076);
    EXPECT_EQ(nums(*parse_note("A3"), *parse_note("c#4"), *parse_note("C-1"), *parse_note("h2"),
                   *parse_note("60")),
              nums(57, 61, 0, 47, 60));
    EXPECT_EQ(nums(*parse_tempo("120.5", 0), *parse_tempo("120.05", 0), *parse_tempo("+1.5", 12000),
                   *parse_tempo("-20", 12000), *parse_integer(" -12 ")),
              nums(12050, 12005, 12150, 10000, -12));
    const auto sig = parse_signature("40/12");
    EXPECT_EQ(nums(sig->numerator, sig->denominator), nums(32, 8));
    EXPECT_EQ(*parse_text(" x "), " x ");
    for (const char* bad : {" ", "abc", "1x", "--1", "12345.1", "1.2.3.4.5", "1.2.3.4"}) {
        EXPECT_FALSE(parse_integer(bad)) << bad;
        EXPECT_FALSE(parse_position(p, bad)) << bad;  // four parts are too many when simple
    }
    EXPECT_FALSE(parse_integer("") || parse_position(p, "") || parse_time_span(p, "", 0) ||
                 parse_note("") || parse_signature("") || parse_tempo("", 1) || parse_text(""));
    EXPECT_FALSE(parse_integer("abc") || parse_position(p, "12345") || parse_note("X3") ||
                 parse_note("C#10") || parse_signature("4") || parse_signature("100/4") ||
                 parse_tempo("12a", 0));
}

}  // namespace
}  // namespace kestrune
