#include "win32/drawing.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "layer/small_picture.h"
#include "layer/test_window.h"

namespace {

using namespace Gdiplus::DllExports;

constexpr BLENDFUNCTION over = {AC_SRC_OVER, 0, 255, AC_SRC_ALPHA};

// GDI+ for the time of a test.
class DrawingTest : public testing::Test {
protected:
    void SetUp() override {
        const Gdiplus::GdiplusStartupInput input;
        ASSERT_EQ(Gdiplus::GdiplusStartup(&token, &input, nullptr), Gdiplus::Ok);
    }
    void TearDown() override { Gdiplus::GdiplusShutdown(token); }

    static HBITMAP load() {
        const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, sizeof(smallPicture));
        std::memcpy(GlobalLock(memory), smallPicture, sizeof(smallPicture));
        EXPECT_FALSE(GlobalUnlock(memory));
        IStream* stream = nullptr;
        EXPECT_EQ(CreateStreamOnHGlobal(memory, TRUE, &stream), S_OK);
        Gdiplus::GpBitmap* decoded = nullptr;
        EXPECT_EQ(GdipCreateBitmapFromStream(stream, &decoded), Gdiplus::Ok);
        stream->Release();
        HBITMAP bitmap = nullptr;
        EXPECT_EQ(GdipCreateHBITMAPFromBitmap(decoded, &bitmap, 0xFF000000), Gdiplus::Ok);
        EXPECT_EQ(GdipDisposeImage(decoded), Gdiplus::Ok);
        return bitmap;
    }

    ULONG_PTR token = 0;
};

TEST_F(DrawingTest, BlendsByTheAlphaOfThePicture) {
    const HBITMAP source = load();
    const HBITMAP target = load();
    const HDC from = CreateCompatibleDC(nullptr);
    const HDC to = CreateCompatibleDC(from);
    const HGDIOBJ before = SelectObject(from, source);
    ASSERT_NE(before, nullptr);
    ASSERT_NE(SelectObject(to, target), nullptr);
    EXPECT_EQ(GetPixel(from, 0, 0), RGB(255, 0, 0));
    EXPECT_EQ(GetPixel(from, 1, 0), RGB(0, 0, 128));  // premultiplied
    // The green pixel, then over it the half blue one, and the transparent one over red.
    ASSERT_TRUE(StretchBlt(to, 0, 0, 2, 2, from, 0, 1, 1, 1, SRCCOPY));
    EXPECT_EQ(GetPixel(to, 1, 0), RGB(0, 255, 0));
    ASSERT_TRUE(AlphaBlend(to, 0, 0, 1, 1, from, 1, 0, 1, 1, over));
    EXPECT_EQ(GetPixel(to, 0, 0), RGB(0, 127, 128));
    ASSERT_TRUE(AlphaBlend(to, 1, 1, 1, 1, from, 1, 1, 1, 1, over));
    EXPECT_EQ(GetPixel(to, 1, 1), RGB(0, 255, 0));
    ASSERT_TRUE(StretchBlt(to, 0, 1, 2, 1, to, 0, 0, 1, 1, SRCCOPY));  // within one picture
    EXPECT_EQ(GetPixel(to, 1, 1), RGB(0, 127, 128));
    EXPECT_EQ(SelectObject(to, source), nullptr);  // another's
    EXPECT_EQ(SelectObject(from, before), static_cast<HGDIOBJ>(source));
    EXPECT_TRUE(DeleteObject(before));  // the context's own stays
    EXPECT_TRUE(DeleteObject(source));
    EXPECT_TRUE(DeleteDC(from));
    EXPECT_TRUE(DeleteDC(to));
    EXPECT_TRUE(DeleteObject(target));
}

HBITMAP logo;
std::vector<UINT> drawn;

LRESULT CALLBACK drawLogo(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    if (message == WM_CTLCOLORSTATIC) {
        EXPECT_NE(SetBkColor(reinterpret_cast<HDC>(wParam), RGB(255, 255, 255)), CLR_INVALID);
    }
    if (message == WM_DRAWITEM) {
        const auto& item = *reinterpret_cast<const DRAWITEMSTRUCT*>(lParam);
        const int width = item.rcItem.right;
        const int height = item.rcItem.bottom;
        EXPECT_EQ(width, 4);
        EXPECT_EQ(height, 6);
        const HDC memory = CreateCompatibleDC(item.hDC);
        const HGDIOBJ before = SelectObject(memory, logo);
        EXPECT_TRUE(StretchBlt(item.hDC, 0, 0, width, height, memory, 0, 0, 1, 1, SRCCOPY));
        EXPECT_EQ(GetPixel(item.hDC, 3, 5), RGB(255, 0, 0));
        SelectObject(memory, before);
        DeleteDC(memory);
    }
    if (message == WM_PAINT || message == WM_CTLCOLORSTATIC || message == WM_DRAWITEM) {
        drawn.push_back(message);
        return message == WM_PAINT ? DefWindowProcW(window, message, wParam, lParam) : 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

TEST_F(DrawingTest, VisibleWindowsAndTheirControlsAreDrawn) {
    logo = load();
    const HWND window = create({W("ZelmoTestDrawing"), drawLogo, WS_POPUP, {10, 20, 14, 26}});
    const HWND control = CreateWindowExW(0, W("Static"), W(""), WS_CHILD | WS_VISIBLE | SS_OWNERDRAW, 0, 0, 4, 6,
                                         window, nullptr, nullptr, nullptr);
    drawn.clear();
    pump();
    EXPECT_TRUE(drawn.empty());  // hidden
    const std::vector<UINT> whole = {WM_PAINT, WM_CTLCOLORSTATIC, WM_DRAWITEM};
    EXPECT_FALSE(ShowWindow(window, SW_SHOW));
    EXPECT_TRUE(UpdateWindow(window));
    EXPECT_EQ(drawn, whole);
    pump();
    EXPECT_EQ(drawn, whole);  // once
    EXPECT_TRUE(ShowWindow(window, SW_HIDE));
    EXPECT_TRUE(SetWindowPos(window, HWND_TOPMOST, 30, 40, 0, 0, SWP_NOSIZE | SWP_SHOWWINDOW));
    EXPECT_TRUE(IsWindowVisible(window));
    drawn.clear();
    pump();
    EXPECT_EQ(drawn, whole);
    RECT place{};
    ASSERT_TRUE(GetWindowRect(control, &place));
    EXPECT_EQ(place.left, 30);
    EXPECT_EQ(place.bottom, 46);
    EXPECT_TRUE(DestroyWindow(window));
    EXPECT_TRUE(DeleteObject(logo));
}

}  // namespace
