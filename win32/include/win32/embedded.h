// How resources come into a program on Linux; on Windows a resource script does that.
//
// A program's build makes one object of this kind for each resource, at namespace scope (cmake/resources.cmake). An
// icon group is several objects with its number, one for each image, which are PNG. The bytes must outlive the program.
#pragma once

#include <cstddef>

namespace win32 {

enum class ResourceKind : unsigned { rawData = 10, groupIcon = 14 };

struct EmbeddedResource {
    EmbeddedResource(ResourceKind kind, unsigned number, const unsigned char* begin, const unsigned char* end);
    EmbeddedResource(const EmbeddedResource&) = delete;
    EmbeddedResource& operator=(const EmbeddedResource&) = delete;
    ~EmbeddedResource() = default;

    ResourceKind kind;
    unsigned number;
    const unsigned char* begin;
    std::size_t size;
    const EmbeddedResource* next;  // made before it
};

}  // namespace win32
