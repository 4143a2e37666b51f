// The C header generator: one header per archive with its variables and enums as macros and enum typedefs,
// and for each type its register structure, the base addresses and pointers of its instances, its bitfield
// unions and its bitfield macros.

#include "generator_p.h"

#include <vellxml/expr/names.h>
#include <vellxml/expr/variables.h>
#include <vellxml/generators/generator_text.h>
#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/loader/text_helpers.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <QDateTime>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <cstdio>
#include <vector>

using namespace vellxml::generators_p;

namespace {

const QLatin1String kRuleElement(
    "// ============================================================================");
const QLatin1String kRuleEqual(
    "// =============================================================================");
const QLatin1String kRuleDash(
    "// -----------------------------------------------------------------------------");

/// The union type names the header being written declared so far (generation runs on one thread).
QSet<QString>* s_unionTypeNames = nullptr;

/// A text for the end of a "//" comment line: a line ending in a backslash (or its trigraph) would carry
/// the comment on to the next line.
QString commentSafe(const QString& text)
{
    if (text.endsWith(QLatin1Char('\\')) || text.endsWith(QLatin1String("?""?/")))
        return text + QLatin1Char('.');
    return text;
}

bool isModuleStructure(const HwXMLElement* element)
{
    return element->isStruct() && static_cast<const HwStruct*>(element)->isRootStruct();
}

QString keywordsOf(const HwXMLElement* element)
{
    QString text;
    for (const QString& word : element->getCKeywords())
        text += word + QLatin1Char(' ');
    return text;
}

QString commentBlock(const HwXMLElement* element, int level)
{
    if (element->getComment().isEmpty())
        return QString();
    return convertCommentToCComment(element->getComment(), 80, level) + QLatin1Char('\n');
}

/// A member line: type padded to column 35, name and ";" padded to column 65, then the address.
QString memberLine(
    int level, const QString& type, const QString& name, const QString& address, bool commented)
{
    const QString head = indent(level) + (commented ? QStringLiteral("// ") : QString()) + type;
    return padTo(padTo(head, 35) + name + QLatin1Char(';'), 65) + QLatin1String("//") + address
        + QLatin1Char('\n');
}

/// "typedef <keywords><C type> <C name of the element>;"
QString baseTypedef(const HwXMLElement* element)
{
    return QLatin1String("typedef ") + keywordsOf(element) + cTypeOf(element) + QLatin1Char(' ')
        + ESDRTypeConvert(element->getName()) + QLatin1Char(';');
}

/// The all-ones value and the shift of a field or group as a macro writes them: hexadecimal beyond 5 bits.
/// Always unsigned, so that a value shifted into bit 31 stays defined C.
QString macroNumber(std::uint32_t value, int width)
{
    return (width > 5 ? QLatin1String("0x") + QString::number(value, 16).toUpper() : QString::number(value))
        + QLatin1Char('u');
}

std::uint32_t allOnes(int width)
{
    return width >= 32 ? 0xFFFFFFFFu : (1u << width) - 1u;
}

/// Value, mask and shift macros of a field or group of `width` bits at `shift`.
QString fieldMacros(const QString& base, bool commented, int width, std::uint32_t ones, int shift, bool value,
    bool mask, bool shiftMacro, QHash<QString, QString>& macros)
{
    QString text;
    const QString m = macroNumber(ones, width);
    const QString s = QString::number(shift);
    if (value) {
        if (width > 1)
            text += OuputMacro(commented, true, base, QStringLiteral("(((n)&%1)<<%2)").arg(m, s), macros);
        else
            text += OuputMacro(commented, false, base, QStringLiteral("(%1<<%2)").arg(m, s), macros);
    }
    if (mask)
        text += OuputMacro(
            commented, false, base + QLatin1String("_MASK"), QStringLiteral("(%1<<%2)").arg(m, s), macros);
    if (shiftMacro)
        text += OuputMacro(
            commented, false, base + QLatin1String("_SHIFT"), QStringLiteral("(%1)").arg(s), macros);
    return text;
}

QString bitFieldMacros(const HwBitField* field, const QString& prefix, QHash<QString, QString>& macros)
{
    const int width = static_cast<int>(field->getBitSize());
    if (width == 0)
        return QString();
    const bool force = HwMemoryMap::m_forceMaskShift;
    const QString base = prefix + QLatin1Char('_') + NameUpper(field->getName());
    const bool commented = SkippedMacro(field->getName());
    const int shift = field->getDownPos();
    QString text = fieldMacros(base, commented, width, allOnes(width), shift,
        force || field->hasValueMacro() || field->getOptions().isEmpty(), force || field->hasMaskMacro(),
        force || field->hasShiftMacro(), macros);
    for (const HwBitFieldOption& option : field->getOptions()) {
        const QString value = macroNumber(option.value, width);
        const QString name = base + QLatin1Char('_') + NameUpper(option.name);
        text += OuputMacro(commented, false, name, QStringLiteral("(%1<<%2)").arg(value).arg(shift), macros);
        text +=
            OuputMacro(commented, false, base + QLatin1String("_V_") + NameUpper(option.name), value, macros);
    }
    return text;
}

QString bitGroupMacros(const HwBitGroup* group, const QString& prefix, QHash<QString, QString>& macros)
{
    const int width = group->getTotalBits();
    if (width == 0)
        return QString();
    const QString base = prefix + QLatin1Char('_') + NameUpper(group->getName());
    return fieldMacros(base, SkippedMacro(group->getName()), width, group->getFullValueShifted(),
        group->getShift(), true, true, true, macros);
}

/// Whether the element lies, through structures and arrays, inside the type structure of that type name.
bool isInsideType(const HwXMLElement* element, const QString& typeName)
{
    for (const HwXMLElement* parent = element->getParent();
         parent && (parent->isStruct() || parent->isArray()); parent = parent->getParent()) {
        if (parent->isStruct() && static_cast<const HwStruct*>(parent)->isTypedef()
            && parent->getTypeName() == typeName)
            return true;
    }
    return false;
}

/// Whether the archive is the one of `from` or one that it includes, at any depth: only their types are
/// declared where `from`'s header is included.
bool isVisibleFrom(const HwXMLArchive* archive, const HwXMLArchive* from)
{
    if (!archive || !from || archive == from)
        return true;
    for (const HwXMLArchive* included : from->getIncludedArchivesClosure()) {
        if (included == archive)
            return true;
    }
    return false;
}

/// The C type a pointer points to. A pointer into its own type structure names it by its tag (the typedef
/// name is not declared yet inside the structure); a module is its HWP_ type; a memory or an external is
/// bytes; a type the header cannot see, or no type at all, is VOID.
QString pointedCType(const HwXMLElement* element)
{
    const QString pointed = static_cast<const HwPointer*>(element)->getPointedTypeName();
    if (isInsideType(element, pointed))
        return QLatin1String("struct ") + cIdentifier(ESDRTypeConvert(pointed));
    static const QStringList basic = {QStringLiteral("uint32"), QStringLiteral("uint16"),
        QStringLiteral("uint8"), QStringLiteral("int32"), QStringLiteral("int16"), QStringLiteral("int8"),
        QStringLiteral("reg32"), QStringLiteral("reg16"), QStringLiteral("reg8"), QStringLiteral("bool"),
        QStringLiteral("void")};
    if (basic.contains(pointed.toLower()))
        return pointed.toUpper();
    if (pointed.toLower() == QLatin1String("memory"))
        return QStringLiteral("UINT8");
    const HwRootArchive* root = element->getRootArchive();
    const HwXMLElement* target = root ? root->getTemplate(pointed) : nullptr;
    if (!target || !isVisibleFrom(target->getTopArchive(), element->getTopArchive()))
        return QStringLiteral("VOID");
    if (target->isStruct())
        return cStructTypeName(static_cast<const HwStruct*>(target));
    if (target->isExternal() || target->getType() == TYPE_MEMORY)
        return QStringLiteral("UINT8");
    if (target->isValuable() && !target->isPointer())
        return cTypeOf(target);
    return QStringLiteral("VOID");
}

/// A pointer member: the pointer on targets with 32-bit pointers, and the 32-bit address elsewhere, so that
/// the structure keeps the chip's layout on a 64-bit host too.
QString pointerMember(int level, const QString& keywords, const QString& pointed, const QString& name,
    const QString& address, bool commented)
{
    return QLatin1String("#if defined(__SIZEOF_POINTER__) && __SIZEOF_POINTER__ != 4\n")
        + memberLine(level, keywords + QLatin1String("UINT32"), name, address, commented)
        + QLatin1String("#else\n")
        + memberLine(level, keywords + pointed + QLatin1Char('*'), name, address, commented)
        + QLatin1String("#endif\n");
}

/// Whether a member of the structure, at any depth, points to the structure's own type.
bool pointsToItself(const HwXMLElement* element, const QString& typeName)
{
    if (element->isPointer())
        return static_cast<const HwPointer*>(element)->getPointedTypeName() == typeName;
    if (element->isArray()) {
        const HwXMLElement* item = static_cast<const HwArray*>(element)->getElementType();
        return item && pointsToItself(item, typeName);
    }
    if (element->isStruct()) {
        for (const auto& member : static_cast<const HwStruct*>(element)->getMemberList()) {
            if (pointsToItself(member.get(), typeName))
                return true;
        }
    }
    return false;
}

unsigned int roundUp(unsigned int value, unsigned int alignment)
{
    const unsigned int remainder = alignment == 0 ? 0 : value % alignment;
    return remainder == 0 ? value : value + (alignment - remainder);
}

/// Size and alignment of the C declaration written for an element.
struct CShape {
    unsigned int size = 0;
    unsigned int align = 1;
};

CShape cShapeOf(const HwXMLElement* element);

/// The unit of a hole: 32 or 16 bits when its size and offset allow it and the structure holding it is that
/// aligned anyway, so that the hole never makes the C structure more aligned than the model's.
int holeUnit(const HwXMLElement* hole, int bits)
{
    const unsigned int offset = hole->getAddress();
    const unsigned int align = hole->getParent() ? hole->getParent()->getAlignConstraint() : 1;
    if (bits % 32 == 0 && offset % 4 == 0 && align >= 4)
        return 32;
    if (bits % 16 == 0 && offset % 2 == 0 && align >= 2)
        return 16;
    return 8;
}

unsigned int structCAlign(const HwStruct* structure)
{
    unsigned int align = 1;
    for (const auto& member : structure->getMemberList()) {
        const CShape shape = cShapeOf(member.get());
        if (shape.size > 0)
            align = std::max(align, shape.align);
    }
    return align;
}

CShape cShapeOf(const HwXMLElement* element)
{
    switch (element->getType()) {
    case TYPE_HOLE: {
        const int bits = static_cast<int>(element->sizeOf()) * 8;
        return {element->sizeOf(), static_cast<unsigned int>(holeUnit(element, bits) / 8)};
    }
    case TYPE_MEMORY:
    case TYPE_EXTERNAL:
        return {element->sizeOf(), 1};
    default:
        break;
    }
    if (element->isStruct())
        return {element->sizeOf(), structCAlign(static_cast<const HwStruct*>(element))};
    if (element->isArray()) {
        const auto* array = static_cast<const HwArray*>(element);
        const HwXMLElement* item = array->getElementType();
        if (!item || array->count() < 1)
            return {0, 1};
        const CShape itemShape = cShapeOf(item);
        return {element->sizeOf(), itemShape.align};
    }
    const unsigned int size = element->sizeOf();
    return {size, std::max(1u, std::min(size, 4u))};
}

QString structMembers(const HwStruct* structure, int level);
QString memberText(const HwXMLElement* member, const QString& name, int level);

/// Bytes the model leaves free where C would not: explicit reserved bytes.
QString paddingLine(int level, unsigned int offset, unsigned int bytes, QSet<QString>& used)
{
    QString name = QLatin1String("Reserved_") + hex8(offset);
    while (used.contains(name))
        name += QLatin1String("_pad");
    used.insert(name);
    const QString count = bytes == 1 ? QString() : QStringLiteral("[%1]").arg(bytes);
    return padTo(indent(level) + QStringLiteral("UINT8 %1%2;").arg(name, count), 48) + QLatin1String("//0x")
        + hex8(offset) + QLatin1Char('\n');
}

/// The members of a structure with the model's layout: where the model places a member further than C
/// would, reserved bytes fill the distance, and the structure ends at the model's size.
QString structMembers(const HwStruct* structure, int level)
{
    const QStringList names = cMemberNames(structure);
    QSet<QString> used(names.begin(), names.end());
    const unsigned int base = structure->getBaseAddress();
    unsigned int cOffset = 0;
    unsigned int cAlign = 1;
    QString text;
    int index = 0;
    for (const auto& member : structure->getMemberList()) {
        const CShape shape = cShapeOf(member.get());
        const unsigned int offset = member->getBaseAddress() - base;
        if (shape.size > 0) {
            if (roundUp(cOffset, shape.align) < offset)
                text += paddingLine(level, cOffset, offset - cOffset, used);
            cOffset = offset + shape.size;
            cAlign = std::max(cAlign, shape.align);
        }
        text += memberText(member.get(), names[index++], level);
    }
    const unsigned int size = structure->sizeOf();
    if (cOffset < size && roundUp(cOffset, cAlign) != size)
        text += paddingLine(level, cOffset, size - cOffset, used);
    return text;
}

QString valuableMember(const HwValuable* valuable, const QString& name, int level)
{
    QString text = commentBlock(valuable, level);
    const QString line =
        memberLine(level, keywordsOf(valuable) + cTypeOf(valuable), name, valuable->getAddressString(), false);
    const bool halves = !valuable->getLowPartName().isEmpty() && !valuable->getHighPartName().isEmpty()
        && (valuable->getType() == TYPE_REG16 || valuable->getType() == TYPE_REG32);
    if (!halves)
        return text + line;
    const QString half = valuable->getType() == TYPE_REG16 ? QStringLiteral("REG8 ") : QStringLiteral("REG16 ");
    text += indent(level) + QLatin1String("union {\n");
    text += indent(level + 1) + QLatin1String("struct {\n");
    text += indent(level + 2) + half + cIdentifier(valuable->getLowPartName()) + QLatin1String(";\n");
    text += indent(level + 2) + half + cIdentifier(valuable->getHighPartName()) + QLatin1String(";\n");
    text += indent(level + 1) + QLatin1String("};\n");
    text += memberLine(
        level + 1, keywordsOf(valuable) + cTypeOf(valuable), name, valuable->getAddressString(), false);
    return text + indent(level) + QLatin1String("};\n");
}

/// Bytes declared as such: memories, and externals, whose own types live in their makers' headers.
QString bytesMember(const HwXMLElement* element, const QString& name, const QString& suffix, int level)
{
    const unsigned int size = element->sizeOf();
    const QString line = indent(level) + (size == 0 ? QStringLiteral("// ") : QString()) + keywordsOf(element)
        + QStringLiteral("UINT8 %1%2[%3];").arg(name, suffix).arg(size);
    return commentBlock(element, level) + padTo(line, 48) + QLatin1String("//0x")
        + hex8(element->getBaseAddress()) + QLatin1Char('\n');
}

QString memberText(const HwXMLElement* member, const QString& name, int level)
{
    switch (member->getType()) {
    case TYPE_HOLE: {
        const int bits = static_cast<int>(member->sizeOf()) * 8;
        const unsigned int offset = member->getAddress();
        const int unit = holeUnit(member, bits);
        const int units = bits / unit;
        if (units == 0)
            return QString();
        const QString count = units == 1 ? QString() : QStringLiteral("[%1]").arg(units);
        const QString line = indent(level) + QStringLiteral("REG%1 %2%3;").arg(unit).arg(name, count);
        return padTo(line, 48) + QLatin1String("//0x") + hex8(offset) + QLatin1Char('\n');
    }
    case TYPE_MEMORY:
    case TYPE_EXTERNAL:
        return bytesMember(member, name, QString(), level);
    default:
        break;
    }
    if (member->isPointer())
        return commentBlock(member, level)
            + pointerMember(
                level, keywordsOf(member), pointedCType(member), name, member->getAddressString(), false);
    if (member->isStruct()) {
        const auto* structure = static_cast<const HwStruct*>(member);
        QString text = commentBlock(member, level);
        if (structure->isTypedef())
            return text
                + memberLine(level, keywordsOf(member) + cStructTypeName(structure), name,
                    member->getAddressString(), false);
        text += indent(level) + QLatin1String("struct\n") + indent(level) + QLatin1String("{\n");
        text += structMembers(structure, level + 1);
        return text + indent(level) + QStringLiteral("} %1;\n").arg(name);
    }
    if (member->isArray()) {
        const auto* array = static_cast<const HwArray*>(member);
        const HwXMLElement* item = array->getElementType();
        if (!item)
            return QString();
        // The loader keeps the comment and the C keywords of the tag on the prototype.
        QString text = commentBlock(item, level);
        const int count = array->count();
        const QString suffix = count != 1 ? QStringLiteral("[%1]").arg(count) : QString();
        const bool commented = count < 1;
        if (item->isStruct() && !static_cast<const HwStruct*>(item)->isTypedef()) {
            const QString open = indent(level) + (commented ? QStringLiteral("// ") : QString());
            if (commented)
                return text + open + QStringLiteral("struct { ... } %1%2;\n").arg(name, suffix);
            text += indent(level) + QLatin1String("struct\n") + indent(level) + QLatin1String("{\n");
            text += structMembers(static_cast<const HwStruct*>(item), level + 1);
            return text + indent(level) + QStringLiteral("} %1%2;\n").arg(name, suffix);
        }
        if (item->getType() == TYPE_MEMORY || item->getType() == TYPE_EXTERNAL)
            return commented ? QString() : bytesMember(item, name, suffix, level);
        if (item->isPointer())
            return text
                + pointerMember(level, keywordsOf(item), pointedCType(item), name + suffix,
                    member->getAddressString(), commented);
        const QString type =
            item->isStruct() ? cStructTypeName(static_cast<const HwStruct*>(item)) : cTypeOf(item);
        return text + memberLine(level, keywordsOf(item) + type, name + suffix, member->getAddressString(), commented);
    }
    if (member->isValuable())
        return valuableMember(static_cast<const HwValuable*>(member), name, level);
    return commentBlock(member, level)
        + memberLine(level, keywordsOf(member) + cTypeOf(member), name, member->getAddressString(), false);
}

bool isReservedName(const QString& name)
{
    static const QRegularExpression reserved(QStringLiteral("^(.+_)?reserved(_\\d+)?$"));
    return reserved.match(name).hasMatch();
}

} // namespace

