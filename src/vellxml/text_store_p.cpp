#include "text_store_p.h"

#include <vellxml/huge_blocks_p.h>

#include <QArrayData>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <new>

// A kept text is laid out as Qt lays out the texts it allocates itself - the array header, then the UTF-16
// units and a terminating zero - so that a QString adopts it as its own data. Only the reference count is
// ever changed by Qt on a text it shares with others.

namespace vellxml::text_p {

namespace {

#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
using Header = QTypedArrayData<char16_t>;
// Where Qt expects the characters after a header (QTypedArrayData::dataStart).
constexpr std::size_t kHeaderBytes =
    (sizeof(QArrayData) + alignof(Header::AlignmentDummy) - 1) & ~(alignof(Header::AlignmentDummy) - 1);
constexpr std::size_t kMaxLength = std::size_t {1} << 40;

int referencesOf(const Header* header)
{
    return header->ref_.loadAcquire();
}

std::size_t lengthOf(const Header* header)
{
    return static_cast<std::size_t>(header->alloc);
}

QString adopt(Header* header, char16_t* data, std::size_t length)
{
    header->flags = {};
    header->alloc = static_cast<qsizetype>(length);
    header->ref_.storeRelaxed(2); // the store's reference and the returned QString's
    return QString(QStringPrivate(header, data, static_cast<qsizetype>(length)));
}
#else
using Header = QStringData;
// Qt takes a text whose characters do not follow its header at this offset for raw data.
constexpr std::size_t kHeaderBytes = sizeof(QArrayData);
constexpr std::size_t kMaxLength = 0x3FFFFFFE; // alloc is 31 bits and counts the terminating zero

int referencesOf(const Header* header)
{
    return header->ref.atomic.loadAcquire();
}

std::size_t lengthOf(const Header* header)
{
    return static_cast<std::size_t>(header->size);
}

QString adopt(Header* header, char16_t*, std::size_t length)
{
    header->size = static_cast<int>(length);
    header->alloc = static_cast<uint>(length + 1);
    header->capacityReserved = 0;
    header->offset = static_cast<qptrdiff>(kHeaderBytes);
    header->ref.atomic.storeRelaxed(2); // the store's reference and the returned QString's
    return QString(QStringDataPtr {header});
}
#endif

constexpr std::size_t kAlign = alignof(Header);
static_assert(kHeaderBytes % alignof(char16_t) == 0, "characters follow the header");

constexpr std::size_t entryBytes(std::size_t length)
{
    return (kHeaderBytes + (length + 1) * sizeof(char16_t) + kAlign - 1) & ~(kAlign - 1);
}

} // namespace

struct TextBlock {
    std::size_t size; ///< bytes, this header included
    std::size_t used; ///< bytes of texts, from firstEntry()
    bool mapped; ///< from mapHugeBlock(), else from operator new

    static constexpr std::size_t firstEntry() { return (sizeof(TextBlock) + kAlign - 1) & ~(kAlign - 1); }
    char* base() { return reinterpret_cast<char*>(this); }

    /// True when the store's reference is the only one left on every text of the block.
    bool unused()
    {
        for (std::size_t at = firstEntry(); at < firstEntry() + used;) {
            const auto* header = reinterpret_cast<const Header*>(base() + at);
            if (referencesOf(header) != 1)
                return false;
            at += entryBytes(lengthOf(header));
        }
        return true;
    }

