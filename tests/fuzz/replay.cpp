// Runs a fuzz target's entry once on each file of the folders named, in name order, as libFuzzer
// runs a single input: the inputs that once made a target fail are tried again on every build.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < argc; ++i)
        for (const auto& e : std::filesystem::directory_iterator(argv[i]))
            if (e.is_regular_file()) inputs.push_back(e.path());
    std::sort(inputs.begin(), inputs.end());
    for (const auto& path : inputs) {
        std::printf("%s\n", path.c_str());
        std::fflush(stdout);  // the input that aborts is the last one named
        std::ifstream in(path, std::ios::binary);
        const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(in), {}};
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::printf("%zu inputs\n", inputs.size());
    return inputs.empty() ? 1 : 0;
}
