#include "format_p.h"

#include <vellxml/huge_blocks_p.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/element.h>
#include <vellxml/model/valuable.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <new>

using vellxml::model_p::hex8;

// The element pool. Sanitizer builds leave elements to the general heap, whose checks would not see
// inside the pool's blocks.
#if defined(__SANITIZE_ADDRESS__)
#define VELLXML_ELEMENT_POOL 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer)
#define VELLXML_ELEMENT_POOL 0
#endif
#endif
#ifndef VELLXML_ELEMENT_POOL
#define VELLXML_ELEMENT_POOL 1
#endif

#if VELLXML_ELEMENT_POOL
namespace {

// Elements are carved from chunks of 2 MiB, aligned to their size. Each thread fills a chunk of its own,
// front to back, without a lock; a chunk's header counts the elements carved from it that still live, plus
// one while a thread still fills it. Deleting an element decrements its chunk's count (the chunk is found by
// rounding the element's address down), and the chunk goes back to the system at zero. Space inside a chunk
// is not reused: elements are made by loads and die with their chip, so a chip's elements share chunks
// with each other only, and unloading a chip returns its memory whatever else lives on. A load makes
// millions of elements and a teardown frees them all: each is a few instructions and no lock. The
// elements' side structures (ElementExtras, FieldExtras, ValuableExtras) and bit groups come from the pool
// too: they are made and deleted with their elements. Once a few chunks live, further chunks are backed by
// huge pages where the system offers them, so the first touch of a large chip's memory costs a page fault
// per 2 MiB instead of per 4 KiB.
constexpr std::size_t kChunk = vellxml::memory_p::kHugeBlock;
constexpr std::size_t kLargest = 512;
constexpr std::size_t kGranule = 8;

struct ChunkHeader {
    std::atomic<std::size_t> live;
};
// The first block starts a cache line after the count, which other threads' deletes write.
constexpr std::size_t kFirstBlock = 64;

bool pooled(std::size_t size)
{
    return size != 0 && size <= kLargest;
}

// While fewer chunks than this live, a new one stays in small pages: a program that holds a small chip
// keeps only the pages it uses (a chunk in huge pages takes all its 2 MiB at its first touch).
constexpr int kSmallPageChunks = 4;
std::atomic<int> g_liveChunks {0};

char* mapChunk(bool& hugePages)
{
    hugePages = g_liveChunks.load(std::memory_order_relaxed) >= kSmallPageChunks;
    char* const chunk = vellxml::memory_p::mapHugeBlock(kChunk, hugePages);
    if (chunk == nullptr)
        throw std::bad_alloc();
    g_liveChunks.fetch_add(1, std::memory_order_relaxed);
    return chunk;
}

void unmapChunk(ChunkHeader* chunk) noexcept
{
    chunk->~ChunkHeader();
    vellxml::memory_p::unmapHugeBlock(reinterpret_cast<char*>(chunk), kChunk);
    g_liveChunks.fetch_sub(1, std::memory_order_relaxed);
}

void dropOne(ChunkHeader* chunk) noexcept
{
    // Acquire-release: every write to the chunk's elements, on any thread, comes before its unmapping.
    if (chunk->live.fetch_sub(1, std::memory_order_acq_rel) == 1)
        unmapChunk(chunk);
}

/// The chunk a thread fills and how far. Trivially destructible, so that it is usable at any time in the
/// thread's life; ChunkRetirer gives the chunk up when the thread ends.
struct ChunkCursor {
    ChunkHeader* chunk;
    std::size_t used;
    std::size_t populated; ///< bytes of a chunk in small pages given their memory ahead of use
};
thread_local ChunkCursor t_cursor {nullptr, 0, 0};

// A chunk in small pages gets its memory this much at a time, ahead of the elements carved from it.
constexpr std::size_t kPopulateStep = std::size_t {128} << 10;

struct ChunkRetirer {
    ~ChunkRetirer()
    {
        if (t_cursor.chunk)
            dropOne(t_cursor.chunk);
        t_cursor = {nullptr, 0, 0};
    }
};
thread_local ChunkRetirer t_retirer;

void* allocateElement(std::size_t size)
{
    const std::size_t rounded = (size + kGranule - 1) & ~(kGranule - 1);
    // Sizes that are multiples of 16 may belong to types aligned to 16: start them on such a boundary.
    const std::size_t alignment = rounded % 16 == 0 ? 16 : kGranule;
    ChunkCursor& cursor = t_cursor;
    std::size_t start = (cursor.used + alignment - 1) & ~(alignment - 1);
    if (!cursor.chunk || start + rounded > kChunk) {
        bool hugePages = false;
        char* fresh = mapChunk(hugePages); // throws before anything changed
        static_cast<void>(&t_retirer); // registers the thread's retirer on its first chunk
        if (cursor.chunk)
            dropOne(cursor.chunk);
        cursor.chunk = new (fresh) ChunkHeader {{1}};
        cursor.populated = hugePages ? kChunk : 0;
        start = kFirstBlock;
    }
    cursor.used = start + rounded;
    while (cursor.used > cursor.populated) {
        vellxml::memory_p::populate(reinterpret_cast<char*>(cursor.chunk) + cursor.populated, kPopulateStep);
        cursor.populated += kPopulateStep;
    }
    cursor.chunk->live.fetch_add(1, std::memory_order_relaxed);
    return reinterpret_cast<char*>(cursor.chunk) + start;
}

void releaseElement(void* block) noexcept
{
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(block);
    dropOne(reinterpret_cast<ChunkHeader*>(address & ~(std::uintptr_t {kChunk} - 1)));
}

} // namespace
#endif

