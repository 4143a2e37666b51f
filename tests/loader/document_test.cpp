#include "loader_support.h"

#include <vellxml/loader/document.h>
#include <vellxml/loader/text_helpers.h>

#include <QDomDocument>
#include <QProcess>

#include <cstring>
#include <random>
#include <sys/stat.h>

using loadertest::messages;
using loadertest::onError;
using loadertest::onLog;
using loadertest::onWarning;

namespace {

QString hex(const unsigned char* bytes, int size)
{
    return QString::fromLatin1(QByteArray(reinterpret_cast<const char*>(bytes), size).toHex());
}

class DocumentTest : public loadertest::Fixture {
protected:
    QByteArray readAll(const QString& path)
    {
        QFile file(path);
        EXPECT_TRUE(file.open(QIODevice::ReadOnly));
        return file.readAll();
    }
    /// An encrypted file made by hand: header fields as given, cipher text with `key`.
    QString writeEncrypted(const QString& name, const QByteArray& plain, std::uint32_t declaredLength,
        const unsigned char* key, int cipherBytes = -1)
    {
        const int rounded = (static_cast<int>(plain.size()) + 15) / 16 * 16;
        QByteArray padded = plain + QByteArray(rounded - plain.size(), '\0');
        QByteArray cipher(rounded, '\0');
        unsigned char iv[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
        EXPECT_EQ(AES_Encrypt(reinterpret_cast<const unsigned char*>(padded.constData()),
                      reinterpret_cast<unsigned char*>(cipher.data()), rounded, iv, key),
            1);
        QByteArray file("EXML\x01\x00", 6);
        for (int i = 0; i < 4; ++i)
            file.append(static_cast<char>((declaredLength >> (8 * i)) & 0xFF));
        file.append(reinterpret_cast<const char*>(iv), 16);
        file.append(cipherBytes < 0 ? cipher : cipher.left(cipherBytes));
        return write(name, file);
    }
};

TEST_F(DocumentTest, CipherMatchesTheOpensslCommand)
{
    if (!QFile::exists(QStringLiteral("/usr/bin/openssl")))
        GTEST_SKIP() << "/usr/bin/openssl is not installed";
    QByteArray plain;
    for (int i = 0; i < 48; ++i)
        plain.append(static_cast<char>(i * 7 + 3));
    const QString input = write(QStringLiteral("plain.bin"), plain);
    const unsigned char iv[16] = {
        0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5, 0xA6, 0xA7, 0xA8, 0xA9, 0xAA, 0xAB, 0xAC, 0xAD, 0xAE, 0xAF};
    QByteArray cipher(48, '\0');
    ASSERT_EQ(AES_Encrypt(reinterpret_cast<const unsigned char*>(plain.constData()),
                  reinterpret_cast<unsigned char*>(cipher.data()), 48, iv, nullptr),
        1);

    QProcess openssl;
    openssl.start(QStringLiteral("/usr/bin/openssl"),
        {QStringLiteral("enc"), QStringLiteral("-aes-256-cbc"), QStringLiteral("-nopad"),
            QStringLiteral("-K"), QStringLiteral(VELLXML_AES_KEY), QStringLiteral("-iv"), hex(iv, 16),
            QStringLiteral("-in"), input, QStringLiteral("-out"), path(QStringLiteral("cipher.bin"))});
    ASSERT_TRUE(openssl.waitForFinished(30000));
    ASSERT_EQ(openssl.exitCode(), 0) << openssl.readAllStandardError().toStdString();
    EXPECT_EQ(
        cipher.toHex().toStdString(), readAll(path(QStringLiteral("cipher.bin"))).toHex().toStdString());

    QByteArray decrypted(48, '\0');
    ASSERT_EQ(AES_Decrypt(reinterpret_cast<const unsigned char*>(cipher.constData()),
                  reinterpret_cast<unsigned char*>(decrypted.data()), 48, iv, nullptr),
        1);
    EXPECT_EQ(decrypted, plain);
}

TEST_F(DocumentTest, EncryptedFilesRoundTripWithFreshIVs)
{
    struct Case {
        int plainSize;
        qint64 fileSize;
    };
    for (const Case& c : {Case {32, 58}, Case {33, 74}, Case {1, 42}}) {
        SCOPED_TRACE(c.plainSize);
        QByteArray plain = "<a>";
        plain += QByteArray(c.plainSize - 7 > 0 ? c.plainSize - 7 : 0, 'x');
        plain += "</a>";
        if (c.plainSize < 7)
            plain = QByteArray(c.plainSize, ' ');
        ASSERT_EQ(plain.size(), c.plainSize);
        const QString input = write(QStringLiteral("in.xml"), plain);
        const QString first = path(QStringLiteral("first.xmd"));
        const QString second = path(QStringLiteral("second.xmd"));
        ASSERT_TRUE(encryptXMLDocument(input, first, onLog, onError, onWarning));
        ASSERT_TRUE(encryptXMLDocument(input, second, onLog, onError, onWarning));
        const QByteArray a = readAll(first);
        const QByteArray b = readAll(second);
        EXPECT_EQ(a.size(), c.fileSize);
        EXPECT_EQ(a.left(10),
            QByteArray("EXML\x01\x00", 6) + QByteArray(1, static_cast<char>(c.plainSize))
                + QByteArray(3, '\0'));
        EXPECT_NE(a.mid(10, 16), b.mid(10, 16)) << "two encryptions share an IV";
        EXPECT_NE(a, b);
    }
    // Both decrypt to the same document.
    const QString input =
        write(QStringLiteral("doc.xml"), "<archive relative=\"x\"><var name=\"A\" value=\"1\"/></archive>");
    ASSERT_TRUE(encryptXMLDocument(input, path(QStringLiteral("one.xmd")), onLog, onError, onWarning));
    ASSERT_TRUE(encryptXMLDocument(input, path(QStringLiteral("two.xmd")), onLog, onError, onWarning));
    QDomDocument one;
    QDomDocument two;
    EXPECT_EQ(loadXMLDocument(path(QStringLiteral("one.xmd")), one, onLog, onError, onWarning, true), 0);
    EXPECT_EQ(loadXMLDocument(path(QStringLiteral("two.xmd")), two, onLog, onError, onWarning, true), 0);
    EXPECT_EQ(one.toString(), two.toString());
    EXPECT_EQ(one.documentElement().attribute(QStringLiteral("relative")), QStringLiteral("x"));
    EXPECT_TRUE(messages().error.empty());
}

TEST_F(DocumentTest, EncryptReportsFilesItCannotOpen)
{
    const QString missing = path(QStringLiteral("missing.xml"));
    EXPECT_FALSE(encryptXMLDocument(missing, path(QStringLiteral("o.xmd")), onLog, onError, onWarning));
    EXPECT_EQ(messages().log, std::vector<std::string> {"Unable to open file " + missing.toStdString()});
}

TEST_F(DocumentTest, LoadXMLDocumentResults)
{
    QDomDocument document;
    const QString missing = path(QStringLiteral("none.xml"));
    EXPECT_EQ(loadXMLDocument(missing, document, onLog, onError, onWarning, true), 1);
    EXPECT_EQ(loadXMLDocument(missing, document, onLog, onError, onWarning, false), 1);
    EXPECT_EQ(messages().error, std::vector<std::string> {"Unable to open file " + missing.toStdString()});
    EXPECT_EQ(messages().warning, std::vector<std::string> {"Unable to open file " + missing.toStdString()});
    EXPECT_TRUE(messages().log.empty());

    messages() = loadertest::Messages();
    const QString bad = write(QStringLiteral("bad.xml"), "<archive>\n  <module>\n</archive>\n");
    EXPECT_EQ(loadXMLDocument(bad, document, onLog, onError, onWarning, true), 3);
    EXPECT_EQ(messages().log, std::vector<std::string> {"Loading " + bad.toStdString() + "..."});
    ASSERT_EQ(messages().error.size(), 1u);
    EXPECT_EQ(messages().error[0].rfind(bad.toStdString() + ":3:", 0), 0u) << messages().error[0];

    messages() = loadertest::Messages();
    const QString good = write(QStringLiteral("good.xml"), "<archive><module name=\"m\"/></archive>");
    EXPECT_EQ(loadXMLDocument(good, document, nullptr, nullptr, nullptr, true), 0);
    EXPECT_EQ(document.documentElement().firstChildElement().attribute(QStringLiteral("name")),
        QStringLiteral("m"));
}

// Every refusal of the reader is one positioned error, and the loader fails with nothing built.
TEST_F(DocumentTest, BadInputIsAPositionedError)
{
    const unsigned char otherKey[32] = {9};
    struct Case {
        const char* name;
        QByteArray content;
        int line;
        int column;
        const char* text;
    };
    const QByteArray plain = "<archive/>";
    const std::vector<Case> cases = {
        {"koi8.xml", "<?xml version=\"1.0\" encoding=\"KOI8-R\"?><archive/>", 1, 31, "unknown encoding"},
        {"short.xmd", "EXML\x01\x00\x05", 0, 0, "Encrypted file shorter than its 26-byte header."},
        {"exml.xml", "EXML is not a header, but the file is taken as encrypted", 0, 0,
            "Encrypted file declares 1869488243 bytes of plain text but holds 30 bytes of cipher text."},
        {"unparsed.xml", "<archive>\n<module name=\"a\">\n</archive>", 3, 3, "mismatched tag"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        messages() = loadertest::Messages();
        write(QString::fromLatin1(c.name), c.content);
        EXPECT_EQ(load(QString::fromLatin1(c.name)), nullptr);
        expectOnlyError(at(QString::fromLatin1(c.name), c.line, c.column, QString::fromLatin1(c.text)));
    }

    messages() = loadertest::Messages();
    writeEncrypted(QStringLiteral("wrongkey.xmd"), plain, 10, otherKey);
    EXPECT_EQ(load(QStringLiteral("wrongkey.xmd")), nullptr);
    expectOnlyError(at(QStringLiteral("wrongkey.xmd"), 0, 0,
        QStringLiteral("Encrypted file does not decrypt to an XML document (wrong key?).")));

    messages() = loadertest::Messages();
    writeEncrypted(QStringLiteral("cut.xmd"), plain + QByteArray(30, ' '), 40, nullptr, 32);
    EXPECT_EQ(load(QStringLiteral("cut.xmd")), nullptr);
    expectOnlyError(at(QStringLiteral("cut.xmd"), 0, 0,
        QStringLiteral("Encrypted file declares 40 bytes of plain text but holds 32 bytes of cipher text.")));

    // A declared length near 4 GiB is checked in 64 bits against the file, not allocated.
    messages() = loadertest::Messages();
    writeEncrypted(QStringLiteral("huge.xmd"), plain, 0xFFFFFFF0u, nullptr);
    m_loader.limits().maxFileSize = std::int64_t {1} << 40;
    EXPECT_EQ(load(QStringLiteral("huge.xmd")), nullptr);
    expectOnlyError(at(QStringLiteral("huge.xmd"), 0, 0,
        QStringLiteral(
            "Encrypted file declares 4294967280 bytes of plain text but holds 16 bytes of cipher text.")));
    EXPECT_EQ(m_map.getChipRootArchive(), nullptr);
}

TEST_F(DocumentTest, EncodingsAreConvertedAndPositionsCountCharacters)
{
    // UTF-16 little endian with a byte-order mark; an error on line 2 after two non-ASCII characters.
    const QString text = QStringLiteral("<archive>\n\u00e9\u4e2d<bogus/></archive>");
    QByteArray utf16("\xFF\xFE", 2);
    for (const QChar c : text) {
        utf16.append(static_cast<char>(c.unicode() & 0xFF));
        utf16.append(static_cast<char>(c.unicode() >> 8));
    }
    write(QStringLiteral("u16.xml"), utf16);
    EXPECT_EQ(load(QStringLiteral("u16.xml")), nullptr);
    expectOnlyError(at(QStringLiteral("u16.xml"), 2, 3, QStringLiteral("Unvalid tag : 'bogus'")));

    // ISO-8859-1 as declared: the byte E9 is an e acute in the comment.
    messages() = loadertest::Messages();
    write(QStringLiteral("latin.xml"),
        "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\n<archive><comment>caf\xE9</comment></archive>");
    HwRootArchive* root = load(QStringLiteral("latin.xml"));
    ASSERT_NE(root, nullptr);
    EXPECT_EQ(root->getArchives().front()->getComment(), QStringLiteral("caf\u00e9"));
}

TEST_F(DocumentTest, LimitsHaveTheirOwnMessages)
{
    QByteArray deep = "<archive>";
    for (int i = 0; i < 300; ++i)
        deep += "<x>";
    for (int i = 0; i < 300; ++i)
        deep += "</x>";
    deep += "</archive>";
    write(QStringLiteral("deep.xml"), deep);
    EXPECT_EQ(load(QStringLiteral("deep.xml")), nullptr);
    expectOnlyError(at(QStringLiteral("deep.xml"), 1, 10 + 3 * 255,
        QStringLiteral("Elements are nested deeper than 256 levels.")));

    messages() = loadertest::Messages();
    m_loader.limits().maxFileSize = 20;
    write(QStringLiteral("big.xml"), "<archive>                  </archive>");
    EXPECT_EQ(load(QStringLiteral("big.xml")), nullptr);
    expectOnlyError(at(QStringLiteral("big.xml"), 0, 0, QStringLiteral("The file is larger than 20 bytes.")));

    // Includes nested past the limit: a chain of files each including the next.
    messages() = loadertest::Messages();
    m_loader.limits() = HwLoadLimits();
    m_loader.limits().maxIncludeDepth = 3;
    for (int i = 0; i < 5; ++i)
        write(QStringLiteral("c%1.xml").arg(i),
            QStringLiteral("<archive>\n<include file=\"c%1.xml\"/>\n</archive>").arg(i + 1).toUtf8());
    EXPECT_EQ(load(QStringLiteral("c0.xml")), nullptr);
    expectOnlyError(
        at(QStringLiteral("c3.xml"), 2, 1, QStringLiteral("Includes are nested deeper than 3 levels.")));

    // Array counts multiply into the element budget, counted in 64 bits.
    messages() = loadertest::Messages();
    m_loader.limits() = HwLoadLimits();
    EXPECT_EQ(loadArchive("<module name=\"m\">\n<struct name=\"s\" count=\"100000\">\n"
                          "<reg32 name=\"r\" count=\"100000\"><bits name=\"b\" pos=\"0\"/></reg32>\n"
                          "</struct>\n</module>"),
        nullptr);
    expectOnlyError(
        at(QStringLiteral("a.xml"), 3, 1, QStringLiteral("The load builds more than 8388608 elements.")));
    EXPECT_EQ(m_map.getChipRootArchive(), nullptr);
}

} // namespace

namespace {

// Damaged or hostile files: each is one positioned error and an empty result, never a crash or a hang.
TEST_F(DocumentTest, DamagedFilesAreRefusedCleanly)
{
    struct Case {
        QByteArray content;
        int line;
        int column;
        const char* text;
    };
    const Case cases[] = {
        {"", 1, 1, "no element found"},
        {"<", 1, 1, "unclosed token"},
        {QByteArray("\x00\x01\x02\xFF\xFE\x00", 6), 1, 1, "not well-formed (invalid token)"},
        {"<archive><!-- never closed", 1, 10, "unclosed token"},
        {"<archive>\n  <var a=\"1\" a=\"2\"/></archive>", 2, 14, "duplicate attribute"},
        // UTF-16 with an odd byte count.
        {QByteArray("\xFF\xFE<\x00", 4) + QByteArray(1, 'a'), 1, 1, "unclosed token"},
        {"<archive>&undefined;</archive>", 1, 10, "undefined entity"},
        // Entities that expand to a billion characters are refused before they are built.
        {"<!DOCTYPE a [<!ENTITY a \"aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa\">"
         "<!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;&a;\">"
         "<!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;&b;\">"
         "<!ENTITY d \"&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;&c;\">"
         "<!ENTITY e \"&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;&d;\">"
         "<!ENTITY f \"&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;&e;\">]>\n"
         "<archive>&f;</archive>",
            2, 10, "limit on input amplification factor (from DTD and entities) breached"},
    };
    int index = 0;
    for (const Case& c : cases) {
        SCOPED_TRACE(index);
        messages() = loadertest::Messages();
        const QString name = QStringLiteral("damaged%1.xml").arg(index++);
        write(name, c.content);
        EXPECT_EQ(load(name), nullptr);
        expectOnlyError(at(name, c.line, c.column, QString::fromLatin1(c.text)));
    }
}

// An include naming a device would read forever and one naming a named pipe would block in open(): only
// regular files are read. A directory stays a file that cannot be opened, like a missing one.
TEST_F(DocumentTest, OnlyRegularFilesAreRead)
{
    const QString fifo = path(QStringLiteral("pipe.xml"));
    ASSERT_EQ(mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    const QString directory = path(QStringLiteral("dir.xml"));
    ASSERT_TRUE(QDir().mkpath(directory));
    const std::string root = path(QStringLiteral("r.xml")).toStdString();
    struct Case {
        QString target;
        std::vector<std::string> errors;
        std::vector<std::string> warnings;
    };
    const Case cases[] = {
        {QStringLiteral("/dev/zero"), {"/dev/zero:0:0:Not a regular file."}, {}},
        {fifo, {fifo.toStdString() + ":0:0:Not a regular file."}, {}},
        {directory, {}, {"Unable to open file " + directory.toStdString(), root + ":0:0:Skipped."}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.target.toStdString());
        messages() = loadertest::Messages();
        const QString relative = QDir(m_dir.path()).relativeFilePath(c.target);
        write(QStringLiteral("r.xml"), "<archive><include file=\"" + relative.toUtf8() + "\"/></archive>");
        HwRootArchive* loaded = load(QStringLiteral("r.xml"));
        EXPECT_EQ(loaded != nullptr, c.errors.empty());
        EXPECT_EQ(messages().error, c.errors);
        EXPECT_EQ(messages().warning, c.warnings);
    }
    messages() = loadertest::Messages();
    QDomDocument document;
    EXPECT_EQ(loadXMLDocument(fifo, document, onLog, onError, onWarning, true), 3);
    EXPECT_EQ(messages().error, std::vector<std::string> {fifo.toStdString() + ":0:0:Not a regular file."});
}

} // namespace

namespace {

TEST(DigestTest, MD5OfKnownTexts)
{
    struct Case {
        const char* text;
        const char* digest;
    };
    for (const Case& c :
        {Case {"", "d41d8cd98f00b204e9800998ecf8427e"}, Case {"abc", "900150983cd24fb0d6963f7d28e17f72"}}) {
        unsigned char digest[16];
        ASSERT_TRUE(MD5Hash(reinterpret_cast<const unsigned char*>(c.text), std::strlen(c.text), digest));
        EXPECT_EQ(hex(digest, 16).toStdString(), c.digest);
    }
    unsigned char first[16];
    unsigned char second[16];
    ASSERT_TRUE(makeIV(first));
    ASSERT_TRUE(makeIV(second));
    EXPECT_NE(hex(first, 16), hex(second, 16));
}

} // namespace

namespace {

// Description writers may add a document type for their editors: its internal entities and attribute
// defaults apply, and nothing outside the file is read (the external DTD and entity name real files).
TEST_F(DocumentTest, DocumentTypesApplyButNothingExternalIsRead)
{
    write(QStringLiteral("outside.dtd"), "<!ATTLIST var export CDATA \"yes\">");
    write(QStringLiteral("outside.ent"), "<var name=\"leak\" value=\"1\"/>");
    write(QStringLiteral("dtd.xml"),
        "<?xml version=\"1.0\"?>\n<!DOCTYPE archive SYSTEM \"outside.dtd\" [\n<!ENTITY base \"0x40\">\n"
        "<!ENTITY outside SYSTEM \"outside.ent\">\n<!ATTLIST var export CDATA \"no\">\n]>\n"
        "<archive>\n<var name=\"a\" value=\"&base; + 1\"/>\n&outside;\n</archive>");
    HwRootArchive* root = load(QStringLiteral("dtd.xml"));
    ASSERT_NE(root, nullptr);
    EXPECT_TRUE(messages().error.empty());
    EXPECT_EQ(messages().log.size(), 2u);
    const HwVariableManager& variables = root->getArchives().front()->getVariableManager();
    ASSERT_EQ(variables.count(), 1);
    EXPECT_EQ(variables.at(0).getValue(), 0x41);
    EXPECT_FALSE(variables.at(0).isExported());
}

} // namespace

namespace {

// Positions of UTF-8 files are worked out from the element's offset when a message needs one; those of
// other encodings come from the parser as it reads. Over random layouts (every kind of line end, tabs,
// characters of one to four bytes, comments and processing instructions spanning lines) a misplaced tag
// must be reported at the same line and column either way, and so must a fault the parser finds; a
// byte-order mark is no character.
TEST_F(DocumentTest, PositionsAgreeAcrossEncodings)
{
    const QStringList pieces {QStringLiteral("\n"), QStringLiteral("\r\n"), QStringLiteral("\r"),
        QStringLiteral("  "), QStringLiteral("\t"), QStringLiteral("<comment>\u00e9\u4e2d\U0001F600 x</comment>"),
        QStringLiteral("<var name=\"v\u00e9\" value=\"1\"\r\n  export=\"no\"/>"), QStringLiteral("<!-- a\n\u4e2d -->"),
        QStringLiteral("<?pi x\r?>"), QStringLiteral("<cjoker><![CDATA[\n<x>\n]]></cjoker>")};
    std::mt19937 random(7);
    for (int round = 0; round < 200; ++round) {
        SCOPED_TRACE(round);
        QString text = QStringLiteral("<archive>");
        const int count = static_cast<int>(random() % 12);
        for (int i = 0; i < count; ++i)
            text += pieces.at(static_cast<int>(random() % static_cast<unsigned>(pieces.size())));
        const bool fault = round % 2 == 1;
        text += fault ? QStringLiteral("<bogus a='<'/></archive>") : QStringLiteral("<bogus/></archive>");
        QByteArray utf16("\xFF\xFE", 2);
        QByteArray utf16be("\xFE\xFF", 2);
        for (const QChar c : text) {
            utf16.append(static_cast<char>(c.unicode() & 0xFF));
            utf16.append(static_cast<char>(c.unicode() >> 8));
            utf16be.append(static_cast<char>(c.unicode() >> 8));
            utf16be.append(static_cast<char>(c.unicode() & 0xFF));
        }
        std::vector<std::string> errors;
        for (const QByteArray& bytes : {text.toUtf8(), "\xEF\xBB\xBF" + text.toUtf8(), utf16, utf16be}) {
            messages() = loadertest::Messages();
            write(QStringLiteral("p.xml"), bytes);
            EXPECT_EQ(load(QStringLiteral("p.xml")), nullptr);
            ASSERT_EQ(messages().error.size(), 1u);
            errors.push_back(messages().error.front());
        }
        for (std::size_t i = 1; i < errors.size(); ++i)
            EXPECT_EQ(errors[0], errors[i]) << i << ": " << text.toStdString();
        EXPECT_NE(errors[0].find(fault ? ":not well-formed (invalid token)" : ":Unvalid tag : 'bogus'"),
            std::string::npos)
            << errors[0];
    }
}

} // namespace
