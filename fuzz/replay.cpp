// fuzz_replay TARGET PATH...: runs each file, and each file of a directory, through the target.
#include <boost/filesystem.hpp>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include "fuzz.h"

namespace {

namespace fs = boost::filesystem;

void replay(const fuzz::Target& target, const fs::path& path) {
    std::ifstream file(path.string(), std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    std::cerr << path.string() << std::endl;  // before the target, which may end the program
    // Of exactly that length on the heap, so that a sanitizer sees a read behind the end.
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    target.run(input);
}

}  // namespace

int main(int argc, char** argv) {
    const fuzz::Target* target = fuzz::targets();
    while (target != nullptr && (argc < 2 || std::strcmp(target->name, argv[1]) != 0)) {
        target = target->next;
    }
    int count = 0;
    for (int i = 2; target != nullptr && i < argc; ++i) {
        if (!fs::is_directory(argv[i])) {
            replay(*target, argv[i]);
            ++count;
            continue;
        }
        for (const auto& entry : fs::directory_iterator(argv[i])) {
            replay(*target, entry.path());
            ++count;
        }
    }
    if (count == 0) {
        std::cerr << "usage: fuzz_replay TARGET PATH...\n";
        return 2;
    }
    return 0;
}
