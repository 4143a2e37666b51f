// The CMSIS-SVD export: the loaded model is first turned into a small tree of what the file will hold
// (peripherals, clusters, registers, fields), so that empty structures can be left out and every warning
// is known, then the tree is written in the element order of the SVD schema.
#include <vellxml/loader/archive.h>
#include <vellxml/loader/memory_map.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>
#include <vellxml/svd/svd_export.h>

#include <QBuffer>
#include <QCryptographicHash>
#include <QHash>
#include <QRegularExpression>
#include <QSaveFile>
#include <QXmlStreamWriter>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <vector>

namespace {

struct SvdField {
    QString name;
    QString description;
    int offset = 0;
    int width = 0;
    QString access;
    QString modifiedWriteValues;
    struct Value {
        QString name;
        QString description;
        std::uint32_t value = 0;
    };
    std::vector<Value> values;
};

/// A register or a cluster of the file.
struct SvdNode {
    bool cluster = false;
    QString name; ///< with "[%s]" when dim is set
    QString description;
    std::uint32_t offset = 0; ///< from the enclosing peripheral or cluster
    unsigned int dim = 0; ///< 0: not an array
    std::uint32_t dimIncrement = 0;
    // Registers.
    unsigned int size = 0;
    QString access;
    bool hasReset = false;
    std::uint32_t resetValue = 0;
    std::uint32_t resetMask = 0;
    QString dataType;
    std::vector<SvdField> fields;
    // Clusters.
    QString headerStructName;
    std::vector<SvdNode> children;
};

struct SvdBlock {
    std::uint32_t offset = 0;
    std::uint32_t size = 0;
    QString usage;
};

struct SvdPeripheral {
    QString name;
    QString derivedFrom; ///< an earlier peripheral with the same blocks and registers
    QString description;
    QString groupName;
    std::uint32_t baseAddress = 0;
    std::vector<SvdBlock> blocks;
    std::vector<SvdNode> registers;
};

/// A digest of everything a peripheral's blocks and registers write, to find instances that an earlier
/// peripheral already describes.
class ContentHash {
public:
    QByteArray of(const SvdPeripheral& peripheral)
    {
        m_hash.reset();
        for (const SvdBlock& block : peripheral.blocks)
            add({QString::number(block.offset), QString::number(block.size), block.usage});
        nodes(peripheral.registers);
        return m_hash.result();
    }

private:
    void add(std::initializer_list<QString> texts)
    {
        for (const QString& text : texts) {
            m_hash.addData(QByteArray::number(static_cast<qlonglong>(text.size())) + ':');
            m_hash.addData(text.toUtf8());
        }
        m_hash.addData("|");
    }

    void nodes(const std::vector<SvdNode>& list)
    {
        add({QStringLiteral("("), QString::number(list.size())});
        for (const SvdNode& node : list) {
            add({node.cluster ? QStringLiteral("c") : QStringLiteral("r"), node.name, node.description,
                QString::number(node.offset), QString::number(node.dim), QString::number(node.dimIncrement),
                QString::number(node.size), node.access, QString::number(node.hasReset),
                QString::number(node.resetValue), QString::number(node.resetMask), node.dataType,
                node.headerStructName, QString::number(node.fields.size())});
            for (const SvdField& field : node.fields) {
                add({field.name, field.description, QString::number(field.offset),
                    QString::number(field.width), field.access, field.modifiedWriteValues,
                    QString::number(field.values.size())});
                for (const SvdField::Value& value : field.values)
                    add({value.name, value.description, QString::number(value.value)});
            }
            nodes(node.children);
        }
    }

