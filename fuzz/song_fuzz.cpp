// The song loader on any bytes; a song it takes must save and load again whole.
#include "files/song_file.h"
#include "fuzz/fuzz_support.h"

using namespace kestrune;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzzing::fuzz_program f;
    static fuzzing::input_file in;
    static const std::string out = "/tmp/kestrune-song-fuzz-" + std::to_string(::getpid()) + ".sng";
    program& p = *f.prog;
    const load_result r = read_song_file(p, in.hold(data, size), true);
    fuzzing::check(p);
    if (r == load_result::loaded) {
        if (!write_song_file(p, out)) std::abort();
        if (read_song_file(p, out, true) != load_result::loaded) std::abort();
        fuzzing::check(p);
    }
    return 0;
}
