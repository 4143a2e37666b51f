#include "xml_element_p.h"

#include <vellxml/loader/document.h>

#include <QDomDocument>
#include <QDomElement>
#include <QFile>
#include <QSaveFile>

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <climits>
#include <memory>
#include <vector>

#ifndef VELLXML_AES_KEY_BYTES
#error "VELLXML_AES_KEY_BYTES must come from the build (CMake option VELLXML_AES_KEY)"
#endif

namespace HwXML {
// Internal linkage: the key of encrypted archives never appears in the library's symbol table.
const unsigned char AESVellKey[32] = {VELLXML_AES_KEY_BYTES};
} // namespace HwXML

void LoadUtilsDummySilentPrint(const char*)
{
}

namespace {

struct CipherContextDeleter {
    void operator()(EVP_CIPHER_CTX* context) const { EVP_CIPHER_CTX_free(context); }
};

void sendMessage(HwMessageCallback callback, const QString& text)
{
    if (callback)
        callback(text.toUtf8().constData());
}

// AES-256 in CBC mode without padding over whole blocks: OpenSSL's chaining is exactly the one of the file
// format (each block XORed with the previous cipher block, the first with the IV).
int runCipher(bool encrypt, const unsigned char* in, unsigned char* out, int length, const unsigned char* iv,
    const unsigned char* key)
{
    if (length < 1)
        return 1;
    const int blocks = (length + 15) / 16;
    if (blocks > INT_MAX / 16)
        return 0;
    const unsigned char zeroIv[16] = {};
    std::unique_ptr<EVP_CIPHER_CTX, CipherContextDeleter> context(EVP_CIPHER_CTX_new());
    if (!context)
        return 0;
    if (EVP_CipherInit_ex(context.get(), EVP_aes_256_cbc(), nullptr, key ? key : HwXML::AESVellKey,
            iv ? iv : zeroIv, encrypt ? 1 : 0)
        != 1)
        return 0;
    if (EVP_CIPHER_CTX_set_padding(context.get(), 0) != 1)
        return 0;
    int written = 0;
    if (EVP_CipherUpdate(context.get(), out, &written, in, blocks * 16) != 1)
        return 0;
    int tail = 0;
    if (EVP_CipherFinal_ex(context.get(), out + written, &tail) != 1)
        return 0;
    return written + tail == blocks * 16 ? 1 : 0;
}

// One pass over the pattern: a path or text holding "%1" is not substituted again.
QString positioned(const QString& path, int line, int column, const QString& text)
{
    return QStringLiteral("%1:%2:%3:%4").arg(path, QString::number(line), QString::number(column), text);
}

void putLittleEndian(QByteArray& out, std::uint32_t value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        out.append(static_cast<char>((value >> (8 * i)) & 0xFF));
}

} // namespace

int AES_Encrypt(const unsigned char* in, unsigned char* out, int length, const unsigned char* iv,
    const unsigned char* key)
{
    return runCipher(true, in, out, length, iv, key);
}

int AES_Decrypt(const unsigned char* in, unsigned char* out, int length, const unsigned char* iv,
    const unsigned char* key)
{
    return runCipher(false, in, out, length, iv, key);
}

bool MD5Hash(const unsigned char* data, std::size_t length, unsigned char digest[16])
{
    unsigned int size = 0;
    return EVP_Digest(data, length, digest, &size, EVP_md5(), nullptr) == 1 && size == 16;
}

// The IV comes from the cryptographic generator: seeding rand() with the clock repeats IVs within a second.
bool makeIV(unsigned char iv[16])
{
    return RAND_bytes(iv, 16) == 1;
}

