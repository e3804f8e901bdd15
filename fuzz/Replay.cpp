// Runs a fuzz target on files, once each, without a fuzzer: the corpus and the regression inputs
// as plain tests, with any compiler.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "Target.h"

namespace {

namespace fs = std::filesystem;

std::vector<fs::path> FilesAt(const fs::path& path) {
    std::vector<fs::path> files;
    if (fs::is_directory(path)) {
        for (const auto& entry : fs::directory_iterator(path)) {
            files.push_back(entry.path());
        }
        std::sort(files.begin(), files.end());
    } else if (fs::exists(path)) {
        files.push_back(path);
    }
    return files;
}

std::vector<std::uint8_t> Read(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

} // namespace

int main(int argc, char** argv) {
    LLVMFuzzerInitialize(&argc, &argv);
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        const std::vector<fs::path> files = FilesAt(argv[i]);
        if (files.empty()) {
            std::fprintf(stderr, "%s: no input at %s\n", argv[0], argv[i]);
            return 2;
        }
        for (const fs::path& file : files) {
            const std::vector<std::uint8_t> input = Read(file);
            std::fprintf(stderr, "%s: %zu bytes\n", file.c_str(), input.size());
            LLVMFuzzerTestOneInput(input.data(), input.size());
            ++count;
        }
    }
    if (count == 0) {
        std::fprintf(stderr, "Usage: %s FILE-OR-FOLDER...\n", argv[0]);
        return 2;
    }
    std::printf("%zu inputs\n", count);
    return 0;
}
