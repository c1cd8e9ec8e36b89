// The settings file reader on any bytes; what it takes must write and read back the same.
#include "files/settings_file.h"
#include "fuzz/fuzz_support.h"

using namespace kestrune;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static fuzzing::input_file in;
    static const std::string out =
        "/tmp/kestrune-settings-fuzz-" + std::to_string(::getpid()) + ".set";
    user_settings s;
    if (read_settings_file(in.hold(data, size), s) != settings_read::loaded) return 0;
    if (!write_settings_file(out, s)) std::abort();
    user_settings back;
    if (read_settings_file(out, back) != settings_read::loaded) std::abort();
    if (back.recent_files != s.recent_files || back.folders != s.folders ||
        back.licence != s.licence || back.memory_units != s.memory_units)
        std::abort();
    return 0;
}
