#ifndef VELLXML_MODEL_COMPOSITES_H
#define VELLXML_MODEL_COMPOSITES_H

#include <vellxml/model/element.h>
#include <vellxml/model/valuable.h>
#include <vellxml/vellxml_export.h>

#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

/// Members laid out one after another, each aligned to its own alignment but never to more than 4 bytes.
class VELLXML_EXPORT HwStruct : public HwXMLElement {
public:
    HwStruct(const QString& name, const QString& typeName);
    /// Copies the element fields and the layout state, then each member, in order.
    explicit HwStruct(const HwStruct& other);
    ~HwStruct() override;

    /// The laid-out size rounded up to the alignment; 0 while the alignment is 0.
    unsigned int sizeOf() const override;
    /// The largest alignment of the members, unclamped.
    unsigned int getAlignConstraint() const override;
    bool isStruct() const override;
    /// The type name.
    QString getTypeString() const override;
    void memSet(const unsigned char* image) override;
    void getReadMask(unsigned char* mask) const override;
    void memGet(unsigned char* image) const override;
    /// Sets the flag here and on every member.
    void setReadError(bool error) override;
    void dumpInfo(int level) const override;

    // HTML documentation (htmldoc/): anchors, page sections and menu nodes; `page` is the file of the
    // instance page the element is documented on.
    QString getHrefName() const override;
    QString html_serialize(int level) override;
    QString treenode_serialize(int level, const QString& page) override;

    // C, assembly and VHDL generation (generators/).
    QString c_content() override;
    QString c_typedefSerialize() override;
    QString c_bitfieldSerialize(const QString& prefix) override;
    QString c_serialize(int level) override;
    QString asm_content() override;
    QString asmarm_content() override;
    QString asm_serialize(const QString& prefix, const QString& base) override;
    QString macro_serialize(const QString& prefix, QHash<QString, QString>& macros) override;
    QString vhdl_serialize(int level, HwVHDLNames& names) override;
    /// The VHDL text of a module: its address-bit constant, the legend, then every register.
    QString vhdl_content() override;

    // Path lookup and completion (access/).
    /// The members; with a further token, the list of the first member (or array item) it names.
    CXMLCompletionList getCompletionListFromTokens(const QStringList& tokens) override;
    /// This structure, or the first member, in declaration order, that resolves the tokens after the first.
    HwXMLElement* getElementFromPathTokens(const QStringList& tokens) override;
    void childRenamed() override;

    /// Places the member after the others and adopts it. Returns the member.
    HwXMLElement* addElement(std::unique_ptr<HwXMLElement> member);
    const std::vector<std::unique_ptr<HwXMLElement>>& getMemberList() const { return m_members; }
    /// Bytes laid out so far, before the final rounding of sizeOf().
    unsigned int getCurrentSize() const { return m_currentSize; }
    /// True when a member, or a member of a nested structure or array, is an internal register.
    bool hasInternalRegisters() const;
    /// A `typedef` type (a `module` is not one).
    bool isTypedef() const { return m_typedef; }
    /// A module structure: not a typedef, and at the top of the tree (a module itself or an instance of
    /// one), as opposed to a type structure or a structure nested in another element.
    bool isRootStruct() const { return !m_typedef && isRootElement(); }
    void setTypedef(bool on) { m_typedef = on; }
    /// The generators give the scripting layer the structure's constants.
    bool hasRubyConstants() const { return m_rubyConstants; }
    void setRubyConstants(bool on) { m_rubyConstants = on; }

private:
    std::vector<std::unique_ptr<HwXMLElement>> m_members;
    bool m_typedef = false;
    bool m_rubyConstants = false;
    unsigned int m_currentSize = 0;
    unsigned int m_alignment = 0;
    // Members by name for path lookup, built on first use (access/).
    mutable HwNameIndexPtr m_nameIndex;
};

/// A counted repetition of one element. The items are copies of a prototype, named "name[i]" and placed
/// one after another.
class VELLXML_EXPORT HwArray : public HwXMLElement {
public:
    /// Copies elementType as the prototype, then makes count items from it. An empty countText is replaced
    /// by the count in decimal. An element that cannot be copied gives an array without prototype or items.
    HwArray(const QString& name, const HwXMLElement& elementType, int count, const QString& countText);
    /// Copies the element fields, the count, the prototype and every item.
    explicit HwArray(const HwArray& other);
    ~HwArray() override;

