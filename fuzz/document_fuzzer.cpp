// The document reader on one file: plain XML in any encoding it accepts, or an encrypted archive. The
// first byte chooses how the rest is served: 'E' encrypts it into a well-formed container (so that the
// decrypted text is the fuzzer's), 'D' serves it as it is with document type declarations allowed, anything
// else serves the whole input as it is. Either the document loads with no error, or exactly one error says
// why; a text that loads encrypted also loads plain, with the same document element. The reader's fast path
// is checked against expat on every text: what it reads, expat reads too, into the same tables.
#include "fuzz_support.h"

#include <vellxml/loader/document.h>
#include <vellxml/loader/xml_element_p.h>

#include <QDomDocument>
#include <QDomElement>

#include <cstddef>
#include <cstdint>

namespace {

using vellxml::fuzz::messageCount;
using vellxml::fuzz::require;

const QString g_path = QStringLiteral("/vellxml-fuzz/archive.xml");

struct Loaded {
    int result = 0;
    QString documentTag;
};

Loaded loadOnce(const QByteArray& file, const HwLoadLimits& limits)
{
    vellxml::fuzz::MemoryFileSource source;
    source.add(g_path, file);
    vellxml::fuzz::ServedFiles served(source);
    messageCount() = vellxml::fuzz::MessageCount();
    QDomDocument document;
    Loaded loaded;
    loaded.result = loadXMLDocument(g_path, document, vellxml::fuzz::countLog, vellxml::fuzz::countError,
        vellxml::fuzz::countWarning, true, limits);
    require(messageCount().log == 1, "not exactly one \"Loading\" line");
    require(messageCount().warning == 0, "warning from the document reader");
    if (loaded.result == 0) {
        require(messageCount().error == 0, "document loaded with an error message");
        require(!document.documentElement().isNull(), "document loaded without a document element");
        loaded.documentTag = document.documentElement().tagName();
    } else {
        require(loaded.result == 3, "a served file gave neither 0 nor 3");
        require(messageCount().error == 1, "failed document without exactly one error message");
    }
    return loaded;
}

// The fast reader alone, then expat alone, under the file limits and under a shallow depth limit.
void compareReaders(const QByteArray& text, const HwLoadLimits& fileLimits)
{
    HwLoadLimits shallow = fileLimits;
    shallow.maxElementDepth = 4;
    for (const HwLoadLimits& limits : {fileLimits, shallow}) {
        HwXmlDocument fast;
        if (!fast.parseFast(text, limits)) {
            require(fast.nodeCount() == 0, "the fast reader declined but left nodes");
            continue;
        }
        HwXmlDocument expat;
        int line = 0;
        int column = 0;
        QString error;
        require(expat.parseWithExpat(text, limits, line, column, error),
            "the fast reader accepts a text that expat refuses");
        require(fast.differenceFrom(expat).empty(), "the fast reader and expat build different tables");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const QByteArray input(reinterpret_cast<const char*>(data), static_cast<int>(size));
    HwLoadLimits limits;
    limits.maxFileSize = 1 << 20;
    if (input.startsWith('E')) {
        const QByteArray plain = input.mid(1);
        compareReaders(plain, limits);
        const Loaded encrypted =
            loadOnce(vellxml::fuzz::encryptArchive(plain, static_cast<std::uint32_t>(size)), limits);
        if (encrypted.result == 0) {
            const Loaded direct = loadOnce(plain, limits);
            require(direct.result == 0, "text loads encrypted but not plain");
            require(direct.documentTag == encrypted.documentTag, "encrypted and plain documents differ");
        }
        return 0;
    }
    compareReaders(input, limits);
    loadOnce(input, limits);
    return 0;
}
