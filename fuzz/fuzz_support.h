#ifndef VELLXML_FUZZ_FUZZ_SUPPORT_H
#define VELLXML_FUZZ_FUZZ_SUPPORT_H

// Shared by the fuzz targets: the oracle's abort, message counting, and archive files served from memory
// through the loader's file seam, so that no input touches the disk.

#include <vellxml/loader/document.h>
#include <vellxml/loader/load_seams_p.h>

#include <QByteArray>
#include <QDir>
#include <QHash>
#include <QString>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

/// The entry point of every target, called by libFuzzer or by the replay program.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace vellxml::fuzz {

/// The oracle: a broken promise is a crash the fuzzer keeps.
inline void require(bool condition, const char* what)
{
    if (!condition) {
        std::fprintf(stderr, "fuzz oracle: %s\n", what);
        std::abort();
    }
}

/// Messages of one load, by kind.
struct MessageCount {
    int log = 0;
    int error = 0;
    int warning = 0;
};

inline MessageCount& messageCount()
{
    static MessageCount count;
    return count;
}

inline void countLog(const char* text)
{
    require(text != nullptr, "null log message");
    ++messageCount().log;
}

inline void countError(const char* text)
{
    require(text != nullptr && *text != '\0', "empty error message");
    ++messageCount().error;
}

inline void countWarning(const char* text)
{
    require(text != nullptr, "null warning message");
    ++messageCount().warning;
}

/// Files by cleaned absolute path. Anything else does not exist: the disk is never read.
class MemoryFileSource final : public vellxml::loader_p::FileSource {
public:
    void add(const QString& path, const QByteArray& bytes) { m_files.insert(QDir::cleanPath(path), bytes); }
    vellxml::loader_p::FileRead read(const QString& path, std::int64_t maxBytes, QByteArray& bytes) override
    {
        const auto found = m_files.constFind(QDir::cleanPath(path));
        if (found == m_files.constEnd())
            return vellxml::loader_p::FileRead::NotOpened;
        if (found->size() > maxBytes)
            return vellxml::loader_p::FileRead::TooLarge;
        bytes = *found;
        return vellxml::loader_p::FileRead::Ok;
    }

private:
    QHash<QString, QByteArray> m_files;
};

/// Serves `source` for the lifetime of the object.
class ServedFiles {
public:
    explicit ServedFiles(vellxml::loader_p::FileSource& source)
        : m_previous(vellxml::loader_p::setFileSource(&source))
    {
    }
    ~ServedFiles() { vellxml::loader_p::setFileSource(m_previous); }
    ServedFiles(const ServedFiles&) = delete;
    ServedFiles& operator=(const ServedFiles&) = delete;

private:
    vellxml::loader_p::FileSource* m_previous;
};

/// The encrypted archive (.xmd) of `plain`, with an IV taken from `ivSeed` so that runs repeat.
inline QByteArray encryptArchive(const QByteArray& plain, std::uint32_t ivSeed)
{
    const int length = static_cast<int>(plain.size());
    const int rounded = (length + 15) / 16 * 16;
    QByteArray padded = plain;
    padded.append(QByteArray(rounded - length, '\0'));
    unsigned char iv[16];
    for (int i = 0; i < 16; ++i)
        iv[i] = static_cast<unsigned char>((ivSeed >> (8 * (i % 4))) + i);
    std::vector<unsigned char> cipher(static_cast<std::size_t>(rounded));
    if (rounded > 0)
        require(AES_Encrypt(reinterpret_cast<const unsigned char*>(padded.constData()), cipher.data(),
                    rounded, iv, nullptr)
                == 1,
            "encryption failed");
    QByteArray file("EXML");
    file.append('\1').append('\0');
    for (int i = 0; i < 4; ++i)
        file.append(static_cast<char>((static_cast<std::uint32_t>(length) >> (8 * i)) & 0xFF));
    file.append(reinterpret_cast<const char*>(iv), 16);
    file.append(reinterpret_cast<const char*>(cipher.data()), rounded);
    return file;
}

} // namespace vellxml::fuzz

#endif
