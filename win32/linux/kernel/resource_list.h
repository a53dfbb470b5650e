// The resources that the program brought along.
#pragma once

#include "win32/embedded.h"
#include "win32/types.h"

namespace win32 {

// The last one made, from where `next` leads on; null if there is none.
const EmbeddedResource* embeddedResources();

// A name or a type is a number in the pointer or in a text of the form "#101"; another text names no resource.
ULONG_PTR resourceNumber(LPCWSTR name);

// Why there is none of this type.
DWORD missingResource(ULONG_PTR type);

}  // namespace win32