namespace vellxml::generators_p {

QString cTypeOf(const HwXMLElement* element)
{
    switch (element->getType()) {
    case TYPE_REG32:
        return QStringLiteral("REG32");
    case TYPE_REG16:
        return QStringLiteral("REG16");
    case TYPE_REG8:
    case TYPE_IREG8:
        return QStringLiteral("REG8");
    case TYPE_INT32:
        return QStringLiteral("INT32");
    case TYPE_INT16:
        return QStringLiteral("INT16");
    case TYPE_INT8:
        return QStringLiteral("INT8");
    case TYPE_UINT32:
        return QStringLiteral("UINT32");
    case TYPE_UINT16:
        return QStringLiteral("UINT16");
    case TYPE_UINT8:
        return QStringLiteral("UINT8");
    case TYPE_BOOL:
        return QStringLiteral("BOOL");
    case TYPE_VOID:
        return QStringLiteral("VOID");
    case TYPE_POINTER:
        return pointedCType(element) + QLatin1Char('*');
    case TYPE_STRUCT:
        return cStructTypeName(static_cast<const HwStruct*>(element));
    default:
        return cIdentifier(ESDRTypeConvert(element->getCTypeString()));
    }
}

QString elementCContent(HwXMLElement* element)
{
    const HwRootArchive* root = element->getRootArchive();
    const QString prefix = NameUpper(element->getTypeString());
    QString text = root ? root->c_getMatchingInstancesBaseAddresses(element) : QString();
    if (!text.isEmpty())
        text += QLatin1Char('\n');
    text += element->c_typedefSerialize() + QLatin1Char('\n');
    if (isModuleStructure(element)) {
        // The pointer block ends with its own blank line and each union with one: no further line break, so
        // that the sections stand one blank line apart.
        if (root)
            text += root->c_getMatchingInstancesInstanciation(element);
        text += element->c_bitfieldSerialize(prefix);
    }
    QHash<QString, QString> macros;
    text += element->macro_serialize(prefix, macros);
    return text;
}

} // namespace vellxml::generators_p

