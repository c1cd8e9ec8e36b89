// The event list's columns as value fields: what a click on the highlighted row steps and what a
// double click types, for the event in that row.
#pragma once

#include <cstdint>
#include <functional>

#include "core/field.h"
#include "core/program.h"

namespace kestrune {

// One column of one row's event; `get` empty when the column edits nothing on that event.
struct list_field {
    field_spec shape{};
    std::function<std::int32_t()> get{};
    std::function<void(std::int32_t)> set{};
    std::int32_t span_from = song_start;  // a note's start, for its length
    bool typed = true;                    // a double click types into it
};

list_field list_column_field(program& p, int region, ref32 event);

}  // namespace kestrune
