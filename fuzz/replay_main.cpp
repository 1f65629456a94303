// Feeds kept inputs to one fuzz target without a fuzzer: `program FOLDER...` runs every file below the
// folders. Ends with 1 when there is none, since a target without a corpus guards nothing.
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
    namespace fs = std::filesystem;
    std::size_t count = 0;
    for (int i = 1; i < argc; ++i) {
        if (!fs::is_directory(argv[i]))
            continue;
        for (const auto& entry : fs::recursive_directory_iterator(argv[i])) {
            if (!entry.is_regular_file())
                continue;
            std::cout << entry.path().filename().string() << std::endl; // flushed: a crash names its input
            std::ifstream file(entry.path(), std::ios::binary);
            const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
            ++count;
        }
    }
    std::cout << count << " inputs\n";
    return count == 0 ? 1 : 0;
}