// Element content -----------------------------------------------------------------------------------------

QString HwXMLElement::getCInstanceName() const
{
    return ESDRConvert(getName());
}

QString HwValuable::c_content()
{
    return elementCContent(this);
}

QString HwStruct::c_content()
{
    return elementCContent(this);
}

QString HwExternal::c_content()
{
    return elementCContent(this);
}

// Typedefs ------------------------------------------------------------------------------------------------

QString HwValuable::c_typedefSerialize()
{
    if (m_enumHolder || m_bitFields.empty())
        return baseTypedef(this);
    QString text = QStringLiteral("typedef struct\n{\n");
    QSet<QString> used;
    for (const auto& field : m_bitFields) {
        QString name = cIdentifier(field->getName());
        while (used.contains(name))
            name += QLatin1Char('_');
        used.insert(name);
        text += padTo(cIdentifier(ESDRTypeConvert(field->getTypeString())), 35) + name
            + QStringLiteral(":%1;\n").arg(field->getBitSize());
    }
    return text + QStringLiteral("} %1;").arg(cIdentifier(ESDRTypeConvert(getTypeString())));
}

QString HwPointer::c_typedefSerialize()
{
    return QLatin1String("typedef ") + keywordsOf(this) + cTypeOf(this) + QLatin1Char(' ')
        + cIdentifier(ESDRTypeConvert(getName())) + QLatin1Char(';');
}

