#include <vellxml/expr/names.h>

#include <QRegularExpression>

namespace {

QString identifierCharacters(const QString& name)
{
    static const QRegularExpression other(QStringLiteral("[^A-Za-z0-9_]"));
    return name.trimmed().replace(other, QStringLiteral("_"));
}

} // namespace

QString NameUpper(const QString& name)
{
    return identifierCharacters(name).toUpper();
}

QString NameLower(const QString& name)
{
    return identifierCharacters(name).toLower();
}

QString ESDRConvert(const QString& name)
{
    if (name.isEmpty())
        return name;
    static const QRegularExpression wordBoundary(QStringLiteral("([a-z])([A-Z])"));
    const QString words = QString(name).replace(wordBoundary, QStringLiteral("\\1_\\2")).toLower();
    QString result;
    result.reserve(words.size());
    bool upperNext = false;
    for (const QChar c : words) {
        if (c == QLatin1Char('_')) {
            upperNext = true;
            continue;
        }
        result += upperNext ? c.toUpper() : c;
        upperNext = false;
    }
    return result;
}