void* HwXMLElement::operator new(std::size_t size)
{
#if VELLXML_ELEMENT_POOL
    if (pooled(size))
        return allocateElement(size);
#endif
    return ::operator new(size);
}

void HwXMLElement::operator delete(void* block, std::size_t size) noexcept
{
    if (!block)
        return;
#if VELLXML_ELEMENT_POOL
    if (pooled(size)) {
        releaseElement(block);
        return;
    }
#else
    static_cast<void>(size);
#endif
    // Unsized: clang leaves sized deallocation off unless asked.
    ::operator delete(block);
}

QString ESDRTypeConvert(const QString& type)
{
    static const QStringList m_basicTypes = {QStringLiteral("uint"), QStringLiteral("uint32"),
        QStringLiteral("uint16"), QStringLiteral("uint8"), QStringLiteral("int"), QStringLiteral("int32"),
        QStringLiteral("int16"), QStringLiteral("int8"), QStringLiteral("memory"), QStringLiteral("void"),
        QStringLiteral("bool"), QStringLiteral("reg32"), QStringLiteral("reg16"), QStringLiteral("reg8")};
    if (m_basicTypes.contains(type.toLower()) || type.endsWith(QLatin1String("_T")))
        return type.toUpper();
    return type.toUpper() + QLatin1String("_T");
}

HwXMLElement::HwXMLElement(const QString& name, XMLElementType type)
    : m_name(name)
    , m_type(static_cast<std::uint8_t>(type))
{
}

HwXMLElement::HwXMLElement(const HwXMLElement& other)
    : m_parent(other.m_parent)
    , m_name(other.m_name)
    , m_comment(other.m_comment)
    , m_extras(other.m_extras)
    , m_address(other.m_address)
    , m_arrayNumber(other.m_arrayNumber)
    , m_type(other.m_type)
    , m_flags(other.m_flags)
{
}

HwXMLElement::~HwXMLElement() = default;

// The common element stays small: a bitfield or register is built on it millions of times over.
static_assert(sizeof(HwXMLElement) <= 4 * sizeof(std::uint64_t) + 2 * sizeof(QString) + sizeof(void*),
    "HwXMLElement grew: keep rarely used fields in ElementExtras");

HwXMLElement::ElementExtras& HwXMLElement::extras()
{
    if (!m_extras.constData())
        m_extras = QSharedDataPointer<ElementExtras>(new ElementExtras);
    return *m_extras.data(); // a copy's own from here on
}

void HwXMLElement::storeRareText(QString ElementExtras::*field, const QString& text)
{
    // Clearing a text that was never set allocates nothing, and giving a copy the text it shares with its
    // source keeps the sharing.
    const ElementExtras* shared = m_extras.constData();
    if (shared ? shared->*field != text : !text.isEmpty())
        extras().*field = text;
}

void HwXMLElement::setTypeName(const QString& typeName)
{
    storeRareText(&ElementExtras::typeName, typeName);
}

QStringList HwXMLElement::getCKeywords() const
{
    return m_extras.constData() ? m_extras.constData()->cKeywords : QStringList();
}

void HwXMLElement::addCKeywords(const QStringList& words)
{
    if (!words.isEmpty())
        extras().cKeywords += words;
}

QMap<QString, std::uint32_t> HwXMLElement::getAltAddresses() const
{
    return m_extras.constData() ? m_extras.constData()->altAddresses : QMap<QString, std::uint32_t>();
}

void HwXMLElement::setAltAddress(const QString& selector, std::uint32_t address)
{
    extras().altAddresses[selector] = address;
}

