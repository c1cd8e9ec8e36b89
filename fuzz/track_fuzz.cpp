// The track file loader on any bytes.
#include "files/pattern_file.h"
#include "fuzz/fuzz_support.h"

using namespace kestrune;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzzing::fuzz_program f;
    static fuzzing::input_file in;
    program& p = *f.prog;
    read_track_file(p, parallel_pattern, 5, in.hold(data, size));
    fuzzing::check(p);
    delete_track_chain(p, parallel_pattern, 5);
    return 0;
}
