#include "win32/registry.h"

#include <gtest/gtest.h>

#include <array>

#include "temp_session.h"

namespace {

constexpr const WCHAR* path = W("Software\\Test\\Layer");

LSTATUS set(HKEY key, const WCHAR* name, const WideString& text) {
    return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>((text.size() + 1) * sizeof(WCHAR)));
}

HKEY create(DWORD& disposition) {
    HKEY key = nullptr;
    EXPECT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, path, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr,
                              &key, &disposition),
              ERROR_SUCCESS);
    return key;
}

class RegistryTest : public testing::Test {
protected:
    tests::TempSession session_;
    DWORD disposition_ = 0;
};

}  // namespace

TEST_F(RegistryTest, KeysAreMadeOnceAndFoundInAnyCase) {
    HKEY key = nullptr;
    EXPECT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, path, 0, KEY_READ, &key), ERROR_FILE_NOT_FOUND);
    RegCloseKey(create(disposition_));
    EXPECT_EQ(disposition_, REG_CREATED_NEW_KEY);
    RegCloseKey(create(disposition_));
    EXPECT_EQ(disposition_, REG_OPENED_EXISTING_KEY);
    ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, W("software\\TEST"), 0, KEY_READ, &key), ERROR_SUCCESS);
    HKEY below = nullptr;
    EXPECT_EQ(RegOpenKeyExW(key, W("layer"), 0, KEY_READ, &below), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(below), ERROR_SUCCESS);
    EXPECT_EQ(RegOpenKeyExW(key, W("\\layer"), 0, KEY_READ, &below), ERROR_BAD_PATHNAME);
    EXPECT_EQ(below, nullptr) << "so that nobody closes it twice";
    EXPECT_EQ(RegCloseKey(key), ERROR_SUCCESS);
    EXPECT_EQ(RegCloseKey(key), ERROR_INVALID_HANDLE);
}

TEST_F(RegistryTest, ValuesKeepTheirBytesAndTypes) {
    HKEY key = create(disposition_);
    const WideString text = W("Gr\u00FC\u00DFe \U0001F4F1 \"quoted\"");
    EXPECT_EQ(set(key, W("Text"), text), ERROR_SUCCESS);
    EXPECT_EQ(set(key, W("\u00C4"), text), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteValueW(key, W("\u00E4")), ERROR_SUCCESS);
    std::array<WCHAR, 64> buffer{};
    DWORD size = sizeof buffer;
    DWORD type = 0;
    auto* const data = reinterpret_cast<LPBYTE>(buffer.data());
    EXPECT_EQ(RegQueryValueExW(key, W("TEXT"), nullptr, &type, data, &size), ERROR_SUCCESS);
    EXPECT_EQ(type, REG_SZ);
    EXPECT_EQ(size, (text.size() + 1) * sizeof(WCHAR));
    EXPECT_EQ(WideString(buffer.data()), text);
    size = 4;
    EXPECT_EQ(RegQueryValueExW(key, W("text"), nullptr, nullptr, data, &size), ERROR_MORE_DATA);
    EXPECT_EQ(size, (text.size() + 1) * sizeof(WCHAR));
    EXPECT_EQ(RegDeleteValueW(key, W("tExt")), ERROR_SUCCESS);
    EXPECT_EQ(RegDeleteValueW(key, W("text")), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(RegQueryValueExW(key, W("text"), nullptr, nullptr, nullptr, nullptr), ERROR_FILE_NOT_FOUND);
    RegCloseKey(key);
}
