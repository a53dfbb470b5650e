#include "win32/file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <string>

#include "temp_directory.h"
#include "win32/kernel.h"

namespace {

constexpr DWORD shareAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
constexpr DWORD readWrite = GENERIC_READ | GENERIC_WRITE;

class FileTest : public testing::Test {
protected:
    HANDLE open(const std::string& name, DWORD access, DWORD sharing, DWORD disposition, DWORD flags = 0) {
        SetLastError(ERROR_SUCCESS);
        return CreateFileW(directory_.wide(name).c_str(), access, sharing, nullptr, disposition, flags, nullptr);
    }

    DWORD codeOf(const std::string& name, DWORD access, DWORD sharing, DWORD disposition) {
        const HANDLE handle = open(name, access, sharing, disposition);
        const DWORD code = GetLastError();
        if (handle == INVALID_HANDLE_VALUE) {
            return code;
        }
        CloseHandle(handle);
        return code == ERROR_ALREADY_EXISTS ? code : ERROR_SUCCESS;
    }

    tests::TempDirectory directory_;
};

TEST_F(FileTest, TellsWhyItCannotOpen) {
    directory_.write("file", "x");
    tests::files::create_directory(directory_.file("folder"));
    EXPECT_EQ(codeOf("missing", GENERIC_READ, shareAll, OPEN_EXISTING), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(codeOf("none/missing", GENERIC_READ, shareAll, OPEN_EXISTING), ERROR_PATH_NOT_FOUND);
    EXPECT_EQ(codeOf("folder", GENERIC_READ, shareAll, OPEN_EXISTING), ERROR_ACCESS_DENIED);
    EXPECT_EQ(codeOf("file", readWrite, shareAll, CREATE_NEW), ERROR_FILE_EXISTS);
    tests::files::permissions(directory_.file("file"), tests::files::perms::owner_read);
    EXPECT_EQ(codeOf("file", readWrite, shareAll, CREATE_ALWAYS), ERROR_ACCESS_DENIED);
    EXPECT_EQ(codeOf("file", GENERIC_READ, shareAll, OPEN_EXISTING), ERROR_SUCCESS);
    EXPECT_EQ(open("file", GENERIC_READ, shareAll, OPEN_EXISTING, FILE_FLAG_DELETE_ON_CLOSE), INVALID_HANDLE_VALUE);
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    EXPECT_EQ(directory_.read("file"), "x");
    tests::files::permissions(directory_.file("file"), tests::files::perms::owner_all);
}

TEST_F(FileTest, DispositionsMakeKeepAndEmpty) {
    EXPECT_EQ(codeOf("made", readWrite, 0, CREATE_ALWAYS), ERROR_SUCCESS);
    directory_.write("made", "text");
    EXPECT_EQ(codeOf("made", readWrite, 0, OPEN_ALWAYS), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(directory_.read("made"), "text");
    EXPECT_EQ(codeOf("made", readWrite, 0, CREATE_ALWAYS), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(directory_.read("made"), "");
    tests::files::create_directory(directory_.file("folder"));
    EXPECT_EQ(codeOf("folder\\new", readWrite, 0, CREATE_NEW), ERROR_SUCCESS);
    EXPECT_TRUE(directory_.has("folder/new"));
}

TEST_F(FileTest, AccessAndPositionBelongToTheHandle) {
    const HANDLE writer = open("file", GENERIC_WRITE, shareAll, CREATE_ALWAYS);
    DWORD done = 0;
    EXPECT_TRUE(WriteFile(writer, "abcdef", 6, &done, nullptr));
    std::array<char, 8> buffer{};
    EXPECT_FALSE(ReadFile(writer, buffer.data(), 8, &done, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);

    const HANDLE reader = ReOpenFile(writer, GENERIC_READ, shareAll, 0);
    EXPECT_FALSE(WriteFile(reader, "x", 1, &done, nullptr));
    EXPECT_EQ(GetLastError(), ERROR_ACCESS_DENIED);
    LARGE_INTEGER position{};
    LARGE_INTEGER distance{};
    distance.QuadPart = -2;
    EXPECT_TRUE(SetFilePointerEx(reader, distance, &position, FILE_END));
    EXPECT_EQ(position.QuadPart, 4);
    EXPECT_TRUE(ReadFile(reader, buffer.data(), 8, &done, nullptr));
    EXPECT_EQ(std::string(buffer.data(), done), "ef");
    EXPECT_TRUE(ReadFile(reader, buffer.data(), 8, &done, nullptr));
    EXPECT_EQ(done, 0U);
    EXPECT_TRUE(GetFileSizeEx(reader, &position));
    EXPECT_EQ(position.QuadPart, 6);
    CloseHandle(reader);
    CloseHandle(writer);
}

TEST_F(FileTest, RefusesToEmptyWhatAHolderDoesNotShare) {
    const HANDLE writer = open("file", readWrite, FILE_SHARE_READ, CREATE_ALWAYS);
    DWORD done = 0;
    WriteFile(writer, "kept", 4, &done, nullptr);
    EXPECT_EQ(codeOf("file", readWrite, FILE_SHARE_READ, CREATE_ALWAYS), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(directory_.read("file"), "kept");
    CloseHandle(writer);
    EXPECT_EQ(codeOf("file", readWrite, 0, CREATE_ALWAYS), ERROR_ALREADY_EXISTS);
}

TEST_F(FileTest, RefusesToEmptyForReading) {
    const HANDLE writer = open("file", readWrite, FILE_SHARE_READ, CREATE_ALWAYS);
    EXPECT_EQ(codeOf("file", GENERIC_READ, shareAll, CREATE_ALWAYS), ERROR_SHARING_VIOLATION);
    EXPECT_EQ(codeOf("file", GENERIC_READ, shareAll, TRUNCATE_EXISTING), ERROR_INVALID_PARAMETER);
    CloseHandle(writer);
}

// Each of two handles has to share what the other one uses; a handle that uses nothing doesn't count.
TEST_F(FileTest, SharingIsMutual) {
    directory_.write("file", "x");
    constexpr std::array<DWORD, 4> accesses = {0, GENERIC_READ, GENERIC_WRITE, readWrite};
    const auto shares = [](DWORD sharing, DWORD access) {
        return ((access & GENERIC_READ) == 0 || (sharing & FILE_SHARE_READ) != 0) &&
               ((access & GENERIC_WRITE) == 0 || (sharing & FILE_SHARE_WRITE) != 0);
    };
    for (const DWORD held : accesses) {
        for (DWORD sharing = 0; sharing <= shareAll; ++sharing) {
            const HANDLE holder = open("file", held, sharing, OPEN_EXISTING);
            ASSERT_NE(holder, INVALID_HANDLE_VALUE);
            for (const DWORD wanted : accesses) {
                for (DWORD own = 0; own <= shareAll; ++own) {
                    const bool agree = held == 0 || wanted == 0 || (shares(sharing, wanted) && shares(own, held));
                    EXPECT_EQ(codeOf("file", wanted, own, OPEN_EXISTING),
                              agree ? ERROR_SUCCESS : ERROR_SHARING_VIOLATION)
                        << held << " " << sharing << ", then " << wanted << " " << own;
                }
            }
            CloseHandle(holder);
        }
    }
}

TEST_F(FileTest, DeletesOnClose) {
    const HANDLE writer = open("file", readWrite, shareAll, CREATE_ALWAYS);
    const HANDLE last = ReOpenFile(writer, GENERIC_READ, shareAll, FILE_FLAG_DELETE_ON_CLOSE);
    ASSERT_NE(last, INVALID_HANDLE_VALUE);
    CloseHandle(writer);
    EXPECT_EQ(codeOf("file", readWrite, FILE_SHARE_READ, CREATE_ALWAYS), ERROR_SHARING_VIOLATION);
    CloseHandle(last);
    EXPECT_FALSE(directory_.has("file"));
}

TEST_F(FileTest, SetsTheTimeOfWriting) {
    const HANDLE writer = open("file", GENERIC_WRITE, 0, CREATE_ALWAYS);
    constexpr ULONGLONG ticks = 116'444'736'000'000'000 + 1'000'000'000ULL * 10'000'000;
    const FILETIME time{static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32U)};
    const auto timeOfWriting = [this] {
        struct stat status {};
        EXPECT_EQ(stat(directory_.file("file").string().c_str(), &status), 0);
        return status.st_mtime;
    };
    EXPECT_GT(timeOfWriting(), 1'000'000'000);
    EXPECT_TRUE(SetFileTime(writer, nullptr, nullptr, &time));
    const FILETIME unchanged{0, 0};
    EXPECT_TRUE(SetFileTime(writer, nullptr, nullptr, &unchanged));
    CloseHandle(writer);
    EXPECT_EQ(timeOfWriting(), 1'000'000'000);
}

TEST_F(FileTest, SetsNoTimeByAReadingHandle) {
    directory_.write("file", "x");
    const FILETIME time{1, 1};
    const HANDLE reader = open("file", GENERIC_READ, shareAll, OPEN_EXISTING);
    EXPECT_FALSE(SetFileTime(reader, nullptr, nullptr, &time));
    CloseHandle(reader);
}

}  // namespace
