#include "data/data_file.h"
#include "session_test.h"

#include <limits>

namespace {

using data::DataFile;

constexpr std::uint64_t endless = std::numeric_limits<std::uint64_t>::max();

class DataFileTest : public tests::SessionTest {
protected:
    std::shared_ptr<DataFile> fileOf(const std::string& bytes) {
        auto file = DataFile::NewEmptyFile(directory_.wide("file"));
        file->append(bytes.data(), bytes.size());
        return file;
    }
    std::string content() const { return directory_.read("file"); }
    static std::string read(DataFile& file, std::uint64_t offset, std::uint64_t size) {
        std::string bytes(size, '?');
        bytes.resize(file.read(offset, bytes.data(), size));
        return bytes;
    }

    tests::TempDirectory directory_;
};

TEST_F(DataFileTest, FailedOpenIsAnEmptyFileThatTakesNothing) {
    for (const auto& file : {DataFile::OpenReadOnlyFile(directory_.wide("missing")),
                             DataFile::NewEmptyFile(directory_.wide("none/file"))}) {
        EXPECT_EQ(file->size(), 0U);
        EXPECT_EQ(read(*file, 0, 4), "");
        file->append("x", 1);
        file->fill(0, endless);
        file->makeReadOnly();
        EXPECT_FALSE(file->setModificationTime(0));
        EXPECT_EQ(file->name(), "");
    }
    EXPECT_EQ(DataFile::NewEmptyFile(directory_.wide("none/file"))->writeAt(3, "ab", 2), 5U);
}

TEST_F(DataFileTest, EmptyFileGoesAndWrittenFileStays) {
    directory_.write("file", "old");
    {
        const auto file = DataFile::NewEmptyFile(directory_.wide("file"));
        EXPECT_TRUE(directory_.has("file") && content().empty());
    }
    EXPECT_FALSE(directory_.has("file"));
    fileOf("kept");
    EXPECT_EQ(content(), "kept");
    fileOf("closed")->close();
    DataFile::OpenReadOnlyFile(directory_.wide("file"))->markForDeletion();
    EXPECT_EQ(content(), "closed");
}

TEST_F(DataFileTest, ReadOnlyTakesNothing) {
    const auto file = fileOf("text");
    fileOf("another writer");
    EXPECT_EQ(read(*DataFile::OpenReadOnlyFile(directory_.wide("file")), 0, 9), "text") << "only reading is shared";
    EXPECT_FALSE(file->isReadOnly());
    EXPECT_TRUE(file->setModificationTime(1'000'000'000));
    EXPECT_FALSE(file->setModificationTime(endless / 20'000'000));
    file->makeReadOnly();
    file->append("more", 4);
    file->fill('x', 40);
    EXPECT_EQ(file->writeAt(0, "x", 1), 0U);
    EXPECT_FALSE(file->setModificationTime(2'000'000'000) || file->setCreationTime(2'000'000'000));
    EXPECT_TRUE(file->isReadOnly());
    EXPECT_EQ(read(*file, 0, 9), "text");
    EXPECT_EQ(boost::filesystem::last_write_time(directory_.file("file")), 1'000'000'000);
    fileOf("the writer's lock went with makeReadOnly");
    EXPECT_EQ(content(), "the writer's lock went with makeReadOnly");
}

TEST_F(DataFileTest, FailureEndsTheOperationQuietly) {
    const auto file = fileOf("kept");
    win32::script::failNext("WriteFile", ERROR_DISK_FULL);
    file->append("lost", 4);
    win32::script::failNext("SetFilePointerEx", ERROR_INVALID_PARAMETER);
    file->append("lost", 4);
    EXPECT_EQ(content(), "kept");
    win32::script::failNext("ReadFile", ERROR_IO_DEVICE);
    EXPECT_EQ(read(*file, 0, 4), "");
    win32::script::failNext("ReOpenFile", ERROR_ACCESS_DENIED);
    file->makeReadOnly();
    EXPECT_EQ(read(*file, 0, 4), "kept");
}

}  // namespace
