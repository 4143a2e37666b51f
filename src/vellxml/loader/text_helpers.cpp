#include "xml_element_p.h"

#include <vellxml/loader/text_helpers.h>

#include <QDir>
#include <QDomElement>
#include <QRegularExpression>
#include <QTextStream>

#include <atomic>

namespace {

QString serializeDom(const QDomElement& element)
{
    QString text;
    QTextStream stream(&text);
    element.save(stream, -1);
    return text;
}

} // namespace

QString readCommentFromCommentTag(const QDomElement& element)
{
    return vellxml::loader_p::commentFromMarkup(serializeDom(element));
}

QString readCJokerFromCommentTag(const QDomElement& element)
{
    return vellxml::loader_p::cjokerFromMarkup(serializeDom(element));
}

// Words are filled greedily: the prefix counts against the width, every line holds at least one word, and
// a word longer than the room left stands alone on its line rather than being cut.
QString convertCommentToCComment(const QString& text, int width, int level)
{
    QString body = text.trimmed();
    body.replace(QStringLiteral("<br>"), QStringLiteral("\n"));
    body.remove(QStringLiteral("&#xd;"));
    const QString prefix = QString(level * 4, QLatin1Char(' ')) + QLatin1String("///");
    const int effectiveWidth = width - level * 4 < 40 ? level * 4 + 40 : width;
    static const QRegularExpression blanks(QStringLiteral("\\s+"));
    QStringList lines;
    for (const QString& paragraph : body.split(QLatin1Char('\n'))) {
        const QStringList words = paragraph.split(blanks, Qt::SkipEmptyParts);
        QString line = prefix;
        bool empty = true;
        for (const QString& word : words) {
            if (!empty && line.size() + 1 + word.size() > effectiveWidth) {
                lines.append(line);
                line = prefix;
                empty = true;
            }
            line += QLatin1Char(' ') + word;
            empty = false;
        }
        lines.append(line);
    }
    // A comment line ending in a backslash (or its trigraph) would continue on the next line of the file.
    for (QString& line : lines) {
        if (line.endsWith(QLatin1Char('\\')) || line.endsWith(QLatin1String("?""?/")))
            line += QLatin1Char('.');
    }
    return lines.join(QLatin1Char('\n'));
}

QString space_complement_to(const QString& text, int width)
{
    return QString(text.size() >= width ? 1 : width - text.size(), QLatin1Char(' '));
}

QString two_fields_line(const QString& first, const QString& second, int width)
{
    return first + space_complement_to(first, width) + second + QLatin1Char('\n');
}

HwIntVar generateSpacer()
{
    static std::atomic<int> counter {0};
    HwIntVar spacer(QStringLiteral("VELLXMLSPACER_%1").arg(counter++), QStringLiteral("0"), 0);
    spacer.setDirection(HwIntVar::Down);
    return spacer;
}

bool recursiveMkdir(const QString& base, const QString& path)
{
    QDir dir(base);
    QString prefix;
    for (const QString& part : path.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        prefix += (prefix.isEmpty() ? QString() : QStringLiteral("/")) + part;
        if (!dir.exists(prefix) && !dir.mkdir(prefix))
            return false;
    }
    return true;
}
