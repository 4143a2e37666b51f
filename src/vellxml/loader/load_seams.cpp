#include "load_seams_p.h"

#include <QFile>
#include <QFileInfo>

namespace vellxml::loader_p {

namespace {

class FileSystemSource final : public FileSource {
public:
    FileRead read(const QString& path, std::int64_t maxBytes, QByteArray& bytes) override
    {
        // Only regular files are archives. A device such as /dev/zero never ends and a named pipe blocks
        // the open itself: an include naming one must not hang the load or exhaust memory.
        const QFileInfo info(path);
        // A directory cannot be opened as a file, as before this check.
        if (!info.exists() || info.isDir())
            return FileRead::NotOpened;
        if (!info.isFile())
            return FileRead::NotRegular;
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return FileRead::NotOpened;
        const qint64 size = file.size();
        if (size > maxBytes)
            return FileRead::TooLarge;
        bytes = file.readAll();
        // A device or a file that changes while it is read gives fewer bytes than its size said.
        if (file.error() != QFileDevice::NoError || bytes.size() < size)
            return FileRead::Failed;
        if (bytes.size() > maxBytes)
            return FileRead::TooLarge;
        return FileRead::Ok;
    }
};

FileSource* g_source = nullptr;
std::int64_t g_allocations = 0;
std::int64_t g_failingAllocation = 0;

} // namespace

FileSource::~FileSource() = default;

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
