#ifndef VELLXML_MODEL_ELEMENT_H
#define VELLXML_MODEL_ELEMENT_H

#include <vellxml/vellxml_export.h>

#include <QHash>
#include <QMap>
#include <QSharedData>
#include <QSharedDataPointer>
#include <QString>
#include <QStringList>

#include <cstddef>
#include <cstdint>
#include <memory>

class HwRootArchive;
class HwVHDLNames;
class HwXMLArchive;

/// The kind of an element. The numbers are fixed: target access and deep copy dispatch on them, and the
/// completion lists map them to entry kinds.
enum XMLElementType : std::uint32_t {
    TYPE_HOLE = 0,
    TYPE_VALUABLE = 1,
    TYPE_REG32 = 2,
    TYPE_REG16 = 3,
    TYPE_REG8 = 4,
    TYPE_IREG8 = 5,
    TYPE_BITFIELD = 6,
    TYPE_POINTER = 7,
    TYPE_INT32 = 8,
    TYPE_INT16 = 9,
    TYPE_INT8 = 10,
    TYPE_UINT32 = 11,
    TYPE_UINT16 = 12,
    TYPE_UINT8 = 13,
    TYPE_BOOL = 14,
    TYPE_STRUCT = 15,
    TYPE_ARRAY = 16,
    TYPE_MEMORY = 17,
    TYPE_ARCHIVE = 18,
    TYPE_ROOTARCHIVE = 19,
    TYPE_VOID = 20,
    TYPE_EXTERNAL = 21
};

/// Results of HwXMLElement::read and HwXMLElement::write besides 0 (success) and the host library's own
/// error codes, which are passed through unchanged.
enum HwAccessResult : int {
    ACCESS_OK = 0,
    ACCESS_NO_SCALAR_WIDTH = 30, ///< the element is not read or written as one 8/16/32-bit value
    ACCESS_NULL_POINTER = 31 ///< a pointer on the path to the element holds 0
};

/// One offer of a completion list: an element that may follow the path typed so far, or an access
/// method of the element reached (kind 0).
struct CXMLCompletionEntry {
    using CompletionEntryType = int;

    QString name;
    QString arguments; ///< comma-separated argument names, empty when none
    QString result;
    QString help;
    CompletionEntryType kind = 0;
};

/// Completion entries by name: sorted, without duplicates.
using CXMLCompletionList = QMap<QString, CXMLCompletionEntry>;

class HwNameIndex;

/// Deletes the member index of a composite (path lookup, access/). The index type is private to the
/// lookup code; the composites only own it.
struct VELLXML_EXPORT HwNameIndexDeleter {
    void operator()(HwNameIndex* index) const;
};

/// The lazily built name index of a structure's members, an array's items or the root's instances.
using HwNameIndexPtr = std::unique_ptr<HwNameIndex, HwNameIndexDeleter>;

/// The C type name of a description type: the basic types ("uint32", "reg8", "bool" ...) and names
/// already ending in "_T" are upper-cased, any other name is upper-cased and given "_T".
VELLXML_EXPORT QString ESDRTypeConvert(const QString& type);

/// A node of a chip's memory map: archives, registers, bitfields, structures, arrays, pointers, holes,
/// memories, externals and integers all derive from it.
///
/// A parent owns its children; the parent pointer is a plain back reference. Elements are not copyable
/// by assignment: anonymousCopy() is the deep copy, built on the explicit copy constructors.
class VELLXML_EXPORT HwXMLElement {
public:
    HwXMLElement(const QString& name, XMLElementType type);
    HwXMLElement& operator=(const HwXMLElement&) = delete;
    virtual ~HwXMLElement();

    /// Elements come from the model's own pool: a chip is millions of small nodes made in one go and
    /// deleted together, which the pool serves from large blocks and frees without the general heap's
    /// bookkeeping. Memory goes back to the system once no pooled element is left.
    static void* operator new(std::size_t size);
    static void operator delete(void* block, std::size_t size) noexcept;
    /// A base for what is made and deleted with elements (their side structures, bit groups): it comes
    /// from the same pool.
    struct Pooled {
        static void* operator new(std::size_t size) { return HwXMLElement::operator new(size); }
        static void operator delete(void* block, std::size_t size) noexcept
        {
            HwXMLElement::operator delete(block, size);
        }
    };

