#ifndef VELLXML_TESTS_SVD_SVD_WALK_H
#define VELLXML_TESTS_SVD_SVD_WALK_H

// A reading of an SVD file of the tests' own (QDomDocument), not the importer's: every register the file
// describes with its address, width, access, reset and fields, and how an imported chip must name it.
// It knows the notations of the vendor files and of the generated ones, and nothing more.

#include <vellxml/loader/memory_map.h>
#include <vellxml/model/bitfield.h>
#include <vellxml/model/valuable.h>

#include <QDomDocument>
#include <QHash>
#include <QSet>
#include <QStringList>

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

namespace svdtest {

struct Properties {
    int size = 32;
    QString access = QStringLiteral("read-write");
    bool hasReset = false;
    quint64 reset = 0;
    quint64 resetMask = ~quint64 {0};
};

struct ExpectedField {
    QString name;
    int lsb = 0;
    int msb = 0;
    QString access; // as HwBitField::getAccessString
    bool hasReset = false;
    quint64 reset = 0;
};

struct ExpectedRegister {
    QString instance;
    QStringList paths; // the path after the instance, in each form an array may take
    quint64 address = 0;
    int size = 32;
    QString protect; // as HwValuable::getProtectString
    std::vector<ExpectedField> fields;
};

inline quint64 number(QString text)
{
    text = text.trimmed().toLower();
    bool ok = false;
    quint64 value = 0;
    if (text.startsWith(QLatin1String("0x")))
        value = text.mid(2).toULongLong(&ok, 16);
    else if (text.startsWith(QLatin1Char('#')))
        value = text.mid(1).toULongLong(&ok, 2);
    else
        value = text.toULongLong(&ok, 10);
    EXPECT_TRUE(ok) << text.toStdString();
    return value;
}

inline QString text(const QDomElement& e, const char* tag)
{
    return e.firstChildElement(QLatin1String(tag)).text().trimmed();
}

inline Properties inherit(Properties p, const QDomElement& e)
{
    if (!e.firstChildElement(QStringLiteral("size")).isNull())
        p.size = int(number(text(e, "size")));
    if (!e.firstChildElement(QStringLiteral("access")).isNull())
        p.access = text(e, "access");
    if (!e.firstChildElement(QStringLiteral("resetValue")).isNull()) {
        p.reset = number(text(e, "resetValue"));
        p.hasReset = true;
    }
    if (!e.firstChildElement(QStringLiteral("resetMask")).isNull())
        p.resetMask = number(text(e, "resetMask"));
    return p;
}

/// The names of the copies of a dimensioned element ("%s" replaced), or the name alone.
inline QStringList indices(const QDomElement& e)
{
    if (e.firstChildElement(QStringLiteral("dim")).isNull())
        return {};
    const int dim = int(number(text(e, "dim")));
    QString index = text(e, "dimIndex").remove(QLatin1Char(' '));
    QStringList out;
    if (index.contains(QLatin1Char(','))) {
        out = index.split(QLatin1Char(','));
    } else if (index.contains(QLatin1Char('-'))) {
        const QString first = index.section(QLatin1Char('-'), 0, 0);
        const QString last = index.section(QLatin1Char('-'), 1, 1);
        bool numeric = false;
        const int from = first.toInt(&numeric);
        if (numeric) {
            for (int i = from; i <= last.toInt(); ++i)
                out.append(QString::number(i));
        } else {
            for (QChar c = first[0]; c <= last[0]; c = QChar(c.unicode() + 1))
                out.append(QString(c));
        }
    }
    if (out.size() != dim) {
        out.clear();
        for (int i = 0; i < dim; ++i)
            out.append(QString::number(i));
    }
    return out;
}

/// The element a derivedFrom names among its siblings, or the element itself.
inline QDomElement base(const QDomElement& e)
{
    const QString from = e.attribute(QStringLiteral("derivedFrom"));
    if (from.isEmpty())
        return e;
    for (QDomElement s = e.parentNode().firstChildElement(e.tagName()); !s.isNull();
         s = s.nextSiblingElement(e.tagName())) {
        if (text(s, "name") == from)
            return s;
    }
    ADD_FAILURE() << "no base " << from.toStdString();
    return e;
}

class Walk {
public:
    std::vector<ExpectedRegister> registers;

