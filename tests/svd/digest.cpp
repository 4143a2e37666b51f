#include "digest.h"

#include <vellxml/loader/archive.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/composites.h>
#include <vellxml/model/valuable.h>

#include <QDomDocument>
#include <QDomElement>
#include <QHash>

#include <cstdint>

namespace {

QString hex8(std::uint32_t value)
{
    return QStringLiteral("0x") + QString::number(value, 16).toUpper().rightJustified(8, QLatin1Char('0'));
}

std::uint32_t maskOf(int width)
{
    return width >= 32 ? 0xFFFFFFFFu : ((1u << width) - 1u);
}

/// One field as both digests see it.
struct FieldLine {
    QString name;
    int up = 0;
    int down = 0;
    QString access;
    bool hasReset = false;
    std::uint32_t reset = 0;
    QStringList options; // NAME=VALUE
};

/// The register's line and its fields' lines; the register's reset is the union of the fields'.
void addRegister(QStringList& lines, const QString& path, std::uint32_t address, int bits,
    const QString& access, const std::vector<FieldLine>& fields)
{
    std::uint32_t value = 0;
    std::uint32_t mask = 0;
    for (const FieldLine& field : fields) {
        const std::uint32_t width = maskOf(field.up - field.down + 1);
        lines << QStringLiteral("%1 %2 bits=%3:%4 access=%5 reset=%6 options=%7")
                     .arg(path + QLatin1Char('.') + field.name, hex8(address))
                     .arg(field.up)
                     .arg(field.down)
                     .arg(field.access, field.hasReset ? hex8(field.reset & width) : QStringLiteral("-"),
                         field.options.join(QLatin1Char(',')));
        if (field.hasReset && field.down >= 0 && field.down < 32) {
            const std::uint32_t placed = width << field.down;
            value = (value & ~placed) | ((field.reset & width) << field.down);
            mask |= placed;
        }
    }
    lines << QStringLiteral("%1 %2 size=%3 access=%4 reset=%5")
                 .arg(path, hex8(address))
                 .arg(bits)
                 .arg(access, mask ? hex8(value) + QLatin1Char('/') + hex8(mask) : QStringLiteral("-"));
}

// --- the model ---------------------------------------------------------------------------------------

bool asciiLetter(QChar c)
{
    return (c >= QLatin1Char('A') && c <= QLatin1Char('Z'))
        || (c >= QLatin1Char('a') && c <= QLatin1Char('z'));
}

/// Written independently of the exporter's own rule, which docs/svd.md states.
QString identifier(const QString& name, bool digitFirstAllowed)
{
    QString out;
    for (QChar c : name)
        out += (asciiLetter(c) || (c.isDigit() && c.unicode() < 128) || c == QLatin1Char('_'))
            ? c
            : QLatin1Char('_');
    if (out.isEmpty() || (!digitFirstAllowed && !asciiLetter(out.at(0)) && out.at(0) != QLatin1Char('_')))
        out.prepend(QLatin1Char('_'));
    return out;
}

class ModelWalk {
public:
    ModelWalk(DigestNames names, QStringList& lines)
        : m_svd(names == DigestNames::Svd)
        , m_lines(lines)
    {
    }

    void member(const HwXMLElement& element, const QString& container, const QString& name)
    {
        const QString path = m_svd
            ? (container.isEmpty() ? QStringLiteral("$") : container + QLatin1Char('.'))
                + identifier(name, false)
            : element.getPath();
        at(element, path);
    }

private:
    void at(const HwXMLElement& element, const QString& path)
    {
        if (element.isStruct()) {
            for (const auto& m : static_cast<const HwStruct&>(element).getMemberList())
                member(*m, path, m->getName());
        } else if (element.isArray()) {
            for (const auto& item : static_cast<const HwArray&>(element).getMemberList()) {
                const QString index = QString::number(item->getArrayNumber());
                if (m_svd && item->isArray())
                    break; // SVD has no array of arrays
                at(*item, m_svd ? path + QLatin1Char('[') + index + QLatin1Char(']') : item->getPath());
            }
        } else if (element.isValuable()) {
            valuable(static_cast<const HwValuable&>(element), path);
        }
    }

    QString access(QString text) const
    {
        return m_svd && text == QLatin1String("--") ? QStringLiteral("r-") : text;
    }

