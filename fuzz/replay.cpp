// Runs a fuzzing harness without the fuzzing engine, as an ordinary test:
// every regular file of each directory named (not its subdirectories), and
// every file named, is one input, in name order. The harness aborts at the
// first rule of its contract an input breaks; a run that found no input
// fails too, as a moved directory would otherwise pass unnoticed.
//   jsoncodec_replay_HARNESS DIR_OR_FILE...
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

int main(int argc, char **argv) {
    namespace fs = std::filesystem;
    size_t replayed = 0;
    for (int i = 1; i < argc; ++i) {
        std::vector<fs::path> inputs;
        if (fs::is_directory(argv[i])) {
            for (const fs::directory_entry &entry : fs::directory_iterator(argv[i]))
                if (entry.is_regular_file()) inputs.push_back(entry.path());
            std::sort(inputs.begin(), inputs.end());
        } else {
            inputs.emplace_back(argv[i]);
        }
        for (const fs::path &input : inputs) {
            std::ifstream file(input, std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
            if (!file.good() && !file.eof()) {
                std::fprintf(stderr, "cannot read %s\n", input.c_str());
                return 1;
            }
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
            ++replayed;
        }
    }
    std::printf("%zu inputs replayed\n", replayed);
    return replayed == 0 ? 1 : 0;
}