    QCryptographicHash m_hash {QCryptographicHash::Sha1};
};

/// Plain text from a comment's markup: line breaks become new lines, other tags go, entities are decoded,
/// and characters XML cannot carry are dropped.
QString descriptionFromComment(const QString& comment)
{
    QString text = comment;
    static const QRegularExpression lineBreak(
        QStringLiteral("<br\\s*/?>"), QRegularExpression::CaseInsensitiveOption);
    static const QRegularExpression tag(QStringLiteral("<[^>]*>"));
    text.replace(lineBreak, QStringLiteral("\n"));
    text.remove(tag);
    static const QRegularExpression entity(QStringLiteral("&(#x[0-9A-Fa-f]+|#[0-9]+|amp|lt|gt|quot|apos);"));
    QString decoded;
    int last = 0;
    auto it = entity.globalMatch(text);
    while (it.hasNext()) {
        const QRegularExpressionMatch match = it.next();
        decoded += text.mid(last, match.capturedStart() - last);
        const QString name = match.captured(1);
        if (name == QLatin1String("amp"))
            decoded += QLatin1Char('&');
        else if (name == QLatin1String("lt"))
            decoded += QLatin1Char('<');
        else if (name == QLatin1String("gt"))
            decoded += QLatin1Char('>');
        else if (name == QLatin1String("quot"))
            decoded += QLatin1Char('"');
        else if (name == QLatin1String("apos"))
            decoded += QLatin1Char('\'');
        else {
            bool ok = false;
            const char32_t code = name.startsWith(QLatin1String("#x")) ? name.mid(2).toUInt(&ok, 16)
                                                                       : name.mid(1).toUInt(&ok, 10);
            if (ok && code > 0 && code <= 0x10FFFF)
                decoded += QString::fromUcs4(&code, 1);
        }
        last = match.capturedEnd();
    }
    decoded += text.mid(last);

    QString clean;
    clean.reserve(decoded.size());
    for (int i = 0; i < decoded.size(); ++i) {
        const QChar c = decoded.at(i);
        const ushort u = c.unicode();
        if (c.isHighSurrogate() && i + 1 < decoded.size() && decoded.at(i + 1).isLowSurrogate()) {
            clean += c;
            clean += decoded.at(++i);
        } else if ((u >= 0x20 && !c.isSurrogate() && u != 0xFFFE && u != 0xFFFF) || u == '\n' || u == '\t') {
            clean += c;
        }
    }
    return clean.trimmed();
}

bool isIdentifierStart(QChar c)
{
    return (c >= QLatin1Char('A') && c <= QLatin1Char('Z'))
        || (c >= QLatin1Char('a') && c <= QLatin1Char('z')) || c == QLatin1Char('_');
}

/// Enumerated value names may start with a digit, unlike other names.
QString enumeratedValueName(const QString& name)
{
    QString result = name;
    for (QChar& c : result)
        if (!isIdentifierStart(c) && !(c >= QLatin1Char('0') && c <= QLatin1Char('9')))
            c = QLatin1Char('_');
    return result.isEmpty() ? QStringLiteral("_") : result;
}

QString hex(std::uint32_t value, int digits)
{
    return QStringLiteral("0x")
        + QString::number(value, 16).toUpper().rightJustified(digits, QLatin1Char('0'));
}

std::uint32_t widthMask(int width)
{
    return width >= 32 ? 0xFFFFFFFFu : ((1u << width) - 1u);
}

/// The SVD access of something readable or not, writable or not. Neither has no SVD form: it is written
/// read-only, the access that promises least.
QString accessText(bool readable, bool writable)
{
    if (readable && writable)
        return QStringLiteral("read-write");
    if (writable)
        return QStringLiteral("write-only");
    return QStringLiteral("read-only");
}

QString dataTypeOf(const HwXMLElement& element)
{
    switch (element.getType()) {
    case TYPE_INT8:
        return QStringLiteral("int8_t");
    case TYPE_INT16:
        return QStringLiteral("int16_t");
    case TYPE_INT32:
        return QStringLiteral("int32_t");
    case TYPE_UINT8:
    case TYPE_BOOL:
        return QStringLiteral("uint8_t");
    case TYPE_UINT16:
        return QStringLiteral("uint16_t");
    case TYPE_UINT32:
    case TYPE_VOID:
        return QStringLiteral("uint32_t");
    case TYPE_POINTER: {
        const QString pointed = static_cast<const HwPointer&>(element).getPointedTypeName();
        static const QStringList basic {QStringLiteral("uint8"), QStringLiteral("uint16"),
            QStringLiteral("uint32"), QStringLiteral("int8"), QStringLiteral("int16"),
            QStringLiteral("int32")};
        if (basic.contains(pointed))
            return pointed + QStringLiteral("_t *");
        if (pointed == QLatin1String("int"))
            return QStringLiteral("int32_t *");
        if (pointed == QLatin1String("bool"))
            return QStringLiteral("uint8_t *");
        return QStringLiteral("uint32_t *");
    }
    default:
        return QString();
    }
}

class Exporter {
public:
    explicit Exporter(QStringList& warnings)
        : m_warnings(warnings)
    {
    }

