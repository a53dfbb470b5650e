// Text between the two forms of Unicode, against each other and against the JSON library's own check.
#include "base/text.h"

#include <jansson.h>

#include <cstring>

#include "base/utf8.h"
#include "fuzz.h"
#include "linux/support/text.h"
#include "xml/transcode.h"

FUZZ_TARGET(text) {
    const std::string_view bytes = fuzz::textOf(input);
    json_t* const json = json_stringn(bytes.data(), bytes.size());
    const bool isUtf8 = json != nullptr;
    json_decref(json);
    fuzz::require(base::isUtf8(bytes) == isUtf8, "the same is UTF-8");
    fuzz::require((base::narrow(base::widen(bytes)) == bytes) == isUtf8,
                  "UTF-8, and nothing else, comes back as it was");
    fuzz::require(win32::toBytes(win32::toWide(bytes)) == bytes, "any bytes come back as they were");
    fuzz::require(!isUtf8 || win32::toWide(bytes) == base::widen(bytes), "of UTF-8 there is one wide form");
    WideString wide(bytes.size() / sizeof(WCHAR), 0);
    std::memcpy(wide.data(), bytes.data(), wide.size() * sizeof(WCHAR));
    const std::string narrow = base::narrow(wide);
    fuzz::require(!base::isUtf8(narrow) || base::widen(narrow) == wide, "Unicode comes back as it was");
    std::string appended = "x";
    xml::appendUtf8(appended, reinterpret_cast<const XMLCh*>(wide.data()), wide.size());
    fuzz::require(appended == "x" + narrow, "the XML reader's form is the same");
}
