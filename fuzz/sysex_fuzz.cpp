// The sysex file loader on any bytes.
#include "files/sysex_file.h"
#include "fuzz/fuzz_support.h"

using namespace kestrune;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzzing::fuzz_program f;
    static fuzzing::input_file in;
    program& p = *f.prog;
    read_syx_file(p, 0, 0, in.hold(data, size));
    fuzzing::check(p);
    delete_track_chain(p, 0, 0);
    return 0;
}
