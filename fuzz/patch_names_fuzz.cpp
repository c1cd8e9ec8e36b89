// The patch name parser on any text, held in a buffer of exactly its size.
#include <vector>

#include "files/patch_names.h"
#include "fuzz/fuzz_support.h"

using namespace kestrune;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::vector<char> text(data, data + size);
    patch_table t;
    set_default_patch_names(t);
    parse_patch_names(t, std::string_view(text.data(), text.size()));
    // A name taken from the text is a piece of it.
    for (int i = 0; i < 128; ++i) {
        const std::string& name = t.names[static_cast<std::size_t>(i)];
        if (name != std::to_string(i) && name.size() > size) std::abort();
    }
    return 0;
}
