#include "load_seams_p.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>

namespace vellxml::loader_p {

namespace {

class FileSystemSource final : public FileSource {
public:
    FileRead read(const QString& path, std::int64_t maxBytes, QByteArray& bytes) override
    {
        QFile file;
        qint64 size = 0;
        if (const FileRead opened = open(path, maxBytes, QIODevice::ReadOnly, file, size);
            opened != FileRead::Ok)
            return opened;
        bytes = file.readAll();
        // A device or a file that changes while it is read gives fewer bytes than its size said.
        if (file.error() != QFileDevice::NoError || bytes.size() < size)
            return FileRead::Failed;
        if (bytes.size() > maxBytes)
            return FileRead::TooLarge;
        return FileRead::Ok;
    }

    FileRead readInto(const QString& path, std::int64_t maxBytes,
        const std::function<char*(std::int64_t)>& room, QByteArray& bytes) override
    {
        // As read(), with the bytes read straight into the caller's memory.
        QFile file;
        qint64 size = 0;
        if (const FileRead opened =
                open(path, maxBytes, QIODevice::ReadOnly | QIODevice::Unbuffered, file, size);
            opened != FileRead::Ok)
            return opened;
        char* const data = room(size);
        if (data == nullptr)
            return FileRead::Failed;
        qint64 done = 0;
        while (done < size) {
            const qint64 now = file.read(data + done, size - done);
            if (now <= 0)
                break;
            done += now;
        }
        if (file.error() != QFileDevice::NoError || done < size)
            return FileRead::Failed;
        // A file that grew since its size was taken is read whole, as read() reads it.
        char more = 0;
        if (file.read(&more, 1) != 0)
            return read(path, maxBytes, bytes);
        bytes = QByteArray::fromRawData(data, qsizetype(size));
        return FileRead::Ok;
    }

private:
    /// Opens `path` into `file` and gives its size, or how the read ends without reading.
    static FileRead open(
        const QString& path, std::int64_t maxBytes, QIODevice::OpenMode mode, QFile& file, qint64& size)
    {
        // Only regular files are archives. A device such as /dev/zero never ends and a named pipe blocks
        // the open itself: an include naming one must not hang the load or exhaust memory.
        const QFileInfo info(path);
        // A directory cannot be opened as a file, as before this check.
        if (!info.exists() || info.isDir())
            return FileRead::NotOpened;
        if (!info.isFile())
            return FileRead::NotRegular;
        file.setFileName(path);
        if (!file.open(mode))
            return FileRead::NotOpened;
        size = file.size();
        return size > maxBytes ? FileRead::TooLarge : FileRead::Ok;
    }
};

FileSource* g_source = nullptr;
std::int64_t g_allocations = 0;
std::int64_t g_failingAllocation = 0;

} // namespace

FileSource::~FileSource() = default;

FileRead FileSource::readInto(const QString& path, std::int64_t maxBytes,
    const std::function<char*(std::int64_t)>& room, QByteArray& bytes)
{
    QByteArray whole;
    const FileRead result = read(path, maxBytes, whole);
    if (result != FileRead::Ok)
        return result;
    char* const data = room(whole.size());
    if (data == nullptr)
        return FileRead::Failed;
    std::copy(whole.constBegin(), whole.constEnd(), data);
    bytes = QByteArray::fromRawData(data, whole.size());
    return FileRead::Ok;
}

FileSource& fileSystemSource()
{
    static FileSystemSource source;
    return source;
}

FileSource* setFileSource(FileSource* source)
{
    FileSource* previous = g_source;
    g_source = source;
    return previous;
}

FileSource& currentFileSource()
{
    return g_source ? *g_source : fileSystemSource();
}

void failElementAllocation(std::int64_t n)
{
    g_allocations = 0;
    g_failingAllocation = n;
}

std::int64_t elementAllocations()
{
    return g_allocations;
}

bool allowElementAllocation()
{
    ++g_allocations;
    return g_allocations != g_failingAllocation;
}

} // namespace vellxml::loader_p
