// Runs a fuzz target over the files of its seed corpus once, outside
// libFuzzer: the test suite replays every seed in every build, so the
// differential checks of the targets guard the code like any other test. A
// difference aborts, and the test fails.
#include <cstdint>
#include <cstdio>
#include <dirent.h>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: %s CORPUS_DIR\n", argv[0]);
        return 2;
    }
    if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&argc, &argv);
    DIR* dir = opendir(argv[1]);
    if (dir == nullptr) return 2;
    int seeds = 0;
    for (const dirent* entry; (entry = readdir(dir)) != nullptr;) {
        if (entry->d_name[0] == '.') continue;
        FILE* file = fopen((std::string(argv[1]) + "/" + entry->d_name).c_str(), "rb");
        if (file == nullptr) continue;
        std::vector<uint8_t> data;
        for (int c; (c = fgetc(file)) != EOF;) data.push_back(static_cast<uint8_t>(c));
        fclose(file);
        LLVMFuzzerTestOneInput(data.data(), data.size());
        ++seeds;
    }
    closedir(dir);
    printf("%d seeds replayed\n", seeds);
    return seeds > 0 ? 0 : 1;
}
