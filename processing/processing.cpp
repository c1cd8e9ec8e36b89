#include "processing/processing.h"

#include "processing/quantize.h"
#include "processing/range_delete.h"
#include "processing/undo.h"

namespace kestrune {

void install_processing_hooks(program& p) {
    p.hooks.empty_undo = [&p] { undo_free(p); };
    p.hooks.undo_save = [&p](int pattern, int track) { undo_save(p, pattern, track); };
    p.hooks.quantize_chain = [&p](ref32 first, int n) { quantize_track(p, first, n); };
    p.hooks.delete_range = [&p](int pattern, int track, std::int32_t from, std::int32_t to) {
        return delete_range(p, pattern, track, from, to);
    };
}

}  // namespace kestrune