bool encryptXMLDocument(const QString& inputPath, const QString& outputPath, HwMessageCallback info,
    HwMessageCallback error, HwMessageCallback warning)
{
    (void)warning;
    QFile input(inputPath);
    if (!input.open(QIODevice::ReadOnly)) {
        sendMessage(info, QStringLiteral("Unable to open file %1").arg(inputPath));
        return false;
    }
    QSaveFile output(outputPath);
    if (!output.open(QIODevice::WriteOnly)) {
        sendMessage(info, QStringLiteral("Unable to open file %1").arg(outputPath));
        return false;
    }
    QByteArray plain = input.readAll();
    // The cipher runs over whole blocks, counted in an int: the rounded length must fit one.
    const std::int64_t rounded64 = (static_cast<std::int64_t>(plain.size()) + 15) / 16 * 16;
    if (rounded64 > INT_MAX) {
        sendMessage(error, QStringLiteral("Unable to encrypt file %1").arg(inputPath));
        return false;
    }
    const int length = static_cast<int>(plain.size());
    const int rounded = static_cast<int>(rounded64);
    // The bytes that complete the last block carry no meaning; zeros keep the output reproducible per IV.
    plain.append(QByteArray(rounded - length, '\0'));
    std::vector<unsigned char> cipher(static_cast<std::size_t>(rounded));
    unsigned char iv[16];
    if (!makeIV(iv)
        || !AES_Encrypt(reinterpret_cast<const unsigned char*>(plain.constData()), cipher.data(), rounded, iv,
            HwXML::AESVellKey)) {
        sendMessage(error, QStringLiteral("Unable to encrypt file %1").arg(inputPath));
        return false;
    }
    QByteArray file("EXML");
    putLittleEndian(file, 1, 2);
    putLittleEndian(file, static_cast<std::uint32_t>(length), 4);
    file.append(reinterpret_cast<const char*>(iv), 16);
    file.append(reinterpret_cast<const char*>(cipher.data()), rounded);
    if (output.write(file) != file.size() || !output.commit()) {
        sendMessage(error, QStringLiteral("Unable to encrypt file %1").arg(inputPath));
        return false;
    }
    return true;
}

bool decryptXMLDocument(const QString& inputPath, const QString& outputPath, HwMessageCallback info,
    HwMessageCallback error, HwMessageCallback warning)
{
    using namespace vellxml::loader_p;
    (void)warning;
    QByteArray plain;
    QString reason;
    const int read = readEncryptedArchive(inputPath, HwLoadLimits(), plain, reason);
    if (read == READ_NOT_OPENED) {
        sendMessage(info, QStringLiteral("Unable to open file %1").arg(inputPath));
        return false;
    }
    if (read != READ_OK) {
        sendMessage(error, positioned(inputPath, 0, 0, reason));
        return false;
    }
    QSaveFile output(outputPath);
    if (!output.open(QIODevice::WriteOnly)) {
        sendMessage(info, QStringLiteral("Unable to open file %1").arg(outputPath));
        return false;
    }
    if (output.write(plain) != plain.size() || !output.commit()) {
        sendMessage(error, QStringLiteral("Unable to write file %1").arg(outputPath));
        return false;
    }
    return true;
}

namespace {

// The DOM form of a parsed element: the same tree, with the same expanded text, that the loader reads.
void appendToDom(const HwXmlDocument& parsed, std::int32_t index, QDomDocument& document, QDomNode& parent)
{
    const HwXmlNode& node = parsed.node(index);
    switch (node.kind) {
    case HwXmlNode::Element: {
        QDomElement element = document.createElement(QString::fromUtf8(node.name));
        for (std::int32_t a = 0; a < node.attributeCount; ++a) {
            const HwXmlAttribute& attribute = parsed.attribute(node.firstAttribute + a);
            element.setAttribute(QString::fromUtf8(attribute.name), QString::fromUtf8(attribute.value));
        }
        for (std::int32_t child = node.firstChild; child >= 0; child = parsed.node(child).nextSibling)
            appendToDom(parsed, child, document, element);
        parent.appendChild(element);
        return;
    }
    case HwXmlNode::Text:
        parent.appendChild(document.createTextNode(QString::fromUtf8(node.name)));
        return;
    case HwXmlNode::CData:
        parent.appendChild(document.createCDATASection(QString::fromUtf8(node.name)));
        return;
    }
}

} // namespace

int loadXMLDocument(const QString& path, QDomDocument& document, HwMessageCallback info,
    HwMessageCallback error, HwMessageCallback warning, bool required, const HwLoadLimits& limits)
{
    using namespace vellxml::loader_p;
    QByteArray bytes;
    QString reason;
    const int read = readArchiveFile(path, limits, bytes, reason);
    if (read == READ_NOT_OPENED) {
        sendMessage(required ? error : warning, QStringLiteral("Unable to open file %1").arg(path));
        return READ_NOT_OPENED;
    }
    sendMessage(info, QStringLiteral("Loading %1...").arg(path));
    if (read != READ_OK) {
        sendMessage(error, positioned(path, 0, 0, reason));
        return READ_INVALID;
    }
    HwXmlDocument parsed;
    int line = 0;
    int column = 0;
    if (!parsed.parse(bytes, limits, line, column, reason)) {
        sendMessage(error, positioned(path, line, column, reason));
        return READ_INVALID;
    }
    document.clear();
    appendToDom(parsed, parsed.documentElement().index(), document, document);
    return READ_OK;
}
