// A directory of a test's own, gone with the object, and its files as bytes.
#pragma once

#include <boost/filesystem.hpp>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "base/text.h"

namespace tests::files {
using namespace boost::filesystem;
}

namespace tests {

using Bytes = std::vector<std::uint8_t>;

inline Bytes bytesOf(const std::string& text) { return {text.begin(), text.end()}; }
inline std::string textOf(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

inline void writeFile(const files::path& path, const std::string& bytes) {
    std::ofstream(path.string(), std::ios::binary) << bytes;
}
// Nothing where there is no file.
inline std::string readFile(const files::path& path) {
    std::ifstream stream(path.string(), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

class TempDirectory {
public:
    TempDirectory() : path_(files::temp_directory_path() / ("agent-test-" + std::to_string(std::random_device()()))) {
        files::create_directories(path_);
    }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;
    ~TempDirectory() {
        try {
            files::remove_all(path_);
        } catch (const files::filesystem_error&) {
            return;  // what a test made unremovable stays
        }
    }

    const files::path& path() const { return path_; }
    files::path file(const std::string& name) const { return path_ / name; }
    // The path of a file as the system takes it.
    WideString wide(const std::string& name) const { return base::widen(file(name).string()); }

    void write(const std::string& name, const std::string& bytes) const { writeFile(file(name), bytes); }
    std::string read(const std::string& name) const { return readFile(file(name)); }
    bool has(const std::string& name) const { return files::exists(file(name)); }

private:
    files::path path_;
};

}  // namespace tests