    void device(const QDomElement& root)
    {
        const Properties top = inherit(Properties(), root);
        QHash<QString, QDomElement> byName;
        const QDomElement list = root.firstChildElement(QStringLiteral("peripherals"));
        for (QDomElement p = list.firstChildElement(QStringLiteral("peripheral")); !p.isNull();
             p = p.nextSiblingElement(QStringLiteral("peripheral")))
            byName.insert(text(p, "name"), p);
        for (QDomElement p = list.firstChildElement(QStringLiteral("peripheral")); !p.isNull();
             p = p.nextSiblingElement(QStringLiteral("peripheral"))) {
            QDomElement owner = p;
            Properties props = top;
            std::vector<QDomElement> chain {p};
            while (owner.firstChildElement(QStringLiteral("registers")).isNull()
                && owner.hasAttribute(QStringLiteral("derivedFrom"))) {
                owner = byName.value(owner.attribute(QStringLiteral("derivedFrom")));
                chain.insert(chain.begin(), owner);
            }
            for (const QDomElement& e : chain)
                props = inherit(props, e);
            const QString name = text(p, "name");
            const quint64 address = number(text(p, "baseAddress"));
            const QStringList copies = indices(p);
            const QDomElement regs = owner.firstChildElement(QStringLiteral("registers"));
            if (copies.isEmpty()) {
                container(regs, props, name, {QString()}, address);
                continue;
            }
            const quint64 increment = number(text(p, "dimIncrement"));
            for (int i = 0; i < copies.size(); ++i)
                container(regs, props,
                    QString(name)
                        .replace(QStringLiteral("[%s]"), copies[i])
                        .replace(QStringLiteral("%s"), copies[i]),
                    {QString()}, address + quint64(i) * increment);
        }
    }

private:
    void container(const QDomElement& parent, const Properties& props, const QString& instance,
        const QStringList& prefixes, quint64 address)
    {
        for (QDomElement e = parent.firstChildElement(); !e.isNull(); e = e.nextSiblingElement()) {
            const bool isRegister = e.tagName() == QLatin1String("register");
            if (!isRegister && e.tagName() != QLatin1String("cluster"))
                continue;
            const QDomElement from = base(e);
            const Properties own = inherit(inherit(props, from), e);
            const QString name = text(e, "name").isEmpty() ? text(from, "name") : text(e, "name");
            const QString offsetText =
                text(e, "addressOffset").isEmpty() ? text(from, "addressOffset") : text(e, "addressOffset");
            const quint64 offset = number(offsetText);
            const QStringList copies =
                indices(e.firstChildElement(QStringLiteral("dim")).isNull() ? from : e);
            const quint64 increment = copies.isEmpty()
                ? 0
                : number(
                    text(e.firstChildElement(QStringLiteral("dim")).isNull() ? from : e, "dimIncrement"));
            const int n = copies.isEmpty() ? 1 : int(copies.size());
            for (int i = 0; i < n; ++i) {
                QStringList forms;
                if (copies.isEmpty()) {
                    forms.append(name);
                } else if (name.contains(QStringLiteral("[%s]"))) {
                    forms.append(
                        QString(name).replace(QStringLiteral("[%s]"), QStringLiteral("[%1]").arg(i)));
                    forms.append(QString(name).replace(QStringLiteral("[%s]"), copies[i]));
                } else {
                    forms.append(QString(name).replace(QStringLiteral("%s"), copies[i]));
                }
                QStringList paths;
                for (const QString& prefix : prefixes) {
                    for (const QString& form : forms)
                        paths.append(prefix.isEmpty() ? form : prefix + QLatin1Char('.') + form);
                }
                const quint64 at = address + offset + quint64(i) * increment;
                if (isRegister)
                    reg(e, from, own, instance, paths, at);
                else
                    container(e, own, instance, paths, at);
            }
        }
    }

