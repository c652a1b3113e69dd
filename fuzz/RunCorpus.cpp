// Runs a fuzz entry over files and folders of files: the kept inputs must not crash, hang or trip a sanitizer.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, size_t Size);

static int RunFile(const std::filesystem::path& Path) {
    std::ifstream File(Path, std::ios::binary);
    if (!File) {
        std::fprintf(stderr, "%s can't be read\n", Path.c_str());
        return 1;
    }
    const std::vector<char> Data{std::istreambuf_iterator<char>(File), {}};
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(Data.data()), Data.size());
    return 0;
}

int main(int argc, char** argv) {
    int NumFailed = 0;
    int NumRun = 0;
    for (int i = 1; i < argc; ++i) {
        if (!std::filesystem::is_directory(argv[i])) {
            NumFailed += RunFile(argv[i]);
            ++NumRun;
            continue;
        }
        for (const auto& Entry : std::filesystem::directory_iterator(argv[i])) {
            NumFailed += RunFile(Entry.path());
            ++NumRun;
        }
    }
    std::printf("%d inputs\n", NumRun);
    return NumFailed != 0 || NumRun == 0;
}
