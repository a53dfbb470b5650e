#include "settings/whole_file.h"

#include <array>

#include "settings/data_file.h"
#include "settings/json_value.h"
#include "settings/xml_value.h"

namespace data {

namespace {

constexpr std::size_t blockSize = 1024;

Value parsed(const WideString& path, Value (*parse)(const void*, std::size_t)) {
    const std::vector<std::uint8_t> bytes = readWholeFile(path);
    return bytes.empty() ? Value(ValueType::Null) : parse(bytes.data(), bytes.size());
}

}  // namespace

std::vector<std::uint8_t> readWholeFile(DataSource& source) {
    std::vector<std::uint8_t> bytes;
    std::array<std::uint8_t, blockSize> block{};
    while (const std::uint64_t count = source.read(bytes.size(), block.data(), blockSize)) {
        bytes.insert(bytes.end(), block.data(), block.data() + count);
    }
    return bytes;
}

std::vector<std::uint8_t> readWholeFile(const WideString& path) {
    return readWholeFile(*DataFile::OpenReadOnlyFile(path));
}

Value readXmlFile(const WideString& path) { return parsed(path, parseXml); }
Value readJsonFile(const WideString& path) { return parsed(path, parseJson); }

}  // namespace data