    void reg(const QDomElement& e, const QDomElement& from, const Properties& props, const QString& instance,
        const QStringList& paths, quint64 address)
    {
        ExpectedRegister r;
        r.instance = instance;
        r.paths = paths;
        r.address = address;
        r.size = props.size;
        const bool readable =
            props.access != QLatin1String("write-only") && props.access != QLatin1String("writeOnce");
        const bool writable = props.access != QLatin1String("read-only");
        r.protect = QString(readable ? QLatin1Char('r') : QLatin1Char('-'))
            + QString(writable ? QLatin1Char('w') : QLatin1Char('-'));
        QDomElement fields = e.firstChildElement(QStringLiteral("fields"));
        if (fields.isNull())
            fields = from.firstChildElement(QStringLiteral("fields"));
        for (QDomElement f = fields.firstChildElement(QStringLiteral("field")); !f.isNull();
             f = f.nextSiblingElement(QStringLiteral("field"))) {
            ExpectedField x;
            x.name = text(f, "name");
            if (!f.firstChildElement(QStringLiteral("bitRange")).isNull()) {
                const QString range = text(f, "bitRange").remove(QLatin1Char('[')).remove(QLatin1Char(']'));
                x.msb = range.section(QLatin1Char(':'), 0, 0).toInt();
                x.lsb = range.section(QLatin1Char(':'), 1, 1).toInt();
            } else if (!f.firstChildElement(QStringLiteral("lsb")).isNull()) {
                x.lsb = int(number(text(f, "lsb")));
                x.msb = int(number(text(f, "msb")));
            } else {
                x.lsb = int(number(text(f, "bitOffset")));
                const QString width = text(f, "bitWidth");
                x.msb = x.lsb + (width.isEmpty() ? 1 : int(number(width))) - 1;
            }
            const QString access = text(f, "access").isEmpty() ? props.access : text(f, "access");
            const QString modified = text(f, "modifiedWriteValues");
            const bool fr = access != QLatin1String("write-only") && access != QLatin1String("writeOnce");
            const bool fw = access != QLatin1String("read-only");
            QChar kind = QLatin1Char('-');
            if (fw)
                kind = modified == QLatin1String("oneToClear") ? QLatin1Char('c')
                    : modified == QLatin1String("oneToSet")    ? QLatin1Char('s')
                                                               : QLatin1Char('w');
            x.access = QString(fr ? QLatin1Char('r') : QLatin1Char('-')) + kind;
            const QStringList copies = indices(f);
            const int increment = copies.isEmpty() ? 0 : int(number(text(f, "dimIncrement")));
            for (int i = 0; i < std::max(1, int(copies.size())); ++i) {
                ExpectedField y = x;
                if (!copies.isEmpty()) {
                    y.name = QString(x.name).replace(QStringLiteral("%s"), copies[i]);
                    y.lsb += i * increment;
                    y.msb += i * increment;
                }
                const quint64 mask = (quint64 {1} << (y.msb - y.lsb + 1)) - 1;
                y.hasReset = props.hasReset && ((props.resetMask >> y.lsb) & mask) == mask;
                y.reset = y.hasReset ? (props.reset >> y.lsb) & mask : 0;
                r.fields.push_back(y);
            }
        }
        const quint64 wholeMask = (quint64 {1} << r.size) - 1;
        if (r.fields.empty() && props.hasReset && (props.resetMask & wholeMask) == wholeMask) {
            // A register without fields keeps its reset value in one field over its whole width.
            r.fields.push_back({QStringLiteral("VALUE"), 0, r.size - 1,
                QString(readable ? QLatin1Char('r') : QLatin1Char('-'))
                    + QString(writable ? QLatin1Char('w') : QLatin1Char('-')),
                true, props.reset & wholeMask});
        }
        registers.push_back(r);
    }
};

/// Checks that every register of the walk, and each of its fields, is found by path in `map` with the
/// SVD's address, width, access and reset. Returns the number of fields checked.
inline std::size_t expectEveryRegister(const HwMemoryMap& map, const std::vector<ExpectedRegister>& registers)
{
    std::size_t fields = 0;
    for (const ExpectedRegister& r : registers) {
        // Registers that overlap others live in the instances NAME_ALT1, NAME_ALT2 ... at the same base.
        QSet<const HwXMLElement*> found;
        for (int layer = 0; layer < 16; ++layer) {
            const QString instance =
                layer == 0 ? r.instance : QStringLiteral("%1_ALT%2").arg(r.instance).arg(layer);
            for (const QString& path : r.paths) {
                if (const HwXMLElement* e = map.getElementFromPath(instance + QLatin1Char('.') + path);
                    e && dynamic_cast<const HwValuable*>(e))
                    found.insert(e);
            }
        }
        SCOPED_TRACE((r.instance + QLatin1Char('.') + r.paths.first()).toStdString());
        EXPECT_EQ(found.size(), 1);
        if (found.size() != 1)
            continue;
        const auto* valuable = dynamic_cast<const HwValuable*>(*found.begin());
        EXPECT_EQ(valuable->getBaseAddress(), r.address);
        EXPECT_EQ(int(valuable->getBitSize()), r.size);
        EXPECT_EQ(valuable->getProtectString(), r.protect);
        for (const ExpectedField& f : r.fields) {
            SCOPED_TRACE(f.name.toStdString());
            const HwBitField* field = nullptr;
            for (const auto& each : valuable->getBitFields()) {
                if (each->getName() == f.name && each->getDownPos() == f.lsb)
                    field = each.get();
            }
            EXPECT_NE(field, nullptr);
            if (!field)
                continue;
            EXPECT_EQ(field->getUpPos(), f.msb);
            EXPECT_EQ(field->getAccessString(), f.access);
            EXPECT_EQ(field->hasResetValue(), f.hasReset);
            if (f.hasReset) {
                EXPECT_EQ(field->getResetValue(), f.reset);
            }
            ++fields;
        }
    }
    return fields;
}

} // namespace svdtest

#endif
