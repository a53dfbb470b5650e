#include "data/data_file.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>

#include "win32/kernel.h"

namespace data {

namespace {

constexpr std::uint64_t maximumTransfer = 0x2000000;
constexpr std::size_t copyBlock = 4096;
constexpr std::size_t fillBlock = 32;
constexpr std::uint64_t secondsFrom1601To1970 = 11'644'473'600;
constexpr std::uint64_t ticksOfSecond = 10'000'000;

// Calls `transfer(bytes done, bytes wanted, bytes moved)` until all is moved, a call fails or moves nothing.
template <typename Transfer>
std::uint64_t transferAll(std::uint64_t size, Transfer transfer) {
    std::uint64_t done = 0;
    while (done < size) {
        DWORD moved = 0;
        const auto wanted = static_cast<DWORD>(std::min(size - done, maximumTransfer));
        if (!transfer(done, wanted, &moved) || moved == 0) {
            return done + moved;
        }
        done += moved;
    }
    return done;
}

std::optional<FILETIME> toFileTime(std::uint64_t seconds) {
    // Wraps round as the conversion in 64 bits does; what then reads as negative is refused.
    const std::uint64_t ticks = (seconds + secondsFrom1601To1970) * ticksOfSecond;
    if (static_cast<std::int64_t>(ticks) < 0) {
        return std::nullopt;
    }
    return FILETIME{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32U)};
}

HANDLE openOrNull(const WideString& path, DWORD access, DWORD sharing, DWORD disposition,
                  DWORD flags = FILE_ATTRIBUTE_NORMAL) {
    const HANDLE handle = CreateFileW(path.c_str(), access, sharing, nullptr, disposition, flags, nullptr);
    return handle == INVALID_HANDLE_VALUE ? nullptr : handle;
}

}  // namespace

std::shared_ptr<DataFile> DataFile::OpenReadOnlyFile(const WideString& path) {
    const HANDLE handle = openOrNull(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING);
    return std::shared_ptr<DataFile>(new DataFile(handle, true));
}

std::shared_ptr<DataFile> DataFile::NewEmptyFile(const WideString& path) {
    const HANDLE handle = openOrNull(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, CREATE_ALWAYS);
    std::shared_ptr<DataFile> file(new DataFile(handle, false));
    file->path_ = path;
    return file;
}

DataFile::DataFile(HANDLE handle, bool readOnly) : handle_(handle), readOnly_(readOnly), deleteIfEmpty_(!readOnly) {}

DataFile::~DataFile() {
    LARGE_INTEGER length{};
    if (handle_ != nullptr && deleteIfEmpty_ && GetFileSizeEx(handle_, &length) && length.QuadPart == 0) {
        readOnly_ = false;
        deleteOnClose_ = true;
    }
    constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    const bool isDeleted = isWritable() && deleteOnClose_;
    const bool isReopened = isDeleted && reopen(shareAll, FILE_FLAG_DELETE_ON_CLOSE);
    DataFile::close();
    if (isDeleted && !isReopened) {
        // Windows lets nobody delete beside a handle that doesn't share deletion, be it one's own.
        handle_ = openOrNull(path_, GENERIC_READ, shareAll, OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE);
        DataFile::close();
    }
}

std::uint64_t DataFile::size() {
    LARGE_INTEGER length{};
    return handle_ != nullptr && GetFileSizeEx(handle_, &length) ? static_cast<std::uint64_t>(length.QuadPart) : 0;
}

// How many of `size` bytes the file holds from `offset` on.
std::uint64_t DataFile::available(std::uint64_t offset, std::uint64_t size) {
    const std::uint64_t end = this->size();
    return offset < end ? std::min(size, end - offset) : 0;
}

bool DataFile::seek(std::uint64_t offset, DWORD method) {
    LARGE_INTEGER distance{};
    distance.QuadPart = static_cast<LONGLONG>(offset);
    return SetFilePointerEx(handle_, distance, nullptr, method) != FALSE;
}

