#include "data/whole_file.h"

#include <cstddef>

#include "data/data_file.h"
#include "data/json_value.h"
#include "data/xml_value.h"

namespace data {

namespace {

constexpr std::size_t smallBlock = 1'024;
constexpr std::size_t largeBlock = 65'536;

std::vector<std::uint8_t> readInBlocks(DataSource& source, std::size_t blockSize) {
    std::vector<std::uint8_t> bytes;
    std::vector<std::uint8_t> block(blockSize);
    while (const std::uint64_t count = source.read(bytes.size(), block.data(), blockSize)) {
        bytes.insert(bytes.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(count));
    }
    return bytes;
}

Value parsed(const WideString& path, Value (*parse)(const void*, std::size_t)) {
    const std::vector<std::uint8_t> bytes = readInBlocks(*DataFile::OpenReadOnlyFile(path), smallBlock);
    return bytes.empty() ? Value(ValueType::Null) : parse(bytes.data(), bytes.size());
}

}  // namespace

std::vector<std::uint8_t> readWholeFile(DataSource& source) { return readInBlocks(source, largeBlock); }

std::vector<std::uint8_t> readWholeFile(const WideString& path) {
    return readWholeFile(*DataFile::OpenReadOnlyFile(path));
}

Value readXmlFile(const WideString& path) { return parsed(path, parseXml); }
Value readJsonFile(const WideString& path) { return parsed(path, parseJson); }

}  // namespace data
