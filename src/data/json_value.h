// JSON (RFC 8259) as value trees, and the one layout in which the system writes it. Any thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "data/data_file.h"
#include "data/value.h"

namespace data {

// Null for what isn't a JSON object or array in UTF-8 with nothing behind it. Of equal keys the last one counts. An
// object ends before its first empty key.
Value parseJson(const void* bytes, std::size_t length);

// One blank of indentation a level, CR LF, keys in byte-wise order. Keys are written as they stand. A text is written
// up to its first zero byte or ill-formed UTF-8; attributes, comments and the text of an Object aren't written.
std::vector<std::uint8_t> toJsonBytes(const Value& value);

// Appends toJsonBytes at once; false only if there is no sink.
bool writeJson(const Value& value, const std::shared_ptr<DataSink>& sink);

}  // namespace data
