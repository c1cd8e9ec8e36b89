#include "core/midi_names.h"

#include <cstddef>

namespace kestrune {

namespace {

struct named {
    int number;
    const char* text;
};

constexpr named controllers[] = {
    {-5, "Velocity"},      {-4, "P-Press"},       {-3, "Program"},       {-2, "C-Press"},
    {-1, "PitchWh"},       {0, "Bank Sel MSB"},   {1, " Modulation "},   {2, " Breath Ctrl"},
    {4, " Foot Ctrl  "},   {5, " Porta. Time"},   {6, "Data Ent MSB"},   {7, "  Volume    "},
    {8, "  Balance   "},   {10, "   Panning  "},  {11, " Expression "},  {16, " Gen.Purp.1 "},
    {17, " Gen.Purp.2 "},  {18, " Gen.Purp.3 "},  {19, " Gen.Purp.4 "},  {32, "Bank Sel LSB"},
    {33, " Modul. LSB "},  {34, " Breath LSB "},  {36, " FootCt LSB "},  {37, " Port T LSB "},
    {38, "Data Ent LSB"},  {39, "Main Vol LSB"},  {40, " Balance LSB"},  {42, "   Pan LSB  "},
    {43, " Expres. LSB"},  {48, " Gen.P.1 LSB"},  {49, " Gen.P.2 LSB"},  {50, " Gen.P.3 LSB"},
    {51, " Gen.P.4 LSB"},  {64, " Sustain Ped"},  {65, " Porta Ped  "},  {66, " Sostenuto  "},
    {67, " Soft Pedal "},  {68, " Legato Foot"},  {69, "    Hold 2  "},  {70, "Sound Ctlr 1"},
    {71, "Sound Ctlr 2"},  {72, "Sound Ctlr 3"},  {73, "Sound Ctlr 4"},  {74, "Sound Ctlr 5"},
    {75, "Sound Ctlr 6"},  {76, "Sound Ctlr 7"},  {77, "Sound Ctlr 8"},  {78, "Sound Ctlr 9"},
    {79, "Sound Ctlr10"},  {80, " Gen.Purp.5 "},  {81, " Gen.Purp.6 "},  {82, " Gen.Purp.7 "},
    {83, " Gen.Purp.8 "},  {84, " Portam Ctlr"},  {91, "  Effect 1  "},  {92, "  Effect 2  "},
    {93, "  Effect 3  "},  {94, "  Effect 4  "},  {95, "  Effect 5  "},  {96, " Data Incr  "},
    {97, " Data Decr  "},  {98, " Non-Reg LSB"},  {99, " Non-Reg MSB"},  {100, "   Reg LSB  "},
    {101, "   Reg MSB  "}, {121, " Reset Ctrl "}, {122, " Local Ctrl "}, {123, " AllNotesOff"},
    {124, " OmniModeOff"}, {125, " OmniModeOn "}, {126, " MonoModeOn "}, {127, " PolyModeOn "},
};

constexpr named manufacturers[] = {
    {0, "   Unknown  "},  {1, " Sequential "},  {6, "  Lexicon   "},   {7, "  Kurzweil  "},
    {15, "   Ensoniq  "}, {16, "  Oberheim  "}, {24, " Emu Systems"},  {47, "  Elka/GEM  "},
    {64, "   Kawai    "}, {65, "   Roland   "}, {66, "    Korg    "},  {67, "   Yamaha   "},
    {68, "   Casio    "}, {71, "    Akai    "}, {126, " NonRealTime"}, {127, "  RealTime  "},
};

template <std::size_t N>
const char* look_up(const named (&table)[N], int number) {
    for (const named& n : table)
        if (n.number == number) return n.text;
    return nullptr;
}

}  // namespace

const char* controller_name(int number) {
    return look_up(controllers, number);
}
const char* manufacturer_name(int id) {
    return look_up(manufacturers, id);
}

std::string note_name(int note) {
    static constexpr char names[] = " CC# DD# E FF# GG# AA# B";
    note &= 0x7F;
    std::string n(names + 2 * (note % 12), 2);
    if (note < 12) return n + "-1";
    return n + " " + static_cast<char>('0' + (note / 12 - 1));
}

}  // namespace kestrune
