// The contents of files, read by offset and written at the end or in place.
//
// Nothing here throws or logs. A file that couldn't be opened reads as empty and takes no writes; a failed read or
// write ends the operation with what was done so far. A DataFile has one position and no lock: one thread at a time.
// Between processes only the sharing modes of the two factories stand.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "win32/file.h"

namespace data {

class DataSink;

class DataSource {
public:
    virtual ~DataSource() = default;

    // Appends up to `size` bytes from `offset` on to the sink; gives the bytes copied.
    virtual std::uint64_t copyTo(std::uint64_t offset, DataSink& sink, std::uint64_t size) = 0;
    // Gives the bytes delivered: fewer than `size` at the end, 0 behind it.
    virtual std::uint64_t read(std::uint64_t offset, void* buffer, std::uint64_t size) = 0;
    virtual std::uint64_t size() = 0;
};

class DataSink {
public:
    virtual ~DataSink() = default;

    virtual void append(const void* bytes, std::uint64_t size) = 0;
    // Appends `count` copies of `byte`.
    virtual void fill(std::uint8_t byte, std::uint64_t count) = 0;
    // Overwrites what exists from `offset` on. With `extend` the rest goes to the end, behind zero bytes for a gap;
    // without, it is dropped. Gives the bytes meant to be written, those of the gap included.
    virtual std::uint64_t writeAt(std::uint64_t offset, const void* bytes, std::uint64_t size, bool extend) = 0;
    // With `extend`.
    virtual std::uint64_t writeAt(std::uint64_t offset, const void* bytes, std::uint64_t size) = 0;
    virtual void flush() {}
};

class DataContainer : public DataSource, public DataSink {
public:
    virtual bool isReadOnly() const = 0;
    // Four queries for containers that pack or seal what they hold. A file does neither: false and 0.
    virtual bool isCompressed() const = 0;
    virtual bool isEncrypted() const = 0;
    virtual std::int64_t compressedSize() const = 0;
    virtual std::int64_t checksum() const = 0;
    // The file is removed when the object goes.
    virtual void markForDeletion() = 0;
    virtual void close() = 0;
    virtual void makeReadOnly() = 0;
    // Seconds since 1970-01-01 UTC. False for a read-only file and for a time that a FILETIME can't hold.
    virtual bool setCreationTime(std::uint64_t seconds) = 0;
    virtual bool setModificationTime(std::uint64_t seconds) = 0;
    virtual std::string name() const = 0;
};

// An open file. The two factories never give null: the object of a failed open is an empty, closed file.
class DataFile final : public DataContainer {
public:
    // An existing file for reading, while others may read and write it.
    static std::shared_ptr<DataFile> OpenReadOnlyFile(const WideString& path);
    // A file of no length, made or emptied, while others may only read it. Left empty, it is removed when the object
    // goes.
    static std::shared_ptr<DataFile> NewEmptyFile(const WideString& path);

    bool isOpen() const { return handle_ != nullptr; }

    DataFile(const DataFile&) = delete;
    DataFile& operator=(const DataFile&) = delete;
    ~DataFile() override;

    std::uint64_t copyTo(std::uint64_t offset, DataSink& sink, std::uint64_t size) override;
    std::uint64_t read(std::uint64_t offset, void* buffer, std::uint64_t size) override;
    std::uint64_t size() override;

    bool isReadOnly() const override { return readOnly_; }
    bool isCompressed() const override { return false; }
    bool isEncrypted() const override { return false; }
    std::int64_t compressedSize() const override { return 0; }
    std::int64_t checksum() const override { return 0; }
    void markForDeletion() override;
    void close() override;
    void makeReadOnly() override;
    bool setCreationTime(std::uint64_t seconds) override;
    bool setModificationTime(std::uint64_t seconds) override;
    std::string name() const override { return {}; }

    void append(const void* bytes, std::uint64_t size) override;
    void fill(std::uint8_t byte, std::uint64_t count) override;
    std::uint64_t writeAt(std::uint64_t offset, const void* bytes, std::uint64_t size, bool extend) override;
    std::uint64_t writeAt(std::uint64_t offset, const void* bytes, std::uint64_t size) override;
    void flush() override {}

private:
    DataFile(HANDLE handle, bool readOnly);

    bool isWritable() const { return !readOnly_ && handle_ != nullptr; }
    bool seek(std::uint64_t offset, DWORD method);
    void write(const void* bytes, std::uint64_t size);
    std::uint64_t available(std::uint64_t offset, std::uint64_t size);
    bool reopen(DWORD sharing, DWORD flags);

    WideString path_;  // of a new file
    HANDLE handle_;    // null: closed, or never opened
    bool readOnly_;
    bool deleteOnClose_ = false;
    bool deleteIfEmpty_;
};

}  // namespace data
