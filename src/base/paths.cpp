#include "base/paths.h"

#include <type_traits>

namespace base {

namespace {

// Boost's native form is wide on one system and UTF-8 on the other; as a template, only the branch that fits is
// compiled.
template <typename Native>
WideString wideForm(const Native& native) {
    if constexpr (std::is_same_v<typename Native::value_type, WCHAR>) {
        return native;
    } else {
        return widen(native);
    }
}

template <typename Path>
Path pathForm(WideView text) {
    if constexpr (std::is_same_v<typename Path::value_type, WCHAR>) {
        return Path(typename Path::string_type(text));
    } else {
        return Path(narrow(text));
    }
}

template <typename Path>
Path utf8Form(const std::string& text) {
    if constexpr (std::is_same_v<typename Path::value_type, WCHAR>) {
        return Path(widen(text));
    } else {
        return Path(text);
    }
}

}  // namespace

WideString widePath(const boost::filesystem::path& path) { return wideForm(path.native()); }
boost::filesystem::path pathFromWide(WideView text) { return pathForm<boost::filesystem::path>(text); }
boost::filesystem::path pathFromUtf8(const std::string& text) { return utf8Form<boost::filesystem::path>(text); }

}  // namespace base