    /// The peripheral of an instance; nothing for an instance that is neither a structure nor an external.
    std::optional<SvdPeripheral> peripheral(const HwXMLElement& instance)
    {
        if (!instance.isStruct() && !instance.isExternal()) {
            warn(instance, QStringLiteral("an instance that is not a structure is left out"));
            return std::nullopt;
        }
        SvdPeripheral out;
        out.name = name(instance, instance.getName());
        out.baseAddress = instance.getBaseAddress();
        out.description = descriptionFromComment(instance.getComment());
        const QMap<QString, std::uint32_t> alternatives = instance.getAltAddresses();
        for (auto it = alternatives.cbegin(); it != alternatives.cend(); ++it) {
            const QString line = it.key().isEmpty()
                ? QStringLiteral("Also decoded at %1.").arg(hex(it.value(), 8))
                : QStringLiteral("Also decoded at %1 (%2).").arg(hex(it.value(), 8), it.key());
            appendDescription(out.description, line);
        }
        const QString category = instance.getCategory();
        if (!category.isEmpty() && category != QLatin1String("Unclassified"))
            out.groupName = svdIdentifier(category);

        if (instance.isExternal()) {
            appendDescription(out.description,
                QStringLiteral("External block %1, described elsewhere.").arg(instance.getTypeString()));
            if (instance.sizeOf() > 0)
                out.blocks.push_back({0, instance.sizeOf(), QStringLiteral("reserved")});
            return out;
        }
        const auto& structure = static_cast<const HwStruct&>(instance);
        out.registers = members(structure, structure);
        if (!out.registers.empty() && structure.sizeOf() > 0)
            out.blocks.push_back({0, structure.sizeOf(), QStringLiteral("registers")});
        // Memories and externals directly in the instance are its buffers and reserved blocks.
        for (const auto& member : structure.getMemberList()) {
            const HwXMLElement* block = member.get();
            if (block->isArray() && static_cast<const HwArray*>(block)->getElementType())
                block = static_cast<const HwArray*>(block)->getElementType();
            if (block->getType() != TYPE_MEMORY && block->getType() != TYPE_EXTERNAL)
                continue;
            if (member->sizeOf() > 0)
                out.blocks.push_back({member->getBaseAddress() - structure.getBaseAddress(), member->sizeOf(),
                    block->getType() == TYPE_MEMORY ? QStringLiteral("buffer") : QStringLiteral("reserved")});
        }
        return out;
    }

    /// Peripheral names must differ too.
    void checkPeripherals(const HwRootArchive& root, const QStringList& names) { checkUnique(root, names); }

private:
    static void appendDescription(QString& description, const QString& text)
    {
        description += (description.isEmpty() ? QString() : QStringLiteral("\n")) + text;
    }

    void warn(const HwXMLElement& element, const QString& text)
    {
        QString where = element.getPath();
        if (where.isEmpty())
            where = element.getName();
        m_warnings << where + QStringLiteral(": ") + text;
    }

    /// The element's name as an identifier; a change is reported.
    QString name(const HwXMLElement& element, const QString& original)
    {
        const QString identifier = svdIdentifier(original);
        if (identifier != original)
            warn(element, QStringLiteral("name '%1' written as '%2'").arg(original, identifier));
        return identifier;
    }

    /// True for an element (or an item of an array) that is a member of the instance itself.
    static bool directlyInInstance(const HwXMLElement& element, const HwXMLElement& container)
    {
        const HwXMLElement* owner = element.getParent();
        if (owner && owner->isArray())
            owner = owner->getParent();
        return owner == &container && container.isRootElement();
    }

