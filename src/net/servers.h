// Where the maker's servers are. The hosts are made up: their names end in a reserved top-level domain.
#pragma once

namespace base {

inline constexpr const char* softwareServerHost = "software.tavrin.example";
inline constexpr const char* downloadServerUrl = "https://download.tavrin.example";

// The update manifests: what everybody gets, what testers get, and what is about to be released.
inline constexpr const char* productionManifestUrl = "https://update.tavrin.example/zd/manifest.xml";
inline constexpr const char* sandboxManifestUrl = "https://sandbox.update.tavrin.example/zd/manifest.xml";
inline constexpr const char* stageManifestUrl = "https://stage.update.tavrin.example/zd/manifest.xml";

}  // namespace base