QString HwStruct::c_typedefSerialize()
{
    // A type structure that points to itself is tagged with its own C name, which its pointers use.
    const bool tagged = !isRootStruct() && pointsToItself(this, getTypeName());
    QString text = tagged ? QStringLiteral("typedef struct %1\n{\n").arg(cTypeOf(this))
                          : QStringLiteral("typedef struct\n{\n");
    text += structMembers(this, 1);
    if (isRootStruct())
        return text + QStringLiteral("} %1;\n").arg(cStructTypeName(this));
    return text
        + QStringLiteral("} %1; //Size : 0x%2\n").arg(cTypeOf(this), QString::number(sizeOf(), 16).toUpper());
}

QString HwExternal::c_typedefSerialize()
{
    return QString();
}

// Members -------------------------------------------------------------------------------------------------
// A structure writes its members itself (structMembers), which names them uniquely and keeps the model's
// layout; a member on its own is written under its own C name.

QString HwValuable::c_serialize(int level)
{
    return memberText(this, cIdentifier(getName()), level);
}

QString HwPointer::c_serialize(int level)
{
    return memberText(this, cIdentifier(getName()), level);
}

QString HwExternal::c_serialize(int level)
{
    return memberText(this, cIdentifier(getName()), level);
}

QString HwStruct::c_serialize(int level)
{
    return memberText(this, cIdentifier(getName()), level);
}