    void valuable(const HwValuable& valuable, const QString& path)
    {
        const int bits = static_cast<int>(valuable.sizeOf() * 8);
        std::vector<FieldLine> fields;
        for (const auto& bitField : valuable.getBitFields()) {
            const HwBitField& field = *bitField;
            FieldLine line;
            line.up = field.getUpPos();
            line.down = field.getDownPos();
            if (m_svd && (line.up < line.down || line.down < 0 || line.up >= bits))
                continue;
            line.name = m_svd ? identifier(field.getName(), false) : field.getName();
            line.access = access(field.getAccessString());
            line.hasReset = field.hasResetValue();
            line.reset = field.getResetValue();
            const std::uint32_t width = line.up >= line.down ? maskOf(line.up - line.down + 1) : 0;
            for (const HwBitFieldOption& option : field.getOptions()) {
                if (m_svd && (option.value & ~width) != 0)
                    continue;
                line.options << (m_svd ? identifier(option.name, true) : option.name) + QLatin1Char('=')
                        + QString::number(option.value);
            }
            fields.push_back(line);
        }
        addRegister(
            m_lines, path, valuable.getBaseAddress(), bits, access(valuable.getProtectString()), fields);
    }

    bool m_svd;
    QStringList& m_lines;
};

// --- an SVD document -------------------------------------------------------------------------------

bool parseNumber(QString text, std::uint64_t& value)
{
    text = text.trimmed().toLower();
    if (text.startsWith(QLatin1Char('+')))
        text.remove(0, 1);
    std::uint64_t scale = 1;
    int base = 10;
    if (text.startsWith(QLatin1String("0x"))) {
        base = 16;
        text.remove(0, 2);
    } else if (text.startsWith(QLatin1Char('#'))) {
        base = 2;
        text.remove(0, 1);
    } else if (text.startsWith(QLatin1String("0b"))) {
        base = 2;
        text.remove(0, 2);
    }
    if (base == 10 && !text.isEmpty()) {
        const QChar suffix = text.back();
        const QString suffixes = QStringLiteral("kmgt");
        if (const int power = suffixes.indexOf(suffix); power >= 0) {
            scale = std::uint64_t(1) << (10 * (power + 1));
            text.chop(1);
        }
    }
    bool ok = false;
    value = text.toULongLong(&ok, base) * scale;
    return ok;
}

struct Properties {
    int size = 32;
    QString access = QStringLiteral("read-write");
    std::uint64_t resetValue = 0;
    std::uint64_t resetMask = 0;
    bool hasReset = false;
};

QString child(const QDomElement& element, const char* name)
{
    return element.firstChildElement(QLatin1String(name)).text().trimmed();
}

class SvdWalk {
public:
    explicit SvdWalk(QStringList& lines)
        : m_lines(lines)
    {
    }

    bool device(const QDomElement& device)
    {
        Properties properties;
        if (!inherit(device, properties))
            return false;
        for (QDomElement p = device.firstChildElement(QStringLiteral("peripherals"))
                                 .firstChildElement(QStringLiteral("peripheral"));
             !p.isNull(); p = p.nextSiblingElement(QStringLiteral("peripheral"))) {
            Properties own = properties;
            std::uint64_t base = 0;
            // A derived peripheral takes what it does not say itself from an earlier one.
            QDomElement registers = p.firstChildElement(QStringLiteral("registers"));
            if (const QString from = p.attribute(QStringLiteral("derivedFrom")); !from.isEmpty()) {
                const QDomElement original = m_peripherals.value(from);
                if (original.isNull())
                    return fail(
                        QStringLiteral("peripheral %1: derived from unknown %2").arg(child(p, "name"), from));
                if (!inherit(original, own))
                    return false;
                if (registers.isNull())
                    registers = original.firstChildElement(QStringLiteral("registers"));
            }
            m_peripherals.insert(child(p, "name"), p);
            if (!inherit(p, own) || !parseNumber(child(p, "baseAddress"), base))
                return fail(QStringLiteral("peripheral %1: bad number").arg(child(p, "name")));
            const bool ok = expand(p, base, 0, [&](const QString& name, std::uint64_t address) {
                return container(registers, QStringLiteral("$") + name, address, own);
            });
            if (!ok)
                return false;
        }
        return true;
    }

    QString error;

private:
    bool fail(const QString& text)
    {
        if (error.isEmpty())
            error = text;
        return false;
    }