    /// The count times the item size; 0 without items.
    unsigned int sizeOf() const override;
    /// The item's alignment.
    unsigned int getAlignConstraint() const override;
    bool isArray() const override;
    /// The item's type string followed by "[]"; "Array" without prototype.
    QString getTypeString() const override;
    /// Stores the name and renames the items "name[i]".
    void setName(const QString& name) override;
    void childRenamed() override;
    void memSet(const unsigned char* image) override;
    void getReadMask(unsigned char* mask) const override;
    void memGet(unsigned char* image) const override;
    /// Sets the flag here and on every item.
    void setReadError(bool error) override;
    void dumpInfo(int level) const override;

    // HTML documentation (htmldoc/): anchors, page sections and menu nodes; `page` is the file of the
    // instance page the element is documented on.
    QString getHrefName() const override;
    QString html_serialize(int level) override;
    QString treenode_serialize(int level, const QString& page) override;

    // C, assembly and VHDL generation (generators/).
    QString c_bitfieldSerialize(const QString& prefix) override;
    QString c_serialize(int level) override;
    QString asm_serialize(const QString& prefix, const QString& base) override;
    QString macro_serialize(const QString& prefix, QHash<QString, QString>& macros) override;
    QString vhdl_serialize(int level, HwVHDLNames& names) override;

    // Path lookup and completion (access/).
    /// This array when it is named by the first token; otherwise the first item that resolves the same
    /// tokens: the array is transparent, its items are found by their bracketed names.
    HwXMLElement* getElementFromPathTokens(const QStringList& tokens) override;
    /// The item (or item of a nested array) of that exact name, or null.
    HwXMLElement* getItemByName(const QString& name) const;

    int count() const { return m_count; }
    /// The count as the description writes it.
    QString getCountText() const { return m_countText; }
    /// The prototype of one item; null when the given element could not be copied.
    HwXMLElement* getElementType() const { return m_elementType.get(); }
    const std::vector<std::unique_ptr<HwXMLElement>>& getMemberList() const { return m_items; }

private:
    std::unique_ptr<HwXMLElement> m_elementType;
    int m_count;
    QString m_countText;
    std::vector<std::unique_ptr<HwXMLElement>> m_items;
    // Items by name for path lookup, built on first use (access/).
    mutable HwNameIndexPtr m_nameIndex;
};

/// A 32-bit valuable holding an address; the pointed element, when there is one, lives at that address.
class VELLXML_EXPORT HwPointer : public HwValuable {
public:
    HwPointer(const QString& name, const QString& pointedTypeName);
    /// Copies the valuable, the value, the pointed type name and the pointed element.
    explicit HwPointer(const HwPointer& other);
    ~HwPointer() override;

    unsigned int sizeOf() const override;
    unsigned int getAlignConstraint() const override;
    bool isPointer() const override;
    QString getRubyClassName() const override;
    QString getRubyPrefix() const override;
    /// The pointed type's C type followed by "*".
    QString getCTypeString() const override;
    /// The pointed type name followed by "*".
    QString getTypeString() const override;
    /// Sets the flag here and on the pointed element.
    void setReadError(bool error) override;
    void dumpInfo(int level) const override;
    unsigned int getValue() const override;
    void setValue(unsigned int value) override;

    // C, assembly and VHDL generation (generators/).
    QString c_typedefSerialize() override;
    QString c_serialize(int level) override;

    // Path lookup and completion (access/).
    /// This pointer, or behind ">" (or ">[n]") the pointed element, created on demand, asked with that
    /// token replaced by its name (followed by "[n]").
    HwXMLElement* getElementFromPathTokens(const QStringList& tokens) override;

    QString getPointedTypeName() const { return m_pointedTypeName; }
    /// The pointed element, or null while none was allocated.
    HwXMLElement* getPointedElement() const { return m_pointedElement.get(); }
    /// Creates the pointed element from the pointed type name through the root archive, named "*(name)",
    /// unless it exists. Returns it, or null when there is no root archive or it cannot make that type.
    HwXMLElement* allocatePointedElement();
    void deletePointedElement();
    /// Adopts element as the pointed element, replacing the previous one. Returns it.
    HwXMLElement* pointTo(std::unique_ptr<HwXMLElement> element);
    /// Fills the pointed element from a memory image of size bytes (its memSet). False, and nothing done,
    /// without pointed element or when the image is smaller than the element.
    bool setInnerData(const unsigned char* image, int size);
    /// The Ruby class of a pointed basic type ("CHUnsignedInt", "CHInt", "CHBool", "CHVoid", "CHMemory"),
    /// or "HwPOINTER_BASIC_RUBY_TYPE_ERROR" for any other type name.
    QString getRubyBasicType() const;

private:
    std::uint32_t m_value = 0;
    QString m_pointedTypeName;
    std::unique_ptr<HwXMLElement> m_pointedElement;
};