QString HwArray::c_serialize(int level)
{
    return memberText(this, cIdentifier(getName()), level);
}

QString HwHole::c_serialize(int level)
{
    return memberText(this, QLatin1String("Reserved_") + hex8(getAddress()), level);
}

QString HwMemory::c_serialize(int level)
{
    return memberText(this, cIdentifier(getName()), level);
}

// Bitfield unions -----------------------------------------------------------------------------------------

QString HwValuable::c_bitfieldSerialize(const QString& prefix)
{
    const unsigned int mode = HwMemoryMap::m_bitfieldGen;
    if (m_enumHolder || m_bitFields.empty() || mode == 0)
        return QString();
    QString storage;
    int width = 0;
    switch (sizeOf()) {
    case 4:
        storage = QStringLiteral("REG32");
        width = 32;
        break;
    case 2:
        storage = QStringLiteral("REG16");
        width = 16;
        break;
    case 1:
        storage = QStringLiteral("REG8");
        width = 8;
        break;
    default:
        return QString();
    }
    const int top = width - 1;
    std::vector<const HwBitField*> fields;
    for (const auto& field : m_bitFields) {
        // Empty fields and fields beyond the storage cannot be C bitfields.
        if (field->getBitSize() == 0 || field->getUpPos() > top || field->getDownPos() < 0)
            continue;
        if (HwMemoryMap::m_bitfieldGenIgnoreReserved && isReservedName(field->getName()))
            continue;
        fields.push_back(field.get());
    }
    if (fields.empty())
        return QString();
    if (fields.size() == 1 && fields.front()->getDownPos() == 0 && fields.front()->getUpPos() == top)
        return QString();

    // Gap names first: a field named like a gap gets another name, as do fields whose lower-cased names
    // meet (reserved and Reserved).
    static const QRegularExpression gapName(QStringLiteral("^__\\d+_\\d+$"));
    QSet<QString> used;
    QHash<const HwBitField*, QString> names;
    for (const HwBitField* field : fields) {
        QString base = cIdentifier(NameLower(field->getName()));
        if (gapName.match(base).hasMatch())
            base.prepend(QLatin1Char('f'));
        QString name = base;
        for (int k = 2; used.contains(name); ++k)
            name = base + QStringLiteral("_%1").arg(k);
        used.insert(name);
        names.insert(field, name);
    }
    const auto gapLine = [&storage](int high, int low, int bits) {
        return QStringLiteral("        %1 __%2_%3 : %4;").arg(storage).arg(high).arg(low).arg(bits);
    };
    const auto fieldLine = [&storage, &names](const HwBitField* field) {
        return QStringLiteral("        %1 %2 : %3; // %4")
            .arg(storage, names.value(field))
            .arg(field->getBitSize())
            .arg(commentSafe(BitFieldPosWriteType(field)));
    };
    QStringList big;
    if (mode == 2 || mode == 3) {
        std::vector<const HwBitField*> sorted = fields;
        std::stable_sort(sorted.begin(), sorted.end(), BitFieldPosGreater);
        int cur = top;
        for (const HwBitField* field : sorted) {
            const int high = field->getUpPos();
            if (high < cur)
                big.append(gapLine(cur, high + 1, cur - high));
            big.append(fieldLine(field));
            cur = field->getDownPos() - 1;
        }
        if (cur >= 0)
            big.append(gapLine(cur, 0, cur + 1));
    }
    QStringList little;
    if (mode == 1 || mode == 3) {
        std::vector<const HwBitField*> sorted = fields;
        std::stable_sort(sorted.begin(), sorted.end(), BitFieldPosLess);
        int cur = 0;
        for (const HwBitField* field : sorted) {
            const int low = field->getDownPos();
            if (low > cur)
                little.append(gapLine(low - 1, cur, low - cur));
            little.append(fieldLine(field));
            cur = field->getUpPos() + 1;
        }
        if (cur < width)
            little.append(gapLine(top, cur, width - cur));
    }
    QStringList lines;
    if (mode == 3) {
        lines.append(QStringLiteral("#if (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__)"));
        lines += big;
        lines.append(QStringLiteral("#elif (__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__)"));
        lines += little;
        lines.append(QStringLiteral("#endif"));
    } else {
        lines = mode == 2 ? big : little;
    }
    if (lines.isEmpty())
        return QString();
    // Registers of one name in different structures of a type give different unions: the type name holds
    // the path, and a name a header already declared gets "_2", "_3" ... in front of the "_T".
    const QString base = QLatin1String("REG_") + prefix + QLatin1Char('_') + NameUpper(getName());
    QString typeName = base + QLatin1String("_T");
    if (s_unionTypeNames) {
        for (int k = 2; s_unionTypeNames->contains(typeName); ++k)
            typeName = base + QStringLiteral("_%1_T").arg(k);
        s_unionTypeNames->insert(typeName);
    }
    return QLatin1String("//") + commentSafe(getName()) + QLatin1Char('\n')
        + QStringLiteral("typedef union {\n    %1 v;\n    struct {\n%2\n    } b;\n} %3;\n\n")
              .arg(storage, lines.join(QLatin1Char('\n')), typeName);
}