    /// The registers and clusters of a structure, offsets from `container`'s base address.
    std::vector<SvdNode> members(const HwStruct& structure, const HwXMLElement& container)
    {
        std::vector<SvdNode> nodes;
        for (const auto& member : structure.getMemberList())
            member_(*member, container, member->getName(), nodes);
        QStringList names;
        for (const SvdNode& node : nodes)
            names << QString(node.name).remove(QStringLiteral("[%s]"));
        checkUnique(structure, names);
        return nodes;
    }

    /// SVD readers refuse two elements of one name in one container: made identifiers, two names may meet.
    void checkUnique(const HwXMLElement& container, QStringList names)
    {
        names.sort();
        for (int i = 1; i < names.size(); ++i)
            if (names.at(i) == names.at(i - 1) && (i == 1 || names.at(i) != names.at(i - 2)))
                warn(container, QStringLiteral("the name %1 is written more than once").arg(names.at(i)));
    }

    void member_(const HwXMLElement& element, const HwXMLElement& container, const QString& elementName,
        std::vector<SvdNode>& into)
    {
        const std::uint32_t offset = element.getBaseAddress() - container.getBaseAddress();
        switch (element.getType()) {
        case TYPE_HOLE:
            return; // gaps are implicit in SVD
        case TYPE_MEMORY:
        case TYPE_EXTERNAL:
            // Those directly in an instance become address blocks (peripheral()); deeper ones have no form.
            if (!directlyInInstance(element, container))
                warn(element,
                    QStringLiteral("a %1 inside a structure is left out")
                        .arg(element.getType() == TYPE_MEMORY ? QStringLiteral("memory")
                                                              : QStringLiteral("external")));
            return;
        case TYPE_STRUCT: {
            SvdNode node;
            if (!cluster(static_cast<const HwStruct&>(element), elementName, node))
                return;
            node.offset = offset;
            into.push_back(std::move(node));
            return;
        }
        case TYPE_ARRAY:
            array(static_cast<const HwArray&>(element), container, elementName, into);
            return;
        default:
            break;
        }
        if (!element.isValuable()) {
            warn(element, QStringLiteral("an element of type %1 is left out").arg(element.getTypeString()));
            return;
        }
        SvdNode node = reg(static_cast<const HwValuable&>(element), elementName);
        node.offset = offset;
        into.push_back(std::move(node));
    }

    bool cluster(const HwStruct& structure, const QString& elementName, SvdNode& node)
    {
        node.cluster = true;
        node.name = name(structure, elementName);
        node.children = members(structure, structure);
        if (node.children.empty()) {
            warn(structure, QStringLiteral("a structure without registers is left out"));
            return false;
        }
        node.description = descriptionFromComment(structure.getComment());
        if (!structure.getTypeName().isEmpty())
            node.headerStructName = svdIdentifier(structure.getTypeName());
        return true;
    }

    /// An array of registers or structures is one `dim` element over its first item.
    void array(const HwArray& array, const HwXMLElement& container, const QString& elementName,
        std::vector<SvdNode>& into)
    {
        const auto& items = array.getMemberList();
        if (items.empty())
            return;
        const HwXMLElement& first = *items.front();
        if (first.isArray()) {
            warn(array, QStringLiteral("an array of arrays is left out"));
            return;
        }
        if (first.getType() == TYPE_MEMORY || first.getType() == TYPE_EXTERNAL
            || first.getType() == TYPE_HOLE) {
            member_(first, container, elementName, into);
            return;
        }
        // Items are placed one item size apart; dim needs that stride.
        const std::uint32_t stride =
            items.size() > 1 ? items[1]->getAddress() - items[0]->getAddress() : first.sizeOf();
        std::vector<SvdNode> one;
        member_(first, container, elementName, one);
        if (one.empty())
            return;
        SvdNode node = std::move(one.front());
        node.name += QStringLiteral("[%s]");
        node.dim = static_cast<unsigned int>(items.size());
        node.dimIncrement = stride;
        into.push_back(std::move(node));
    }

