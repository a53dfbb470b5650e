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

    static Gdiplus::GpStatus decode(const unsigned char* bytes, std::size_t size, Gdiplus::GpBitmap** bitmap) {
        const HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, size);
        std::memcpy(GlobalLock(memory), bytes, size);
        EXPECT_FALSE(GlobalUnlock(memory));
        IStream* stream = nullptr;
        EXPECT_EQ(CreateStreamOnHGlobal(memory, TRUE, &stream), S_OK);
        const auto status = GdipCreateBitmapFromStream(stream, bitmap);
        stream->Release();
        return status;
    }

    static HBITMAP load() {
        Gdiplus::GpBitmap* decoded = nullptr;
        EXPECT_EQ(decode(smallPicture, sizeof(smallPicture), &decoded), Gdiplus::Ok);
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
    EXPECT_EQ(GetPixel(to, 2, 0), CLR_INVALID);
    // A part of the source that isn't there.
    EXPECT_FALSE(AlphaBlend(to, 0, 0, 2, 2, from, 1, 0, 2, 2, over));
    ASSERT_TRUE(StretchBlt(to, 0, 0, 2, 2, from, 1, 0, 2, 2, SRCCOPY));
    EXPECT_EQ(GetPixel(to, 0, 0), RGB(0, 0, 128));
    EXPECT_EQ(GetPixel(to, 1, 0), RGB(0, 255, 0));
    // Within one picture.
    EXPECT_FALSE(AlphaBlend(to, 0, 0, 2, 1, to, 1, 0, 1, 1, over));
    ASSERT_TRUE(StretchBlt(to, 0, 0, 2, 2, to, 0, 0, 1, 1, SRCCOPY));
    EXPECT_EQ(GetPixel(to, 1, 1), RGB(0, 0, 128));
    EXPECT_EQ(SelectObject(to, source), nullptr);  // another's
    EXPECT_EQ(SelectObject(from, before), static_cast<HGDIOBJ>(source));
    EXPECT_TRUE(DeleteObject(before));  // the context's own stays
    EXPECT_TRUE(DeleteObject(source));
    EXPECT_TRUE(DeleteDC(from));
    EXPECT_FALSE(DeleteDC(from));
    EXPECT_FALSE(StretchBlt(to, 0, 0, 1, 1, from, 0, 0, 1, 1, SRCCOPY));
    EXPECT_TRUE(DeleteDC(to));
    EXPECT_TRUE(DeleteObject(target));
}

TEST_F(DrawingTest, KeepsASelectedBitmap) {
    const HBITMAP bitmap = load();
    const HDC context = CreateCompatibleDC(nullptr);
    SelectObject(context, bitmap);
    EXPECT_FALSE(DeleteObject(bitmap));
    EXPECT_TRUE(DeleteDC(context));
    EXPECT_TRUE(DeleteObject(bitmap));
}

TEST_F(DrawingTest, RefusesWhatIsNoPicture) {
    Gdiplus::GpBitmap* bitmap = nullptr;
    EXPECT_NE(decode(smallPicture, 40, &bitmap), Gdiplus::Ok);
    const unsigned char text[] = "not a picture";
    EXPECT_NE(decode(text, sizeof(text), &bitmap), Gdiplus::Ok);
    EXPECT_EQ(bitmap, nullptr);
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
    EXPECT_FALSE(GetWindowRect(window, &place));
    EXPECT_TRUE(DeleteObject(logo));
}

}  // namespace