QString HwXMLElement::getCategory() const
{
    return m_extras.constData() ? m_extras.constData()->category : QString();
}

void HwXMLElement::setCategory(const QString& category)
{
    storeRareText(&ElementExtras::category, category);
}

QString HwXMLElement::getAnnotation() const
{
    return m_extras.constData() ? m_extras.constData()->annotation : QString();
}

void HwXMLElement::setAnnotation(const QString& annotation)
{
    storeRareText(&ElementExtras::annotation, annotation);
}

void HwXMLElement::reparent(HwXMLElement* parent)
{
    m_parent = parent;
}

void HwXMLElement::remap(unsigned int address)
{
    m_address = address;
}

unsigned int HwXMLElement::getBitSize() const
{
    return sizeOf() * 8;
}

QString HwXMLElement::getName() const
{
    return m_name;
}

QString HwXMLElement::getComment() const
{
    return m_comment;
}

int HwXMLElement::getArrayNumber() const
{
    return m_arrayNumber;
}

unsigned int HwXMLElement::getBaseAddress() const
{
    if (!m_parent)
        return m_address;
    // The element behind a pointer lives where the pointer points: its own offset does not count.
    if (m_parent->isPointer())
        return static_cast<const HwValuable*>(m_parent)->getValue();
    return m_parent->getBaseAddress() + m_address;
}

bool HwXMLElement::isValuable() const
{
    return false;
}

bool HwXMLElement::isStruct() const
{
    return false;
}

bool HwXMLElement::isArray() const
{
    return false;
}

bool HwXMLElement::isPointer() const
{
    return false;
}

bool HwXMLElement::isExternal() const
{
    return false;
}

bool HwXMLElement::isBitfield() const
{
    return false;
}

QString HwXMLElement::getRubyClassName() const
{
    if (const QString typeName = getTypeName(); !typeName.isEmpty())
        return QLatin1String("CH__") + typeName;
    // An inline type is named after the place where it is declared.
    if (m_parent && m_parent->getType() == TYPE_ARRAY)
        return m_parent->getRubyPrefix() + QLatin1String("__content");
    if (m_parent && m_parent->getType() == TYPE_POINTER)
        return static_cast<const HwPointer*>(m_parent)->getRubyBasicType();
    const QString parentPrefix = m_parent ? m_parent->getRubyPrefix() : QString();
    return parentPrefix + QLatin1String("__") + getName();
}

QString HwXMLElement::getRubyPrefix() const
{
    return getRubyClassName();
}

QString HwXMLElement::getPath() const
{
    if (!m_parent || m_parent->getType() == TYPE_ROOTARCHIVE || m_parent->getType() == TYPE_ARCHIVE)
        return QLatin1Char('$') + getName();
    // Array items and pointed elements are reached by index and by ">", never by their own names.
    if (m_arrayNumber != -1)
        return m_parent->getPath() + QLatin1Char('[') + QString::number(m_arrayNumber) + QLatin1Char(']');
    if (m_parent->getType() == TYPE_POINTER)
        return m_parent->getPath() + QLatin1String(".>");
    return m_parent->getPath() + QLatin1Char('.') + getName();
}

QString HwXMLElement::getCTypeString() const
{
    if (const QString typeName = getTypeName(); !typeName.isEmpty())
        return typeName;
    return ESDRTypeConvert(getTypeString().toUpper());
}

XMLElementType HwXMLElement::getType() const
{
    return static_cast<XMLElementType>(m_type);
}

void HwXMLElement::setName(const QString& name)
{
    m_name = name;
    if (m_parent)
        m_parent->childRenamed();
}

void HwXMLElement::childRenamed()
{
}

QString HwXMLElement::getAddressString() const
{
    return QLatin1String("0x") + hex8(getBaseAddress());
}

QString HwXMLElement::getHrefName() const
{
    return hex8(getBaseAddress());
}

QString HwXMLElement::vhdl_serialize(int, HwVHDLNames&)
{
    return QString();
}

QString HwXMLElement::c_content()
{
    return QString();
}

QString HwXMLElement::c_typedefSerialize()
{
    return QString();
}

QString HwXMLElement::c_bitfieldSerialize(const QString&)
{
    return QString();
}

QString HwXMLElement::c_serialize(int)
{
    return QString();
}

QString HwXMLElement::asm_content()
{
    return QString();
}

QString HwXMLElement::asmarm_content()
{
    return QString();
}

QString HwXMLElement::vhdl_content()
{
    return QString();
}

QString HwXMLElement::html_serialize(int)
{
    return QString();
}

