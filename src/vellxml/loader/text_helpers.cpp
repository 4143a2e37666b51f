#include "markup_p.h"
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

namespace {

// The character reference at `at` ("&" ... ";"): its length and the code point it stands for; 0 when there
// is none (a lone "&" stays as it is).
int referenceAt(const QString& text, int at, char32_t& code)
{
    const int end = static_cast<int>(text.indexOf(QLatin1Char(';'), at));
    if (end < 0 || end - at > 12)
        return 0;
    const QString name = text.mid(at + 1, end - at - 1);
    static const struct {
        const char* name;
        char32_t code;
    } named[] = {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};
    for (const auto& entry : named) {
        if (name == QLatin1String(entry.name)) {
            code = entry.code;
            return end - at + 1;
        }
    }
    if (!name.startsWith(QLatin1Char('#')) || name.size() < 2)
        return 0;
    const bool hex = name.at(1) == QLatin1Char('x') || name.at(1) == QLatin1Char('X');
    bool ok = false;
    const uint value = name.mid(hex ? 2 : 1).toUInt(&ok, hex ? 16 : 10);
    if (!ok || value == 0 || value > 0x10FFFF || (value >= 0xD800 && value <= 0xDFFF))
        return 0;
    code = value;
    return end - at + 1;
}

} // namespace

QStringList commentToPlainLines(const QString& comment)
{
    QStringList lines;
    QString line;
    const int size = static_cast<int>(comment.size());
    for (int i = 0; i < size; ++i) {
        const QChar c = comment.at(i);
        int length = 0;
        char32_t code = 0;
        if (c == QLatin1Char('\n') || (c == QLatin1Char('<') && (length = vellxml::markup_p::lineBreakTagLength(comment, i)) > 0)) {
            lines << line.trimmed();
            line.clear();
            i += length > 0 ? length - 1 : 0;
        } else if (c == QLatin1Char('&') && (length = referenceAt(comment, i, code)) > 0) {
            if (code != '\r')
                line += QString::fromUcs4(&code, 1);
            i += length - 1;
        } else if (c != QLatin1Char('\r')) {
            line += c;
        }
    }
    lines << line.trimmed();
    while (!lines.isEmpty() && lines.first().isEmpty())
        lines.removeFirst();
    while (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
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

namespace vellxml::markup_p {

int lineBreakTagLength(const QString& text, int at)
{
    const QStringView rest = QStringView(text).mid(at);
    for (const QLatin1String form :
        {QLatin1String("<br>"), QLatin1String("<br/>"), QLatin1String("<br />")}) {
        if (rest.startsWith(form, Qt::CaseInsensitive))
            return static_cast<int>(form.size());
    }
    return 0;
}

} // namespace vellxml::markup_p