QString HwStruct::c_bitfieldSerialize(const QString& prefix)
{
    const QString inner = isRootStruct() || isTypedef() ? prefix : prefix + QLatin1Char('_') + NameUpper(getName());
    QString text;
    for (const auto& member : m_members)
        text += member->c_bitfieldSerialize(inner);
    return text;
}

QString HwArray::c_bitfieldSerialize(const QString& prefix)
{
    if (!m_elementType)
        return QString();
    if (m_elementType->isStruct() || m_elementType->isArray())
        return m_elementType->c_bitfieldSerialize(prefix + QLatin1Char('_') + NameUpper(getName()));
    return m_elementType->c_bitfieldSerialize(prefix);
}

// Bitfield macros -----------------------------------------------------------------------------------------

QString HwValuable::macro_serialize(const QString& prefix, QHash<QString, QString>& macros)
{
    if (m_enumHolder || (m_bitFields.empty() && getBitGroups().empty()))
        return QString();
    QString text = QLatin1String("//") + commentSafe(getName()) + QLatin1Char('\n');
    for (const auto& field : m_bitFields)
        text += bitFieldMacros(field.get(), prefix, macros);
    for (const auto& group : getBitGroups())
        text += bitGroupMacros(group.get(), prefix, macros);
    return text + QLatin1Char('\n');
}

QString HwStruct::macro_serialize(const QString& prefix, QHash<QString, QString>& macros)
{
    QString text;
    for (const auto& member : m_members)
        text += member->macro_serialize(prefix, macros);
    return text;
}

QString HwArray::macro_serialize(const QString& prefix, QHash<QString, QString>& macros)
{
    return m_elementType ? m_elementType->macro_serialize(prefix, macros) : QString();
}

// Variables and enums -------------------------------------------------------------------------------------