    static void release(TextBlock* block) noexcept
    {
        if (block->mapped)
            vellxml::memory_p::unmapHugeBlock(block->base(), block->size);
        else
            ::operator delete(static_cast<void*>(block));
    }
};

namespace {

constexpr std::size_t kBlockBytes = std::size_t {64} << 10;
// A store that has filled this many bytes of blocks belongs to a large chip: its further texts go to
// blocks of a huge page each, whose first touch costs one page fault instead of 512. Smaller chips keep
// small blocks, whose pages are all used.
constexpr std::size_t kSmallBlocksBytes = std::size_t {8} << 20;

std::mutex g_setAsideLock;
// Never destroyed: blocks set aside at exit stay reachable rather than freed under their holders.
std::vector<TextBlock*>& setAside()
{
    static auto* blocks = new std::vector<TextBlock*>;
    return *blocks;
}

} // namespace

TextStore::~TextStore()
{
    std::vector<TextBlock*> kept;
    bool remembered = true;
    try {
        kept.reserve(m_blocks.size());
    } catch (...) {
        remembered = false;
    }
    for (TextBlock* block : m_blocks) {
        if (block->unused())
            TextBlock::release(block);
        else if (remembered)
            kept.push_back(block);
        // Without room to remember a block in use, it stays allocated: its texts must stay valid.
    }
    if (!kept.empty()) {
        const std::lock_guard<std::mutex> lock(g_setAsideLock);
        try {
            setAside().insert(setAside().end(), kept.begin(), kept.end());
        } catch (...) {
            // Likewise.
        }
    }
    releaseSetAside();
}

std::size_t TextStore::releaseSetAside()
{
    const std::lock_guard<std::mutex> lock(g_setAsideLock);
    std::vector<TextBlock*>& blocks = setAside();
    std::size_t bytes = 0;
    const auto end = std::remove_if(blocks.begin(), blocks.end(), [&bytes](TextBlock* block) {
        if (block->unused()) {
            TextBlock::release(block);
            return true;
        }
        bytes += block->size;
        return false;
    });
    blocks.erase(end, blocks.end());
    return bytes;
}

char16_t* TextStore::allocate(std::size_t length, QString& out)
{
    if (length > kMaxLength)
        throw std::bad_alloc();
    const std::size_t need = entryBytes(length);
    TextBlock* block = m_open;
    if (!block || need > block->size - TextBlock::firstEntry() - block->used) {
        // A text of more than a quarter of a block gets a block of its own; the open one stays open.
        const bool own = need > kBlockBytes / 4;
        if (m_blocks.size() == m_blocks.capacity())
            m_blocks.reserve(m_blocks.size() * 2 + 8);
        if (!own && m_blockBytes >= kSmallBlocksBytes) {
            char* const mapped = vellxml::memory_p::mapHugeBlock(vellxml::memory_p::kHugeBlock, true);
            if (!mapped)
                throw std::bad_alloc();
            block = new (mapped) TextBlock {vellxml::memory_p::kHugeBlock, 0, true};
        } else {
            const std::size_t size = own ? TextBlock::firstEntry() + need : kBlockBytes;
            block = new (::operator new(size)) TextBlock {size, 0, false};
        }
        m_blocks.push_back(block);
        m_blockBytes += block->size;
        if (!own)
            m_open = block;
    }
    char* at = block->base() + TextBlock::firstEntry() + block->used;
    block->used += need;
    auto* data = reinterpret_cast<char16_t*>(at + kHeaderBytes);
    data[length] = 0;
    out = adopt(new (at) Header, data, length);
    return data;
}

QString TextStore::keep(QStringView text)
{
    if (text.isEmpty())
        return text.toString(); // null or empty, as the text
    QString out;
    char16_t* data = allocate(static_cast<std::size_t>(text.size()), out);
    std::memcpy(data, text.utf16(), static_cast<std::size_t>(text.size()) * sizeof(char16_t));
    return out;
}

QString TextStore::keepUtf8(const char* text, std::size_t length)
{
    if (length == 0)
        return QString::fromUtf8(text, 0); // null or empty, as the text
    // ASCII is checked eight bytes at a time.
    bool ascii = true;
    std::size_t i = 0;
    for (; ascii && i + 8 <= length; i += 8) {
        std::uint64_t word;
        std::memcpy(&word, text + i, sizeof word);
        ascii = (word & 0x8080808080808080u) == 0;
    }
    for (; ascii && i < length; ++i)
        ascii = static_cast<unsigned char>(text[i]) < 0x80;
    if (!ascii)
        return keep(QString::fromUtf8(text, static_cast<qsizetype>(length)));
    QString out;
    char16_t* data = allocate(length, out);
    for (std::size_t k = 0; k < length; ++k)
        data[k] = static_cast<unsigned char>(text[k]);
    return out;
}

} // namespace vellxml::text_p
