// From the UTF-16 of the XML library to UTF-8.
#pragma once

#include <cstddef>
#include <string>
#include <xercesc/util/XercesDefs.hpp>

namespace xml {

// Appends the `length` units at `text`; runs of ASCII go eight at a time. Lone surrogates as in base::narrow.
void appendUtf8(std::string& out, const XMLCh* text, std::size_t length);

}  // namespace xml