QString HwIntVar::c_serialize(bool inEnum) const
{
    if (!m_exported)
        return QString();
    QString text;
    const bool spacer = m_name.startsWith(QLatin1String("VELLXMLSPACER"));
    if (spacer)
        text += QLatin1Char('\n');
    if (!m_origin.isEmpty())
        text += convertCommentToCComment(m_origin, 80, 0) + QLatin1Char('\n');
    if (spacer)
        return text;
    if (!inEnum)
        return text + padTo(QLatin1String("#define ") + m_name.toUpper(), 48) + QLatin1Char('(')
            + m_expression.toUpper() + QLatin1String(")\n");
    return text + padTo(QLatin1String("    ") + m_name.toUpper(), 48) + QLatin1String("= 0x")
        + hex8(static_cast<std::uint32_t>(m_value));
}

QString HwEnum::c_serialize(const HwIntVarTable& variables) const
{
    QStringList members;
    for (const HwIntVar& variable : variables) {
        if (variable.getEnum() != this)
            continue;
        const QString member = variable.c_serialize(true);
        if (!member.isEmpty())
            members.append(member);
    }
    return kRuleElement + QLatin1String("\n// ") + m_name + QLatin1Char('\n') + kRuleDash + m_comment
        + QLatin1Char('\n') + kRuleEqual + QLatin1Char('\n') + QLatin1String("typedef enum\n{\n")
        + members.join(QLatin1String(",\n")) + QStringLiteral("\n} %1;").arg(ESDRTypeConvert(m_name));
}

// Instances -----------------------------------------------------------------------------------------------

const std::vector<HwXMLElement*>& HwRootArchive::getInstancesOfType(const QString& typeString) const
{
    if (m_indexedInstances != m_instances.size()) {
        m_instancesByType.clear();
        for (HwXMLElement* instance : m_instances)
            m_instancesByType[instance->getTypeString()].push_back(instance);
        m_indexedInstances = m_instances.size();
    }
    static const std::vector<HwXMLElement*> none;
    auto found = m_instancesByType.constFind(typeString);
    return found == m_instancesByType.constEnd() ? none : found.value();
}

QString HwRootArchive::c_getMatchingInstancesBaseAddresses(HwXMLElement* type) const
{
    QString text;
    for (const HwXMLElement* instance : getInstancesOfType(type->getTypeString())) {
        const QString define = QStringLiteral("#define REG_%1_BASE").arg(NameUpper(instance->getName()));
        const QMap<QString, std::uint32_t> alternatives = instance->getAltAddresses();
        if (alternatives.isEmpty()) {
            text += two_fields_line(define, instance->getAddressString(), 35);
            continue;
        }
        bool first = true;
        for (auto it = alternatives.constBegin(); it != alternatives.constEnd(); ++it) {
            text += (first ? QStringLiteral("#if defined(REG_ADDRESS_FOR_%1)\n")
                           : QStringLiteral("#elif defined(REG_ADDRESS_FOR_%1)\n"))
                        .arg(cIdentifier(it.key()));
            text += two_fields_line(define, QLatin1String("0x") + hex8(it.value()), 35);
            first = false;
        }
        text += QLatin1String("#else\n") + two_fields_line(define, instance->getAddressString(), 35)
            + QLatin1String("#endif\n");
    }
    return text;
}

QString HwRootArchive::c_getMatchingInstancesInstanciation(HwXMLElement* type) const
{
    QString text;
    const QString typeString = type->getTypeString();
    const bool module = isModuleStructure(type);
    for (const HwXMLElement* instance : getInstancesOfType(typeString)) {
        std::printf("%s\n", typeString.toUtf8().constData());
        const QString base = QStringLiteral("REG_%1_BASE").arg(NameUpper(instance->getName()));
        const QString head = (module ? QLatin1String("#define hwp_") : QLatin1String("#define p_"))
            + cIdentifier(instance->getCInstanceName());
        const QString cast = QStringLiteral("((%1*)").arg(cTypeOf(type));
        text += padTo(head, 35) + cast + QLatin1String(" REG_ACCESS_ADDRESS(") + base + QLatin1String("))\n");
    }
    if (!text.isEmpty())
        text += QLatin1Char('\n');
    return text;
}

// Archive -------------------------------------------------------------------------------------------------

QString HwXMLArchive::c_header() const
{
    QString text = QStringLiteral("/*\n"
                                  " * Generated by VellXml from a chip description.\n"
                                  " * Do not edit: change the description and generate the file again.\n"
                                  " * Provided as is, without warranty of any kind.\n"
                                  " */\n\n");
    if (!getComment().isEmpty())
        text += convertCommentToCComment(getComment(), 80, 0) + QLatin1Char('\n');
    return text + QLatin1Char('\n');
}

namespace {

/// The include guard of a header: its whole relative name, so that archives of one base name in different
/// folders keep apart.
QString guardOf(const QString& relativeName, const QString& ending)
{
    QString stem = relativeName;
    if (stem.endsWith(QLatin1String(".h")))
        stem.chop(2);
    return QLatin1Char('_') + NameUpper(stem) + ending;
}

} // namespace