    virtual void reparent(HwXMLElement* parent);
    /// Moves the element: the address is its offset in the parent, or absolute without parent.
    virtual void remap(unsigned int address);
    /// Size in bytes.
    virtual unsigned int sizeOf() const = 0;
    /// Alignment in bytes that a structure applies when it places the element; 0 places it unaligned.
    virtual unsigned int getAlignConstraint() const = 0;
    virtual unsigned int getBitSize() const;
    virtual QString getName() const;
    virtual QString getComment() const;
    virtual int getArrayNumber() const;
    /// Absolute address: the parent's base address plus the own offset; behind a pointer, the address the
    /// pointer holds.
    virtual unsigned int getBaseAddress() const;
    virtual bool isValuable() const;
    virtual bool isStruct() const;
    virtual bool isArray() const;
    virtual bool isPointer() const;
    virtual bool isExternal() const;
    virtual bool isBitfield() const;
    /// Name of the class that the scripting layer binds to this element.
    virtual QString getRubyClassName() const;
    /// Prefix of the Ruby class names of the children.
    virtual QString getRubyPrefix() const;
    /// "$" and the name under an archive, then "." and member names, "[n]" for array items, ".>" behind a
    /// pointer.
    virtual QString getPath() const;
    virtual QString getCTypeString() const;
    virtual XMLElementType getType() const;
    virtual QString getTypeString() const = 0;
    /// Renames the element; its parent is told (childRenamed), so that lookup by name always agrees with
    /// the names.
    virtual void setName(const QString& name);
    /// Called on the parent when one of its children was renamed. An element that indexes its children by
    /// name (a structure, an array, the root archive's instances) drops the index; it is rebuilt when next
    /// needed.
    virtual void childRenamed();
    /// Takes the element's value(s) from a memory image positioned at its first byte.
    virtual void memSet(const unsigned char* image) = 0;
    /// Writes, for each byte of the element, 0xFF when it may be read from the target and 0 when not.
    virtual void getReadMask(unsigned char* mask) const = 0;
    /// Writes the element's value(s) into a memory image positioned at its first byte.
    virtual void memGet(unsigned char* image) const = 0;
    /// "0x" and the base address as eight upper-case hexadecimal digits.
    virtual QString getAddressString() const;
    /// The base address as eight upper-case hexadecimal digits: anchor and file stem of the HTML pages.
    virtual QString getHrefName() const;

    // Text generators. The base versions give nothing; the C, assembly and VHDL generators and the HTML
    // documentation provide the element kinds' own texts.
    virtual QString vhdl_serialize(int level, HwVHDLNames& names);
    virtual QString c_content();
    virtual QString c_typedefSerialize();
    virtual QString c_bitfieldSerialize(const QString& prefix);
    virtual QString c_serialize(int level);
    virtual QString asm_content();
    virtual QString asmarm_content();
    virtual QString vhdl_content();
    virtual QString html_serialize(int level);
    /// The comment as HTML, markup-safe, line breaks kept; defined with the HTML documentation (htmldoc/).
    virtual QString html_comment_serialize(int level);
    virtual QString treenode_serialize(int level, const QString& parentNode);
    virtual QString asm_serialize(const QString& prefix, const QString& base);
    virtual QString macro_serialize(const QString& prefix, QHash<QString, QString>& macros);

    // Path lookup and completion (access/). The first token always names the element asked.
    /// What may follow the path: child elements and access methods. The base offers nothing.
    virtual CXMLCompletionList getCompletionListFromTokens(const QStringList& tokens);
    /// The element the tokens name below (and including) this one, or null. The base, for leaves: this
    /// element for exactly one token equal to its name.
    virtual HwXMLElement* getElementFromPathTokens(const QStringList& tokens);

    virtual void setReadError(bool error);
    virtual void setCopyMark(bool mark);
    /// Prints a debugging line (and those of the children) to standard output, indented by level.
    virtual void dumpInfo(int level) const;

    // C, assembly and VHDL generation (generators/).
    /// The C name of an instance pointer: ESDRConvert of the name ("RX_FIFO" gives "rxFifo").
    QString getCInstanceName() const;