QString HwXMLElement::treenode_serialize(int, const QString&)
{
    return QString();
}

QString HwXMLElement::asm_serialize(const QString&, const QString&)
{
    return QString();
}

QString HwXMLElement::macro_serialize(const QString&, QHash<QString, QString>&)
{
    return QString();
}

// getCompletionListFromTokens and getElementFromPathTokens live with path lookup (access/).

void HwXMLElement::setReadError(bool error)
{
    if (error)
        m_flags |= FlagReadError;
    else
        m_flags &= static_cast<std::uint8_t>(~FlagReadError);
}

void HwXMLElement::setCopyMark(bool mark)
{
    if (mark)
        m_flags |= FlagCopyMark;
    else
        m_flags &= static_cast<std::uint8_t>(~FlagCopyMark);
}

void HwXMLElement::dumpInfo(int) const
{
    std::fputs("NO INFO\n", stdout);
}

HwXMLElement* HwXMLElement::getTopParent() const
{
    HwXMLElement* top = m_parent;
    while (top && top->m_parent)
        top = top->m_parent;
    return top;
}

HwRootArchive* HwXMLElement::getRootArchive() const
{
    HwXMLElement* top = getTopParent();
    return top ? top->asRootArchive() : nullptr;
}

HwXMLArchive* HwXMLElement::getTopArchive() const
{
    for (HwXMLElement* ancestor = m_parent; ancestor; ancestor = ancestor->m_parent) {
        if (HwXMLArchive* archive = ancestor->asXMLArchive())
            return archive;
    }
    return nullptr;
}

HwXMLArchive* HwXMLElement::asXMLArchive()
{
    return nullptr;
}

HwRootArchive* HwXMLElement::asRootArchive()
{
    return nullptr;
}

bool HwXMLElement::isRootElement() const
{
    return !m_parent || m_parent->getType() == TYPE_ROOTARCHIVE || m_parent->getType() == TYPE_ARCHIVE;
}

bool HwXMLElement::isInstance() const
{
    return m_parent && m_parent->getType() == TYPE_ROOTARCHIVE;
}

unsigned int HwXMLElement::offsetOf(const HwXMLElement* other) const
{
    return other->getBaseAddress() - getBaseAddress();
}

void HwXMLElement::dumpIndent(int level)
{
    if (level < 1)
        return;
    for (int i = 0; i < level; ++i)
        std::fputc(' ', stdout);
    std::fputs("|_", stdout);
}

namespace {

template<typename T>
std::unique_ptr<HwXMLElement> copyAs(const HwXMLElement* source)
{
    return std::make_unique<T>(*static_cast<const T*>(source));
}

} // namespace

std::unique_ptr<HwXMLElement> HwXMLElement::anonymousCopy(const HwXMLElement* source)
{
    if (!source)
        return nullptr;
    // The kind number, which only the constructors of the matching classes set, selects the class.
    switch (source->getType()) {
    case TYPE_HOLE:
        return copyAs<HwHole>(source);
    case TYPE_REG32:
        return copyAs<HwRegister32>(source);
    case TYPE_REG16:
        return copyAs<HwRegister16>(source);
    case TYPE_REG8:
        return copyAs<HwRegister8>(source);
    case TYPE_IREG8:
        return copyAs<HwInternalRegister8>(source);
    case TYPE_INT32:
        return copyAs<HwInt32>(source);
    case TYPE_INT16:
        return copyAs<HwInt16>(source);
    case TYPE_INT8:
        return copyAs<HwInt8>(source);
    case TYPE_UINT32:
        return copyAs<HwUnsignedInt32>(source);
    case TYPE_UINT16:
        return copyAs<HwUnsignedInt16>(source);
    case TYPE_UINT8:
        return copyAs<HwUnsignedInt8>(source);
    case TYPE_BOOL:
        return copyAs<HwBoolean>(source);
    case TYPE_VOID:
        return copyAs<HwVoid>(source);
    case TYPE_BITFIELD:
        return copyAs<HwBitField>(source);
    case TYPE_POINTER:
        return copyAs<HwPointer>(source);
    case TYPE_STRUCT:
        return copyAs<HwStruct>(source);
    case TYPE_ARRAY:
        return copyAs<HwArray>(source);
    case TYPE_MEMORY:
        return copyAs<HwMemory>(source);
    case TYPE_EXTERNAL:
        return copyAs<HwExternal>(source);
    case TYPE_VALUABLE:
    case TYPE_ARCHIVE:
    case TYPE_ROOTARCHIVE:
        break;
    }
    return nullptr;
}