QString HwXMLArchive::c_content()
{
    const QString base = getBaseName();
    const QString guard = guardOf(getHFileRelativeName(), QStringLiteral("_H_"));
    QSet<QString> unionTypeNames;
    s_unionTypeNames = &unionTypeNames;
    QString text = c_header();
    text += QLatin1String("#ifndef ") + guard + QLatin1String("\n#define ") + guard + QLatin1String("\n\n");
    if (m_generateAsm) {
        text += QLatin1String("#ifdef HB_ASM\n")
            + QStringLiteral(
                "#error \"You are trying to use in an assembly code the normal H description of '%1'.\"\n")
                  .arg(base)
            + QLatin1String("#endif\n\n");
    }
    text += kRuleEqual + QLatin1String("\n//  MACROS\n") + kRuleEqual + QLatin1Char('\n');
    const HwEnum* previous = nullptr;
    const QSet<QString> hidden = hiddenVariables(this);
    for (const HwIntVar& variable : *m_variables) {
        const HwEnum* e = variable.getEnum();
        if (!e)
            text += variableDefine(variable, hidden);
        else if (e != previous)
            text += QLatin1Char('\n') + e->c_serialize(*m_variables) + QLatin1String("\n\n");
        previous = e;
    }
    // The includes follow the variables, so that the conditions of conditional includes see the values
    // the loader chose with.
    text += QLatin1Char('\n');
    for (const auto& include : m_includes) {
        const auto& entries = include->getConditionalEntries();
        if (entries.empty()) {
            if (writesHeaders(this, include->getHeaderName(), false, false))
                text += QStringLiteral("#include \"%1\"\n").arg(include->getHeaderName());
            continue;
        }
        bool first = true;
        for (const auto& entry : entries) {
            if (!writesHeaders(this, entry.headerName, false, true))
                continue;
            text += (first ? QLatin1String("#if ") : QLatin1String("#elif ")) + entry.condition
                + QLatin1Char('\n');
            text += QStringLiteral("    #include \"%1\"\n").arg(entry.headerName);
            first = false;
        }
        const QString fallback = include->getDefaultHeaderName();
        const bool withFallback = !fallback.isEmpty() && writesHeaders(this, fallback, false, true);
        if (first) {
            if (withFallback)
                text += QStringLiteral("#include \"%1\"\n").arg(fallback);
            continue;
        }
        if (withFallback)
            text += QLatin1String("#else\n") + QStringLiteral("    #include \"%1\"\n").arg(fallback);
        text += QLatin1String("#endif\n");
    }
    text +=
        QLatin1Char('\n') + kRuleEqual + QLatin1String("\n//  TYPES\n") + kRuleEqual + QLatin1String("\n\n");
    for (const auto& element : m_elements) {
        if (element->isExternal()
            || (element->isValuable() && static_cast<HwValuable*>(element.get())->isEnumHolder()))
            continue;
        text += kRuleElement + QLatin1String("\n// ") + cIdentifier(ESDRTypeConvert(element->getCTypeString()))
            + QLatin1Char('\n') + kRuleDash + QLatin1Char('\n')
            + convertCommentToCComment(element->getComment(), 80, 0) + QLatin1Char('\n') + kRuleEqual
            + QLatin1Char('\n') + element->c_content() + QLatin1String("\n\n");
    }
    s_unionTypeNames = nullptr;
    text += QLatin1Char('\n');
    if (!m_cjoker.isEmpty())
        text += m_cjoker;
    return text + QLatin1String("\n#endif\n\n");
}

// Driver --------------------------------------------------------------------------------------------------

bool HwMemoryMap::generateCHeaders(const QString& dir, bool which, vellxml::DiagnosticSink* sink)
{
    HwRootArchive* root = which ? m_chipRoot.get() : m_softRoot.get();
    if (!root)
        return true;
    bool complete = true;
    for (const auto& archive : root->getArchives()) {
        const QString header = archive->getHFileRelativeName();
        const QString headerPath = dir + QLatin1Char('/') + header;
        if (!archive->getGenerateHeader()) {
            std::printf("Avoiding %s\n", headerPath.toUtf8().constData());
            continue;
        }
        if (!staysInside(dir, header)) {
            vellxml::generators_p::reportOutputProblem(sink, vellxml::code::OutputPath, archive->getTotalPath(),
                QStringLiteral("Skipping archive '%1': its files would be written outside the output directory "
                               "'%2'.")
                    .arg(archive->getName(), dir));
            complete = false;
            continue;
        }
        if (m_skipNewerHeaders) {
            const QFileInfo xml(archive->getTotalPath());
            const QFileInfo existing(headerPath);
            if (existing.exists() && xml.lastModified() < existing.lastModified()) {
                std::printf("Skipping %s\n", headerPath.toUtf8().constData());
                continue;
            }
        }
        if (m_writeCHeaders && !writeOutputFile(dir, header, archive->c_content(), sink)) {
            complete = false;
            continue;
        }
        if (!archive->getGenerateAsm())
            continue;
        if (m_writeAsmHeaders
            && !writeOutputFile(dir, archive->getASMFileRelativeName(), archive->asm_content(), sink)) {
            complete = false;
            continue;
        }
        if (m_generateArmAsm
            && !writeOutputFile(dir, archive->getASMARMFileRelativeName(), archive->asmarm_content(), sink))
            complete = false;
    }
    std::fflush(stdout);
    return complete;
}
