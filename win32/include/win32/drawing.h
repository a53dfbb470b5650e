// Drawing into windows, bitmaps, and decoding pictures.
//
// BeginPaint gives the device context of a window in its WM_PAINT, EndPaint gives it back. The Static controls with
// SS_OWNERDRAW ask their parent to draw them: WM_CTLCOLORSTATIC, then WM_DRAWITEM with a DRAWITEMSTRUCT, whose hDC is
// good until the message returns. Coordinates are pixels from the upper left corner. By the window's thread.
//
// CreateCompatibleDC: a device context that draws into the bitmap selected by SelectObject, which takes nothing else
// and no bitmap that another context has selected; the caller gives it back by DeleteDC. AlphaBlend (AC_SRC_OVER with
// AC_SRC_ALPHA, premultiplied) and StretchBlt (SRCCOPY) scale from one context to another; false with
// ERROR_INVALID_HANDLE for a context or ERROR_INVALID_PARAMETER for sizes and modes that aren't there, for AlphaBlend
// also a part that isn't wholly inside of the source or lies over its own place. StretchBlt leaves what lies outside of
// the source as it was. DeleteObject: a brush or bitmap that isn't selected; the one that a context begins with stays.
// SetBkColor: the former colour, CLR_INVALID on failure. GetPixel: 0x00BBGGRR, CLR_INVALID outside.
//
// GDI+ (namespaces Gdiplus and Gdiplus::DllExports): pictures are PNG. Any call but GdiplusStartup answers
// GdiplusNotInitialized outside of startup and shutdown. GdipCreateBitmapFromStream keeps no hold of the stream, and
// answers InvalidParameter if it holds no picture; a
// GpBitmap is given back by GdipDisposeImage. GdipCreateHBITMAPFromBitmap: 32 bits a pixel, premultiplied, with its
// alpha; given back by DeleteObject.
#pragma once

#include "win32/resource.h"
#include "win32/window.h"

#ifdef _WIN32

#include <objidl.h>
// The GDI+ headers need min and max, which NOMINMAX took away.
#include <algorithm>
namespace Gdiplus {
using std::max;
using std::min;
}  // namespace Gdiplus
#include <gdiplus.h>

#else

WIN32_DECLARE_HANDLE(HDC);
WIN32_DECLARE_HANDLE(HBITMAP);
using HGDIOBJ = void*;
using COLORREF = DWORD;

struct PAINTSTRUCT {
    HDC hdc;
    BOOL fErase;
    RECT rcPaint;
    BOOL fRestore;
    BOOL fIncUpdate;
    BYTE rgbReserved[32];
};
static_assert(sizeof(PAINTSTRUCT) == 72);
using LPPAINTSTRUCT = PAINTSTRUCT*;

struct DRAWITEMSTRUCT {
    UINT CtlType;
    UINT CtlID;
    UINT itemID;
    UINT itemAction;
    UINT itemState;
    HWND hwndItem;
    HDC hDC;
    RECT rcItem;
    ULONG_PTR itemData;
};
static_assert(sizeof(DRAWITEMSTRUCT) == 64);

struct BLENDFUNCTION {
    BYTE BlendOp;
    BYTE BlendFlags;
    BYTE SourceConstantAlpha;
    BYTE AlphaFormat;
};
static_assert(sizeof(BLENDFUNCTION) == 4);

#define ODT_STATIC 5U
#define ODA_DRAWENTIRE 0x1U
#define AC_SRC_OVER 0x00
#define AC_SRC_ALPHA 0x01
#define SRCCOPY 0x00CC0020U
#define CLR_INVALID 0xFFFFFFFFU
#define RGB(red, green, blue)                                                                              \
    (static_cast<COLORREF>(static_cast<BYTE>(red) | (static_cast<DWORD>(static_cast<BYTE>(green)) << 8U) | \
                           (static_cast<DWORD>(static_cast<BYTE>(blue)) << 16U)))

extern "C" {
HDC WINAPI BeginPaint(HWND window, LPPAINTSTRUCT paint);
BOOL WINAPI EndPaint(HWND window, const PAINTSTRUCT* paint);

HBRUSH WINAPI CreateSolidBrush(COLORREF color);
BOOL WINAPI DeleteObject(HGDIOBJ object);
HDC WINAPI CreateCompatibleDC(HDC like);
BOOL WINAPI DeleteDC(HDC context);
HGDIOBJ WINAPI SelectObject(HDC context, HGDIOBJ object);
COLORREF WINAPI SetBkColor(HDC context, COLORREF color);
COLORREF WINAPI GetPixel(HDC context, int x, int y);
BOOL WINAPI AlphaBlend(HDC target, int targetX, int targetY, int targetWidth, int targetHeight, HDC source, int sourceX,
                       int sourceY, int sourceWidth, int sourceHeight, BLENDFUNCTION blend);
BOOL WINAPI StretchBlt(HDC target, int targetX, int targetY, int targetWidth, int targetHeight, HDC source, int sourceX,
                       int sourceY, int sourceWidth, int sourceHeight, DWORD operation);
}

namespace Gdiplus {

enum GpStatus {
    Ok = 0,
    GenericError = 1,
    InvalidParameter = 2,
    OutOfMemory = 3,
    UnknownImageFormat = 13,
    UnsupportedGdiplusVersion = 17,
    GdiplusNotInitialized = 18,
};
using Status = GpStatus;
using ARGB = DWORD;
class GpImage {};
class GpBitmap : public GpImage {};

struct GdiplusStartupInput {
    UINT GdiplusVersion = 1;
    void(WINAPI* DebugEventCallback)(int level, char* message) = nullptr;
    BOOL SuppressBackgroundThread = FALSE;
    BOOL SuppressExternalCodecs = FALSE;
};
static_assert(sizeof(GdiplusStartupInput) == 24);
struct GdiplusStartupOutput;

extern "C" {
GpStatus WINAPI GdiplusStartup(ULONG_PTR* token, const GdiplusStartupInput* input, GdiplusStartupOutput* output);
void WINAPI GdiplusShutdown(ULONG_PTR token);
}

namespace DllExports {

extern "C" {
void* WINAPI GdipAlloc(std::size_t size);
void WINAPI GdipFree(void* memory);
GpStatus WINAPI GdipCreateBitmapFromStream(IStream* stream, GpBitmap** bitmap);
GpStatus WINAPI GdipCreateHBITMAPFromBitmap(GpBitmap* bitmap, HBITMAP* result, ARGB background);
GpStatus WINAPI GdipDisposeImage(GpImage* image);
}

}  // namespace DllExports

}  // namespace Gdiplus

#endif
