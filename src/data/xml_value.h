// XML documents as value trees.
//
// An element without child elements is a String, one with them an Object, and sibling elements of one name are an
// Array; the document itself is an Object with the root element as its member. A reader of a repeatable element
// meets an Array or a single node.
#pragma once

#include <cstddef>

#include "data/value.h"

namespace data {

// Null if the bytes aren't a well-formed document; never a part of one. Any thread.
Value parseXml(const void* bytes, std::size_t length);

}  // namespace data
