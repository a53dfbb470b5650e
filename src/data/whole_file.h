// Whole files, as bytes and as trees. An absent, unreadable or empty file is no bytes, and no bytes are Null without
// being parsed. Any thread.
#pragma once

#include <cstdint>
#include <vector>

#include "data/data_file.h"
#include "data/value.h"
#include "win32/types.h"

namespace data {

std::vector<std::uint8_t> readWholeFile(DataSource& source);
std::vector<std::uint8_t> readWholeFile(const WideString& path);

Value readXmlFile(const WideString& path);
Value readJsonFile(const WideString& path);

}  // namespace data