    SvdNode reg(const HwValuable& valuable, const QString& elementName)
    {
        SvdNode node;
        node.name = name(valuable, elementName);
        node.description = descriptionFromComment(valuable.getComment());
        node.size = valuable.sizeOf() * 8;
        if (!valuable.isReadable() && !valuable.isWritable())
            warn(valuable, QStringLiteral("neither readable nor writable: written read-only"));
        node.access = accessText(valuable.isReadable(), valuable.isWritable());
        node.dataType = dataTypeOf(valuable);
        if (valuable.getType() == TYPE_IREG8)
            warn(valuable,
                QStringLiteral("an internal (debug-side) register is written as an ordinary register"));
        if (valuable.isPointer())
            appendDescription(node.description,
                QStringLiteral("Pointer to %1.")
                    .arg(static_cast<const HwPointer&>(valuable).getPointedTypeName()));

        const int registerBits = static_cast<int>(node.size);
        std::uint32_t resetBits = 0;
        for (const auto& bitField : valuable.getBitFields()) {
            const HwBitField& field = *bitField;
            const int up = field.getUpPos();
            const int down = field.getDownPos();
            if (up < down || down < 0) {
                warn(field, QStringLiteral("an empty bitfield is left out"));
                continue;
            }
            if (up >= registerBits) {
                warn(field,
                    QStringLiteral("a bitfield beyond the register's %1 bits is left out").arg(registerBits));
                continue;
            }
            SvdField out;
            out.name = name(field, field.getName());
            out.description = descriptionFromComment(field.getComment());
            out.offset = down;
            out.width = up - down + 1;
            const int kind = field.getWriteKind();
            if (!field.isReadable() && kind == HwBitField::WRITE_NONE)
                warn(field, QStringLiteral("neither readable nor writable: written read-only"));
            out.access = accessText(field.isReadable(), kind != HwBitField::WRITE_NONE);
            if (kind == HwBitField::WRITE_SET)
                out.modifiedWriteValues = QStringLiteral("oneToSet");
            else if (kind == HwBitField::WRITE_CLEAR)
                out.modifiedWriteValues = QStringLiteral("oneToClear");
            const std::uint32_t mask = widthMask(out.width);
            for (const HwBitFieldOption& option : field.getOptions()) {
                if ((option.value & ~mask) != 0) {
                    warn(field,
                        QStringLiteral("option %1 = %2 does not fit the field and is left out")
                            .arg(option.name, hex(option.value, 1)));
                    continue;
                }
                out.values.push_back({enumeratedValueName(option.name),
                    descriptionFromComment(option.description), option.value});
            }
            if (field.hasResetValue()) {
                const std::uint32_t placed = mask << down;
                const std::uint32_t value = (field.getResetValue() & mask) << down;
                if ((resetBits & placed) != 0 && ((node.resetValue ^ value) & (resetBits & placed)) != 0)
                    warn(field, QStringLiteral("its reset value contradicts an overlapping bitfield's"));
                node.hasReset = true;
                node.resetValue = (node.resetValue & ~placed) | value;
                resetBits |= placed;
            }
            node.fields.push_back(std::move(out));
        }
        node.resetMask = resetBits;
        QStringList names;
        for (const SvdField& field : node.fields)
            names << field.name;
        checkUnique(valuable, names);
        QStringList groups;
        for (const auto& group : valuable.getBitGroups())
            groups << group->getName();
        if (groups.size() == 1)
            warn(valuable, QStringLiteral("the bit group %1 is left out").arg(groups.front()));
        else if (!groups.isEmpty())
            warn(valuable,
                QStringLiteral("the bit groups %1 are left out").arg(groups.join(QStringLiteral(", "))));
        return node;
    }

    QStringList& m_warnings;
};

/// Writes the tree in the schema's element order.
class Writer {
public:
    explicit Writer(QIODevice* out)
        : m_xml(out)
    {
        m_xml.setAutoFormatting(true);
        m_xml.setAutoFormattingIndent(2);
    }

    QXmlStreamWriter& xml() { return m_xml; }

    void text(const char* element, const QString& value)
    {
        if (!value.isEmpty())
            m_xml.writeTextElement(QLatin1String(element), value);
    }