    bool inherit(const QDomElement& element, Properties& properties)
    {
        std::uint64_t number = 0;
        if (const QString size = child(element, "size"); !size.isEmpty()) {
            if (!parseNumber(size, number))
                return fail(QStringLiteral("bad size %1").arg(size));
            properties.size = static_cast<int>(number);
        }
        if (const QString access = child(element, "access"); !access.isEmpty())
            properties.access = access;
        if (const QString reset = child(element, "resetValue"); !reset.isEmpty()) {
            if (!parseNumber(reset, properties.resetValue))
                return fail(QStringLiteral("bad resetValue %1").arg(reset));
            properties.hasReset = true;
            if (child(element, "resetMask").isEmpty())
                properties.resetMask =
                    properties.size >= 64 ? ~std::uint64_t(0) : (std::uint64_t(1) << properties.size) - 1;
        }
        if (const QString mask = child(element, "resetMask"); !mask.isEmpty()) {
            if (!parseNumber(mask, properties.resetMask))
                return fail(QStringLiteral("bad resetMask %1").arg(mask));
            properties.hasReset = true;
        }
        return true;
    }

    /// Calls `each` with every name and address a possibly dim element stands for.
    template<typename Each>
    bool expand(const QDomElement& element, std::uint64_t base, std::uint64_t offset, Each each)
    {
        const QString name = child(element, "name");
        const QString dimText = child(element, "dim");
        if (dimText.isEmpty())
            return each(name, base + offset);
        std::uint64_t dim = 0;
        std::uint64_t increment = 0;
        if (!parseNumber(dimText, dim) || !parseNumber(child(element, "dimIncrement"), increment)
            || dim > 65536)
            return fail(QStringLiteral("%1: bad dim").arg(name));
        QStringList indices;
        const QString dimIndex = child(element, "dimIndex");
        if (dimIndex.isEmpty()) {
            for (std::uint64_t i = 0; i < dim; ++i)
                indices << QString::number(i);
        } else if (dimIndex.contains(QLatin1Char(','))) {
            for (const QString& index : dimIndex.split(QLatin1Char(',')))
                indices << index.trimmed();
        } else {
            const QStringList range = dimIndex.split(QLatin1Char('-'));
            bool numeric = false;
            const int first = range.value(0).toInt(&numeric);
            if (range.size() != 2)
                return fail(QStringLiteral("%1: bad dimIndex").arg(name));
            if (numeric) {
                for (int i = first; i <= range.value(1).toInt(); ++i)
                    indices << QString::number(i);
            } else {
                for (ushort c = range[0].at(0).unicode(); c <= range[1].at(0).unicode(); ++c)
                    indices << QString(QChar(c));
            }
        }
        if (static_cast<std::uint64_t>(indices.size()) != dim)
            return fail(QStringLiteral("%1: dimIndex does not match dim").arg(name));
        for (std::uint64_t i = 0; i < dim; ++i) {
            QString itemName = name;
            if (itemName.contains(QLatin1String("[%s]")))
                itemName.replace(
                    QLatin1String("[%s]"), QLatin1Char('[') + QString::number(i) + QLatin1Char(']'));
            else
                itemName.replace(QLatin1String("%s"), indices[static_cast<int>(i)]);
            if (!each(itemName, base + offset + i * increment))
                return false;
        }
        return true;
    }

    bool container(
        const QDomElement& parent, const QString& path, std::uint64_t base, const Properties& properties)
    {
        for (QDomElement e = parent.firstChildElement(); !e.isNull(); e = e.nextSiblingElement()) {
            const bool isCluster = e.tagName() == QLatin1String("cluster");
            if (!isCluster && e.tagName() != QLatin1String("register"))
                continue;
            Properties own = properties;
            std::uint64_t offset = 0;
            if (!inherit(e, own) || !parseNumber(child(e, "addressOffset"), offset))
                return fail(QStringLiteral("%1: bad number").arg(path));
            const bool ok = expand(e, base, offset, [&](const QString& name, std::uint64_t address) {
                const QString itemPath = path + QLatin1Char('.') + name;
                return isCluster ? container(e, itemPath, address, own) : reg(e, itemPath, address, own);
            });
            if (!ok)
                return false;
        }
        return true;
    }

    static QString accessCode(const QString& access, const QString& modified)
    {
        const bool readable = access.startsWith(QLatin1String("read"));
        const bool writable = access.contains(QLatin1String("write")) || access == QLatin1String("writeOnce");
        QString code = readable ? QStringLiteral("r") : QStringLiteral("-");
        if (!writable)
            code += QLatin1Char('-');
        else if (modified == QLatin1String("oneToSet"))
            code += QLatin1Char('s');
        else if (modified == QLatin1String("oneToClear"))
            code += QLatin1Char('c');
        else
            code += QLatin1Char('w');
        return code;
    }

