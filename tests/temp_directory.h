// A directory of a test's own, gone with the object, and its files as bytes.
#pragma once

#include <boost/filesystem.hpp>
#include <fstream>
#include <iterator>
#include <string>

#include "base/text.h"

namespace tests {

class TempDirectory {
public:
    TempDirectory()
        : path_(boost::filesystem::temp_directory_path() / boost::filesystem::unique_path("agent-test-%%%%%%%%%%%%")) {
        boost::filesystem::create_directories(path_);
    }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;
    ~TempDirectory() {
        boost::system::error_code ignored;
        boost::filesystem::remove_all(path_, ignored);
    }

    const boost::filesystem::path& path() const { return path_; }
    boost::filesystem::path file(const std::string& name) const { return path_ / name; }
    // The path of a file as the system takes it.
    WideString wide(const std::string& name) const { return base::widen(file(name).string()); }

    void write(const std::string& name, const std::string& bytes) const {
        std::ofstream(file(name).string(), std::ios::binary) << bytes;
    }
    std::string read(const std::string& name) const {
        std::ifstream stream(file(name).string(), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    bool has(const std::string& name) const { return boost::filesystem::exists(file(name)); }

private:
    boost::filesystem::path path_;
};

}  // namespace tests
