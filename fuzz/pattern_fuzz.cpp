// The pattern file loader on any bytes.
#include "files/pattern_file.h"
#include "fuzz/fuzz_support.h"

using namespace kestrune;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzzing::fuzz_program f;
    static fuzzing::input_file in;
    program& p = *f.prog;
    p.d.current_pattern = 3;
    read_pattern_file(p, 3, in.hold(data, size));
    fuzzing::check(p);
    fuzzing::empty_pattern(p, 3);
    return 0;
}