    bool reg(
        const QDomElement& element, const QString& path, std::uint64_t address, const Properties& properties)
    {
        const QString registerModified = child(element, "modifiedWriteValues");
        std::vector<FieldLine> fields;
        const QDomElement list = element.firstChildElement(QStringLiteral("fields"));
        for (QDomElement f = list.firstChildElement(QStringLiteral("field")); !f.isNull();
             f = f.nextSiblingElement(QStringLiteral("field"))) {
            FieldLine line;
            line.name = child(f, "name");
            std::uint64_t a = 0;
            std::uint64_t b = 0;
            if (const QString range = child(f, "bitRange"); !range.isEmpty()) {
                const QStringList parts = range.mid(1, range.size() - 2).split(QLatin1Char(':'));
                line.up = parts.value(0).toInt();
                line.down = parts.value(1).toInt();
            } else if (!child(f, "lsb").isEmpty()) {
                if (!parseNumber(child(f, "lsb"), a) || !parseNumber(child(f, "msb"), b))
                    return fail(QStringLiteral("%1.%2: bad lsb/msb").arg(path, line.name));
                line.down = static_cast<int>(a);
                line.up = static_cast<int>(b);
            } else {
                if (!parseNumber(child(f, "bitOffset"), a))
                    return fail(QStringLiteral("%1.%2: bad bitOffset").arg(path, line.name));
                b = 1;
                if (!child(f, "bitWidth").isEmpty() && !parseNumber(child(f, "bitWidth"), b))
                    return fail(QStringLiteral("%1.%2: bad bitWidth").arg(path, line.name));
                line.down = static_cast<int>(a);
                line.up = static_cast<int>(a + b) - 1;
            }
            const QString access = child(f, "access").isEmpty() ? properties.access : child(f, "access");
            const QString modified = child(f, "modifiedWriteValues").isEmpty()
                ? registerModified
                : child(f, "modifiedWriteValues");
            line.access = accessCode(access, modified);
            const std::uint64_t width = maskOf(line.up - line.down + 1);
            const std::uint64_t placed = width << line.down;
            line.hasReset = properties.hasReset && (properties.resetMask & placed) == placed;
            line.reset = static_cast<std::uint32_t>((properties.resetValue >> line.down) & width);
            for (QDomElement values = f.firstChildElement(QStringLiteral("enumeratedValues"));
                 !values.isNull(); values = values.nextSiblingElement(QStringLiteral("enumeratedValues")))
                for (QDomElement v = values.firstChildElement(QStringLiteral("enumeratedValue")); !v.isNull();
                     v = v.nextSiblingElement(QStringLiteral("enumeratedValue"))) {
                    std::uint64_t value = 0;
                    if (child(v, "value").isEmpty())
                        continue; // isDefault
                    if (!parseNumber(child(v, "value"), value))
                        return fail(QStringLiteral("%1.%2: bad enumerated value").arg(path, line.name));
                    line.options << child(v, "name") + QLatin1Char('=') + QString::number(value);
                }
            fields.push_back(line);
        }
        const QString access = accessCode(properties.access, QString());
        addRegister(m_lines, path, static_cast<std::uint32_t>(address), properties.size,
            access.left(1) + (access.at(1) == QLatin1Char('-') ? QStringLiteral("-") : QStringLiteral("w")),
            fields);
        return true;
    }

    QStringList& m_lines;
    QHash<QString, QDomElement> m_peripherals;
};

} // namespace

QStringList modelDigest(const HwRootArchive& root, DigestNames names)
{
    QStringList lines;
    ModelWalk walk(names, lines);
    for (const HwXMLElement* instance : root.getInstanciatedTemplates())
        walk.member(*instance, QString(), instance->getName());
    lines.sort();
    return lines;
}

bool svdDigest(const QByteArray& svd, QStringList& lines, QString& error)
{
    QDomDocument document;
    if (!document.setContent(svd)) {
        error = QStringLiteral("not an XML document");
        return false;
    }
    lines.clear();
    SvdWalk walk(lines);
    if (!walk.device(document.documentElement())) {
        error = walk.error;
        return false;
    }
    lines.sort();
    return true;
}