    void peripheral(const SvdPeripheral& p)
    {
        m_xml.writeStartElement(QStringLiteral("peripheral"));
        if (!p.derivedFrom.isEmpty())
            m_xml.writeAttribute(QStringLiteral("derivedFrom"), p.derivedFrom);
        text("name", p.name);
        text("description", p.description);
        text("groupName", p.groupName);
        text("baseAddress", hex(p.baseAddress, 8));
        for (const SvdBlock& block : p.blocks) {
            m_xml.writeStartElement(QStringLiteral("addressBlock"));
            text("offset", hex(block.offset, 1));
            text("size", hex(block.size, 1));
            text("usage", block.usage);
            m_xml.writeEndElement();
        }
        if (!p.registers.empty()) {
            m_xml.writeStartElement(QStringLiteral("registers"));
            for (const SvdNode& node : p.registers)
                this->node(node);
            m_xml.writeEndElement();
        }
        m_xml.writeEndElement();
    }

private:
    void dim(const SvdNode& node)
    {
        if (node.dim == 0)
            return;
        text("dim", QString::number(node.dim));
        text("dimIncrement", hex(node.dimIncrement, 1));
        text("dimIndex", QStringLiteral("0-%1").arg(node.dim - 1));
    }

    void node(const SvdNode& node)
    {
        if (node.cluster) {
            m_xml.writeStartElement(QStringLiteral("cluster"));
            dim(node);
            text("name", node.name);
            // A cluster's description is required (and may be empty).
            m_xml.writeTextElement(QStringLiteral("description"), node.description);
            text("headerStructName", node.headerStructName);
            text("addressOffset", hex(node.offset, 1));
            for (const SvdNode& child : node.children)
                this->node(child);
            m_xml.writeEndElement();
            return;
        }
        m_xml.writeStartElement(QStringLiteral("register"));
        dim(node);
        text("name", node.name);
        text("description", node.description);
        text("addressOffset", hex(node.offset, 1));
        text("size", QString::number(node.size));
        text("access", node.access);
        if (node.hasReset) {
            text("resetValue", hex(node.resetValue, static_cast<int>(node.size / 4)));
            text("resetMask", hex(node.resetMask, static_cast<int>(node.size / 4)));
        }
        text("dataType", node.dataType);
        if (!node.fields.empty()) {
            m_xml.writeStartElement(QStringLiteral("fields"));
            for (const SvdField& field : node.fields)
                this->field(field);
            m_xml.writeEndElement();
        }
        m_xml.writeEndElement();
    }

    void field(const SvdField& field)
    {
        m_xml.writeStartElement(QStringLiteral("field"));
        text("name", field.name);
        text("description", field.description);
        text("bitOffset", QString::number(field.offset));
        text("bitWidth", QString::number(field.width));
        text("access", field.access);
        text("modifiedWriteValues", field.modifiedWriteValues);
        if (!field.values.empty()) {
            m_xml.writeStartElement(QStringLiteral("enumeratedValues"));
            for (const SvdField::Value& value : field.values) {
                m_xml.writeStartElement(QStringLiteral("enumeratedValue"));
                text("name", value.name);
                text("description", value.description);
                text("value", QString::number(value.value));
                m_xml.writeEndElement();
            }
            m_xml.writeEndElement();
        }
        m_xml.writeEndElement();
    }

    QXmlStreamWriter m_xml;
};

} // namespace

QString svdIdentifier(const QString& name)
{
    QString result = name;
    for (QChar& c : result)
        if (!isIdentifierStart(c) && !(c >= QLatin1Char('0') && c <= QLatin1Char('9')))
            c = QLatin1Char('_');
    if (result.isEmpty() || !isIdentifierStart(result.at(0)))
        result.prepend(QLatin1Char('_'));
    return result;
}

