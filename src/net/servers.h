// Where the maker's servers are. The hosts are made up: their names end in a reserved top-level domain.
#pragma once

namespace base {

inline constexpr const char* softwareServerHost = "software.tavrin.example";
inline constexpr const char* downloadServerUrl = "https://download.tavrin.example";

}  // namespace base