    /// The outermost ancestor; null for an element without parent.
    HwXMLElement* getTopParent() const;
    /// The top parent when it is the root archive, else null.
    HwRootArchive* getRootArchive() const;
    /// The nearest enclosing archive, or null.
    HwXMLArchive* getTopArchive() const;
    /// The element itself when it is an archive file (the loader's HwXMLArchive), else null.
    virtual HwXMLArchive* asXMLArchive();
    /// The element itself when it is the root archive (the loader's HwRootArchive), else null.
    virtual HwRootArchive* asRootArchive();
    /// True without parent or directly under an archive.
    bool isRootElement() const;
    /// True when declared directly in the root archive.
    bool isInstance() const;
    /// The other element's base address minus this one's, wrapping at 32 bits.
    unsigned int offsetOf(const HwXMLElement* other) const;

    /// Prints level blanks and "|_" to standard output; nothing for a level below 1.
    static void dumpIndent(int level);
    /// Deep copy: the class follows the source's type; archives and unknown kinds give null. The copy keeps
    /// the source's parent pointer and address; the caller re-parents and re-addresses it.
    static std::unique_ptr<HwXMLElement> anonymousCopy(const HwXMLElement* source);

    /// Reads the element's value from the target through the host library. Pointers on the path are read
    /// first, from the outermost, and take the target's values. Returns 0, ACCESS_NO_SCALAR_WIDTH,
    /// ACCESS_NULL_POINTER or the host's code; value changes only on success. Neither protection nor the
    /// element's cached value is looked at.
    int read(int target, unsigned int& value);
    /// Writes value to the target, with the same path resolution and results as read().
    int write(int target, unsigned int value);

    HwXMLElement* getParent() const { return m_parent; }
    /// The address field: offset in the parent, or the absolute address without parent.
    unsigned int getAddress() const { return m_address; }
    std::uint32_t getFlags() const { return m_flags; }
    bool hasReadError() const { return (m_flags & FlagReadError) != 0; }
    bool hasCopyMark() const { return (m_flags & FlagCopyMark) != 0; }
    void setComment(const QString& comment) { m_comment = comment; }
    /// Name of the declared type the element was made from; empty for an inline type.
    QString getTypeName() const { return m_extras.constData() ? m_extras.constData()->typeName : QString(); }
    void setTypeName(const QString& typeName);
    void setArrayNumber(int arrayNumber) { m_arrayNumber = arrayNumber; }
    /// Words that the C generator writes before the element's type ("volatile" ...).
    QStringList getCKeywords() const;
    void addCKeywords(const QStringList& words);
    /// Alternative base addresses by selector name.
    QMap<QString, std::uint32_t> getAltAddresses() const;
    void setAltAddress(const QString& selector, std::uint32_t address);
    QString getCategory() const;
    void setCategory(const QString& category);
    /// Free text kept with the element for the generators.
    QString getAnnotation() const;
    void setAnnotation(const QString& annotation);

protected:
    /// Copies every field, the parent pointer included; children are copied by the subclasses.
    explicit HwXMLElement(const HwXMLElement& other);
    /// A subclass constructor runs its base constructor, then sets its own kind.
    void setElementType(XMLElementType type) { m_type = static_cast<std::uint8_t>(type); }
    /// For names computed when asked (a hole's): keeps the last one given, as the stored name.
    void storeComputedName(const QString& name) const { m_name = name; }

private:
    enum : std::uint8_t { FlagReadError = 1u << 0, FlagCopyMark = 1u << 1 };

    /// The fields that only instances, structures and a few members carry. A chip is mostly bitfields and
    /// registers, millions of them, none with these: they are allocated on first use, and an element
    /// without them pays one null pointer. A copy shares them with its source until either changes them.
    struct ElementExtras : QSharedData, Pooled {
        QString typeName;
        QMap<QString, std::uint32_t> altAddresses;
        QString category;
        QString annotation;
        QStringList cKeywords;
    };
    ElementExtras& extras();
    void storeRareText(QString ElementExtras::*field, const QString& text);

    // Pointers and strings first, the small fields last: the element's size is then 82 bytes rounded up,
    // and a subclass places its own flags in the rounding (millions of bitfields are made).
    HwXMLElement* m_parent = nullptr;
    // Mutable for storeComputedName().
    mutable QString m_name;
    QString m_comment;
    QSharedDataPointer<ElementExtras> m_extras;
    unsigned int m_address = 0;
    int m_arrayNumber = -1;
    std::uint8_t m_type; // an XMLElementType
    std::uint8_t m_flags = 0;
};

#endif
