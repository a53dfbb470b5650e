#include "platform/os_version.h"

namespace dockset {

namespace {

struct NamedVersion {
    std::uint32_t key;
    const char* name;
};

constexpr NamedVersion namedVersions[] = {
    {0xA0001, "Windows 10"},  {0xA0000, "Windows Server 2016 TP"},
    {0x60301, "Windows 8.1"}, {0x60300, "Windows Server 2012 R2"},
    {0x60201, "Windows 8"},   {0x60200, "Windows Server 2012"},
    {0x60101, "Windows 7"},   {0x60100, "Windows Server 2008 R2"},
};

// Later versions kept the number 10.0.
std::string nameOf(std::uint32_t key, std::uint32_t build) {
    constexpr std::uint32_t windows10 = 0xA0001;
    constexpr std::uint32_t server2016 = 0xA0000;
    if (key == windows10 && build >= 22000) {
        return "Windows 11";
    }
    if (key == server2016 && build >= 17763) {
        return build >= 20200 ? "Windows Server 2022" : "Windows Server 2019";
    }
    for (const auto& [known, name] : namedVersions) {
        if (known == key) {
            return name;
        }
    }
    return {};
}

}  // namespace

std::string describeVersion(const OSVERSIONINFOEXA& version, WORD processorArchitecture) {
    const bool isWorkstation = version.wProductType == VER_NT_WORKSTATION;
    const std::uint32_t key =
        (version.dwMajorVersion << 16U) | (version.dwMinorVersion << 8U) | (isWorkstation ? 1U : 0U);
    std::string text = nameOf(key, version.dwBuildNumber);
    if (text.empty()) {
        text = "Windows v" + std::to_string(version.dwMajorVersion) + "." + std::to_string(version.dwMinorVersion) +
               (isWorkstation ? "" : " Server");
    }
    text += (version.wSuiteMask & VER_SUITE_PERSONAL) != 0 ? " Home " : " ";
    if (version.wServicePackMajor != 0) {
        text += "SP" + std::to_string(version.wServicePackMajor);
        text += version.wServicePackMinor != 0 ? "." + std::to_string(version.wServicePackMinor) : "";
    }
    const bool is64Bit = processorArchitecture == PROCESSOR_ARCHITECTURE_AMD64;
    return text + " " + (is64Bit ? "64 bit" : processorArchitecture == PROCESSOR_ARCHITECTURE_INTEL ? "32 bit" : "");
}

}  // namespace dockset