std::uint64_t DataFile::read(std::uint64_t offset, void* buffer, std::uint64_t size) {
    const std::uint64_t wanted = available(offset, size);
    if (wanted == 0 || !seek(offset, FILE_BEGIN)) {
        return 0;
    }
    auto* const target = static_cast<char*>(buffer);
    return transferAll(wanted, [&](std::uint64_t done, DWORD count, DWORD* moved) {
        return ReadFile(handle_, target + done, count, moved, nullptr);
    });
}

std::uint64_t DataFile::copyTo(std::uint64_t offset, DataSink& sink, std::uint64_t size) {
    const std::uint64_t wanted = available(offset, size);
    std::array<char, copyBlock> block{};
    std::uint64_t done = 0;
    while (done < wanted) {
        const std::uint64_t count =
            read(offset + done, block.data(), std::min<std::uint64_t>(wanted - done, copyBlock));
        if (count == 0) {
            break;
        }
        sink.append(block.data(), count);
        done += count;
    }
    return done;
}

void DataFile::write(const void* bytes, std::uint64_t size) {
    const auto* const source = static_cast<const char*>(bytes);
    transferAll(size, [&](std::uint64_t done, DWORD count, DWORD* moved) {
        return WriteFile(handle_, source + done, count, moved, nullptr);
    });
}

void DataFile::append(const void* bytes, std::uint64_t size) {
    if (isWritable() && size != 0 && seek(0, FILE_END)) {
        write(bytes, size);
    }
}

void DataFile::fill(std::uint8_t byte, std::uint64_t count) {
    std::array<std::uint8_t, fillBlock> block{};
    block.fill(byte);
    for (; isWritable() && count >= fillBlock; count -= fillBlock) {
        append(block.data(), fillBlock);
    }
    append(block.data(), count);
}

std::uint64_t DataFile::writeAt(std::uint64_t offset, const void* bytes, std::uint64_t size, bool extend) {
    if (readOnly_ || size == 0) {
        return 0;
    }
    const std::uint64_t end = this->size();
    const std::uint64_t inside = offset < end ? std::min(size, end - offset) : 0;
    const std::uint64_t tail = extend ? size - inside : 0;
    const std::uint64_t gap = extend && offset > end ? offset - end : 0;
    if (inside != 0 && handle_ != nullptr && seek(offset, FILE_BEGIN)) {
        write(bytes, inside);
    }
    fill(0, gap);
    append(static_cast<const char*>(bytes) + inside, tail);
    return inside + gap + tail;
}

std::uint64_t DataFile::writeAt(std::uint64_t offset, const void* bytes, std::uint64_t size) {
    return writeAt(offset, bytes, size, true);
}

void DataFile::markForDeletion() {
    if (!readOnly_) {
        deleteOnClose_ = true;
    }
}

void DataFile::close() {
    if (handle_ != nullptr) {
        CloseHandle(handle_);
        handle_ = nullptr;
    }
}

// The old handle stays when the file can't be opened again.
bool DataFile::reopen(DWORD sharing, DWORD flags) {
    const HANDLE again = ReOpenFile(handle_, GENERIC_READ, sharing, flags);
    if (again == INVALID_HANDLE_VALUE) {
        return false;
    }
    CloseHandle(handle_);
    handle_ = again;
    return true;
}

void DataFile::makeReadOnly() {
    if (readOnly_) {
        return;
    }
    readOnly_ = true;
    if (handle_ != nullptr) {
        reopen(FILE_SHARE_READ | FILE_SHARE_WRITE, 0);
    }
}

bool DataFile::setCreationTime(std::uint64_t seconds) {
    const auto time = toFileTime(seconds);
    return isWritable() && time && SetFileTime(handle_, &*time, nullptr, nullptr) != FALSE;
}

bool DataFile::setModificationTime(std::uint64_t seconds) {
    const auto time = toFileTime(seconds);
    return isWritable() && time && SetFileTime(handle_, nullptr, nullptr, &*time) != FALSE;
}

}  // namespace data