/// A reserved gap in a structure, sized in bits. It names itself "Reserved_<offset>_<bits>".
class VELLXML_EXPORT HwHole : public HwXMLElement {
public:
    explicit HwHole(int sizeInBits);
    explicit HwHole(const HwHole& other);

    /// The size in bits divided by 8, rounded down; 0 for a negative size.
    unsigned int sizeOf() const override;
    unsigned int getAlignConstraint() const override;
    /// "Reserved_", the offset as eight upper-case hexadecimal digits, "_", the size in bits; also stored
    /// as the element's name.
    QString getName() const override;
    QString getRubyClassName() const override;
    QString getRubyPrefix() const override;
    /// Holes have no path.
    QString getPath() const override;
    QString getTypeString() const override;
    void memSet(const unsigned char* image) override;
    /// Zeros: a hole is never read.
    void getReadMask(unsigned char* mask) const override;
    /// Fills the hole's bytes with 0, the value reserved space must be written with.
    void memGet(unsigned char* image) const override;

    // HTML documentation (htmldoc/): anchors, page sections and menu nodes; `page` is the file of the
    // instance page the element is documented on.
    QString getHrefName() const override;
    QString html_serialize(int level) override;
    QString treenode_serialize(int level, const QString& page) override;

    // C, assembly and VHDL generation (generators/).
    QString c_serialize(int level) override;

    int getSizeInBits() const { return m_sizeInBits; }

private:
    int m_sizeInBits;
};

/// An opaque block of target memory, sized in bytes.
class VELLXML_EXPORT HwMemory : public HwXMLElement {
public:
    HwMemory(const QString& name, int size);
    explicit HwMemory(const HwMemory& other);

    /// The size in bytes; 0 for a negative size.
    unsigned int sizeOf() const override;
    unsigned int getAlignConstraint() const override;
    QString getRubyClassName() const override;
    QString getRubyPrefix() const override;
    QString getTypeString() const override;
    void memSet(const unsigned char* image) override;
    /// Zeros: a memory is never read as part of an image.
    void getReadMask(unsigned char* mask) const override;
    void memGet(unsigned char* image) const override;

    // HTML documentation (htmldoc/): anchors, page sections and menu nodes; `page` is the file of the
    // instance page the element is documented on.
    QString getHrefName() const override;
    QString html_serialize(int level) override;
    QString treenode_serialize(int level, const QString& page) override;

    // C, assembly and VHDL generation (generators/).
    QString c_serialize(int level) override;

private:
    int m_size;
};

/// An opaque block described elsewhere, sized in bytes. An external is a type of its own: its type name is
/// the name it is declared with.
class VELLXML_EXPORT HwExternal : public HwXMLElement {
public:
    HwExternal(const QString& name, int size);
    explicit HwExternal(const HwExternal& other);

    /// The size in bytes; 0 for a negative size.
    unsigned int sizeOf() const override;
    unsigned int getAlignConstraint() const override;
    bool isExternal() const override;
    QString getRubyClassName() const override;
    QString getRubyPrefix() const override;
    /// Externals have no path.
    QString getPath() const override;
    /// The type name.
    QString getTypeString() const override;
    void memSet(const unsigned char* image) override;
    /// Zeros: an external is never read.
    void getReadMask(unsigned char* mask) const override;
    /// Fills the external's bytes with 0xFF.
    void memGet(unsigned char* image) const override;

    // HTML documentation (htmldoc/): anchors, page sections and menu nodes; `page` is the file of the
    // instance page the element is documented on.
    QString getHrefName() const override;
    QString html_serialize(int level) override;
    QString treenode_serialize(int level, const QString& page) override;

    // C, assembly and VHDL generation (generators/).
    QString c_content() override;
    QString c_typedefSerialize() override;
    QString c_serialize(int level) override;
    QString asm_content() override;
    QString asmarm_content() override;

private:
    int m_size;
};

#endif
