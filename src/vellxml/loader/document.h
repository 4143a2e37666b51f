#ifndef VELLXML_LOADER_DOCUMENT_H
#define VELLXML_LOADER_DOCUMENT_H

#include <vellxml/diagnostic.h>
#include <vellxml/vellxml_export.h>

#include <QString>

#include <cstddef>
#include <cstdint>

class QDomDocument;

/// The callback that does nothing; null callbacks are replaced by it.
VELLXML_EXPORT void LoadUtilsDummySilentPrint(const char* text);

/// Bounds that keep a hostile or broken description from exhausting the process. The loader checks each
/// one and reports its own message when it is passed. Entity expansion has a fixed bound of its own: the
/// expanded text may not exceed 100 times the document once it passes 8 MiB.
struct HwLoadLimits {
    /// Deepest element nesting of one file (the document element is at depth 1).
    int maxElementDepth = 256;
    /// Largest file, in bytes, after decryption.
    std::int64_t maxFileSize = std::int64_t {256} * 1024 * 1024;
    /// Deepest chain of includes below the root file.
    int maxIncludeDepth = 64;
    /// Most model elements one load may build; array items count one by one.
    std::int64_t maxElements = 8 * 1024 * 1024;
};

/// Encrypted archive layout: "EXML", version (16 bits), plain length (32 bits), IV (16 bytes), cipher text.
inline constexpr std::size_t XMD_HEADER_SIZE = 26;

/// AES-256-CBC over ceil(length / 16) blocks of 16 bytes: out = AES(in XOR chain), chain = out, the chain
/// starting at iv (zeros when iv is null). Both buffers must hold the rounded-up length. A null key uses
/// the key of encrypted archives, fixed when the library is built (CMake option VELLXML_AES_KEY) and never
/// visible outside it. A length below 1 does nothing. Returns 1, or 0 when the cipher library fails.
VELLXML_EXPORT int AES_Encrypt(const unsigned char* in, unsigned char* out, int length,
    const unsigned char* iv, const unsigned char* key);
/// The inverse of AES_Encrypt: out = AES^-1(in) XOR chain, chain = in.
VELLXML_EXPORT int AES_Decrypt(const unsigned char* in, unsigned char* out, int length,
    const unsigned char* iv, const unsigned char* key);
/// MD5 digest of a buffer into 16 bytes. Returns false when the digest library fails.
VELLXML_EXPORT bool MD5Hash(const unsigned char* data, std::size_t length, unsigned char digest[16]);
/// Fills 16 bytes with an initialisation vector from the system's cryptographic random source.
VELLXML_EXPORT bool makeIV(unsigned char iv[16]);

/// Writes the encrypted form (.xmd) of a plain archive. An input or output that cannot be opened gives
/// "Unable to open file <path>" through `info` and false; a failure of the cipher library gives
/// "Unable to encrypt file <path>" through `error`.
VELLXML_EXPORT bool encryptXMLDocument(const QString& inputPath, const QString& outputPath,
    HwMessageCallback info, HwMessageCallback error, HwMessageCallback warning);

/// Writes the plain archive held by an encrypted one (.xmd), byte for byte as it was encrypted. An input or
/// output that cannot be opened gives "Unable to open file <path>" through `info`; an input that is not an
/// encrypted archive of this key gives "<path>:0:0:<reason>" through `error`. The output is written whole
/// or not at all. Returns true on success.
VELLXML_EXPORT bool decryptXMLDocument(const QString& inputPath, const QString& outputPath,
    HwMessageCallback info, HwMessageCallback error, HwMessageCallback warning);

/// Reads a plain or encrypted archive into `document`. Reports "Loading <path>..." through `info`; an
/// unopenable file gives "Unable to open file <path>" through `error` when required, else through
/// `warning`, and 1; a document that is not well-formed XML (or breaks a limit) gives
/// "<path>:<line>:<col>:<text>" through `error` and 3. Returns 0 on success. The document holds the
/// archive's elements, attributes, text and CDATA sections, entities expanded; no comments, processing
/// instructions or document type, and no text of white space alone.
VELLXML_EXPORT int loadXMLDocument(const QString& path, QDomDocument& document, HwMessageCallback info,
    HwMessageCallback error, HwMessageCallback warning, bool required,
    const HwLoadLimits& limits = HwLoadLimits());

#endif
