// SPDX-License-Identifier: BSD-2-Clause

// Feeds files to a fuzz target: the replay of a corpus in builds without a fuzzer.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
    size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string bytes{std::istreambuf_iterator<char>(file), {}};
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()),
                                   bytes.size());
            ++count;
        }
    }
    printf("%zu inputs\n", count);
    return count == 0 ? 1 : 0; // an empty corpus is a wrong path
}
