#include "random_description.h"

#include <QFile>
#include <QRegularExpression>
#include <QSet>
#include <QStringList>

#include <algorithm>

namespace {

/// splitmix64: the same sequence everywhere, unlike the standard distributions.
class Random {
public:
    explicit Random(std::uint64_t seed)
        : m_state(seed)
    {
    }
    std::uint64_t next()
    {
        std::uint64_t z = (m_state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    /// In [0, n).
    int below(int n) { return static_cast<int>(next() % static_cast<std::uint64_t>(n)); }
    bool chance(int percent) { return below(100) < percent; }
    template<typename T, std::size_t N>
    const T& pick(const T (&items)[N])
    {
        return items[below(static_cast<int>(N))];
    }

private:
    std::uint64_t m_state;
};

const char* const kHostileNames[] = {"int", "register", "class", "for", "signal", "end", "type", "in", "out",
    "volatile", "__x", "x_", "__", "_", "a", "A", "Data", "data", "DATA", "ctrl", "CTRL", "r2d2", "mode_",
    "my-reg", "two words", "9lives", "x.y", "ÄÖ", "reserved", "Reserved", "value", "size"};
const char* const kAccess[] = {"", "r", "w", "rw", "rs", "rc", "-s", "-c", "--", "r-", "-w", "s", "c"};

QString escaped(QString text)
{
    text.replace(QLatin1Char('&'), QLatin1String("&amp;"));
    text.replace(QLatin1Char('<'), QLatin1String("&lt;"));
    text.replace(QLatin1Char('>'), QLatin1String("&gt;"));
    text.replace(QLatin1Char('"'), QLatin1String("&quot;"));
    return text;
}

class Generator {
public:
    explicit Generator(std::uint64_t seed)
        : m_random(seed)
    {
    }

    QString description()
    {
        m_out = QStringLiteral(
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<archive>\n"
            "  <comment>Random chip &amp; its &lt;registers&gt;.<br/>Second line.</comment>\n");
        const int typedefs = m_random.below(3);
        for (int i = 0; i < typedefs; ++i) {
            const QString name = QStringLiteral("T%1_%2").arg(i).arg(typeName());
            m_out += QStringLiteral("  <typedef name=\"%1\">\n").arg(escaped(name));
            body(2, 1);
            m_out += QStringLiteral("  </typedef>\n");
            m_typedefs << name;
        }
        const int modules = 1 + m_random.below(4);
        QStringList moduleNames;
        for (int i = 0; i < modules; ++i) {
            const QString name = QStringLiteral("M%1_%2").arg(i).arg(typeName());
            m_out += QStringLiteral("  <module name=\"%1\" category=\"%2\">\n")
                         .arg(escaped(name),
                             m_random.chance(50) ? QStringLiteral("Timers") : QStringLiteral("Bus I/O"));
            if (m_random.chance(50))
                m_out += QStringLiteral("    <comment>Module %1 &amp; co.</comment>\n").arg(i);
            body(2, 0);
            m_out += QStringLiteral("  </module>\n");
            moduleNames << name;
        }
        QSet<QString> instances;
        unsigned int address = 0x40000000u;
        for (const QString& module : moduleNames) {
            const int count = 1 + m_random.below(2);
            for (int i = 0; i < count; ++i) {
                const QString name = unique(instances);
                m_out += QStringLiteral("  <instance name=\"%1\" type=\"%2\" address=\"0x%3\">\n")
                             .arg(escaped(name), escaped(module), QString::number(address, 16));
                if (m_random.chance(30))
                    m_out += QStringLiteral("    <altaddress name=\"secure\" address=\"0x%1\"/>\n")
                                 .arg(QString::number(address + 0x10000000u, 16));
                m_out += QStringLiteral("  </instance>\n");
                address += 0x10000u;
            }
        }
        m_out += QStringLiteral("</archive>\n");
        return m_out;
    }

private:
    QString typeName() { return QString::fromUtf8(m_random.pick(kHostileNames)); }

    /// A name not yet used among `used` (case-only twins count as different names).
    QString unique(QSet<QString>& used)
    {
        QString name = typeName();
        while (used.contains(name))
            name += QLatin1Char('_') + QString::number(m_random.below(10));
        used.insert(name);
        return name;
    }

    QString count()
    {
        return m_random.chance(25)
            ? QStringLiteral(" count=\"%1\"").arg(m_random.below(4) + (m_random.chance(90) ? 1 : 0))
            : QString();
    }

    void indent(int level) { m_out += QString(level * 2, QLatin1Char(' ')); }

    void body(int level, int depth)
    {
        QSet<QString> used;
        const int members = 1 + m_random.below(7);
        for (int i = 0; i < members; ++i) {
            const QString name = escaped(unique(used));
            indent(level);
            switch (m_random.below(10)) {
            case 0:
            case 1:
            case 2:
            case 3: {
                const int widths[] = {8, 16, 32};
                const int width = m_random.pick(widths);
                const char* protect[] = {"", "", "r", "w", "rw"};
                const QString tag =
                    width == 32 ? QStringLiteral("reg32") : QStringLiteral("reg%1").arg(width);
                m_out += QStringLiteral("<%1 name=\"%2\" protect=\"%3\"%4>\n")
                             .arg(tag, name, QLatin1String(m_random.pick(protect)), count());
                if (m_random.chance(40)) {
                    indent(level + 1);
                    m_out += QStringLiteral("<comment>Register %1 &lt;b&gt;</comment>\n").arg(i);
                }
                bits(level + 1, width);
                indent(level);
                m_out += QStringLiteral("</%1>\n").arg(tag);
                break;
            }
            case 4: {
                const char* tags[] = {"uint32", "uint16", "uint8", "int32", "int16", "int8", "bool"};
                m_out += QStringLiteral("<%1 name=\"%2\"%3/>\n")
                             .arg(QLatin1String(m_random.pick(tags)), name, count());
                break;
            }
            case 5: {
                const int sizes[] = {8, 16, 24, 32};
                m_out += QStringLiteral("<hole size=\"%1\"/>\n").arg(m_random.pick(sizes));
                break;
            }
            case 6: {
                const char* types[] = {"void", "uint8", "int16", "uint32", "memory"};
                m_out += QStringLiteral("<ptr name=\"%1\" type=\"%2\"%3/>\n")
                             .arg(name, QLatin1String(m_random.pick(types)), count());
                break;
            }
            case 7:
                if (depth < 2) {
                    m_out += QStringLiteral("<struct name=\"%1\"%2>\n").arg(name, count());
                    body(level + 1, depth + 1);
                    indent(level);
                    m_out += QStringLiteral("</struct>\n");
                    break;
                }
                [[fallthrough]];
            case 8:
                if (!m_typedefs.isEmpty() && depth == 0) {
                    m_out +=
                        QStringLiteral("<instance name=\"%1\" type=\"%2\"%3/>\n")
                            .arg(name,
                                escaped(m_typedefs.at(m_random.below(static_cast<int>(m_typedefs.size())))),
                                count());
                    break;
                }
                [[fallthrough]];
            default:
                m_out += QStringLiteral("<memory name=\"%1\" size=\"%2\"/>\n")
                             .arg(name)
                             .arg(4 * (1 + m_random.below(8)));
                break;
            }
        }
    }

    void bits(int level, int width)
    {
        QSet<QString> used;
        QStringList names;
        int position = m_random.below(3);
        while (position < width && m_random.chance(80)) {
            const int size = 1 + m_random.below(std::min(8, width - position));
            const int up = position + size - 1;
            const QString raw = unique(used);
            const QString name = escaped(raw);
            static const QRegularExpression identifier(QStringLiteral("^[A-Za-z_][A-Za-z0-9_]*$"));
            if (identifier.match(raw).hasMatch())
                names << raw; // a bit group refers to fields by their loaded (identifier) names
            indent(level);
            m_out += QStringLiteral("<bits name=\"%1\" pos=\"%2\" access=\"%3\"")
                         .arg(name,
                             size == 1 ? QString::number(up) : QStringLiteral("%1:%2").arg(up).arg(position),
                             QLatin1String(m_random.pick(kAccess)));
            const std::uint32_t fieldMask = size >= 32 ? 0xFFFFFFFFu : (1u << size) - 1u;
            if (m_random.chance(70))
                m_out += QStringLiteral(" rst=\"%1\"")
                             .arg(m_random.chance(20) ? QStringLiteral("all1")
                                                      : QString::number(m_random.next() & fieldMask));
            if (!m_random.chance(50)) {
                m_out += QStringLiteral("/>\n");
            } else {
                m_out += QStringLiteral(">\n");
                indent(level + 1);
                m_out += QStringLiteral("<options>\n");
                QSet<QString> optionNames;
                const int options = 1 + m_random.below(3);
                for (int i = 0; i < options; ++i) {
                    // Now and then a value wider than the field, which an SVD file cannot hold.
                    const std::uint32_t value = m_random.chance(10)
                        ? fieldMask + 1u + static_cast<std::uint32_t>(m_random.below(4))
                        : static_cast<std::uint32_t>(m_random.next()) & fieldMask;
                    indent(level + 2);
                    m_out += QStringLiteral("<option name=\"%1\" value=\"%2\">")
                                 .arg(escaped(unique(optionNames)))
                                 .arg(value);
                    if (m_random.chance(50))
                        m_out += QStringLiteral("<comment>Value %1 &amp; more</comment>").arg(value);
                    m_out += QStringLiteral("</option>\n");
                }
                indent(level + 1);
                m_out += QStringLiteral("</options>\n");
                indent(level);
                m_out += QStringLiteral("</bits>\n");
            }
            position = up + 1 + m_random.below(3);
        }
        if (names.size() >= 2 && m_random.chance(40)) {
            indent(level);
            m_out +=
                QStringLiteral("<bitgroup name=\"GROUP\"><entry ref=\"%1\"/><entry ref=\"%2\"/></bitgroup>\n")
                    .arg(names.at(0), names.at(1));
        }
    }

    Random m_random;
    QString m_out;
    QStringList m_typedefs;
};

} // namespace

QString writeRandomDescription(const QString& dir, std::uint64_t seed)
{
    const QString path = dir + QStringLiteral("/chip.xml");
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return QString();
    const QByteArray text = Generator(seed).description().toUtf8();
    return file.write(text) == text.size() ? path : QString();
}
