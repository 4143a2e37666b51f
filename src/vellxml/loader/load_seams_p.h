#ifndef VELLXML_LOADER_LOAD_SEAMS_P_H
#define VELLXML_LOADER_LOAD_SEAMS_P_H

// Internal seams of the loader, for the fault-injection tests and the fuzz targets only: where archive
// bytes come from, and a way to make the loader's element allocations fail. Not installed, not part of
// the library's interface; those programs link the static build of the library to reach them.

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <functional>

namespace vellxml::loader_p {

/// How one read of a file ended.
enum class FileRead {
    Ok,
    NotOpened, ///< no such file, a directory, or no permission: an include may be optional
    TooLarge, ///< larger than the caller's bound; nothing was read
    NotRegular, ///< a device, pipe or socket: never read
    Failed ///< opened but not read completely: always an error
};

/// Where the loader gets the bytes of archive files.
class FileSource {
public:
    virtual ~FileSource();
    /// The whole content of `path`. A file larger than `maxBytes` gives TooLarge without being read.
    virtual FileRead read(const QString& path, std::int64_t maxBytes, QByteArray& bytes) = 0;
    /// As read(), into memory of the caller's: `room(n)` is asked once for n bytes (null fails the read)
    /// and `bytes` refers to them (QByteArray::fromRawData) or, when the source could not deliver into
    /// them, holds the content itself. This reads into the room, through read().
    virtual FileRead readInto(const QString& path, std::int64_t maxBytes,
        const std::function<char*(std::int64_t)>& room, QByteArray& bytes);
};

/// The file system.
FileSource& fileSystemSource();

/// The source of every later read (null: the file system again); returns the previous one, null when it
/// was the file system. Process-wide and not locked, like the loader's other statics.
FileSource* setFileSource(FileSource* source);

/// The source reads go to now.
FileSource& currentFileSource();

/// Makes the `n`th element allocation counted from now fail (0: none fails). The loader charges every
/// model element to its budget before building it; an injected failure is reported there as
/// "Element allocation failed." and unwinds the load like any other error.
void failElementAllocation(std::int64_t n);

/// The number of element allocations asked for since the last failElementAllocation().
std::int64_t elementAllocations();

/// Counts one allocation; false when it is the one that must fail.
bool allowElementAllocation();

} // namespace vellxml::loader_p

#endif