namespace {

/// Writes the document to `device` as it is made: a chip of millions of fields is never held twice.
HwSvdExportResult exportTo(const HwMemoryMap& map, QIODevice& device, const HwSvdExportOptions& options)
{
    HwSvdExportResult result;
    const HwRootArchive* root = map.getChipRootArchive();
    if (!root) {
        result.error = QStringLiteral("No chip is loaded.");
        return result;
    }
    const std::vector<HwXMLElement*> instances = root->getInstanciatedTemplates();

    const QString deviceName =
        svdIdentifier(options.deviceName.isEmpty() ? root->getName() : options.deviceName);
    QString description;
    if (!root->getArchives().empty())
        description = descriptionFromComment(root->getArchives().front()->getComment());
    if (description.isEmpty())
        description = deviceName;

    Writer writer(&device);
    QXmlStreamWriter& xml = writer.xml();
    xml.writeStartDocument();
    xml.writeStartElement(QStringLiteral("device"));
    xml.writeAttribute(QStringLiteral("schemaVersion"), QStringLiteral("1.3"));
    xml.writeNamespace(QStringLiteral("http://www.w3.org/2001/XMLSchema-instance"), QStringLiteral("xs"));
    xml.writeAttribute(QStringLiteral("http://www.w3.org/2001/XMLSchema-instance"),
        QStringLiteral("noNamespaceSchemaLocation"), QStringLiteral("CMSIS-SVD.xsd"));
    writer.text("name", deviceName);
    writer.text("version", options.version.isEmpty() ? QStringLiteral("1.0") : options.version);
    writer.text("description", description);
    writer.text("addressUnitBits", QStringLiteral("8"));
    writer.text("width", QStringLiteral("32"));
    xml.writeStartElement(QStringLiteral("peripherals"));
    // Each peripheral is written as soon as it is made, so that only one peripheral's tree is in memory;
    // one whose blocks and registers an earlier peripheral already wrote derives from it.
    Exporter exporter(result.warnings);
    ContentHash hash;
    QHash<QByteArray, QString> described;
    QStringList names;
    for (const HwXMLElement* instance : instances) {
        std::optional<SvdPeripheral> made = exporter.peripheral(*instance);
        if (!made)
            continue;
        SvdPeripheral& peripheral = *made;
        names << peripheral.name;
        if (!peripheral.registers.empty() || !peripheral.blocks.empty()) {
            const QByteArray key = hash.of(peripheral);
            if (const auto first = described.constFind(key); first != described.cend()) {
                peripheral.derivedFrom = first.value();
                peripheral.blocks.clear();
                peripheral.registers.clear();
            } else {
                described.insert(key, peripheral.name);
            }
        }
        writer.peripheral(peripheral);
    }
    exporter.checkPeripherals(*root, names);
    if (names.isEmpty()) {
        result.error = QStringLiteral("The chip has no instance to export.");
        return result;
    }
    xml.writeEndElement();
    xml.writeEndElement();
    xml.writeEndDocument();
    if (xml.hasError()) {
        result.error = QStringLiteral("The SVD document could not be written.");
        return result;
    }
    result.ok = true;
    return result;
}

} // namespace

HwSvdExportResult svdExportDocument(
    const HwMemoryMap& map, QByteArray& document, const HwSvdExportOptions& options)
{
    document.clear();
    QBuffer buffer(&document);
    buffer.open(QIODevice::WriteOnly);
    HwSvdExportResult result = exportTo(map, buffer, options);
    buffer.close();
    if (!result)
        document.clear();
    return result;
}

HwSvdExportResult svdExportFile(
    const HwMemoryMap& map, const QString& path, const HwSvdExportOptions& options)
{
    HwSvdExportResult result;
    if (!map.getChipRootArchive()) {
        result.error = QStringLiteral("No chip is loaded.");
        return result;
    }
    QSaveFile file(path);
    if (!file.open(QIODevice::WriteOnly)) {
        result.error = QStringLiteral("Cannot write %1: %2").arg(path, file.errorString());
        return result;
    }
    result = exportTo(map, file, options);
    if (!result) {
        if (file.error() != QFileDevice::NoError)
            result.error = QStringLiteral("Cannot write %1: %2").arg(path, file.errorString());
        file.cancelWriting();
    } else if (!file.commit()) {
        result.ok = false;
        result.error = QStringLiteral("Cannot write %1: %2").arg(path, file.errorString());
    }
    return result;
}
