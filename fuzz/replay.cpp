// Runs a target on every file of the directories given: the corpus and past crashes as an ordinary test.
#include "fuzz/Fuzz.h"

#include <filesystem>
#include <fstream>

int main(int argc, char** argv) {
    size_t inputs = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            const Bytes bytes(std::istreambuf_iterator<char>(file), {});
            fprintf(stderr, "%s\n", entry.path().c_str());
            LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
            ++inputs;
        }
    }
    return inputs > 0 ? 0 : 1;
}
